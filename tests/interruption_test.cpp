// Programs killed in the middle of their work: the library stays whole.
#include <SQLiteCpp/SQLiteCpp.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include "tests/child_process.h"
#include "tests/temporary_folder.h"

namespace tests {
namespace {

namespace fs = std::filesystem;

constexpr int assetCount = 20'000;

class Interruption : public testing::Test {
 protected:
  Interruption() {
    ChildProcess program(
        {PHOTOS_SIM, "create", "Library", "--synthetic", std::to_string(assetCount)},
        folder_.path());
    EXPECT_EQ(program.wait(), 0) << program.errors();
  }

  /// Sends the request to a new server, waits for `moment` and kills it.
  void killDuring(const std::string& request, auto&& moment) {
    ChildProcess program({PHOTOS_SIM, "serve", "Library"}, folder_.path());
    program.write("{\"command\":\"authorize\"}\n");
    EXPECT_EQ(program.readLine(), "{\"ok\":true,\"status\":\"authorized\"}\n");
    program.write(request + "\n");
    moment();
    program.kill();
  }

  /// A number that the library's database gives, which is checked to be sound.
  std::int64_t number(const std::string& query) {
    SQLite::Database database((folder_.path() / "Library/library.sqlite").string(),
                              SQLite::OPEN_READWRITE);
    EXPECT_EQ(database.execAndGet("PRAGMA integrity_check").getString(), "ok");
    return database.execAndGet(query).getInt64();
  }

  TemporaryFolder folder_;
};

TEST_F(Interruption, AReclaimMovesAllOrNothing) {
  std::string identifiers;
  {
    const SQLite::Database database((folder_.path() / "Library/library.sqlite").string());
    SQLite::Statement rows(database, "SELECT localIdentifier FROM asset");
    while (rows.executeStep()) {
      identifiers += (identifiers.empty() ? "\"" : ",\"") + rows.getColumn(0).getString() + "\"";
    }
  }
  const std::string request = R"({"command":"reclaim","assetIDs":[)" + identifiers + "]}";
  // Later and later, until it was too late to stop it.
  std::int64_t moved = 0;
  for (std::chrono::milliseconds delay(0); moved == 0; delay += std::chrono::milliseconds(7)) {
    killDuring(request, [&] { std::this_thread::sleep_for(delay); });
    moved = number("SELECT sum(recentlyDeleted) FROM asset");
  }
  EXPECT_EQ(moved, assetCount);
}

TEST_F(Interruption, AnExportLeavesTheLibraryAsItWas) {
  const std::string identifier = [&] {
    const SQLite::Database database((folder_.path() / "Library/library.sqlite").string());
    SQLite::Statement row(database,
                          "SELECT localIdentifier FROM asset JOIN resource ON asset = id "
                          "ORDER BY size DESC LIMIT 1");
    row.executeStep();
    return row.getColumn(0).getString();
  }();
  const auto database = [&] {
    std::ifstream file(folder_.path() / "Library/library.sqlite", std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
  };
  const std::string before = database();
  killDuring(R"({"command":"export","photoKitResourceType":2,"destination":"out","assetID":")" +
                 identifier + "\"}",
             [&] {
               const fs::path out = folder_.path() / "out";
               while (!fs::exists(out) || fs::file_size(out) == 0) {
                 std::this_thread::yield();
               }
             });
  EXPECT_TRUE(database() == before);
  EXPECT_EQ(number("SELECT count(*) FROM asset"), assetCount);
}

}  // namespace
}  // namespace tests
