#include "platform/photokit/photokit_platform.h"
#include "platform/system_platform.h"

namespace platform {

std::unique_ptr<photos::Platform> makeSystemPlatform() {
  return std::make_unique<photokit::PhotoKitPlatform>();
}

}  // namespace platform
