#include "app/request_cycle.h"

#include <array>
#include <cstdio>
#include <new>
#include <optional>
#include <string>
#include <string_view>

#include "app/line_reader.h"
#include "dispatch/dispatcher.h"
#include "protocol/request_decoder.h"
#include "protocol/response_encoder.h"

namespace app {
namespace {

/// Room for a whole page, so that its line reaches the host in one write.
void bufferStandardOutput() {
  static std::array<char, 1048576> buffer;
  std::setvbuf(stdout, buffer.data(), _IOFBF, buffer.size());
}

/// The response to a line that can't be decoded.
const protocol::Response invalidRequest{.ok = false, .status = "invalid_request"};

/// The same as a line, for when there is no memory to encode it.
constexpr std::string_view invalidRequestLine = R"({"ok":false,"status":"invalid_request"})"
                                                "\n";

void write(std::string_view line, Observer* observer) {
  const std::size_t written = std::fwrite(line.data(), 1, line.size(), stdout);
  if (std::fflush(stdout) == 0 && written == line.size() && observer != nullptr) {
    line.remove_suffix(1);
    observer->answered(line);
  }
}

}  // namespace

void run(photos::Platform& platform, Observer* observer) {
  bufferStandardOutput();
  protocol::RequestDecoder decoder;
  LineReader lines(stdin);
  while (const std::optional<std::string_view> line = lines.next()) {
    if (observer != nullptr) {
      observer->received(*line);
    }
    try {
      emit(answer(*line, decoder, platform), observer);
    } catch (const std::bad_alloc&) {
      // All that the line took is free again, except the line itself: answer and go on.
      write(invalidRequestLine, observer);
    }
  }
}

protocol::Response answer(std::string_view line, protocol::RequestDecoder& decoder,
                          photos::Platform& platform) {
  const std::optional<protocol::Request> request = decoder.decode(line);
  return request ? dispatch::response(*request, platform) : invalidRequest;
}

void emit(const protocol::Response& response, Observer* observer) {
  std::optional<std::string> line = protocol::encode(response);
  if (!line) {
    return;
  }
  line->push_back('\n');
  write(*line, observer);
}

}  // namespace app
