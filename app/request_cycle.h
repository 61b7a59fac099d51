// The cycle that drives everything: one line in, one line out.
#pragma once

#include <string_view>

#include "app/observer.h"
#include "photos/platform.h"
#include "protocol/request_decoder.h"
#include "protocol/response.h"

namespace app {

/// Answers the lines of standard input, one at a time and in order, until it ends or cannot be
/// read. Blocks the calling thread, which is never the main one. Called once. The observer, if
/// there is one, is told of each line.
void run(photos::Platform& platform, Observer* observer = nullptr);

/// The response to one line, any bytes without its "\n". Keeps nothing for the next one. Throws
/// std::bad_alloc when there is no memory for it.
[[nodiscard]] protocol::Response answer(std::string_view line, protocol::RequestDecoder& decoder,
                                        photos::Platform& platform);

/// Writes the response to standard output as one line, in one piece, and flushes it. A response
/// that cannot be encoded is not written; a write that fails is told to nobody. Throws
/// std::bad_alloc, and has written nothing then, when there is no memory for the line.
void emit(const protocol::Response& response, Observer* observer = nullptr);

}  // namespace app
