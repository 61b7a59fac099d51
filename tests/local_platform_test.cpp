// The local library behind the seam: what every platform does, and what becomes of it when others
// change the library's files, or there is none.
#include "platform/local/local_platform.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "library/library.h"
#include "tests/local_library.h"
#include "tests/platform_contract.h"
#include "tests/temporary_folder.h"

namespace tests {
namespace {

namespace fs = std::filesystem;
using photos::AuthorizationStatus;
using platform::local::LocalPlatform;
using testing::HasSubstr;

INSTANTIATE_TEST_SUITE_P(Local, PlatformContract, testing::Values(makeLocalPlatform));

/// Relative path and bytes of all that is in a folder.
std::map<std::string, std::string> contents(const fs::path& folder) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    std::string& bytes = files[entry.path().lexically_relative(folder)];
    if (entry.is_regular_file()) {
      std::ifstream file(entry.path(), std::ios::binary);
      bytes.assign(std::istreambuf_iterator<char>(file), {});
    }
  }
  return files;
}

class LocalPlatformTest : public testing::Test {
 protected:
  AuthorizationStatus status() {
    return platform_.authorizationStatus(photos::AccessLevel::readWrite);
  }
  AuthorizationStatus asked() {
    std::optional<AuthorizationStatus> status;
    platform_.requestAuthorization(photos::AccessLevel::readWrite,
                                   [&](AuthorizationStatus given) { status = given; });
    return status.value();
  }
  std::size_t count() { return platform_.fetchAssets({})->count(); }
  auto fetch(const std::string& identifier) {
    return platform_.fetchAssetsWithLocalIdentifiers({&identifier, 1});
  }

  /// The bytes that the asset's first resource delivers, or the error.
  std::string delivered(const photos::Asset& asset) {
    std::string bytes;
    std::optional<photos::Error> failure;
    platform_.requestDataForAssetResource(
        *platform_.assetResourcesForAsset(asset).at(0), {.networkAccessAllowed = true},
        [&](std::span<const std::byte> chunk) {
          bytes.append(reinterpret_cast<const char*>(chunk.data()), chunk.size());
        },
        [&](std::optional<photos::Error> error) { failure = std::move(error); });
    return failure ? failure->localizedDescription : bytes;
  }

