// Exports and estimates where something goes wrong on the way, on a real local library, with real
// files and one broken operation at most.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "photos/estimate.h"
#include "photos/export.h"
#include "platform/local/library_writer.h"
#include "platform/local/local_platform.h"
#include "tests/temporary_folder.h"

namespace tests {
namespace {

namespace fs = std::filesystem;
using photos::Error;
using platform::local::LibraryWriter;
using platform::local::NewAsset;
using protocol::Request;
using protocol::Response;

constexpr auto digestOfABC = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

std::string bytesOf(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// What goes wrong: a write, by its number, and the close. What was asked for is counted.
struct Faults {
  int failingWrite = 0;
  bool closeFails = false;
  int writes = 0;
  int closes = 0;
  int requests = 0;
};

class FaultyHandle : public photos::FileHandle {
 public:
  FaultyHandle(std::unique_ptr<FileHandle> handle, Faults& faults)
      : handle_(std::move(handle)), faults_(faults) {}
  std::optional<Error> write(std::span<const std::byte> bytes) override {
    const bool fails = ++faults_.writes == faults_.failingWrite;
    return fails ? Error{"write failed"} : handle_->write(bytes);
  }
  std::optional<Error> close() override {
    ++faults_.closes;
    const auto error = handle_->close();
    return faults_.closeFails ? Error{"close failed"} : error;
  }

 private:
  std::unique_ptr<FileHandle> handle_;
  Faults& faults_;
};

/// The local library with faults; data comes from another thread, as PhotoKit's does.
class FaultyPlatform : public platform::local::LocalPlatform {
 public:
  using LocalPlatform::LocalPlatform;
  Faults faults;
  std::expected<std::unique_ptr<photos::FileHandle>, Error> fileHandleForWriting(
      const std::string& path) override {
    auto handle = LocalPlatform::fileHandleForWriting(path);
    if (handle) {
      handle = std::make_unique<FaultyHandle>(std::move(*handle), faults);
    }
    return handle;
  }
  void requestDataForAssetResource(const photos::AssetResource& resource,
                                   const photos::AssetResourceRequestOptions& options,
                                   DataReceivedHandler dataReceivedHandler,
                                   CompletionHandler completionHandler) override {
    ++faults.requests;
    // The request waits with the resource until it is complete.
    delivery_ = std::async(std::launch::async,
                           [=, this, &resource, received = std::move(dataReceivedHandler),
                            completed = std::move(completionHandler)]() mutable {
                             LocalPlatform::requestDataForAssetResource(
                                 resource, options, std::move(received), std::move(completed));
                           });
  }

 private:
  std::future<void> delivery_;
};

/// A library of one asset, "A", and a folder for what is exported.
class Streaming : public testing::Test {
 protected:
  /// Of one resource of type 1 that holds the text, or else as many zeros.
  void makeLibrary(const std::string& text, std::int64_t zeros = 0,
                   std::vector<std::int64_t> chunks = {},
                   std::optional<platform::local::DeliveryFailure> failure = {}) {
    fs::create_directory(library_);
    auto writer = LibraryWriter::create(library_, {.authorizationStatus = 3});
    ASSERT_TRUE(writer);
    NewAsset asset{.localIdentifier = "A"};
    asset.resources = {{.type = 1, .originalFilename = "a.jpg", .content = {.size = zeros}}};
    if (zeros == 0) {
      asset.resources[0].content = writer->storeText(text).value();
    }
    asset.resources[0].chunks = std::move(chunks);
    asset.resources[0].failure = std::move(failure);
    ASSERT_TRUE(writer->addAsset(asset));
    ASSERT_FALSE(writer->finish());
  }

  [[nodiscard]] Request request(const std::string& destination = "") const {
    return {.command = "export",
            .assetID = "A",
            .photoKitResourceType = 1,
            .destination = destination.empty() ? destination_.string() : destination};
  }

  void expectFailure(const std::string& error) {
    const Response response = photos::export_(request(), platform_);
    EXPECT_FALSE(response.ok);
    EXPECT_EQ(response.status, "export_failed");
    EXPECT_EQ(response.error, error);
    EXPECT_FALSE(response.sha256 || response.bytes);
  }

  void expectSuccess(const std::string& sha256, std::int64_t bytes) {
    const Response response = photos::export_(request(), platform_);
    EXPECT_EQ(response.status, "exported") << response.error.value_or("");
    EXPECT_EQ(response.sha256, sha256);
    EXPECT_EQ(response.bytes, bytes);
    EXPECT_EQ(fs::file_size(destination_), static_cast<std::uintmax_t>(bytes));
    EXPECT_EQ(photos::estimate(request(), platform_).bytes, bytes);
  }

  TemporaryFolder folder_;
  fs::path library_ = folder_.path() / "Library";
  fs::path destination_ = folder_.path() / "out";
  FaultyPlatform platform_{library_};
};

TEST_F(Streaming, WritesExactlyTheBytesWhateverTheChunksAndWhateverWasThere) {
  makeLibrary("abc", 0, {2, 0});
  std::ofstream(destination_) << "something longer than that";
  expectSuccess(digestOfABC, 3);
  EXPECT_EQ(bytesOf(destination_), "abc");
}

TEST_F(Streaming, HashesContentOfManyChunks) {
  // The long vector of FIPS 180-4, and as many zeros as take a part of a chunk at the end.
  makeLibrary(std::string(1'000'000, 'a'));
  expectSuccess("cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0", 1'000'000);
  fs::remove_all(library_);
  makeLibrary("", 67108865);
  expectSuccess("91990977345985aaf03af1358f4f989d7eaf985b58529efb72f613c588f6599a", 67108865);
}

TEST_F(Streaming, StopsWritingAtTheFirstFailedWrite) {
  makeLibrary("abc", 0, {1, 1, 1});
  platform_.faults.failingWrite = 2;
  expectFailure("write failed");
  EXPECT_EQ(platform_.faults.writes, 2);
  EXPECT_EQ(platform_.faults.closes, 1);
  EXPECT_EQ(bytesOf(destination_), "a");
}

TEST_F(Streaming, ReportsAFailedCloseRatherThanAFailedWrite) {
  makeLibrary("abc");
  platform_.faults.closeFails = true;
  expectFailure("close failed");
  platform_.faults = {.failingWrite = 1, .closeFails = true};
  expectFailure("close failed");
}

TEST_F(Streaming, ReportsALibraryErrorRatherThanAFailedWriteAndKeepsWhatCame) {
  makeLibrary("abcdef", 0, {2, 2}, {{.afterBytes = 5, .error = "library failed"}});
  expectFailure("library failed");
  EXPECT_EQ(bytesOf(destination_), "abcde");
  EXPECT_EQ(photos::estimate(request(), platform_).status, "estimate_failed");
  platform_.faults = {.failingWrite = 2};
  expectFailure("library failed");
  EXPECT_EQ(platform_.faults.closes, 0) << "an unfinished file is only let go";
  EXPECT_EQ(bytesOf(destination_), "ab");
}

TEST_F(Streaming, MakesNoRequestForDataThatCannotBeWritten) {
  makeLibrary("abc");
  fs::create_directory(destination_);
  expectFailure("The file “" + destination_.string() +
                "” could not be opened for writing: " + "Is a directory");
  EXPECT_EQ(platform_.faults.requests, 0);
}

TEST_F(Streaming, TellsWhatIsWrongWithAnOriginal) {
  makeLibrary("abc");
  const fs::path original = library_ / "originals" / "ba" / digestOfABC;
  ASSERT_EQ(bytesOf(original), "abc");
  std::ofstream(original) << "abcd";
  expectFailure("The original “a.jpg” is longer than the library recorded");
  std::ofstream(original) << "ab";
  expectFailure("The original “a.jpg” is shorter than the library recorded");
  EXPECT_EQ(bytesOf(destination_), "");
  fs::remove(original);
  expectFailure("The original “a.jpg” is missing from the library");
  EXPECT_EQ(photos::estimate(request(), platform_).status, "estimate_failed");
}

TEST_F(Streaming, SurvivesTheFileSizeLimit) {
  makeLibrary("", 1'000'000);
  std::signal(SIGXFSZ, SIG_IGN);  // as the helper does when it starts
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
  const rlimit low{.rlim_cur = 300'000, .rlim_max = limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &low), 0);
  expectFailure("The file “" + destination_.string() + "” could not be written: File too large");
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  EXPECT_EQ(fs::file_size(destination_), 300'000U);
}

TEST_F(Streaming, LeaksNoDescriptorOverThousandsOfFailures) {
  makeLibrary("abc", 0, {}, {{.afterBytes = 1, .error = "library failed"}});
  platform_.faults.failingWrite = 1;
  expectFailure("library failed");
  const auto openDescriptors = [] {
    return std::distance(fs::directory_iterator("/dev/fd"), fs::directory_iterator());
  };
  const auto before = openDescriptors();
  for (int round = 0; round < 2500; ++round) {
    platform_.faults.writes = 0;
    // The first write fails, and the library after the second.
    ASSERT_EQ(photos::export_(request(), platform_).status, "export_failed");
    ASSERT_EQ(photos::export_(request(), platform_).status, "export_failed");
    ASSERT_EQ(photos::export_(request("/no/folder"), platform_).status, "export_failed");
    ASSERT_EQ(photos::estimate(request(), platform_).status, "estimate_failed");
  }
  EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
}  // namespace tests
