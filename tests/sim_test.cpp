// photos-sim: what it makes of files and descriptions, and what it refuses.
#include <SQLiteCpp/SQLiteCpp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "library/library.h"
#include "sim/capture_date.h"
#include "sim/child_process.h"
#include "sim/new_library.h"
#include "tests/temporary_folder.h"

namespace sim {
namespace {

namespace fs = std::filesystem;

class SimTest : public testing::Test {
 protected:
  void write(const fs::path& file, const std::string& bytes) const {
    fs::create_directories((photos_ / file).parent_path());
    std::ofstream(photos_ / file, std::ios::binary) << bytes;
  }

  static std::string bytesOf(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  // All rows that the query gives, a line each.
  [[nodiscard]] std::string rows(const std::string& query) const {
    const SQLite::Database database((library_ / "library.sqlite").string());
    SQLite::Statement statement(database, query);
    std::string text;
    while (statement.executeStep()) {
      for (int column = 0; column < statement.getColumnCount(); ++column) {
        text += (column == 0 ? "" : " ") + statement.getColumn(column).getString();
      }
      text += "\n";
    }
    return text;
  }

  struct Outcome {
    int status;
    std::string output;
    std::string errors;
  };
  [[nodiscard]] Outcome run(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), PHOTOS_SIM);
    ChildProcess process(std::move(arguments), folder_.path());
    std::string output = process.readToEnd();
    const int status = process.wait();
    return {status, std::move(output), process.errors()};
  }

  tests::TemporaryFolder folder_;
  fs::path library_ = folder_.path() / "library";
  fs::path photos_ = folder_.path() / "photos";
};

TEST_F(SimTest, RefusesEachFaultOfADescriptionWithItsPlace) {
  std::ifstream cases(REFUSED_DESCRIPTIONS);
  std::string text;
  int refused = 0;
  for (std::string line; std::getline(cases, line);) {
    if (!line.starts_with("! ")) {
      text += line.starts_with('#') || line.empty() ? "" : line + "\n";
      continue;
    }
    write("description.json", std::exchange(text, ""));
    const auto [status, output, errors] =
        run({"create", "library", "--from", "photos/description.json"});
    EXPECT_EQ(status, 1);
    EXPECT_TRUE(errors.starts_with("photos-sim: photos/description.json: " + line.substr(2)))
        << errors;
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1);
    EXPECT_FALSE(fs::exists(library_));
    ++refused;
  }
  EXPECT_GT(refused, 20);
  const auto [status, output, errors] = run({"create", "library", "--from", "nowhere"});
  EXPECT_EQ(status, 1);
  EXPECT_TRUE(errors.contains("nowhere") && errors.find('\n') == errors.size() - 1) << errors;
}

TEST_F(SimTest, MakesALibraryWholeOrNotAtAll) {
  const fs::path place = folder_.path() / "new" / "library";
  EXPECT_FALSE(makeLibrary(place, defaultSettings(), [](auto&, auto&) {
    return library::Result(std::unexpected(photos::Error{"no"}));
  }));
  EXPECT_FALSE(fs::exists(place.parent_path()));
  // Somebody takes the place meanwhile.
  EXPECT_FALSE(makeLibrary(library_, defaultSettings(), [&](auto&, auto&) {
    std::ofstream(library_) << "not ours";
    return library::Result();
  }));
  EXPECT_EQ(bytesOf(library_), "not ours");
  fs::remove(library_);
  // What a run that was killed has left is named, and not touched.
  fs::create_directory(folder_.path() / ".library.incomplete-abcdef");
  EXPECT_TRUE(run({"create", "library"}).errors.contains("/.library.incomplete-abcdef: left by"));
  EXPECT_EQ(run({"create", "library"}).status, 1);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_.path()), {}), 2);
}

