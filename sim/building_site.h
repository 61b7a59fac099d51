// The hidden folder beside a library's place in which the library is built.
#pragma once

#include <expected>
#include <filesystem>
#include <optional>

#include "sim/message.h"

namespace sim {

/// Holds a lock on the folder for as long as it lives, so that two runs never build in it at once.
class BuildingSite {
 public:
  /// Makes the folder for the library at this absolute path, or takes over the one that an
  /// interrupted run left. Fails when another run is building there; nothing has changed then.
  static std::expected<BuildingSite, Error> claim(const std::filesystem::path& library);

  BuildingSite(BuildingSite&& other) noexcept;
  BuildingSite& operator=(BuildingSite&&) = delete;
  ~BuildingSite();

  [[nodiscard]] const std::filesystem::path& folder() const { return folder_; }

  /// Removes what an interrupted run left. Fails, and leaves it alone, when something is there
  /// that no unfinished library has.
  [[nodiscard]] std::optional<Error> clear() const;

  /// Removes the folder and all that is in it.
  void remove() const;

 private:
  BuildingSite(std::filesystem::path folder, int lock);
  [[nodiscard]] bool isInPlace() const;

  std::filesystem::path folder_;
  int lock_;
};

}  // namespace sim
