#include <fcntl.h>
#include <unistd.h>

#include <string>

#include "benchmarks/answers.h"
#include "benchmarks/rows.h"

namespace benchmarks {
namespace {

namespace fs = std::filesystem;

/// A fresh copy of the library, safe on disk, so that a commit does not wait for the copying.
fs::path copied(const Bench& bench, const fs::path& library) {
  const fs::path copy = bench.data / "reclaimed";
  fs::remove_all(copy);
  fs::create_directories(copy / "originals");
  fs::copy_file(library / "library.sqlite", copy / "library.sqlite");
  const int file = open((copy / "library.sqlite").c_str(), O_RDONLY | O_CLOEXEC);
  expect(file >= 0 && fsync(file) == 0, "the copy of a library can't be written");
  close(file);
  return copy;
}

/// Assets from all over the library: their identifiers in a table, and the request that names them.
struct Chosen {
  fs::path table;
  fs::path request;
};

Chosen choose(const Bench& bench, const fs::path& library) {
  const Chosen chosen{.table = bench.data / "chosen.sqlite", .request = bench.data / "reclaim"};
  const fs::path list = bench.data / "chosen";
  const std::int64_t step = bench.sizes.assets / bench.sizes.reclaimed;
  fs::remove(chosen.table);
  run({"sqlite3", chosen.table,
       "ATTACH '" + (library / "library.sqlite").string() +
           "' AS library; CREATE TABLE chosen AS SELECT localIdentifier FROM library.asset "
           "WHERE id % " +
           std::to_string(step) + " = 0; SELECT localIdentifier FROM chosen"},
      {.output = list});
  writeText(chosen.request, [&](const auto& piece) {
    std::string_view separator = R"({"command":"reclaim","assetIDs":[")";
    forEachLine(list, [&](std::string_view identifier) {
      piece(separator);
      piece(identifier);
      separator = R"(",")";
    });
    piece("\"]}\n");
  });
  return chosen;
}

/// The chosen assets are in Recently Deleted, and no others.
void expectMoved(const Bench& bench, const fs::path& library, const fs::path& chosen) {
  const fs::path count = bench.data / "moved";
  run({"sqlite3", library / "library.sqlite",
       "ATTACH '" + chosen.string() +
           "' AS chosen; SELECT sum(localIdentifier IN (SELECT localIdentifier FROM "
           "chosen.chosen)), count(*) FROM asset WHERE recentlyDeleted = 1"},
      {.output = count});
  const std::string all = std::to_string(bench.sizes.reclaimed);
  expect(firstLine(count) == all + "|" + all, "not the chosen assets were moved");
}

Pair reclaimBesideUpdate(const Bench& bench) {
  const fs::path library = syntheticLibrary(bench, bench.sizes.assets);
  const Chosen chosen = choose(bench, library);
  const std::string update = "ATTACH '" + chosen.table.string() +
                             "' AS chosen; UPDATE asset SET recentlyDeleted = 1 "
                             "WHERE localIdentifier IN (SELECT localIdentifier FROM chosen.chosen)";
  const auto onCopy = [=, &bench](const auto& change) {
    const fs::path copy = copied(bench, library);
    const double seconds = change(copy).seconds;
    expectMoved(bench, copy, chosen.table);
    fs::remove_all(copy);
    return seconds;
  };
  return {.ours =
              [=, &bench] {
                return onCopy([&](const fs::path& copy) {
                  const fs::path answer = bench.data / "reclaim-answer";
                  const Usage usage =
                      run(bench.serve(copy), {.input = chosen.request, .output = answer});
                  expectLines(answer, 1, R"("status":"moved_to_recently_deleted")");
                  return usage;
                });
              },
          .other =
              [=] {
                return onCopy([&](const fs::path& copy) {
                  return run({"sqlite3", copy / "library.sqlite", update});
                });
              }};
}

}  // namespace

std::vector<Row> reclaimRows(const Bench& bench) {
  return {{.name = "reclaim",
           .what = "reclaim of " + counted(bench.sizes.reclaimed) + " of " +
                   counted(bench.sizes.assets) +
                   " assets in one request, beside the same update by the `sqlite3` shell",
           .aim = Aim{Judged::ratio, 2},
           .prepare = [&bench] { return reclaimBesideUpdate(bench); }}};
}

}  // namespace benchmarks