TEST_F(SimTest, GroupsFilesAsACameraRollHasThem) {
  const std::vector<std::pair<std::string, std::string>> cases{
      {"b.heic A.JPG", "1 1:A.JPG; 1 1:b.heic; "},
      {"IMG_1.MOV img_1.heic", "1 1:img_1.heic 9:IMG_1.MOV; "},
      {"a.mp4 a.jpg", "1 1:a.jpg; 2 2:a.mp4; "},
      {"a.dng a.JPG a.mov", "1 1:a.JPG 4:a.dng 9:a.mov; "},
      {"a.dng a.png", "1 1:a.png; 1 1:a.dng; "},
      {"a.nef", "1 1:a.nef; "},
      {"a.gif a.jpg a.mov", "1 1:a.jpg 9:a.mov; 1 1:a.gif; "},
      {"IMG_1.JPG IMG_1.MOV IMG_1.AAE IMG_E1.JPG IMG_E1.MOV",
       "1 1:IMG_1.JPG 9:IMG_1.MOV 7:IMG_1.AAE 5:IMG_E1.JPG 10:IMG_E1.MOV; "},
      {"IMG_1.JPG IMG_E1.MOV", "1 1:IMG_1.JPG; 2 2:IMG_E1.MOV; "},
      {"IMG_1.MOV IMG_1.AAE img_e1.mov", "2 2:IMG_1.MOV 7:IMG_1.AAE 6:img_e1.mov; "},
      {"IMG_E1.JPG IMG_2.JPG IMG_Eva.JPG IMG_va.JPG",
       "1 1:IMG_2.JPG; 1 1:IMG_E1.JPG; 1 1:IMG_Eva.JPG; 1 1:IMG_va.JPG; "},
      {"IMG_1.JPG IMG_E1.JPG IMG_E1.PNG", "1 1:IMG_1.JPG 5:IMG_E1.JPG; 1 1:IMG_E1.PNG; "},
      {"IMG_9.AAE ._a.jpg .DS_Store", ""}};
  for (const auto& [names, expected] : cases) {
    fs::remove_all(photos_);
    fs::remove_all(library_);
    std::istringstream list(names);
    for (std::string name; list >> name;) {
      write(name, name);
    }
    EXPECT_EQ(run({"import", "library", "photos"}).status, 0);
    std::string assets = rows(
        "SELECT mediaType || ' ' || group_concat(type || ':' || originalFilename, ' ') || ';' "
        "FROM (SELECT * FROM asset JOIN resource ON asset = id ORDER BY id, position) GROUP BY id");
    std::ranges::replace(assets, '\n', ' ');
    EXPECT_EQ(assets, expected);
  }
}

TEST_F(SimTest, ImportsEachFileOnceAndNamesTheRest) {
  write("a/IMG_1.JPG", "one");
  write("a/IMG_2.MOV", "two");
  EXPECT_EQ(run({"import", "library", "photos"}).status, 0);
  write("a/IMG_1.MOV", "three");
  write("b/IMG_7.JPG", "one");
  write("b/notes.txt", "none");
  write("b/caf\xC3.PNG", "a name that is not UTF-8");
  write("b/\x1B[2J\u0085\u202E.txt", "a name that acts on a terminal");
  fs::create_symlink(photos_ / "a" / "IMG_2.MOV", photos_ / "b" / "IMG_8.MOV");
  fs::create_directory_symlink(photos_ / "a", photos_ / "c");
  const auto [status, output, told] = run({"import", "library", "photos"});
  EXPECT_EQ(status, 0);
  EXPECT_EQ(rows("SELECT asset, type, originalFilename FROM resource ORDER BY asset, position"),
            "1 1 IMG_1.JPG\n1 9 IMG_1.MOV\n2 2 IMG_2.MOV\n3 1 caf\uFFFD.PNG\n");
  for (const char* text :
       {"added 1 asset and 2 files; 3 files already", "2 files of unknown kind", "b/notes.txt",
        R"(b/\u{1b}[2J\u{85}\u{202e}.txt)", "2 links left out", "b/IMG_8.MOV", "photos/c"}) {
    EXPECT_TRUE(told.contains(text)) << told;
  }
  const std::string notUTF8 = run({"import", "new/folders/library", "caf\xC3"}).errors;
  EXPECT_TRUE(notUTF8.starts_with(R"(photos-sim: caf\xc3: )")) << notUTF8;
  EXPECT_FALSE(fs::exists(folder_.path() / "new"));
  EXPECT_EQ(run({"import", "new/folders/library", "photos/a"}).status, 0);
}

TEST_F(SimTest, RefusesToImportWhatItCannotOrTheLibraryItself) {
  write("a.jpg", "one");
  ASSERT_EQ(run({"import", "library", "photos"}).status, 0);
  fs::create_directory_symlink(library_, folder_.path() / "link");
  for (const std::string folder : {".", "library/originals", "link", "nowhere"}) {
    EXPECT_EQ(run({"import", "library", folder}).status, 1) << folder;
  }
  EXPECT_EQ(run({"import", "new", "photos", "nowhere"}).status, 1);
  EXPECT_FALSE(fs::exists(folder_.path() / "new"));
  EXPECT_EQ(rows("SELECT count(*) FROM resource"), "1\n");
}

TEST_F(SimTest, ImportMendsADamagedOriginal) {
  write("a.jpg", "one");
  const mode_t before = umask(0007);
  ASSERT_EQ(run({"import", "library", "photos"}).status, 0);
  umask(before);
  // The digest of "one".
  const fs::path original = library_ / "originals" / "76" /
                            "7692c3ad3540bb803c020b3aee66cd8887123234ea0c6e7143c0add73ff431ed";
  for (const fs::path& file : {original, library_ / "library.sqlite"}) {
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0660)) << file;
  }
  for (const char* damage : {"0ne", "o", ""}) {
    std::ofstream(original) << damage;
    ASSERT_EQ(run({"import", "library", "photos"}).status, 0);
    EXPECT_EQ(bytesOf(original), "one");
  }
  EXPECT_EQ(rows("SELECT count(*) FROM resource"), "1\n");
}

