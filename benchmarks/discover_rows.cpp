#include <string>
#include <string_view>

#include "benchmarks/answers.h"
#include "benchmarks/rows.h"

namespace benchmarks {
namespace {

namespace fs = std::filesystem;

constexpr std::int64_t limit = 500;

/// The summaries of the whole library as the helper gives them, in its order.
constexpr const char* dump =
    "SELECT a.localIdentifier AS assetID, r.originalFilename AS filename, "
    "a.creationDate AS createdAt, a.modificationDate AS modifiedAt, "
    "iif(a.mediaType = 2, 'video', 'photo') AS mediaType, r.type AS photoKitResourceType, "
    "r.type = 4 OR lower(substr(r.originalFilename, -4)) IN "
    "('.arw', '.cr2', '.cr3', '.dng', '.nef', '.orf', '.raf', '.rw2') AS isRaw, "
    "r.type IN (9, 10) AS isLivePhotoCompanion, "
    "r.type NOT IN (9, 10) AND EXISTS (SELECT 1 FROM resource pair "
    "WHERE pair.asset = a.id AND pair.type IN (9, 10)) AS isLivePhotoImage, "
    "r.type IN (5, 6, 10) AS isCurrentEdit "
    "FROM asset a JOIN resource r ON r.asset = a.id "
    "WHERE a.recentlyDeleted = 0 AND a.creationDate IS NOT NULL AND a.mediaType IN (1, 2) "
    "AND r.type IN (1, 2, 4, 5, 6, 9, 10) "
    "ORDER BY a.creationDate, a.id, r.position";

/// Requests for the pages of a library from `first` to its last.
fs::path pageRequests(const Bench& bench, const std::string& name, std::int64_t first,
                      std::int64_t end) {
  return writeText(bench.data / name, [&](const auto& piece) {
    for (std::int64_t offset = first; offset < end; offset += limit) {
      piece(R"({"command":"discover","limit":)" + std::to_string(limit) + R"(,"offset":)" +
            std::to_string(offset) + "}\n");
    }
  });
}

std::int64_t summaryCount(std::string_view page) {
  constexpr std::string_view key = R"("assetID":)";
  std::int64_t count = 0;
  for (std::size_t at = page.find(key); at != std::string_view::npos; at = page.find(key, at + 1)) {
    ++count;
  }
  return count;
}

/// Each page is full: libraries hold whole pages, and an asset has at least one summary.
Usage answerPages(const Bench& bench, std::int64_t assets, const fs::path& requests,
                  std::int64_t pages) {
  const fs::path answers = bench.data / "pages";
  const Usage usage =
      run(bench.serve(syntheticLibrary(bench, assets)), {.input = requests, .output = answers});
  const auto last = static_cast<std::size_t>(pages) - 1;
  expectLines(answers, pages, [last](std::string_view line, std::size_t index) {
    return line.starts_with(R"({"ok":true,"status":"discovered","assets":[{)") &&
           summaryCount(line) >= limit && (index == last || line.contains(R"("nextOffset":)"));
  });
  return usage;
}

Usage dumpSummaries(const Bench& bench, std::int64_t assets) {
  return run({"sqlite3", "-json", syntheticLibrary(bench, assets) / "library.sqlite", dump},
             {.output = bench.data / "dump"});
}

Usage answerAllPages(const Bench& bench, std::int64_t assets) {
  const fs::path requests = pageRequests(bench, "pages-of-" + std::to_string(assets), 0, assets);
  return answerPages(bench, assets, requests, (assets + limit - 1) / limit);
}

Pair allPages(const Bench& bench, std::int64_t assets) {
  answerAllPages(bench, assets);
  dumpSummaries(bench, assets);
  run({bench.program("compare_summaries"), bench.data / "pages", bench.data / "dump"});
  return {.ours = [=, &bench] { return answerAllPages(bench, assets).seconds; },
          .other = [=, &bench] { return dumpSummaries(bench, assets).seconds; }};
}

Pair allPagesMemory(const Bench& bench, std::int64_t assets) {
  return {.ours = [=, &bench] { return peakOf(answerAllPages(bench, assets)); }};
}

Pair onePage(const Bench& bench, std::int64_t assets, std::int64_t offset) {
  const fs::path requests =
      pageRequests(bench, "page-at-" + std::to_string(offset), offset, offset + 1);
  syntheticLibrary(bench, assets);
  return {.ours = [=, &bench] { return answerPages(bench, assets, requests, 1).seconds; }};
}

Pair create(const Bench& bench, std::int64_t assets) {
  return {.ours = [=, &bench] {
    const fs::path library = bench.data / "created";
    fs::remove_all(library);
    const Usage usage = run(
        {bench.program("photos-sim"), "create", library, "--synthetic", std::to_string(assets)});
    const fs::path count = bench.data / "created-count";
    run({"sqlite3", library / "library.sqlite", "SELECT count(*) FROM asset"}, {.output = count});
    expect(firstLine(count) == std::to_string(assets), "not all assets were made");
    fs::remove_all(library);
    return usage.seconds;
  }};
}

}  // namespace

std::vector<Row> discoverRows(const Bench& bench) {
  const std::int64_t assets = bench.sizes.assets;
  const std::string count = counted(assets);
  return {
      {.name = "first-page",
       .what = "first page of a library of " + count + " assets, from process start",
       .aim = Aim{Judged::ours, 50e-3},
       .prepare = [=, &bench] { return onePage(bench, assets, 0); }},
      {.name = "all-pages",
       .what = "all " + counted(assets / limit) + " pages of " + count +
               " assets, beside one `sqlite3 -json` query of the same summaries",
       .aim = Aim{Judged::ratio, 0.5},
       .prepare = [=, &bench] { return allPages(bench, assets); }},
      {.name = "all-pages-memory",
       .what = "peak memory with all pages of " + count + " assets",
       .unit = Unit::bytes,
       .aim = Aim{Judged::ours, 150e6},
       .prepare = [=, &bench] { return allPagesMemory(bench, assets); },
       .slow = true},
      {.name = "create",
       .what = "`photos-sim create --synthetic " + std::to_string(assets) + "`",
       .aim = Aim{Judged::ours, 15},
       .prepare = [=, &bench] { return create(bench, assets); },
       .slow = true},
  };
}

std::vector<Row> discoverGrowthRows(const Bench& bench) {
  std::vector<Row> rows;
  const auto add = [&](const std::string& part, const std::string& other, std::int64_t assets,
                       Pair (*pair)(const Bench&, std::int64_t)) {
    rows.push_back(
        {.name = "growth-" + std::to_string(assets) + "-" + part.substr(0, part.find(' ')),
         .what = part + " of " + counted(assets) + " assets",
         .prepare = [=, &bench] { return pair(bench, assets); },
         .point = Point{.plot = "discover",
                        .ours = part,
                        .other = other,
                        .x = static_cast<double>(assets)},
         .slow = true});
  };
  for (const std::int64_t assets : bench.sizes.growingLibraries) {
    add("first page", "", assets,
        [](const Bench& of, std::int64_t count) { return onePage(of, count, 0); });
    add("last page", "", assets,
        [](const Bench& of, std::int64_t count) { return onePage(of, count, count - limit); });
    add("all pages", "sqlite3 -json", assets, allPages);
  }
  return rows;
}

}  // namespace benchmarks
