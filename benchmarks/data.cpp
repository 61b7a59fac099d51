#include "benchmarks/data.h"

#include <array>
#include <cstring>
#include <fstream>
#include <random>
#include <string_view>
#include <utility>

#include "benchmarks/answers.h"
#include "benchmarks/measure.h"

namespace benchmarks {

namespace fs = std::filesystem;

namespace {

constexpr std::int64_t kibi = 1024;

void writeRandomBytes(const fs::path& file, std::int64_t size) {
  static std::mt19937_64 engine{1};  // NOLINT: the same bytes in every run
  std::array<std::uint64_t, 32 * kibi> piece{};
  std::ofstream stream(file, std::ios::binary);
  while (size > 0) {
    for (std::uint64_t& word : piece) {
      word = engine();
    }
    const std::int64_t count = std::min<std::int64_t>(size, sizeof(piece));
    stream.write(reinterpret_cast<const char*>(piece.data()), count);
    size -= count;
  }
  expect(stream.flush().good(), file.string() + " can't be written");
}

std::string asset(const std::string& identifier, const std::string& content) {
  return R"({"localIdentifier":")" + identifier +
         R"(","creationDate":0,"resources":[{"type":1,"originalFilename":"photo.jpg",)" + content +
         "}]}";
}

void createDescribed(const Bench& bench, const fs::path& library,
                     const std::vector<std::string>& assets) {
  const fs::path description = writeText(bench.data / "description.json", [&](const auto& piece) {
    std::string_view separator = R"({"authorization":3,"assets":[)";
    for (const std::string& each : assets) {
      piece(separator);
      piece(each);
      separator = ",\n";
    }
    piece("]}\n");
  });
  run({bench.program("photos-sim"), "create", library, "--from", description});
}

}  // namespace

Sizes quickSizes() {
  constexpr std::int64_t mebi = kibi * kibi;
  return {.assets = 10'000,
          .reclaimed = 100,
          .smallFile = mebi,
          .largeFile = 16 * mebi,
          .hugeFile = 64 * mebi,
          .exports = 200,
          .longLine = 4'000'000,
          .requests = 5'000,
          .roundTrips = 1'000,
          .growingLibraries = {1'000, 10'000},
          .growingFiles = {mebi, 16 * mebi}};
}

void needDisk(const Bench& bench, std::int64_t bytes) {
  constexpr std::int64_t mebi = kibi * kibi;
  const std::int64_t needed = bytes / mebi + kibi;
  if (static_cast<std::int64_t>(fs::space(bench.data).available) / mebi < needed) {
    throw NotRun("needs " + sized(needed * mebi) + " of free disk");
  }
}

fs::path syntheticLibrary(const Bench& bench, std::int64_t assets) {
  const fs::path library = bench.data / ("synthetic-" + std::to_string(assets));
  if (!fs::exists(library)) {
    run({bench.program("photos-sim"), "create", library, "--synthetic", std::to_string(assets)});
  }
  return library;
}

fs::path fileLibrary(const Bench& bench, std::int64_t size) {
  const fs::path library = bench.data / ("file-" + std::to_string(size));
  const bool isMade = fs::exists(library);
  needDisk(bench, isMade ? size : 2 * size);
  if (!isMade) {
    const fs::path content = bench.data / "content";
    writeRandomBytes(content, size);
    createDescribed(bench, library, {asset(onlyAsset, R"("file":"content")")});
    fs::remove(content);
  }
  return library;
}

fs::path zerosLibrary(const Bench& bench, std::int64_t size) {
  const fs::path library = bench.data / ("zeros-" + std::to_string(size));
  if (!fs::exists(library)) {
    createDescribed(bench, library, {asset(onlyAsset, R"("size":)" + std::to_string(size))});
  }
  return library;
}

fs::path originalOf(const fs::path& library) {
  for (const auto& entry : fs::recursive_directory_iterator(library / "originals")) {
    if (entry.is_regular_file()) {
      return entry.path();
    }
  }
  throw std::runtime_error(library.string() + " holds no original");
}

SmallFiles smallFiles(const Bench& bench, std::int64_t count, std::int64_t size) {
  const fs::path folder = bench.data / ("small-" + std::to_string(count));
  SmallFiles result{.library = folder / "library", .files = {}};
  std::vector<std::string> assets;
  for (std::size_t index = 0; std::cmp_less(index, count); ++index) {
    result.files.push_back(folder / std::to_string(index));
    const std::string path = fs::absolute(result.files.back());
    assets.push_back(asset(smallAsset(index), R"("file":")" + path + '"'));
  }
  if (!fs::exists(result.library)) {
    fs::create_directories(folder);
    for (const fs::path& file : result.files) {
      writeRandomBytes(file, size);
    }
    createDescribed(bench, result.library, assets);
  }
  return result;
}

std::string smallAsset(std::size_t index) { return "small-" + std::to_string(index); }

fs::path writeText(const fs::path& file,
                   const std::function<void(const std::function<void(std::string_view)>&)>& write) {
  std::ofstream stream(file, std::ios::binary);
  write([&stream](std::string_view piece) { stream << piece; });
  expect(stream.flush().good(), file.string() + " can't be written");
  return file;
}

fs::path writeLines(const fs::path& file, const std::vector<std::string>& lines) {
  return writeText(file, [&lines](const auto& piece) {
    for (const std::string& line : lines) {
      piece(line);
      piece("\n");
    }
  });
}

std::string counted(std::int64_t count) {
  std::string text = std::to_string(count);
  for (std::ptrdiff_t place = std::ssize(text) - 3; place > 0; place -= 3) {
    text.insert(static_cast<std::size_t>(place), 1, ',');
  }
  return text;
}

std::string sized(std::int64_t bytes) {
  constexpr std::array units = {" B", " KiB", " MiB", " GiB"};
  std::size_t unit = 0;
  while (bytes >= kibi && bytes % kibi == 0 && unit + 1 < units.size()) {
    bytes /= kibi;
    ++unit;
  }
  return std::to_string(bytes) + units.at(unit);
}

}  // namespace benchmarks
