#include "platform/photokit/library_change.h"

#import <Photos/Photos.h>

#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "platform/photokit/conversions.h"
#include "platform/photokit/objects.h"

namespace platform::photokit {
namespace {

class ChangeRequest : public photos::AssetChangeRequest {
 public:
  void deleteAssets(photos::AssetFetchResult& assets) override {
    [PHAssetChangeRequest deleteAssets:static_cast<PhotoKitAssets&>(assets).get()];
  }
};

/// What the blocks of one change share. The library calls them one after the other. The lock is for
/// a call that queues them and then raises an exception, which completes the change on another
/// thread. A change block that is called after the completion does nothing.
class Change {
 public:
  Change(photos::Platform::ChangeBlock changeBlock,
         photos::Platform::ChangeCompletionHandler completionHandler)
      : changeBlock_(std::move(changeBlock)), completionHandler_(std::move(completionHandler)) {}

  void request() {
    const std::lock_guard lock(mutex_);
    if (!changeBlock_) {
      return;
    }
    @try {
      ChangeRequest changeRequest;
      changeBlock_(changeRequest);
    } @catch (NSException* exception) {
      // Without this the library would report the success of a change that asks for nothing.
      failure_ = errorOf(exception);
    }
  }

  void complete(bool success, std::optional<photos::Error> error) {
    {
      // Destroys what the block holds before the request can go on.
      const std::lock_guard lock(mutex_);
      changeBlock_ = nullptr;
      success = success && !failure_;
      error = error ? std::move(error) : failure_;
    }
    completionHandler_(success, std::move(error));
  }

 private:
  std::mutex mutex_;
  photos::Platform::ChangeBlock changeBlock_;
  const photos::Platform::ChangeCompletionHandler completionHandler_;
  std::optional<photos::Error> failure_;
};

/// `change` comes by value: a block captures a reference as a reference.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void start(std::shared_ptr<Change> change) {
  PHPhotoLibrary* const library = [PHPhotoLibrary sharedPhotoLibrary];
  if (library == nil) {
    change->complete(false, photos::Error{"There is no Photos library"});
    return;
  }
  [library
      performChanges:^{
        @autoreleasepool {
          change->request();
        }
      }
      completionHandler:^(BOOL success, NSError* error) {
        @autoreleasepool {
          change->complete(success != NO,
                           error == nil ? std::nullopt : std::optional(errorOf(error)));
        }
      }];
}

}  // namespace

void performChange(photos::Platform::ChangeBlock changeBlock,
                   photos::Platform::ChangeCompletionHandler completionHandler) {
  const auto change =
      std::make_shared<Change>(std::move(changeBlock), std::move(completionHandler));
  @autoreleasepool {
    @try {
      start(change);
    } @catch (NSException* exception) {
      change->complete(false, errorOf(exception));
    }
  }
}

}  // namespace platform::photokit
