// Stands before a real platform, takes down each call of the seam, and breaks single operations.
#pragma once

#include <future>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "photos/platform.h"

namespace tests {

class RecordingPlatform : public photos::Platform {
 public:
  explicit RecordingPlatform(std::shared_ptr<photos::Platform> real) : real_(std::move(real)) {}

  /// The calls since the last time, each with its arguments.
  std::vector<std::string> takeCalls() { return std::exchange(calls_, {}); }

  // What goes wrong: a write, by its number, and the close. Set anew, writes are counted anew.
  struct Faults {
    int failingWrite = 0;
    bool closeFails = false;
  };
  void breakFiles(Faults faults) {
    faults_ = faults;
    writes_ = 0;
  }

  photos::AuthorizationStatus authorizationStatus(photos::AccessLevel level) override {
    called("authorizationStatus " + std::to_string(std::to_underlying(level)));
    return real_->authorizationStatus(level);
  }
  void requestAuthorization(photos::AccessLevel level, AuthorizationHandler handler) override {
    called("requestAuthorization " + std::to_string(std::to_underlying(level)));
    real_->requestAuthorization(level, std::move(handler));
  }
  std::shared_ptr<photos::AssetFetchResult> fetchAssets(
      const photos::FetchOptions& options) override {
    called("fetchAssets");
    return real_->fetchAssets(options);
  }
  std::shared_ptr<photos::AssetFetchResult> fetchAssetsWithLocalIdentifiers(
      std::span<const std::string> identifiers) override {
    called("fetchAssetsWithLocalIdentifiers");
    for (const std::string& identifier : identifiers) {
      calls_.back() += " " + identifier;
    }
    return real_->fetchAssetsWithLocalIdentifiers(identifiers);
  }
  std::shared_ptr<photos::AssetCollectionFetchResult> fetchAssetCollections(
      photos::AssetCollectionType type, photos::AssetCollectionSubtype subtype) override {
    called("fetchAssetCollections " + std::to_string(std::to_underlying(type)) + " " +
           std::to_string(std::to_underlying(subtype)));
    return real_->fetchAssetCollections(type, subtype);
  }
  std::vector<std::unique_ptr<photos::AssetResource>> assetResourcesForAsset(
      const photos::Asset& asset) override {
    called("assetResourcesForAsset " + asset.localIdentifier());
    return real_->assetResourcesForAsset(asset);
  }
  /// The callbacks come from another thread, which the next request or the end waits for.
  void requestDataForAssetResource(const photos::AssetResource& resource,
                                   const photos::AssetResourceRequestOptions& options,
                                   DataReceivedHandler dataReceivedHandler,
                                   CompletionHandler completionHandler) override {
    called("requestData " + resource.originalFilename() +
           (options.networkAccessAllowed ? " network" : ""));
    delivery_ = std::async(std::launch::async,
                           [this, &resource, options, received = std::move(dataReceivedHandler),
                            completed = std::move(completionHandler)]() mutable {
                             real_->requestDataForAssetResource(
                                 resource, options, std::move(received), std::move(completed));
                           });
  }
  void performChanges(ChangeBlock changeBlock, ChangeCompletionHandler completed) override {
    called("performChanges");
    real_->performChanges(std::move(changeBlock), std::move(completed));
  }
  void createFile(const std::string& path) override {
    called("createFile " + path);
    real_->createFile(path);
  }
  std::expected<std::unique_ptr<photos::FileHandle>, photos::Error> fileHandleForWriting(
      const std::string& path) override {
    called("fileHandleForWriting " + path);
    auto handle = real_->fileHandleForWriting(path);
    if (handle) {
      handle = std::make_unique<Handle>(std::move(*handle), *this);
    }
    return handle;
  }
  std::unique_ptr<photos::SHA256> makeSHA256() override { return real_->makeSHA256(); }
  std::string pathExtension(std::string_view filename) const override {
    return real_->pathExtension(filename);
  }
  std::unique_ptr<photos::URL> URLWithString(const std::string& text) override {
    called("URLWithString " + text);
    return real_->URLWithString(text);
  }
  bool openURL(const photos::URL& url) override {
    called("openURL");
    return real_->openURL(url);
  }

 private:
  class Handle : public photos::FileHandle {
   public:
    Handle(std::unique_ptr<photos::FileHandle> real, RecordingPlatform& platform)
        : real_(std::move(real)), platform_(platform) {}
    std::expected<void, photos::Error> write(std::span<const std::byte> bytes) override {
      platform_.called("write " + std::to_string(bytes.size()));
      if (++platform_.writes_ == platform_.faults_.failingWrite) {
        return std::unexpected(photos::Error{"write failed"});
      }
      return real_->write(bytes);
    }
    std::expected<void, photos::Error> close() override {
      platform_.called("close");
      auto closed = real_->close();
      return platform_.faults_.closeFails ? std::unexpected(photos::Error{"close failed"}) : closed;
    }

   private:
    std::unique_ptr<photos::FileHandle> real_;
    RecordingPlatform& platform_;
  };

  void called(const std::string& call) { calls_.push_back(call); }

  std::shared_ptr<photos::Platform> real_;
  std::vector<std::string> calls_;
  Faults faults_;
  int writes_ = 0;
  std::future<void> delivery_;
};

}  // namespace tests
