// The command "export".
#pragma once

#include <expected>
#include <string>

#include "photos/platform.h"
#include "photos/resource_stream_sink.h"
#include "protocol/request.h"
#include "protocol/response.h"

namespace photos {

/// Copies one resource of one asset into the file that the request names, replacing one that is
/// there, and reports its digest and size. Makes no folders. After a failure the file is left as
/// it is then, and never removed.
[[nodiscard]] protocol::Response export_(const protocol::Request& request, Platform& platform);

/// Streams the resource into the file at `path`, downloaded first where it is held only in the
/// cloud. Blocks until the library has ended the delivery, without a time limit, also when a write
/// has failed before. A library error is reported rather than an earlier failure to write.
[[nodiscard]] std::expected<StreamedResource, Error> streamResource(const AssetResource& resource,
                                                                    const std::string& path,
                                                                    Platform& platform);

}  // namespace photos
