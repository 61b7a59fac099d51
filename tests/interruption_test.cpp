// A program killed in the middle of its work: the library stays whole.
#include <SQLiteCpp/SQLiteCpp.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "tests/child_process.h"
#include "tests/temporary_folder.h"

namespace tests {
namespace {

TEST(Interruption, AReclaimMovesAllOrNothing) {
  constexpr int assetCount = 20'000;
  const TemporaryFolder folder;
  ChildProcess maker({PHOTOS_SIM, "create", "Library", "--synthetic", std::to_string(assetCount)},
                     folder.path());
  EXPECT_EQ(maker.wait(), 0) << maker.errors();
  const std::string file = folder.path() / "Library/library.sqlite";
  const std::string identifiers =
      SQLite::Database(file).execAndGet("SELECT json_group_array(localIdentifier) FROM asset");
  // Later and later, until it was too late to stop it.
  std::int64_t moved = 0;
  for (std::chrono::milliseconds delay(0); moved == 0; delay += std::chrono::milliseconds(7)) {
    ChildProcess program({PHOTOS_SIM, "serve", "Library"}, folder.path());
    program.write("{\"command\":\"authorize\"}\n");
    EXPECT_EQ(program.readLine(), "{\"ok\":true,\"status\":\"authorized\"}\n");
    program.write(R"({"command":"reclaim","assetIDs":)" + identifiers + "}\n");
    std::this_thread::sleep_for(delay);
    program.kill();
    SQLite::Database database(file, SQLite::OPEN_READWRITE);
    EXPECT_EQ(database.execAndGet("PRAGMA integrity_check").getString(), "ok");
    moved = database.execAndGet("SELECT sum(recentlyDeleted) FROM asset").getInt64();
  }
  EXPECT_EQ(moved, assetCount);
}

}  // namespace
}  // namespace tests
