#include "platform/photokit/resource_delivery.h"

#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <utility>

#include "platform/photokit/conversions.h"
#include "platform/photokit/retained.h"

namespace platform::photokit {
namespace {

/// What the callbacks of one request share. The manager calls them one after another. The lock is
/// for a chunk that comes after the completion, which the manager does not rule out.
class Delivery {
 public:
  Delivery(photos::Platform::DataReceivedHandler dataReceivedHandler,
           photos::Platform::CompletionHandler completionHandler)
      : dataReceivedHandler_(std::move(dataReceivedHandler)),
        completionHandler_(std::move(completionHandler)) {}

  void receive(NSData* chunk) {
    const std::lock_guard lock(mutex_);
    if (!dataReceivedHandler_ || lostChunk_) {
      return;
    }
    @try {
      dataReceivedHandler_({static_cast<const std::byte*>([chunk bytes]), [chunk length]});
    } @catch (NSException* exception) {
      lostChunk_ = errorOf(exception);
    }
  }

  void complete(std::optional<photos::Error> error) {
    {
      const std::lock_guard lock(mutex_);
      // Destroys what the handler holds before the request can go on.
      dataReceivedHandler_ = nullptr;
      if (!error) {
        error = lostChunk_;
      }
    }
    completionHandler_(std::move(error));
  }

 private:
  std::mutex mutex_;
  photos::Platform::DataReceivedHandler dataReceivedHandler_;
  const photos::Platform::CompletionHandler completionHandler_;
  std::optional<photos::Error> lostChunk_;
};

/// `delivery` comes by value: a block captures a reference as a reference.
void start(PHAssetResource* resource, PHAssetResourceRequestOptions* options,
           // NOLINTNEXTLINE(performance-unnecessary-value-param)
           std::shared_ptr<Delivery> delivery) {
  PHAssetResourceManager* const manager = [PHAssetResourceManager defaultManager];
  if (manager == nil) {
    delivery->complete(photos::Error{"Photos has no resource manager"});
    return;
  }
  [manager requestDataForAssetResource:resource
      options:options
      dataReceivedHandler:^(NSData* chunk) {
        @autoreleasepool {
          delivery->receive(chunk);
        }
      }
      completionHandler:^(NSError* error) {
        @autoreleasepool {
          delivery->complete(error == nil ? std::nullopt : std::optional(errorOf(error)));
        }
      }];
}

}  // namespace

void requestData(PHAssetResource* resource, const photos::AssetResourceRequestOptions& options,
                 photos::Platform::DataReceivedHandler dataReceivedHandler,
                 photos::Platform::CompletionHandler completionHandler) {
  const auto delivery =
      std::make_shared<Delivery>(std::move(dataReceivedHandler), std::move(completionHandler));
  @autoreleasepool {
    @try {
      const auto native = Retained<PHAssetResourceRequestOptions>::adopt(
          [[PHAssetResourceRequestOptions alloc] init]);
      [native.get() setNetworkAccessAllowed:options.networkAccessAllowed ? YES : NO];
      start(resource, native.get(), delivery);
    } @catch (NSException* exception) {
      delivery->complete(errorOf(exception));
    }
  }
}

}  // namespace platform::photokit
