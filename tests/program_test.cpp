// The programs themselves over pipes: what no transcript can say.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "sim/child_process.h"
#include "tests/temporary_folder.h"

namespace tests {
namespace {

namespace fs = std::filesystem;
using sim::ChildProcess;

void makeLibrary(const std::string& assets, const TemporaryFolder& folder) {
  std::ofstream(folder.path() / "description.json")
      << R"({"authorization":3,"userLibraryAlbum":"/ALBUM/L0/020","assets":[)" << assets << "]}";
  ChildProcess program({PHOTOS_SIM, "create", "Library", "--from", "description.json"},
                       folder.path());
  ASSERT_EQ(program.wait(), 0) << program.errors();
}

TEST(Serving, GoesOnWhenNobodyReadsItsAnswersAnyMore) {
  const TemporaryFolder folder;
  makeLibrary(
      R"({"localIdentifier":"A","resources":[{"type":1,"originalFilename":"a","text":"abc"}]})",
      folder);
  ChildProcess program({PHOTOS_SIM, "serve", "Library"}, folder.path());
  program.closeOutput();
  for (const std::string file : {"1", "2", "3"}) {
    program.write(R"({"command":"export","assetID":"A","photoKitResourceType":1,"destination":")" +
                  file + "\"}\n");
  }
  EXPECT_EQ(program.wait(), 0);
  EXPECT_EQ(fs::file_size(folder.path() / "3"), 3U);
}

/// Elsewhere than on macOS: in the user's home folder, as the password database has it. That is a
/// file which only a namespace of the test's own can put another one in place of.
TEST(PhotosHelper, ServesTheLibraryInTheUsersHomeFolder) {
  const TemporaryFolder folder;
  const std::string home = folder.path();
  std::ofstream(folder.path() / "passwd") << "me:x:0:0::" << home << ":/bin/sh\n";
  const std::string inNamespace = "exec unshare --user --map-root-user --mount sh -c '";
  if (std::system((inNamespace + "true'").c_str()) != 0) {
    GTEST_SKIP() << "no namespace can be made here";
  }
  const std::string serve =
      inNamespace + "mount --bind " + home + "/passwd /etc/passwd && exec " + PHOTOS_HELPER + "'";
  const auto answer = [&] {
    ChildProcess program({"/bin/sh", "-c", serve}, folder.path());
    program.write("{\"command\":\"discover\"}\n");
    return program.readLine();
  };
  EXPECT_EQ(answer(), "{\"ok\":false,\"status\":\"authorization_1\"}\n");
  makeLibrary("", folder);
  fs::create_directories(folder.path() / "Pictures");
  fs::rename(folder.path() / "Library", folder.path() / "Pictures" / "Photos Library");
  EXPECT_EQ(answer(), "{\"ok\":true,\"status\":\"discovered\",\"assets\":[]}\n");
}

TEST(Serving, OpensURLsWithTheDesktopsOpenerAndKeepsItsNoiseAway) {
  const TemporaryFolder folder;
  makeLibrary(R"({"localIdentifier":"//A//L0/001"})", folder);
  // Stands in for the opener under either system's name: notes its argument, eats input, is noisy.
  for (const char* name : {"xdg-open", "open"}) {
    std::ofstream(folder.path() / name) << "#!/bin/sh\necho noise; echo noise >&2; cat\n"
                                           "echo \"$1\" >>opened; exec test ! -e refuse\n";
    fs::permissions(folder.path() / name, fs::perms::owner_all);
  }
  // With SIGCHLD ignored, as a host may leave it; a shell may give it its default action again.
  const std::string path = "PATH=" + folder.path().string() + ":" + std::getenv("PATH");
  const auto before = std::signal(SIGCHLD, SIG_IGN);
  ChildProcess program({"/usr/bin/env", path, PHOTOS_SIM, "serve", "Library"}, folder.path());
  std::signal(SIGCHLD, before);
  const std::string request = "{\"command\":\"open\",\"assetID\":\"//A//L0/001\"}\n";
  program.write(request);
  EXPECT_EQ(program.readLine(), "{\"ok\":true,\"status\":\"opened_in_photos\"}\n");
  std::ofstream(folder.path() / "refuse") << "yes";
  program.write(request);
  EXPECT_EQ(program.readLine(), "{\"ok\":false,\"status\":\"opened_in_photos\"}\n");
  EXPECT_EQ(program.wait(), 0);
  EXPECT_EQ(program.errors(), "");
  std::ifstream opened(folder.path() / "opened");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(opened), {}),
            "photos:albums?albumUuid=ALBUM&assetUuid=A\n"
            "photos:albums?albumUuid=ALBUM&assetUuid=A\n");
}

}  // namespace
}  // namespace tests
