#include <string>
#include <utility>

#include "benchmarks/answers.h"
#include "benchmarks/rows.h"

namespace benchmarks {
namespace {

namespace fs = std::filesystem;

struct Exported {
  Usage usage;
  std::string sha256;
};

/// Exports the only asset of a library and checks the copy by its size, and by its bytes with
/// `comparing`; either way it is gone at the end.
Exported exportOnlyAsset(const Bench& bench, const fs::path& library, std::int64_t size,
                         bool comparing = false) {
  const fs::path copy = fs::absolute(bench.data / "exported");
  const fs::path answer = bench.data / "export-answer";
  const fs::path request = writeText(bench.data / "export-request", [&](const auto& piece) {
    piece(R"({"command":"export","assetID":")" + std::string(onlyAsset) +
          R"(","photoKitResourceType":1,"destination":")" + copy.string() + "\"}\n");
  });
  fs::remove(copy);
  const Usage usage = run(bench.serve(library), {.input = request, .output = answer});
  const std::string line = firstLine(answer);
  expect(stringOf(line, "status") == "exported", "wrong answer: " + line);
  expect(std::cmp_equal(fs::file_size(copy), size), "the exported file is not whole");
  if (comparing) {
    run({"cmp", copy, originalOf(library)});
  }
  fs::remove(copy);
  return {.usage = usage, .sha256 = stringOf(line, "sha256")};
}

Usage exportUsage(const Bench& bench, const fs::path& library, std::int64_t size) {
  return exportOnlyAsset(bench, library, size).usage;
}

/// What people do by hand; it prints the digest too.
Exported copyAndHashByHand(const Bench& bench, const fs::path& original,
                           const std::string& hasher) {
  const fs::path copy = bench.data / "copied";
  const fs::path printed = bench.data / "digest";
  fs::remove(copy);
  const Usage usage = run(shell("cp \"$1\" \"$2\" && " + hasher + " \"$1\"", {original, copy}),
                          {.output = printed});
  fs::remove(copy);
  return {.usage = usage, .sha256 = firstLine(printed)};
}

Pair exportBeside(const Bench& bench, std::int64_t size, const std::string& hasher) {
  const fs::path library = fileLibrary(bench, size);
  const fs::path original = originalOf(library);
  const std::string digest = exportOnlyAsset(bench, library, size, /*comparing=*/true).sha256;
  expect(digest.size() == 64, "no digest: " + digest);
  return {.ours =
              [=, &bench] {
                const Exported ours = exportOnlyAsset(bench, library, size);
                expect(ours.sha256 == digest, "an export has another digest than the one before");
                return ours.usage.seconds;
              },
          .other =
              [=, &bench] {
                const Exported other = copyAndHashByHand(bench, original, hasher);
                expect(other.sha256.contains(digest), hasher + " gives another digest");
                return other.usage.seconds;
              }};
}

Usage estimateOnlyAsset(const Bench& bench, const fs::path& library, std::int64_t size) {
  const fs::path answer = bench.data / "estimate-answer";
  const fs::path request = writeText(bench.data / "estimate-request", [](const auto& piece) {
    piece(R"({"command":"estimate","assetID":")" + std::string(onlyAsset) +
          "\",\"photoKitResourceType\":1}\n");
  });
  const Usage usage = run(bench.serve(library), {.input = request, .output = answer});
  const std::string line = firstLine(answer);
  expect(line.contains("\"bytes\":" + std::to_string(size) + "}"), "wrong answer: " + line);
  return usage;
}

Pair estimateBesideCat(const Bench& bench, std::int64_t size) {
  const fs::path library = fileLibrary(bench, size);
  const fs::path original = originalOf(library);
  return {.ours = [=, &bench] { return estimateOnlyAsset(bench, library, size).seconds; },
          .other = [=] { return run({"cat", original}).seconds; }};
}

/// Peak memory with a command on a library whose only asset has that many bytes.
Row memory(const Bench& bench, const std::string& command, std::int64_t size,
           Usage (*answer)(const Bench&, const fs::path& library, std::int64_t size)) {
  return {.name = command + "-memory-" + std::to_string(size),
          .what = "peak memory with an " + command + " of " + sized(size),
          .unit = Unit::bytes,
          .aim = Aim{Judged::ours, 24e6},
          .prepare =
              [=, &bench] {
                const fs::path library = fileLibrary(bench, size);
                return Pair{.ours = [=, &bench] { return peakOf(answer(bench, library, size)); }};
              },
          .slow = true};
}

}  // namespace

std::vector<Row> exportRows(const Bench& bench) {
  const std::int64_t large = bench.sizes.largeFile;
  return {
      {.name = "export-openssl",
       .what = "export of " + sized(large) + ", beside `cp && openssl dgst -sha256`",
       .aim = Aim{Judged::ratio, 0.9},
       .prepare = [=, &bench] { return exportBeside(bench, large, "openssl dgst -sha256"); }},
      {.name = "export-sha256sum",
       .what = "export of " + sized(large) + ", beside `cp && sha256sum`",
       .aim = Aim{Judged::ratio, 0.3},
       .prepare = [=, &bench] { return exportBeside(bench, large, "sha256sum"); },
       .slow = true},
      {.name = "estimate",
       .what = "estimate of " + sized(large) + ", beside `cat FILE >/dev/null`",
       .aim = Aim{Judged::ratio, 1.3},
       .prepare = [=, &bench] { return estimateBesideCat(bench, large); }},
      memory(bench, "export", bench.sizes.smallFile, exportUsage),
      memory(bench, "export", bench.sizes.hugeFile, exportUsage),
      memory(bench, "estimate", bench.sizes.smallFile, estimateOnlyAsset),
      memory(bench, "estimate", bench.sizes.hugeFile, estimateOnlyAsset),
  };
}

std::vector<Row> exportGrowthRows(const Bench& bench) {
  std::vector<Row> rows;
  rows.reserve(bench.sizes.growingFiles.size());
  for (const std::int64_t size : bench.sizes.growingFiles) {
    rows.push_back(
        {.name = "growth-" + std::to_string(size) + "-export",
         .what = "export of " + sized(size) + ", beside `cp && openssl dgst -sha256`",
         .prepare = [=, &bench] { return exportBeside(bench, size, "openssl dgst -sha256"); },
         .point = Point{.plot = "export",
                        .ours = "export",
                        .other = "cp && openssl dgst -sha256",
                        .x = static_cast<double>(size)},
         .slow = true});
  }
  return rows;
}

}  // namespace benchmarks
