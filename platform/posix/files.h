// Reading and writing files, and what went wrong with them.
#pragma once

#include <cstddef>
#include <expected>
#include <functional>
#include <span>
#include <string>

#include "photos/platform.h"
#include "platform/posix/descriptor.h"

namespace platform::posix {

/// Writes all bytes, however many writes it takes; 0, or the value of errno that ended it.
[[nodiscard]] int writeAll(int descriptor, std::span<const std::byte> bytes);

/// Makes an empty file, with the permissions that the umask leaves to any new file, and opens it
/// for writing. What it gives is not open, and errno tells why, when that fails or something is
/// there.
[[nodiscard]] Descriptor makeFile(const std::string& path);

/// Gives a file's bytes to `take`, piece by piece, as long as it returns true.
[[nodiscard]] std::expected<void, photos::Error> readFile(
    const std::string& path, const std::function<bool(std::span<const std::byte>)>& take);

/// Makes the names in a folder safe on disk, where the file system can be asked to.
void syncFolder(const std::string& path);

/// What went wrong with a file: “The file “x” could not be written: No space left on device”.
/// `what` is the past participle, `error` a value of errno.
[[nodiscard]] photos::Error fileError(const std::string& path, const char* what, int error);

}  // namespace platform::posix
