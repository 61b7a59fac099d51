#include <fcntl.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <memory>
#include <string>
#include <utility>

#include "benchmarks/answers.h"
#include "benchmarks/rows.h"
#include "photos/platform.h"

namespace benchmarks {
namespace {

namespace fs = std::filesystem;

constexpr std::int64_t fileSize = 100'000;

/// The least that an export has to do: reads the file, writes the copy, hashes the bytes.
std::string copyAndHash(const fs::path& file, const fs::path& copy) {
  static std::array<char, std::size_t{256} * 1024> buffer;
  const std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> hasher(EVP_MD_CTX_new(),
                                                                  EVP_MD_CTX_free);
  EVP_DigestInit_ex(hasher.get(), EVP_sha256(), nullptr);
  const int from = open(file.c_str(), O_RDONLY | O_CLOEXEC);
  const int to = open(copy.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  for (ssize_t count = 0; (count = read(from, buffer.data(), buffer.size())) > 0;) {
    const auto size = static_cast<std::size_t>(count);
    expect(write(to, buffer.data(), size) == count, copy.string() + " can't be written");
    EVP_DigestUpdate(hasher.get(), buffer.data(), size);
  }
  close(from);
  close(to);
  photos::SHA256Digest digest{};
  EVP_DigestFinal_ex(hasher.get(), reinterpret_cast<unsigned char*>(digest.data()), nullptr);
  return photos::hexadecimal(digest);
}

/// Exports of small files, taken in turn, each to a place of its own. Every run has a folder of its
/// own too, whose files are emptied after it and go at the end: ext4 keeps away from the inodes of
/// files that were removed within the last minutes, and searching for others would cost more than
/// the export. Emptied they take no memory, so that each run writes into what the last one had.
class ManyExports {
 public:
  explicit ManyExports(const Bench& bench)
      : bench_(bench),
        count_(bench.sizes.exports),
        small_(smallFiles(bench, std::min<std::int64_t>(1'000, count_), fileSize)),
        copies_(fs::absolute(bench.data / "small-copies")) {
    fs::remove_all(copies_);
    for (const fs::path& file : small_.files) {
      digests_.push_back(copyAndHash(file, "/dev/null"));
    }
  }

  ManyExports(const ManyExports&) = delete;
  ManyExports& operator=(const ManyExports&) = delete;
  ~ManyExports() { fs::remove_all(copies_); }

  /// The mean time of one export in one session, start and end of the helper included.
  double ours() {
    startRun();
    const fs::path requests = writeText(bench_.data / "small-requests", [this](const auto& piece) {
      for (std::size_t index = 0; std::cmp_less(index, count_); ++index) {
        piece(R"({"command":"export","assetID":")" + smallAsset(index % small_.files.size()) +
              R"(","photoKitResourceType":1,"destination":")" + copy(index) + "\"}\n");
      }
    });
    const fs::path answers = bench_.data / "small-answers";
    const Usage usage = run(bench_.serve(small_.library), {.input = requests, .output = answers});
    expectLines(answers, count_, R"("status":"exported")");
    std::size_t index = 0;
    forEachLine(answers, [&](std::string_view line) {
      expect(stringOf(line, "sha256") == digests_[index % digests_.size()], "wrong digest");
      expect(std::cmp_equal(fs::file_size(copy(index)), fileSize), "an export is not whole");
      if (index < digests_.size()) {
        expect(copyAndHash(copy(index), "/dev/null") == digests_[index], "an export is not right");
      }
      ++index;
    });
    endRun();
    return usage.seconds / static_cast<double>(count_);
  }

  double other() {
    using Clock = std::chrono::steady_clock;
    startRun();
    const Clock::time_point begin = Clock::now();
    for (std::size_t index = 0; std::cmp_less(index, count_); ++index) {
      copyAndHash(small_.files[index % small_.files.size()], copy(index));
    }
    const std::chrono::duration<double> duration = Clock::now() - begin;
    endRun();
    return duration.count() / static_cast<double>(count_);
  }

 private:
  void startRun() {
    ++run_;
    fs::create_directories(copies_ / std::to_string(run_));
  }

  void endRun() const {
    for (std::size_t index = 0; std::cmp_less(index, count_); ++index) {
      fs::resize_file(copy(index), 0);
    }
  }

  [[nodiscard]] std::string copy(std::size_t index) const {
    return copies_ / std::to_string(run_) / std::to_string(index);
  }

  const Bench& bench_;
  std::int64_t count_;
  SmallFiles small_;
  fs::path copies_;
  int run_ = 0;
  std::vector<std::string> digests_;
};

}  // namespace

std::vector<Row> smallExportRows(const Bench& bench) {
  return {{.name = "small-exports",
           .what = counted(bench.sizes.exports) +
                   " exports of 100 KB in one session, each, beside only copying and hashing",
           .aim = Aim{Judged::difference, 100e-6},
           .prepare = [&bench] {
             needDisk(bench, bench.sizes.exports * fileSize);
             const auto exports = std::make_shared<ManyExports>(bench);
             return Pair{.ours = [exports] { return exports->ours(); },
                         .other = [exports] { return exports->other(); }};
           }}};
}

}  // namespace benchmarks
