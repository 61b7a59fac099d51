#include "tests/platform_contract.h"

#include <algorithm>
#include <cstdint>
#include <future>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace tests {
namespace {

using namespace photos;

// Transcripts show what objects and answers are. What follows shows in no answer.

TEST_P(PlatformContract, GivesTheSameObjectsInWhateverOrderTheyAreAskedFor) {
  DescribedLibrary library;
  for (int number = 0; number < 700; ++number) {
    const std::string name = std::to_string(number);
    library.assets.push_back({name, number * 37 % 100});
    library.assets.back().resources.resize(static_cast<std::size_t>(number) % 3, {{}, name});
  }
  // Equal dates keep the library's order.
  std::vector<DescribedAsset> sorted = library.assets;
  std::ranges::sort(sorted, {}, [](const DescribedAsset& asset) {
    return std::pair(asset.creationDate, std::stoi(asset.localIdentifier));
  });
  const auto platform = GetParam()(library);
  const auto result = platform->fetchAssets({});
  ASSERT_EQ(result->count(), sorted.size());
  for (const std::size_t stride : {1UL, 129UL, 699UL}) {
    for (std::size_t step = 0, index = 5; step < sorted.size(); ++step, index += stride) {
      const auto asset = result->objectAtIndex(index % sorted.size());
      const DescribedAsset& described = sorted[index % sorted.size()];
      EXPECT_EQ(asset->localIdentifier(), described.localIdentifier);
      const auto resources = platform->assetResourcesForAsset(*asset);
      EXPECT_EQ(resources.size(), described.resources.size());
      for (const auto& resource : resources) {
        EXPECT_EQ(resource->originalFilename(), described.localIdentifier);
      }
    }
  }
}

/// Equal dates, all media types, and every third asset without a date.
TEST_P(PlatformContract, WalksALargeResultAsOneWouldByHand) {
  DescribedLibrary library;
  for (int number = 0; number < 5000; ++number) {
    const bool isDated = number % 3 != 0;
    library.assets.push_back({std::to_string(number),
                              isDated ? std::optional<Date>(number * 7919 % 1000) : std::nullopt,
                              AssetMediaType{number / 10 % 4}});
  }
  const auto platform = GetParam()(library);
  for (const auto cutoff : {std::optional<Date>(), std::optional<Date>(500)}) {
    for (const AssetFilter filter : {AssetFilter{}, {.images = false}, {false, false}}) {
      const auto byHand = platform->fetchAssets({.creationDateBefore = cutoff});
      std::vector<std::size_t> stops;
      for (std::size_t index = 0; index < byHand->count(); ++index) {
        const auto asset = byHand->objectAtIndex(index);
        if (asset->creationDate() &&
            ((asset->mediaType() == AssetMediaType::image && filter.images) ||
             (asset->mediaType() == AssetMediaType::video && filter.videos))) {
          stops.push_back(index);
        }
      }
      for (const std::size_t start : {0UL, 455UL, byHand->count() - 1}) {
        const std::vector<std::size_t> left(std::ranges::lower_bound(stops, start), stops.end());
        const auto result = platform->fetchAssets({.creationDateBefore = cutoff});
        const std::size_t count = left.size();
        for (const std::size_t skipped :
             {std::size_t{0}, count / 3, count - 1, count, ~std::size_t{0}, std::size_t{1}}) {
          EXPECT_EQ(result->indexOfAsset(filter, start, skipped),
                    skipped < count ? std::optional(left[skipped]) : std::nullopt);
        }
      }
    }
  }
}

/// The request goes on at the completion: by then the file that a handler holds is to be closed.
TEST_P(PlatformContract, LetsGoOfAHandlerBeforeItTellsTheEnd) {
  const auto platform =
      GetParam()({.assets = {{.localIdentifier = "A", .resources = {{{}, "a", {"ab", "", "c"}}}}}});
  const auto fetched = platform->fetchAssets({});
  std::string told;
  std::promise<void> delivered;
  std::promise<void> changed;
  const auto held = [&told] { return std::shared_ptr<void>(nullptr, [&](auto) { told += "; "; }); };
  platform->requestDataForAssetResource(
      // The resource need not outlive the call.
      *platform->assetResourcesForAsset(*fetched->firstObject()).at(0), {},
      [&told, held = held()](auto bytes) { told += std::to_string(bytes.size()) + " "; },
      [&](const std::optional<Error>& error) {
        told += error ? "failed, " : "delivered, ";
        delivered.set_value();
      });
  delivered.get_future().wait();
  platform->performChanges(
      [&told, &fetched, held = held()](AssetChangeRequest& change) {
        told += "change";
        change.deleteAssets(*fetched);
      },
      [&](bool success, const std::optional<Error>& error) {
        told += success && !error ? "changed" : "failed";
        changed.set_value();
      });
  changed.get_future().wait();
  EXPECT_EQ(told, "2 0 1 ; delivered, change; changed");
}

/// Several megabytes, of which no two parts are alike: "seq 700000 | sha256sum".
TEST_P(PlatformContract, HashesBytesInWhateverPiecesTheyCome) {
  const auto platform = GetParam()({});
  std::string numbers;
  for (int number = 1; number <= 700'000; ++number) {
    numbers += std::to_string(number) + '\n';
  }
  for (const std::size_t size : {numbers.size(), 2'000'000UL, 131'072UL, 4'099UL, 63UL}) {
    const auto hasher = platform->makeSHA256();
    const auto abandoned = platform->makeSHA256();
    for (std::size_t at = 0; at < numbers.size(); at += size) {
      std::string piece = numbers.substr(at, size);
      hasher->update(std::as_bytes(std::span(piece)));
      abandoned->update(std::as_bytes(std::span(piece)));
      piece.assign(piece.size(), 'b');  // the bytes are not used any more
    }
    EXPECT_EQ(hexadecimal(hasher->finalize()),
              "52ecaed6c269043703c6bfff09b6848da63a3bcbf5d168d980bb85990f480fa7")
        << size;
  }
}

}  // namespace
}  // namespace tests