TEST_F(SimTest, DatesAnImportedPhotoByItsExifElseByItsPairElseByItsFile) {
  using namespace std::string_literals;
  // A TIFF file with nothing but DateTimeOriginal and OffsetTimeOriginal.
  write("IMG_1.DNG",
        "II*\0\x08\0\0\0\x01\0\x69\x87\x04\0\x01\0\0\0\x1A\0\0\0\0\0\0\0"
        "\x02\0\x03\x90\x02\0\x14\0\0\0\x38\0\0\0\x11\x90\x02\0\x07\0\0\0\x4C\0\0\0\0\0\0\0"
        "2023:07:14 12:00:00\0+02:00\0"s);
  write("IMG_1.JPG", "no Exif");
  write("IMG_2.JPG", "none either");
  const fs::file_time_type changed{std::chrono::file_clock::from_sys(
      std::chrono::sys_seconds(std::chrono::seconds(1'000'000'000)))};
  fs::last_write_time(photos_ / "IMG_1.JPG", changed);
  fs::last_write_time(photos_ / "IMG_2.JPG", changed);
  EXPECT_EQ(run({"import", "library", "photos"}).status, 0);
  EXPECT_EQ(rows("SELECT creationDate, modificationDate FROM asset ORDER BY id"),
            "1689328800.0 1000000000.0\n1000000000.0 1000000000.0\n");
}

TEST(CaptureDate, FollowsTheOffsetAndTheFraction) {
  setenv("TZ", "TEST-3", 1);  // three hours east of Greenwich
  tzset();
  constexpr double noon = 1689336000;  // 2023-07-14T12:00:00Z
  EXPECT_EQ(exifDate("2023:07:14 12:00:00", "+02:00", "25"), noon - 7200 + 0.25);
  EXPECT_EQ(exifDate("2023:07:14 12:00:00", "-05:30", "x"), noon + 19800);
  EXPECT_EQ(exifDate("2023:07:14 12:00:00", "   :  ", ""), noon - 10800);
  for (const char* none : {"0000:00:00 00:00:00", "2023:02:30 12:00:00", "2023-07-14"}) {
    EXPECT_EQ(exifDate(none, "", ""), std::nullopt);
  }
}

TEST_F(SimTest, ImportsTheRestOfWhatCannotBeRead) {
  write("IMG_1.JPG", "secret");
  write("IMG_1.MOV", "a video without its photo");
  write("IMG_2.JPG", "a photo without its video");
  write("IMG_2.MOV", "secret");
  fs::permissions(photos_ / "IMG_1.JPG", fs::perms::none);
  fs::permissions(photos_ / "IMG_2.MOV", fs::perms::none);
  // Root may read anything, except from a namespace without a root.
  const std::string start = geteuid() == 0 ? "exec unshare --user " : "exec ";
  if (std::system((start + "true").c_str()) != 0) {
    GTEST_SKIP() << "no namespace can be made here";
  }
  ChildProcess process(
      {"/bin/sh", "-c", start + PHOTOS_SIM + std::string(" import library photos")},
      folder_.path());
  EXPECT_EQ(process.wait(), 1);
  const std::string told = process.errors();
  for (const char* text : {"added 1 asset and 1 file", "3 files and folders not imported",
                           "IMG_1.JPG” could not be opened", "IMG_1.MOV: belongs to IMG_1.JPG",
                           "IMG_2.MOV” could not be opened"}) {
    EXPECT_TRUE(told.contains(text)) << told;
  }
  EXPECT_EQ(rows("SELECT type, originalFilename FROM resource"), "1 IMG_2.JPG\n");
}

TEST_F(SimTest, SyntheticLibrariesAreTheSameEachTimeAndHaveTheirShape) {
  const auto make = [&] {
    fs::remove_all(library_);
    const auto [status, output, told] =
        run({"create", "library", "--synthetic", "2000", "--bytes-per-resource", "1000"});
    EXPECT_EQ(told, "photos-sim: made " +
                        rows("SELECT count(DISTINCT asset) || ' assets with ' || count(*) || "
                             "' resources of ' || sum(size) || ' bytes in all' FROM resource"));
    return rows("SELECT * FROM asset JOIN resource ON asset = id");
  };
  EXPECT_TRUE(make() == make());
  const std::vector<std::tuple<std::string, int, int>> shape{
      {"count(DISTINCT localIdentifier) FROM asset", 2000, 2000},
      {"avg(size) FROM resource", 970, 1030},
      {"count(*) FROM asset WHERE mediaType = 2", 160, 240},
      {"count(*) FROM resource WHERE type = 9", 310, 410},
      {"count(*) FROM resource WHERE type = 4", 25, 60},
      {"(max(creationDate) - min(creationDate)) / 31557600 FROM asset", 14, 15}};
  for (const auto& [query, low, high] : shape) {
    const int count = std::stoi(rows("SELECT " + query));
    EXPECT_TRUE(low <= count && count <= high) << query << ": " << count;
  }
}

TEST_F(SimTest, ReadsAndSetsTheAccessStatus) {
  EXPECT_EQ(run({"access", "library"}).status, 1);
  ASSERT_EQ(run({"create", "library"}).status, 0);
  EXPECT_EQ(run({"access", "library"}).output, "0 not-determined\nprompt-answer 3 authorized\n");
  EXPECT_EQ(run({"access", "library", "limited", "--prompt-answer", "7"}).status, 0);
  EXPECT_EQ(run({"access", "library"}).output, "4 limited\nprompt-answer 7\n");
  for (const char* words : {"--help", "--version", "access --help", "access library"}) {
    const std::string full = PHOTOS_SIM + std::string(" ") + words + " >/dev/full";
    ChildProcess process({"/bin/sh", "-c", full}, folder_.path());
    EXPECT_EQ(process.wait(), fs::exists("/dev/full") ? 1 : 0) << words;
  }
}

TEST_F(SimTest, TellsWhichWordIsWrongAndWhoseHelpToSee) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> wrong{
      {{}, "A subcommand is required; see photos-sim --help"},
      {{"create"}, "LIBRARY is required; see photos-sim create --help"},
      {{"create", "x", "--synthetic", "-1"}, "-1 is no number of assets; see photos-sim create"},
      {{"create", "x", "--bytes-per-resource", "1"}, "--bytes-per-resource requires --synthetic"},
      {{"create", "x", "--synthetic", "1", "--bytes-per-resource", "68719476737"}, "68719476736"},
      {{"network", "x", "maybe"}, "maybe"},
      {{"import", "x", "--deep", "y"}, "--deep; see photos-sim import --help"},
      {{"serve", "x", "\x1B"}, "\\u{1b}; see photos-sim serve --help"},
      {{"access", "x", "-1"}, "-1 is no status"},
      {{"access", "x", "--prompt-answer", "-1"}, "-1 is no status"}};
  for (const auto& [arguments, text] : wrong) {
    const auto [status, output, errors] = run(arguments);
    EXPECT_EQ(status, 2) << errors;
    EXPECT_EQ(output, "");
    EXPECT_TRUE(errors.starts_with("photos-sim: ") && errors.contains(text)) << errors;
    EXPECT_EQ(errors.find('\n'), errors.size() - 1) << errors;
  }
}

TEST_F(SimTest, ListsWhatReclaimHasMovedAndPutsItBack) {
  write("a/original", "abc");
  write("description.json", R"({"authorization":3,"assets":[
      {"localIdentifier":"B","creationDate":2},{"localIdentifier":"C"},
      {"localIdentifier":"A","creationDate":1,"modificationDate":1.5,
       "resources":[{"type":1,"originalFilename":"a\u001b.jpg","file":"a/original"}]}]})");
  ASSERT_EQ(run({"create", "library", "--from", "photos/description.json"}).status, 0);
  ChildProcess served({PHOTOS_SIM, "serve", "library"}, folder_.path());
  served.write("{\"command\":\"reclaim\",\"assetIDs\":[\"B\",\"A\"]}\n");
  EXPECT_EQ(served.readLine(), "{\"ok\":true,\"status\":\"moved_to_recently_deleted\"}\n");
  EXPECT_EQ(run({"recently-deleted", "library"}).output,
            R"({"localIdentifier":"A","mediaType":1,"creationDate":1,"modificationDate":1.5E0,)"
            R"("resources":[{"type":1,"originalFilename":"a\u001b.jpg","size":3}]})"
            "\n"
            R"({"localIdentifier":"B","mediaType":1,"creationDate":2,"resources":[]})"
            "\n");
  EXPECT_EQ(run({"recently-deleted", "library", "--restore", "A", "C"}).status, 1);
  EXPECT_EQ(rows("SELECT sum(recentlyDeleted) FROM asset"), "2\n") << "all or none";
  EXPECT_EQ(run({"recently-deleted", "library", "--restore", "A", "B"}).status, 0);
  EXPECT_EQ(run({"recently-deleted", "library"}).output, "");
  served.write("{\"command\":\"estimate\",\"assetID\":\"A\",\"photoKitResourceType\":1}\n");
  EXPECT_EQ(served.readLine(), "{\"ok\":true,\"status\":\"estimated\",\"bytes\":3}\n");
}

}  // namespace
}  // namespace sim
