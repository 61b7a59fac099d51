// Finds the files below folders and groups them into assets, without reading or changing one.
//
// Links are not followed. The order is that of the names, so that the same folders always give the
// same result.
#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <vector>

#include "sim/camera_roll.h"
#include "sim/message.h"

namespace sim {

struct FolderGroup {
  std::filesystem::path folder;
  MediaGroup media;
};

struct FolderScan {
  std::vector<FolderGroup> groups;
  /// What is no photo or video and stays where it is.
  std::vector<std::filesystem::path> unknownKind;
  std::vector<std::filesystem::path> adjustmentsAlone;
  std::vector<std::filesystem::path> links;
  /// Folders that could not be read, each with its reason.
  std::vector<Error> unreadable;
};

/// Scans the folders. A folder below another one of them is scanned once.
[[nodiscard]] FolderScan scanFolders(std::span<const std::filesystem::path> folders);

}  // namespace sim
