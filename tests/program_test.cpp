// The programs themselves over pipes, where a transcript would be too long.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <string>
#include <vector>

#include "sim/child_process.h"
#include "tests/temporary_folder.h"

namespace tests {
namespace {

namespace fs = std::filesystem;
using sim::ChildProcess;

/// All answers to all lines, sent in one go.
std::string answers(std::vector<std::string> command, const std::string& lines,
                    const TemporaryFolder& folder) {
  ChildProcess program(std::move(command), folder.path());
  auto sender = std::async(std::launch::async, [&] {
    program.write(lines);
    program.closeInput();
  });
  std::string output = program.readToEnd();
  sender.get();
  EXPECT_EQ(program.wait(), 0);
  EXPECT_EQ(program.errors(), "");
  return output;
}

void makeLibrary(const std::string& assets, const TemporaryFolder& folder) {
  std::ofstream(folder.path() / "description.json")
      << R"({"authorization":3,"userLibraryAlbum":"/ALBUM/L0/020","assets":[)" << assets << "]}";
  ChildProcess program({PHOTOS_SIM, "create", "Library", "--from", "description.json"},
                       folder.path());
  ASSERT_EQ(program.wait(), 0) << program.errors();
}

TEST(Serving, AnswersThousandsOfLinesOfAllKindsInOrder) {
  const TemporaryFolder folder;
  makeLibrary(R"({"creationDate":1})", folder);
  std::string lines;
  std::string expected;
  const auto add = [&](const std::string& line, const std::string& answer) {
    lines += line + "\n";
    expected += answer + "\n";
  };
  for (int number = 0; number < 5000; ++number) {
    add(R"({"command":"discover","limit":1,"offset":)" + std::to_string(-number - 1) + "}",
        R"({"ok":true,"status":"discovered","assets":[],"nextOffset":)" + std::to_string(-number) +
            "}");
    add(std::string(static_cast<std::size_t>(number % 300), '\xF0'),
        R"({"ok":false,"status":"invalid_request"})");
    add(R"({"command":"authorize"})", R"({"ok":true,"status":"authorized"})");
    const std::size_t length = number == 2500 ? 8'000'000 : 1;  // lines may be of any length
    add(R"({"command":"coffee","note":")" + std::string(length, 'x') + "\"}",
        R"({"ok":false,"status":"invalid_request","error":"Unknown command"})");
  }
  EXPECT_TRUE(answers({PHOTOS_SIM, "serve", "Library"}, lines, folder) == expected);
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
  const std::string request = "{\"command\":\"discover\"}\n";
  EXPECT_EQ(answers({"/bin/sh", "-c", serve}, request, folder),
            "{\"ok\":false,\"status\":\"authorization_1\"}\n");
  makeLibrary("", folder);
  fs::create_directories(folder.path() / "Pictures");
  fs::rename(folder.path() / "Library", folder.path() / "Pictures" / "Photos Library");
  EXPECT_EQ(answers({"/bin/sh", "-c", serve}, request, folder),
            "{\"ok\":true,\"status\":\"discovered\",\"assets\":[]}\n");
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
