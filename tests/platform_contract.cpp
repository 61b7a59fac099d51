#include "tests/platform_contract.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <fstream>
#include <future>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/temporary_folder.h"

namespace tests {
namespace {

using namespace photos;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

std::vector<std::string> identifiers(AssetFetchResult& result) {
  std::vector<std::string> list;
  list.reserve(result.count());
  for (std::size_t index = 0; index < result.count(); ++index) {
    list.push_back(result.objectAtIndex(index)->localIdentifier());
  }
  return list;
}

/// Fractions of seconds are powers of two, or far enough apart, here and below: a backend may count
/// from another year than 1970, where others would round differently.
const DescribedLibrary mixed{.assets = {{"late", 30.5},
                                        {"Z", 20, AssetMediaType::audio},
                                        {"undated"},
                                        {"early", -1e9},
                                        {"A", 20, AssetMediaType::video},
                                        {"undated too", {}, AssetMediaType::unknown},
                                        {"M", 20}}};

TEST_P(PlatformContract, FetchesWhatIsBeforeTheCutoffInOrderOfDatesAndKeepsItAmongEqualOnes) {
  const auto platform = GetParam()(mixed);
  const auto all = identifiers(*platform->fetchAssets({}));
  EXPECT_THAT(all, UnorderedElementsAre("early", "Z", "A", "M", "late", "undated", "undated too"));
  EXPECT_EQ(identifiers(*platform->fetchAssets({})), all);
  const std::vector<std::string> dated{"early", "Z", "A", "M", "late"};
  std::vector<std::string> left = all;
  std::erase_if(left, [](const std::string& name) { return name.starts_with("undated"); });
  EXPECT_EQ(left, dated);
  for (const auto& [cutoff, count] : std::vector<std::pair<Date, std::ptrdiff_t>>{
           {-1e9, 0}, {0, 1}, {20, 1}, {20.5, 4}, {30.5, 4}, {30.500001, 5}, {1e300, 5}}) {
    const auto result = platform->fetchAssets({.creationDateBefore = cutoff});
    EXPECT_EQ(identifiers(*result), std::vector(dated.begin(), dated.begin() + count)) << cutoff;
    EXPECT_EQ(result->firstObject() != nullptr, count > 0) << cutoff;
  }
}

TEST_P(PlatformContract, FetchesEachAssetOnceByItsIdentifier) {
  const auto platform = GetParam()(mixed);
  const auto fetch = [&](const std::vector<std::string>& wanted) {
    return identifiers(*platform->fetchAssetsWithLocalIdentifiers(wanted));
  };
  EXPECT_THAT(fetch({"M", "undated", "nobody", "M", "", "m", "Z"}),
              UnorderedElementsAre("M", "undated", "Z"));
  EXPECT_THAT(fetch({"nobody"}), IsEmpty());
  EXPECT_THAT(fetch({}), IsEmpty());
}

TEST_P(PlatformContract, GivesAssetsAndTheirResourcesAsTheyAre) {
  const std::vector<std::pair<int, std::string>> resources{
      {9, "b.MOV"}, {42, ""}, {1, "\u00e9 \u201ca\u201d/\".HEIC"}, {1, "b.MOV"}};
  DescribedAsset described{"A/L0/001", 0.125, AssetMediaType{9}, -0.5};
  for (const auto& [type, name] : resources) {
    described.resources.push_back({AssetResourceType{type}, name});
  }
  const auto platform = GetParam()({.assets = {described, {"B/L0/001", 5}}});
  const auto result = platform->fetchAssets({});
  const auto asset = result->firstObject();
  EXPECT_EQ(asset->localIdentifier(), "A/L0/001");
  EXPECT_EQ(asset->mediaType(), AssetMediaType{9});
  EXPECT_EQ(asset->creationDate(), 0.125);
  EXPECT_EQ(asset->modificationDate(), -0.5);
  std::vector<std::pair<int, std::string>> given;
  for (const auto& resource : platform->assetResourcesForAsset(*asset)) {
    given.emplace_back(std::to_underlying(resource->type()), resource->originalFilename());
  }
  EXPECT_EQ(given, resources);
  const auto bare = result->objectAtIndex(1);
  EXPECT_EQ(bare->modificationDate(), std::nullopt);
  EXPECT_THAT(platform->assetResourcesForAsset(*bare), IsEmpty());
}

TEST_P(PlatformContract, GivesTheSameObjectsInWhateverOrderTheyAreAskedFor) {
  DescribedLibrary library;
  for (int number = 0; number < 700; ++number) {
    const std::string name = std::to_string(number);
    library.assets.push_back({name, number * 37 % 100});
    library.assets.back().resources.resize(static_cast<std::size_t>(number) % 3, {{}, name});
  }
  const auto platform = GetParam()(library);
  const auto expectResources = [&](const Asset& asset) {
    const auto resources = platform->assetResourcesForAsset(asset);
    EXPECT_EQ(resources.size(), std::stoul(asset.localIdentifier()) % 3);
    for (const auto& resource : resources) {
      EXPECT_EQ(resource->originalFilename(), asset.localIdentifier());
    }
  };
  const auto result = platform->fetchAssets({});
  const auto inOrder = identifiers(*result);
  for (const std::size_t stride : {1UL, 2UL, 129UL, 699UL}) {
    for (std::size_t step = 0, index = 5; step < inOrder.size(); ++step, index += stride) {
      const auto asset = result->objectAtIndex(index % inOrder.size());
      EXPECT_EQ(asset->localIdentifier(), inOrder[index % inOrder.size()]);
      expectResources(*asset);
    }
  }
  const auto byIdentifiers = platform->fetchAssetsWithLocalIdentifiers(inOrder);
  ASSERT_EQ(byIdentifiers->count(), inOrder.size());
  for (std::size_t index = 0; index < inOrder.size(); ++index) {
    expectResources(*byIdentifiers->objectAtIndex(index));
  }
}

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
    for (const auto& [images, videos] : {std::pair(true, true), {false, true}, {false, false}}) {
      const AssetFilter filter{.images = images, .videos = videos};
      const auto byHand = platform->fetchAssets({.creationDateBefore = cutoff});
      std::vector<std::size_t> stops;
      for (std::size_t index = 0; index < byHand->count(); ++index) {
        const auto asset = byHand->objectAtIndex(index);
        const bool isWanted = (asset->mediaType() == AssetMediaType::image && images) ||
                              (asset->mediaType() == AssetMediaType::video && videos);
        if (isWanted && asset->creationDate()) {
          stops.push_back(index);
        }
      }
      for (const std::size_t start : {0UL, 1UL, 455UL, byHand->count() - 1}) {
        const std::vector<std::size_t> left(std::ranges::lower_bound(stops, start), stops.end());
        const auto result = platform->fetchAssets({.creationDateBefore = cutoff});
        // Most of them close to either end.
        for (std::size_t away = 0; away < left.size() + 2; away = 2 * away + 1) {
          for (const std::size_t skipped : {away, left.size() + 1 - away}) {
            EXPECT_EQ(result->indexOfAsset(filter, start, skipped),
                      skipped < left.size() ? std::optional(left[skipped]) : std::nullopt);
          }
        }
        EXPECT_EQ(result->indexOfAsset(filter, start, ~std::uint64_t{0}), std::nullopt);
      }
    }
  }
}

