// The local library behind the seam: what every platform does, and what becomes of it when others
// change the library's files, or there is none.
#include "platform/local/local_platform.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "platform/local/library_writer.h"
#include "tests/platform_contract.h"
#include "tests/temporary_folder.h"

namespace tests {
namespace {

namespace fs = std::filesystem;
using photos::AuthorizationStatus;
using platform::local::LibraryWriter;
using platform::local::LocalPlatform;

void add(LibraryWriter& writer, const DescribedAsset& described) {
  platform::local::NewAsset asset;
  asset.localIdentifier = described.localIdentifier;
  asset.mediaType = std::to_underlying(described.mediaType);
  asset.creationDate = described.creationDate;
  asset.modificationDate = described.modificationDate;
  for (const DescribedResource& resource : described.resources) {
    asset.resources.emplace_back().type = std::to_underlying(resource.type);
    asset.resources.back().originalFilename = resource.originalFilename;
  }
  EXPECT_TRUE(writer.addAsset(asset));
}

void makeLibrary(const fs::path& folder, const DescribedLibrary& library) {
  fs::create_directories(folder);
  platform::local::Settings settings;
  settings.authorizationStatus = std::to_underlying(library.authorizationStatus);
  settings.promptAnswer = std::to_underlying(library.promptAnswer);
  settings.userLibraryAlbum = library.userLibraryAlbum;
  auto writer = LibraryWriter::create(folder, settings);
  ASSERT_TRUE(writer);
  EXPECT_FALSE(writer->transaction([&] {
    for (const DescribedAsset& asset : library.assets) {
      add(*writer, asset);
    }
    return std::optional<photos::Error>();
  }));
  EXPECT_FALSE(writer->finish());
}

std::shared_ptr<photos::Platform> makeLocalPlatform(const DescribedLibrary& library) {
  struct Served {
    explicit Served(const DescribedLibrary& described) { makeLibrary(folder.path(), described); }
    TemporaryFolder folder;
    LocalPlatform platform{folder.path()};
  };
  const auto served = std::make_shared<Served>(library);
  return {served, &served->platform};
}

INSTANTIATE_TEST_SUITE_P(Local, PlatformContract, testing::Values(makeLocalPlatform));

/// Relative path and bytes of all that is in a folder.
std::map<std::string, std::string> contents(const fs::path& folder) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    std::ifstream file(entry.path(), std::ios::binary);
    if (entry.path().extension() == ".sqlite-shm") {
      continue;  // SQLite's own scratch, which is there as long as a log is
    }
    files[entry.path().lexically_relative(folder)] =
        entry.is_directory() ? "/" : std::string(std::istreambuf_iterator<char>(file), {});
  }
  return files;
}

class LocalPlatformTest : public testing::Test {
 protected:
  AuthorizationStatus status() {
    return platform_.authorizationStatus(photos::AccessLevel::readWrite);
  }
  std::size_t count() { return platform_.fetchAssets({})->count(); }

  void change(const char* statement) {
    SQLite::Database(database_.string(), SQLite::OPEN_READWRITE).exec(statement);
  }

  TemporaryFolder folder_;
  fs::path library_ = folder_.path() / "library";
  fs::path database_ = library_ / "library.sqlite";
  LocalPlatform platform_{library_};
};

constexpr auto restricted = AuthorizationStatus::restricted;
constexpr auto authorized = AuthorizationStatus::authorized;

TEST_F(LocalPlatformTest, SeesWhatOthersChangeWithTheNextFetch) {
  makeLibrary(library_, {.assets = {{"A", 5}}});
  auto earlier = platform_.fetchAssets({});
  auto writer = LibraryWriter::open(library_);
  ASSERT_TRUE(writer);
  add(*writer, {"B", 1});
  EXPECT_EQ(earlier->count(), 1U);
  EXPECT_EQ(earlier->firstObject()->localIdentifier(), "A");
  earlier.reset();
  EXPECT_EQ(platform_.fetchAssets({})->firstObject()->localIdentifier(), "B");

  change("UPDATE asset SET recentlyDeleted = 1 WHERE localIdentifier = 'B'");
  EXPECT_EQ(count(), 1U);
  EXPECT_EQ(platform_.fetchAssetsWithLocalIdentifiers(std::vector<std::string>{"B", "A"})->count(),
            1U);
  EXPECT_FALSE(writer->setAccess(2, std::nullopt));
  EXPECT_EQ(status(), AuthorizationStatus::denied);
}

