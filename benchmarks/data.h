// What the rows work on: libraries, files and requests, made once and kept for later runs.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "benchmarks/process.h"

namespace benchmarks {

/// How much the rows do.
struct Sizes {
  std::int64_t assets = 1'000'000;
  std::int64_t reclaimed = 10'000;
  std::int64_t smallFile = 1LL << 20;
  std::int64_t largeFile = 1LL << 30;
  std::int64_t hugeFile = 4LL << 30;
  std::int64_t exports = 10'000;
  std::int64_t longLine = 100'000'000;
  std::int64_t requests = 100'000;
  std::int64_t roundTrips = 20'000;
  std::vector<std::int64_t> growingLibraries = {10'000, 100'000, 1'000'000, 3'000'000};
  std::vector<std::int64_t> growingFiles = {1LL << 20, 64LL << 20, 1LL << 30, 4LL << 30};
};

[[nodiscard]] Sizes quickSizes();

/// What all rows share.
struct Bench {
  /// Where the programs are, and where data may be made.
  std::filesystem::path programs;
  std::filesystem::path data;
  Sizes sizes;

  [[nodiscard]] std::string program(const std::string& name) const { return programs / name; }
  [[nodiscard]] Command serve(const std::filesystem::path& library) const {
    return {program("photos-sim"), "serve", library};
  }
};

/// Throws NotRun when the disk has no room for that many bytes, and some to spare.
void needDisk(const Bench& bench, std::int64_t bytes);

/// A library of that many assets, which take no disk.
std::filesystem::path syntheticLibrary(const Bench& bench, std::int64_t assets);

/// A library of one asset, whose file holds that many random bytes. Throws NotRun when the disk has
/// no room for it and for a copy.
std::filesystem::path fileLibrary(const Bench& bench, std::int64_t size);

/// A library of one asset of that many zero bytes, which take no disk.
std::filesystem::path zerosLibrary(const Bench& bench, std::int64_t size);

/// The identifier of the asset in either.
inline constexpr const char* onlyAsset = "only/L0/001";

/// The file of the only asset.
std::filesystem::path originalOf(const std::filesystem::path& library);

/// Files of random bytes, and the library that holds each as an asset of the identifier
/// smallAsset(index).
struct SmallFiles {
  std::filesystem::path library;
  std::vector<std::filesystem::path> files;
};
SmallFiles smallFiles(const Bench& bench, std::int64_t count, std::int64_t size);
std::string smallAsset(std::size_t index);

/// Writes a file anew, of the text that `write` gives piece by piece.
std::filesystem::path writeText(
    const std::filesystem::path& file,
    const std::function<void(const std::function<void(std::string_view)>& piece)>& write);

/// A file of these lines.
std::filesystem::path writeLines(const std::filesystem::path& file,
                                 const std::vector<std::string>& lines);

/// As people write them: "1,000,000", "64 MiB".
std::string counted(std::int64_t count);
std::string sized(std::int64_t bytes);

}  // namespace benchmarks
