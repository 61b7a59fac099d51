// Finds the files below folders and groups them into assets, without reading or changing one.
//
// Links to files are followed, links to folders are not. The order is that of the names, so that
// the same folders always give the same result.
#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>
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
  std::vector<std::filesystem::path> folderLinks;
  /// What may be one but could not be read, each with its reason.
  std::vector<Error> unreadable;
};

/// The first reason why these folders can't be imported: one is missing, no folder or unreadable.
std::optional<Error> checkFolders(std::span<const std::filesystem::path> folders);

/// Scans the folders. A folder below another one of them is scanned once.
FolderScan scanFolders(std::span<const std::filesystem::path> folders);

}  // namespace sim
