#include "dispatch/dispatcher.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <utility>

#include "photos/discover.h"
#include "photos/estimate.h"
#include "photos/export.h"
#include "photos/open_asset.h"
#include "photos/reclaim.h"
#include "runtime/continuation.h"

namespace dispatch {
namespace {

using photos::AccessLevel;
using photos::AuthorizationStatus;
using photos::isGranted;
using photos::Platform;
using protocol::Request;
using protocol::Response;

Response refusal(AuthorizationStatus status) {
  return {.ok = false, .status = "authorization_" + std::to_string(std::to_underlying(status))};
}

Response authorizeCommand(const Request& /*request*/, Platform& platform) {
  const AuthorizationStatus status = authorize(platform);
  return isGranted(status) ? Response{.ok = true, .status = "authorized"} : refusal(status);
}

enum class Gate { none, readWriteAccess };

struct Command {
  std::string_view name;
  Gate gate;
  Response (*handler)(const Request&, Platform&);
};

/// In the order in which names are compared.
constexpr std::array commands = {
    Command{"authorize", Gate::none, authorizeCommand},
    Command{"export", Gate::readWriteAccess, photos::export_},
    Command{"estimate", Gate::readWriteAccess, photos::estimate},
    Command{"open", Gate::readWriteAccess, photos::openAsset},
    Command{"reclaim", Gate::readWriteAccess, photos::reclaim},
    Command{"discover", Gate::readWriteAccess, photos::discover},
};

}  // namespace

Response response(const Request& request, Platform& platform) {
  const auto command =
      std::ranges::find(commands, std::string_view(request.command), &Command::name);
  // Denied by default: the gate also stands before commands that nobody knows.
  if (command == commands.end() || command->gate == Gate::readWriteAccess) {
    const AuthorizationStatus status = platform.authorizationStatus(AccessLevel::readWrite);
    if (!isGranted(status)) {
      return refusal(status);
    }
  }
  if (command == commands.end()) {
    return {.ok = false, .status = "invalid_request", .error = "Unknown command"};
  }
  return command->handler(request, platform);
}

AuthorizationStatus authorize(Platform& platform) {
  return runtime::suspend(
      "authorize()", AuthorizationStatus::notDetermined, [&](const auto& continuation) {
        platform.requestAuthorization(
            AccessLevel::readWrite,
            [continuation](AuthorizationStatus status) { continuation.resume(status); });
      });
}

}  // namespace dispatch
