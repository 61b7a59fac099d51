#include "sim/existing_library.h"

#include <system_error>
#include <utility>

namespace sim {

using platform::local::LibraryWriter;

std::optional<Error> checkLibraryIsThere(const std::filesystem::path& library) {
  std::error_code error;
  if (std::filesystem::exists(library / "library.sqlite", error)) {
    return std::nullopt;
  }
  if (error && error != std::errc::not_a_directory) {
    return failure(library, error, "name a library that you may read");
  }
  return std::filesystem::exists(library, error)
             ? failure(library, "is no library", "name one that photos-sim has made")
             : failure(library, "there is no library", "make one with photos-sim create");
}

std::expected<LibraryWriter, Error> openLibrary(const std::filesystem::path& library) {
  if (auto error = checkLibraryIsThere(library)) {
    return std::unexpected(std::move(*error));
  }
  auto writer = LibraryWriter::open(library);
  if (!writer) {
    return std::unexpected(Error{writer.error().localizedDescription +
                                 "; name a library that photos-sim has made and you may change"});
  }
  return writer;
}

}  // namespace sim