TEST_F(LocalPlatformTest, IsRestrictedAndWritesNothingWhereThereIsNoLibraryItReads) {
  const std::vector<std::pair<const char*, std::function<void()>>> damages{
      {"no folder", [&] { fs::remove_all(library_); }},
      {"no database", [&] { fs::remove(database_); }},
      {"a folder in its place", [&] { fs::remove(database_), fs::create_directory(database_); }},
      {"an empty file", [&] { fs::resize_file(database_, 0); }},
      {"no SQLite file", [&] { std::ofstream(database_) << "Hello"; }},
      {"cut off", [&] { fs::resize_file(database_, 4096); }},
      {"junk behind the header",
       [&] { std::fstream(database_).seekp(100) << std::string(8000, 'x'); }},
      {"another application's", [&] { change("PRAGMA application_id = 1"); }},
      {"a later schema", [&] { change("PRAGMA user_version = 1000"); }},
      {"a later schema, still in the log",
       [&] {
         SQLite::Database database(database_.string(), SQLite::OPEN_READWRITE);
         sqlite3_db_config(database.getHandle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
         database.exec("PRAGMA user_version = 1000");
       }},
      {"without a table", [&] { change("DROP TABLE resource"); }},
      {"without settings", [&] { change("DELETE FROM library"); }}};
  for (const auto& [name, damage] : damages) {
    SCOPED_TRACE(name);
    fs::remove_all(library_);
    makeLibrary(library_, {});
    damage();
    const auto before = contents(folder_.path());
    {
      LocalPlatform platform(library_);
      EXPECT_EQ(platform.authorizationStatus(photos::AccessLevel::readWrite), restricted);
      AuthorizationStatus answer{};
      platform.requestAuthorization(photos::AccessLevel::readWrite,
                                    [&](AuthorizationStatus given) { answer = given; });
      EXPECT_EQ(answer, restricted);
    }
    EXPECT_TRUE(contents(folder_.path()) == before);
  }
}

TEST_F(LocalPlatformTest, IsRestrictedFromAFailedReadOnUntilTheLibraryIsSoundAgain) {
  makeLibrary(library_, {.assets = {{"A"}}});
  EXPECT_EQ(count(), 1U);
  change("ALTER TABLE asset RENAME TO elsewhere");
  EXPECT_EQ(count(), 0U);
  EXPECT_EQ(status(), restricted);
  change("ALTER TABLE elsewhere RENAME TO asset");
  EXPECT_EQ(status(), authorized);
  EXPECT_EQ(count(), 1U);
}

TEST_F(LocalPlatformTest, ChangesNoLibraryThatTookThePlaceOfTheOneFetchedFrom) {
  makeLibrary(library_, {.assets = {{"A"}}});
  const auto fetched = platform_.fetchAssetsWithLocalIdentifiers(std::vector<std::string>{"A"});
  fs::rename(library_, folder_.path() / "elsewhere");
  makeLibrary(library_, {.assets = {{"B"}}});
  std::promise<bool> outcome;
  platform_.performChanges(
      [&](photos::AssetChangeRequest& change) { change.deleteAssets(*fetched); },
      [&](bool success, const std::optional<photos::Error>&) { outcome.set_value(success); });
  EXPECT_FALSE(outcome.get_future().get());
  EXPECT_EQ(count(), 1U);
}

TEST_F(LocalPlatformTest, KeepsWhatWasFetchedWhenTheLibraryGoes) {
  makeLibrary(library_, {.assets = {{.localIdentifier = "A",
                                     .resources = {{photos::AssetResourceType::photo, "a.jpg"}}}}});
  const auto asset =
      platform_.fetchAssetsWithLocalIdentifiers(std::vector<std::string>{"A"})->firstObject();
  fs::rename(library_, folder_.path() / "elsewhere");
  makeLibrary(library_, {.assets = {{"B"}}});
  EXPECT_EQ(count(), 1U);
  EXPECT_EQ(asset->localIdentifier(), "A");
  ASSERT_EQ(platform_.assetResourcesForAsset(*asset).size(), 1U);
}

TEST_F(LocalPlatformTest, AsksTheLibraryThatIsAtItsPlaceForAccess) {
  const auto asked = [this] {
    std::promise<AuthorizationStatus> status;
    platform_.requestAuthorization(photos::AccessLevel::readWrite,
                                   [&](AuthorizationStatus given) { status.set_value(given); });
    return status.get_future().get();
  };
  EXPECT_EQ(asked(), restricted);
  makeLibrary(library_, {.authorizationStatus = AuthorizationStatus::denied});
  EXPECT_EQ(asked(), AuthorizationStatus::denied);
  fs::rename(library_, folder_.path() / "elsewhere");
  makeLibrary(library_, {.authorizationStatus = AuthorizationStatus::notDetermined,
                         .promptAnswer = AuthorizationStatus::limited});
  EXPECT_EQ(asked(), AuthorizationStatus::limited);
  EXPECT_EQ(status(), AuthorizationStatus::limited);

  // A grant is told again without a look; the next other request looks.
  fs::remove_all(library_);
  EXPECT_EQ(asked(), AuthorizationStatus::limited);
  EXPECT_EQ(status(), restricted);
  EXPECT_EQ(asked(), restricted);
}

TEST_F(LocalPlatformTest, FollowsTheLibraryThatIsAtItsPlace) {
  EXPECT_EQ(status(), restricted);
  EXPECT_EQ(count(), 0U);
  makeLibrary(library_, {.assets = {{"A"}}});
  EXPECT_EQ(status(), authorized);
  EXPECT_EQ(count(), 1U);

  // The whole library goes, then another comes.
  fs::rename(library_, folder_.path() / "elsewhere");
  EXPECT_EQ(status(), restricted);
  EXPECT_EQ(count(), 0U);
  makeLibrary(library_, {.assets = {{"B"}, {"C"}}});
  EXPECT_EQ(status(), authorized);
  EXPECT_EQ(count(), 2U);

  // Its file alone is replaced: by junk, then by a good one, while it is served.
  fs::copy_file(database_, folder_.path() / "good");
  std::ofstream(folder_.path() / "junk") << "Hello";
  fs::rename(folder_.path() / "junk", database_);
  EXPECT_EQ(status(), restricted);
  EXPECT_EQ(fs::file_size(database_), 5U);
  fs::rename(folder_.path() / "good", database_);
  EXPECT_EQ(status(), authorized);
  EXPECT_EQ(count(), 2U);
}

}  // namespace
}  // namespace tests