TEST_P(PlatformContract, FindsTheAlbumOfTheWholeLibraryIfThereIsOne) {
  const auto fetch = [](Platform& platform) {
    return platform.fetchAssetCollections(AssetCollectionType::smartAlbum,
                                          AssetCollectionSubtype::smartAlbumUserLibrary);
  };
  const auto with = GetParam()({.userLibraryAlbum = "ALBUM/L0/040"});
  ASSERT_EQ(fetch(*with)->count(), 1U);
  EXPECT_EQ(fetch(*with)->firstObject()->localIdentifier(), "ALBUM/L0/040");
  const auto without = GetParam()({});
  EXPECT_EQ(fetch(*without)->count(), 0U);
  EXPECT_EQ(fetch(*without)->firstObject(), nullptr);
}

TEST_P(PlatformContract, PromptsOnlyWhileTheStatusIsNotDetermined) {
  for (const auto& [before, promptAnswer, after] :
       std::vector<std::array<int, 3>>{{0, 4, 4}, {0, 2, 2}, {1, 0, 1}, {3, 0, 3}, {7, 0, 7}}) {
    const auto platform = GetParam()({.authorizationStatus = AuthorizationStatus{before},
                                      .promptAnswer = AuthorizationStatus{promptAnswer}});
    EXPECT_EQ(platform->authorizationStatus(AccessLevel::readWrite), AuthorizationStatus{before});
    std::promise<AuthorizationStatus> answer;
    platform->requestAuthorization(AccessLevel::readWrite,
                                   [&](AuthorizationStatus status) { answer.set_value(status); });
    EXPECT_EQ(answer.get_future().get(), AuthorizationStatus{after});
    EXPECT_EQ(platform->authorizationStatus(AccessLevel::readWrite), AuthorizationStatus{after});
  }
}

