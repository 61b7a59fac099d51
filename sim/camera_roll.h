// Groups the files of one folder into assets, the way a camera roll has them: by name without
// extension, in any case.
//
// A still is one asset with the .mov of its name (a Live Photo), with the RAW file of its name when
// it is a JPEG or HEIC, with the .AAE of its name and with its edit: IMG_E1234.* is the edit of
// IMG_1234.*. Where two files could take one place in an asset, a JPEG or HEIC comes before other
// stills and these before RAW files, then the first by name takes it; the other becomes an asset of
// its own. No file is lost: each is in one asset or left over.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "photos/platform.h"

namespace sim {

struct MediaFile {
  photos::AssetResourceType type = photos::AssetResourceType::photo;
  std::string name;
};

/// The files of one asset in a library's order: the photo or video first, then alternate photo,
/// paired video, adjustments and edits.
struct MediaGroup {
  photos::AssetMediaType mediaType = photos::AssetMediaType::image;
  std::vector<MediaFile> files;
};

struct GroupedFiles {
  std::vector<MediaGroup> groups;
  std::vector<std::string> unknownKind;
  /// .AAE files that no photo or video has use for.
  std::vector<std::string> adjustmentsAlone;
};

/// Groups the names of a folder's files. The order of `names` makes no difference.
GroupedFiles groupFiles(std::vector<std::string> names);

}  // namespace sim
