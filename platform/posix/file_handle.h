// Destination files through POSIX, for every backend.
#pragma once

#include <expected>
#include <memory>
#include <span>
#include <string>

#include "photos/platform.h"

namespace platform::posix {

// Writing to a pipe without a reader, or past a limit on a file's size, is a failed write only in
// a process that ignores SIGPIPE and SIGXFSZ.

/// Makes an empty file at the path, or empties the one there; what is no file stays as it is. The
/// outcome is not reported.
void createFile(const std::string& path);

/// Opens the file at the path for writing, from its start. It must be there. A pipe without a
/// reader is refused rather than waited for.
[[nodiscard]] std::expected<std::unique_ptr<photos::FileHandle>, photos::Error>
fileHandleForWriting(const std::string& path);

/// Writes all bytes, however many writes it takes; 0, or the value of errno that ended it.
[[nodiscard]] int writeAll(int descriptor, std::span<const std::byte> bytes);

/// Makes the names in a folder safe on disk, where the file system can be asked to.
void syncFolder(const std::string& path);

/// What went wrong with a file: “The file “x” could not be written: No space left on device”.
/// `what` is the past participle, `error` a value of errno.
[[nodiscard]] photos::Error fileError(const std::string& path, const char* what, int error);

}  // namespace platform::posix