/// What a delivery tells, in order, and whether it let go of the handler of data before its end.
struct Delivery {
  std::vector<std::string> chunks;
  std::optional<Error> error;
  bool letGoFirst = false;
};

Delivery deliver(Platform& platform, const Asset& asset, bool networkAccessAllowed,
                 std::size_t which = 0) {
  Delivery delivery;
  std::promise<void> completed;
  auto held = std::make_shared<int>();
  const std::weak_ptr<int> watched = held;
  {
    // The resource need not outlive the call.
    const auto resource = std::move(platform.assetResourcesForAsset(asset).at(which));
    platform.requestDataForAssetResource(
        *resource, {.networkAccessAllowed = networkAccessAllowed},
        [&delivery, held = std::move(held)](std::span<const std::byte> bytes) {
          delivery.chunks.emplace_back(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        },
        [&](std::optional<Error> error) {
          delivery.letGoFirst = watched.expired();
          delivery.error = std::move(error);
          completed.set_value();
        });
  }
  completed.get_future().wait();
  return delivery;
}

TEST_P(PlatformContract, DeliversChunksInOrderThenEndsOnce) {
  const auto photo = AssetResourceType::photo;
  const auto platform =
      GetParam()({.assets = {{.localIdentifier = "A",
                              .resources = {{photo, "a", {"ab", "", "c"}},
                                            {photo, "b"},
                                            {photo, "c", {"partly"}, false, "broken off"},
                                            {photo, "d", {"far"}, true}}}}});
  const auto asset = platform->fetchAssets({})->firstObject();
  const Delivery whole = deliver(*platform, *asset, false);
  EXPECT_THAT(whole.chunks, ElementsAre("ab", "", "c"));
  EXPECT_FALSE(whole.error);
  EXPECT_TRUE(whole.letGoFirst);
  const Delivery empty = deliver(*platform, *asset, true, 1);
  EXPECT_FALSE(empty.error);
  EXPECT_THAT(empty.chunks, IsEmpty());
  const Delivery broken = deliver(*platform, *asset, true, 2);
  EXPECT_THAT(broken.chunks, ElementsAre("partly"));
  EXPECT_EQ(broken.error.value_or(Error{}).localizedDescription, "broken off");
  EXPECT_TRUE(broken.letGoFirst);
  const Delivery unreachable = deliver(*platform, *asset, false, 3);
  EXPECT_THAT(unreachable.chunks, IsEmpty());
  EXPECT_TRUE(unreachable.error);
  EXPECT_THAT(deliver(*platform, *asset, true, 3).chunks, ElementsAre("far"));
}

TEST_P(PlatformContract, DeletesWhatIsAskedForWhereTheLibraryLetsItAndTellsBoth) {
  for (const auto& [success, error] : std::vector<std::pair<bool, std::optional<std::string>>>{
           {true, {}}, {true, "some are kept"}, {false, {}}, {false, "refused"}}) {
    const auto platform = GetParam()(
        {.assets = {{"A"}, {"B"}, {"C"}}, .deletionSuccess = success, .deletionError = error});
    auto fetched = platform->fetchAssetsWithLocalIdentifiers(std::vector<std::string>{"C", "A"});
    const std::weak_ptr<AssetFetchResult> watched = fetched;
    int blocks = 0;
    bool letGoFirst = false;
    std::promise<std::pair<bool, std::optional<Error>>> outcome;
    platform->performChanges(
        [fetched = std::move(fetched), &blocks](AssetChangeRequest& change) {
          ++blocks;
          change.deleteAssets(*fetched);
        },
        [&](bool ok, std::optional<Error> given) {
          letGoFirst = watched.expired();
          outcome.set_value({ok, std::move(given)});
        });
    const auto [ok, given] = outcome.get_future().get();
    EXPECT_EQ(ok, success);
    EXPECT_EQ(given ? std::optional(given->localizedDescription) : std::nullopt, error);
    EXPECT_EQ(blocks, 1);
    EXPECT_TRUE(letGoFirst);
    const auto left = identifiers(*platform->fetchAssets({}));
    EXPECT_EQ(left,
              success ? std::vector<std::string>{"B"} : (std::vector<std::string>{"A", "B", "C"}));
  }
}

TEST_P(PlatformContract, WritesFilesFromTheirStart) {
  const TemporaryFolder folder;
  const auto platform = GetParam()({});
  const std::string file = folder.path() / "file";
  const auto bytes = [](std::string_view text) { return std::as_bytes(std::span(text)); };
  EXPECT_FALSE(platform->fileHandleForWriting(file)) << "it is not there";
  std::ofstream(file) << "something longer";
  platform->createFile(file);
  {
    const auto handle = platform->fileHandleForWriting(file);
    ASSERT_TRUE(handle);
    EXPECT_TRUE((*handle)->write(bytes("ab")) && (*handle)->write({}) &&
                (*handle)->write(bytes("c")) && (*handle)->close());
  }
  std::ifstream written(file);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(written), {}), "abc");
}

