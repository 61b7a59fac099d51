// What every backend takes from POSIX: destination files, so that a destination means the same on
// every system, and SHA-256.
#pragma once

#include <expected>
#include <memory>
#include <string>

#include "photos/platform.h"

namespace platform::posix {

/// Writing to a pipe without a reader, or past a limit on a file's size, is a failed write only in
/// a process that ignores SIGPIPE and SIGXFSZ.
class PosixPlatform : public photos::Platform {
 public:
  /// What is at the path and is no file, such as a pipe, stays as it is.
  void createFile(const std::string& path) override;

  /// A pipe without a reader is refused rather than waited for.
  [[nodiscard]] std::expected<std::unique_ptr<photos::FileHandle>, photos::Error>
  fileHandleForWriting(const std::string& path) override;

  [[nodiscard]] std::unique_ptr<photos::SHA256> makeSHA256() override;
};

}  // namespace platform::posix
