#include "protocol/response_encoder.h"

#include <algorithm>
#include <cmath>

#include "protocol/json_writer.h"

namespace protocol {
namespace {

bool isFinite(const AssetSummary& summary) {
  return std::isfinite(summary.createdAt) && std::isfinite(summary.modifiedAt.value_or(0));
}

void write(JSONWriter& writer, const AssetSummary& summary) {
  using enum AssetSummary::CodingKeys;
  writer.field(assetID, summary.assetID);
  writer.field(filename, summary.filename);
  writer.field(createdAt, summary.createdAt);
  writer.field(modifiedAt, summary.modifiedAt);
  writer.field(mediaType, summary.mediaType);
  writer.field(bytes, summary.bytes);
  writer.field(photoKitResourceType, summary.photoKitResourceType);
  writer.field(isRaw, summary.isRaw);
  writer.field(isLivePhotoCompanion, summary.isLivePhotoCompanion);
  writer.field(isLivePhotoImage, summary.isLivePhotoImage);
  writer.field(isCurrentEdit, summary.isCurrentEdit);
}

void write(JSONWriter& writer, const Response& response) {
  using enum Response::CodingKeys;
  writer.field(ok, response.ok);
  writer.field(status, response.status);
  writer.field(error, response.error);
  writer.field(sha256, response.sha256);
  writer.field(bytes, response.bytes);
  if (response.assets) {
    writer.key(stringValue(assets));
    writer.within('[', [&] {
      for (const AssetSummary& summary : *response.assets) {
        writer.within('{', [&] { write(writer, summary); });
      }
    });
  }
  writer.field(nextOffset, response.nextOffset);
}

}  // namespace

std::optional<std::string> encode(const Response& response) {
  if (response.assets && !std::ranges::all_of(*response.assets, isFinite)) {
    return std::nullopt;
  }
  JSONWriter writer;
  writer.within('{', [&] { write(writer, response); });
  return writer.take();
}

}  // namespace protocol
