// Records a session of a server. docs/photos-sim.md has the form of a record.
#pragma once

#include <expected>
#include <filesystem>
#include <memory>
#include <string_view>
#include <utility>

#include "app/observer.h"
#include "sim/message.h"

namespace sim {

/// Writes each line before the next thing happens. When one can't be written, that is said once,
/// and nothing more is recorded.
class Recorder : public app::Observer {
 public:
  /// Appends to the file, which is made if it is new. One that holds anything but a record is
  /// refused.
  [[nodiscard]] static std::expected<std::unique_ptr<Recorder>, Error> open(
      const std::filesystem::path& file, std::string_view library);
  ~Recorder() override;

  void received(std::string_view line) noexcept override;
  void answered(std::string_view line) noexcept override;

 private:
  Recorder(std::filesystem::path file, int descriptor)
      : file_(std::move(file)), descriptor_(descriptor) {}
  [[nodiscard]] Result record(std::string_view key, std::string_view value) const;
  void recordOrStop(std::string_view key, std::string_view line) noexcept;
  void stop();

  std::filesystem::path file_;
  int descriptor_;
};

}  // namespace sim