  void change(const char* statement) {
    SQLite::Database(database_.string(), SQLite::OPEN_READWRITE).exec(statement);
  }
  /// The same, left in the log.
  void changeInLog(const char* statement) {
    SQLite::Database database(database_.string(), SQLite::OPEN_READWRITE);
    sqlite3_db_config(database.getHandle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    database.exec(statement);
  }

  TemporaryFolder folder_;
  fs::path library_ = folder_.path() / "library";
  fs::path database_ = library_ / "library.sqlite";
  LocalPlatform platform_{library_};
};

constexpr auto restricted = AuthorizationStatus::restricted;
constexpr auto authorized = AuthorizationStatus::authorized;
constexpr auto photo = photos::AssetResourceType::photo;
const DescribedLibrary oneOriginal{
    .assets = {{.localIdentifier = "A", .resources = {{photo, "a", {"abc"}}}}}};
constexpr auto digestOfABC = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

TEST_F(LocalPlatformTest, IsRestrictedAndWritesNothingWhereThereIsNoLibraryItReads) {
  const std::vector<std::pair<const char*, std::function<void()>>> damages{
      {"no folder", [&] { fs::remove_all(library_); }},
      {"no database", [&] { fs::remove(database_); }},
      {"a folder in its place", [&] { fs::remove(database_), fs::create_directory(database_); }},
      {"a pipe in its place", [&] { fs::remove(database_), mkfifo(database_.c_str(), 0600); }},
      {"an empty file", [&] { fs::resize_file(database_, 0); }},
      {"no SQLite file", [&] { std::ofstream(database_) << "Hello"; }},
      {"cut off", [&] { fs::resize_file(database_, 4096); }},
      {"junk behind the header",
       [&] { std::fstream(database_).seekp(100) << std::string(8000, 'x'); }},
      {"another application's", [&] { change("PRAGMA application_id = 1"); }},
      {"a later schema", [&] { change("PRAGMA user_version = 1000"); }},
      {"a later schema, still in the log", [&] { changeInLog("PRAGMA user_version = 1000"); }},
      {"a later schema, still in a log without its shared memory",
       [&] {
         changeInLog("PRAGMA user_version = 1000");
         fs::remove(database_.string() + "-shm");
       }},
      {"another application's with a log",
       [&] {
         change("PRAGMA application_id = 1");
         changeInLog("CREATE TABLE another (column)");
       }},
      {"without a table", [&] { change("DROP TABLE resource"); }},
      {"without settings", [&] { change("DELETE FROM library"); }}};
  for (const auto& [name, damage] : damages) {
    SCOPED_TRACE(name);
    fs::remove_all(library_);
    makeLibrary(library_, {});
    damage();
    const auto before = contents(folder_.path());
    EXPECT_EQ(status(), restricted);
    EXPECT_EQ(asked(), restricted);
    EXPECT_EQ(count(), 0U);
    EXPECT_TRUE(contents(folder_.path()) == before);
  }
}

TEST_F(LocalPlatformTest, ServesADamagedDatabaseNoFurtherThanToItsDamage) {
  DescribedLibrary library;
  for (int number = 0; number < 3000; ++number) {
    library.assets.push_back({std::to_string(number), number});
  }
  makeLibrary(library_, library);
  EXPECT_EQ(status(), authorized);
  const std::string whole = contents(library_)["library.sqlite"];
  std::fstream(database_).seekp(static_cast<std::streamoff>(whole.size() / 2))
      << std::string(whole.size() / 4, 'x');
  static_cast<void>(count());
  EXPECT_EQ(platform_.fetchAssets({})->indexOfAsset({}, 0, 2999), std::nullopt);
  EXPECT_EQ(status(), restricted);
  std::ofstream(database_, std::ios::binary) << whole;
  EXPECT_EQ(status(), authorized);
  EXPECT_EQ(count(), 3000U);
}

TEST_F(LocalPlatformTest, FollowsTheLibraryThatIsAtItsPlace) {
  makeLibrary(library_, {.assets = {{"A"}}, .authorizationStatus = AuthorizationStatus::denied});
  EXPECT_EQ(asked(), AuthorizationStatus::denied);
  EXPECT_EQ(count(), 1U);

  // The whole library goes, then another comes.
  fs::rename(library_, folder_.path() / "elsewhere");
  EXPECT_EQ(status(), restricted);
  EXPECT_EQ(count(), 0U);
  makeLibrary(library_, {.assets = {{"B"}, {"C"}},
                         .authorizationStatus = AuthorizationStatus::notDetermined,
                         .promptAnswer = AuthorizationStatus::limited});
  EXPECT_EQ(asked(), AuthorizationStatus::limited);
  EXPECT_EQ(count(), 2U);

  // Its file alone is replaced: by junk, then by a good one, while it is served.
  change("PRAGMA wal_checkpoint(TRUNCATE)");
  fs::copy_file(database_, folder_.path() / "good");
  std::ofstream(folder_.path() / "junk") << "Hello";
  fs::rename(folder_.path() / "junk", database_);
  EXPECT_EQ(asked(), restricted);
  EXPECT_EQ(fs::file_size(database_), 5U);
  fs::rename(folder_.path() / "good", database_);
  EXPECT_EQ(asked(), AuthorizationStatus::limited);
  EXPECT_EQ(count(), 2U);
}

TEST_F(LocalPlatformTest, KeepsWhatWasFetchedWhenTheLibraryIsReplaced) {
  makeLibrary(library_, oneOriginal);
  const auto fetched = fetch("A");
  const auto asset = fetched->firstObject();
  fs::rename(library_, folder_.path() / "elsewhere");
  makeLibrary(library_, {.assets = {{.localIdentifier = "B", .resources = {{photo, "b", {"x"}}}}}});
  EXPECT_EQ(count(), 1U);
  EXPECT_EQ(asset->localIdentifier(), "A");
  // The originals are those at the library's place: none is given for another.
  EXPECT_EQ(delivered(*asset), "The original “a” is missing from the library");
  bool isChanged = true;
  platform_.performChanges(
      [&](photos::AssetChangeRequest& change) { change.deleteAssets(*fetched); },
      [&](bool success, const std::optional<photos::Error>&) { isChanged = success; });
  EXPECT_FALSE(isChanged);
  EXPECT_EQ(count(), 1U);
}

TEST_F(LocalPlatformTest, OpensNoDestinationThatLeadsIntoTheLibrary) {
  makeLibrary(library_, oneOriginal);
  const fs::path original = library_ / "originals" / "ba" / digestOfABC;
  const fs::path links = folder_.path() / "links";
  fs::create_directory(links);
  fs::create_symlink(original, links / "to original");
  fs::create_symlink("to original", links / "to link");
  fs::create_symlink("../library/originals/new", links / "to nothing yet");
  fs::create_directory_symlink(library_ / "originals", links / "to folder");
  fs::create_hard_link(original, links / "other name");
  fs::create_hard_link(database_, links / "other name of database");
  const auto before = contents(library_);
  for (const fs::path& destination :
       {links / "to original", links / "to link", links / "to nothing yet",
        links / "to folder" / "new", links / "other name", links / "other name of database"}) {
    platform_.createFile(destination);
    const auto handle = platform_.fileHandleForWriting(destination);
    ASSERT_FALSE(handle) << destination;
    EXPECT_THAT(handle.error().localizedDescription, HasSubstr("a part of the photo library"));
    EXPECT_TRUE(contents(library_) == before) << destination;
  }
  // A folder that was outside need not stay there.
  const fs::path wandering = folder_.path() / "wandering";
  fs::create_directory(wandering);
  platform_.createFile(wandering / "x");
  EXPECT_TRUE(platform_.fileHandleForWriting(wandering / "x"));
  fs::rename(wandering, library_ / "wandering");
  EXPECT_FALSE(platform_.fileHandleForWriting(library_ / "wandering" / "x"));
  fs::create_symlink("elsewhere", links / "out");
  platform_.createFile(links / "out");
  EXPECT_TRUE(platform_.fileHandleForWriting(links / "out"));
}

TEST_F(LocalPlatformTest, OpensNoDestinationThatTheLibraryLinksTo) {
  makeLibrary(library_, {.assets = {{"A"}}});
  for (const char* part : {"library.sqlite", "originals"}) {
    fs::rename(library_ / part, folder_.path() / part);
    fs::create_symlink(folder_.path() / part, library_ / part);
  }
  EXPECT_EQ(count(), 1U);
  for (const char* destination : {"library.sqlite", "originals/new"}) {
    platform_.createFile(folder_.path() / destination);
    EXPECT_FALSE(platform_.fileHandleForWriting(folder_.path() / destination)) << destination;
  }
  EXPECT_EQ(count(), 1U);
}

TEST_F(LocalPlatformTest, TellsWhatIsWrongWithAnOriginal) {
  makeLibrary(library_, oneOriginal);
  const auto asset = fetch("A")->firstObject();
  const fs::path original = library_ / "originals" / "ba" / digestOfABC;
  EXPECT_EQ(delivered(*asset), "abc");
  std::ofstream(original) << "abcd";
  EXPECT_THAT(delivered(*asset), HasSubstr("is longer than the library recorded"));
  std::ofstream(original) << "ab";
  EXPECT_THAT(delivered(*asset), HasSubstr("is shorter than the library recorded"));
  fs::remove(original);
  mkfifo(original.c_str(), 0600);
  EXPECT_THAT(delivered(*asset), HasSubstr("is no file in the library"));
}

TEST_F(LocalPlatformTest, DeliversNothingForNumbersAndDigestsThatMakeNoSense) {
  makeLibrary(library_, oneOriginal);
  std::ofstream(folder_.path() / "secret") << "abc";
  const std::string path = "../../../secret" + std::string(49, '/');
  for (const std::string& set : std::vector<std::string>{
           "size = -5, sha256 = NULL", "size = -9223372036854775808", "failureAfterBytes = -1",
           "delay = -1", "delay = 86401", "delay = 9e999", "bytesPerSecond = 0",
           "failureAfterBytes = 1, failureKind = 3", "failureAfterBytes = 1, failureKind = -1",
           "chunks = '-1'", "chunks = '1048577'", "chunks = '9999999999999999999999'",
           "sha256 = '" + path + "'", "sha256 = upper(sha256)", "sha256 = 'ba'"}) {
    change(("PRAGMA ignore_check_constraints = 1; UPDATE resource SET size = 3, chunks = NULL, "
            "failureAfterBytes = NULL, delay = 0, bytesPerSecond = NULL, sha256 = '" +
            std::string(digestOfABC) + "'; UPDATE resource SET " + set)
               .c_str());
    EXPECT_THAT(delivered(*fetch("A")->firstObject()),
                HasSubstr(set.contains("9999") ? "abc" : "The original “a” "))
        << set;
  }
  // A failure beyond the end comes at the end.
  change(("UPDATE resource SET size = 3, failureAfterBytes = 7, failureKind = 0, failureError = "
          "'x', sha256 = '" +
          std::string(digestOfABC) + "'")
             .c_str());
  EXPECT_EQ(delivered(*fetch("A")->firstObject()), "x");
}

TEST_F(LocalPlatformTest, TakesADateThatIsNotFiniteForNone) {
  makeLibrary(library_, {.assets = {{"early", 1}, {"A", 5}, {"late", 9}}});
  for (const char* date : {"9e999", "-9e999"}) {
    change(("PRAGMA ignore_check_constraints = 1; UPDATE asset SET creationDate = " +
            std::string(date) + ", modificationDate = creationDate WHERE localIdentifier = 'A'")
               .c_str());
    const auto asset = fetch("A")->firstObject();
    EXPECT_FALSE(asset->creationDate());
    const auto all = platform_.fetchAssets({});
    EXPECT_EQ(all->indexOfAsset({}, 0, 1), 1U);
    EXPECT_EQ(all->indexOfAsset({}, 0, 2), std::nullopt);
    EXPECT_EQ(all->objectAtIndex(1)->localIdentifier(), "late");
  }
}

}  // namespace
}  // namespace tests