TEST_P(PlatformContract, HashesBytesInWhateverPiecesTheyCome) {
  const auto platform = GetParam()({});
  const auto expectDigest = [&](const std::string& text, std::size_t size, const char* digest) {
    const auto hasher = platform->makeSHA256();
    const auto abandoned = platform->makeSHA256();
    for (std::size_t at = 0; at < text.size(); at += size) {
      std::string piece = text.substr(at, size);
      hasher->update(std::as_bytes(std::span(piece)));
      abandoned->update(std::as_bytes(std::span(piece)));
      piece.assign(piece.size(), 'b');  // the bytes are not used any more
    }
    EXPECT_EQ(hexadecimal(hasher->finalize()), digest) << size;
  };
  for (const std::size_t size : {1'000'000UL, 262'147UL, 63UL}) {
    // The long vector of FIPS 180-4.
    expectDigest(std::string(1'000'000, 'a'), size,
                 "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
  }
  std::string numbers;
  for (int number = 1; number <= 700'000; ++number) {
    numbers += std::to_string(number) + '\n';
  }
  for (const std::size_t size : {numbers.size(), 2'000'000UL, 131'072UL, 4'099UL, 63UL}) {
    // "seq 700000 | sha256sum": several megabytes, of which no two parts are alike.
    expectDigest(numbers, size, "52ecaed6c269043703c6bfff09b6848da63a3bcbf5d168d980bb85990f480fa7");
  }
  EXPECT_EQ(hexadecimal(platform->makeSHA256()->finalize()),
            "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

TEST_P(PlatformContract, ParsesURLsStrictlyAndOpensThem) {
  const auto platform = GetParam()({.opensURLs = true});
  const auto url = platform->URLWithString("photos:albums?albumUuid=A&assetUuid=B%20C");
  ASSERT_TRUE(url);
  EXPECT_TRUE(platform->openURL(*url));
  const auto refusing = GetParam()({.opensURLs = false});
  EXPECT_FALSE(refusing->openURL(*refusing->URLWithString("photos:")));
  for (const char* text : {"photos:a b", "photos:%", "photos:\xFF", "photos:\n"}) {
    EXPECT_FALSE(platform->URLWithString(text)) << text;
  }
}

TEST_P(PlatformContract, FindsThePathExtensionBehindTheLastDot) {
  const auto platform = GetParam()({});
  for (const auto& [name, extension] : std::vector<std::pair<const char*, const char*>>{
           {"IMG_0001.CR2", "CR2"}, {"a.dng.mov", "mov"}, {"dng", ""}, {"", ""}}) {
    EXPECT_EQ(platform->pathExtension(name), extension) << name;
  }
}

}  // namespace
}  // namespace tests
