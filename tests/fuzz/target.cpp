#include "tests/fuzz/target.h"

#include <utf8.h>

#include <algorithm>
#include <boost/json/parse.hpp>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <utility>

#include "app/request_cycle.h"
#include "platform/local/fetch_results.h"
#include "protocol/response_encoder.h"
#include "sim/description.h"
#include "tests/temporary_folder.h"

namespace fuzz {
namespace {

namespace fs = std::filesystem;
namespace json = boost::json;

fs::path exportsFolder() { return scratch() / "exports"; }

std::string confined(std::string path) {
  std::ranges::replace(path, '/', '_');
  return exportsFolder() / path;
}

}  // namespace

void require(bool holds, std::string_view what) {
  if (!holds) {
    std::cerr << "does not hold: " << what << '\n';
    std::abort();
  }
}

fs::path scratch() {
  static const tests::TemporaryFolder folder;
  return folder.path();
}

fs::path makeLibrary(std::string_view description) {
  const fs::path file = scratch() / "description.json";
  std::ofstream(file) << description;
  const auto read = sim::readDescription(file);
  require(read.has_value(), "the target's description can be read");
  const auto made = sim::makeDescribedLibrary(scratch() / "Library", *read, file);
  require(made.has_value(), "the target's library can be made");
  fs::remove(file);
  return scratch() / "Library";
}

void ConfinedPlatform::requestDataForAssetResource(
    const photos::AssetResource& resource, const photos::AssetResourceRequestOptions& options,
    DataReceivedHandler dataReceivedHandler, CompletionHandler completionHandler) {
  const auto& local = static_cast<const platform::local::LocalResource&>(resource);
  const auto stored = local.snapshot().library().resource(local.row()).value_or(std::nullopt);
  const bool isEndless = stored && !stored->content.sha256 && stored->content.size > mostZeros;
  if (stored &&
      (isEndless || stored->delay != 0 || stored->bytesPerSecond ||
       (stored->failure && stored->failure->kind != library::DeliveryFailure::Kind::error))) {
    completionHandler(photos::Error{"not waited for"});
    return;
  }
  LocalPlatform::requestDataForAssetResource(resource, options, std::move(dataReceivedHandler),
                                             std::move(completionHandler));
}

void ConfinedPlatform::requestAuthorization(photos::AccessLevel level,
                                            AuthorizationHandler handler) {
  const auto current = settings();
  if (current && current->promptDelay == 0) {
    LocalPlatform::requestAuthorization(level, std::move(handler));
  } else {
    handler(photos::AuthorizationStatus::restricted);
  }
}

void ConfinedPlatform::performChanges(ChangeBlock changeBlock,
                                      ChangeCompletionHandler completionHandler) {
  const auto current = settings();
  if (current && current->deletionDelay == 0 &&
      current->deletionCrash == library::DeletionCrash::none) {
    LocalPlatform::performChanges(std::move(changeBlock), std::move(completionHandler));
  } else {
    completionHandler(false, std::nullopt);
  }
}

void ConfinedPlatform::createFile(const std::string& path) {
  LocalPlatform::createFile(confined(path));
}

std::expected<std::unique_ptr<photos::FileHandle>, photos::Error>
ConfinedPlatform::fileHandleForWriting(const std::string& path) {
  return LocalPlatform::fileHandleForWriting(confined(path));
}

Helper::Helper(const fs::path& library) : platform_(library) {
  fs::remove_all(exportsFolder());
  fs::create_directory(exportsFolder());
}

json::object Helper::answer(std::string_view line) {
  const auto answer = protocol::encode(app::answer(line, decoder_, platform_));
  require(answer.has_value(), "a request is answered");
  require(utf8::is_valid(*answer), "an answer is UTF-8");
  require(!answer->contains('\n'), "an answer is one line");
  boost::system::error_code error;
  json::value parsed = json::parse(*answer, error);
  require(!error && parsed.is_object(), "an answer is a JSON object");
  return std::move(parsed.get_object());
}

}  // namespace fuzz
