// What the fuzz targets share. Each defines LLVMFuzzerTestOneInput(), which libFuzzer calls with
// inputs of its making, and main() of replay.cpp with the target's seeds and with past findings.
//
// One thread. What does not hold ends the process, which is how libFuzzer knows a finding.
#pragma once

#include <boost/json/object.hpp>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "platform/local/local_platform.h"
#include "protocol/request_decoder.h"

namespace fuzz {

/// Inputs that show at least that the target's checks hold for what they are meant for.
extern const std::vector<std::string> seeds;

/// Ends the process unless it holds.
void require(bool holds, std::string_view what);

/// A folder of this process's own. Targets write nowhere else.
[[nodiscard]] std::filesystem::path scratch();

/// Makes the described library in the scratch folder and returns its folder.
[[nodiscard]] std::filesystem::path makeLibrary(std::string_view description);

/// The local platform, kept from all that is not in the scratch folder.
class ConfinedPlatform : public platform::local::LocalPlatform {
 public:
  using LocalPlatform::LocalPlatform;

  /// Resources of more zeros than this, as a description or a damaged row may have them, are not
  /// delivered: nobody would wait for the end. Nor is anything done that a library has delay, stall
  /// or crash.
  static constexpr std::int64_t mostZeros = 1 << 18;

  void requestAuthorization(photos::AccessLevel level, AuthorizationHandler handler) override;
  void performChanges(ChangeBlock changeBlock, ChangeCompletionHandler completionHandler) override;
  void requestDataForAssetResource(const photos::AssetResource& resource,
                                   const photos::AssetResourceRequestOptions& options,
                                   DataReceivedHandler dataReceivedHandler,
                                   CompletionHandler completionHandler) override;

  // Any destination is a file in a folder of exports in the scratch folder: "/" in it becomes "_".
  void createFile(const std::string& path) override;
  [[nodiscard]] std::expected<std::unique_ptr<photos::FileHandle>, photos::Error>
  fileHandleForWriting(const std::string& path) override;

  /// The desktop is not asked.
  [[nodiscard]] bool openURL(const photos::URL& /*url*/) override { return true; }
};

/// A helper that has just been started on a library, with an empty folder of exports.
class Helper {
 public:
  explicit Helper(const std::filesystem::path& library);

  /// Its answer, which is exactly one line of one JSON object in UTF-8.
  [[nodiscard]] boost::json::object answer(std::string_view line);

 private:
  ConfinedPlatform platform_;
  protocol::RequestDecoder decoder_;
};

}  // namespace fuzz
