#include "app/request_cycle.h"

#include <array>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include "app/line_reader.h"
#include "app/utf8.h"
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

}  // namespace

void run(photos::Platform& platform) {
  bufferStandardOutput();
  protocol::RequestDecoder decoder;
  LineReader lines(stdin);
  while (const std::optional<std::string_view> line = lines.next()) {
    const std::optional<protocol::Request> request = decoder.decode(Utf8Text(*line).view());
    emit(request ? dispatch::response(*request, platform)
                 : protocol::Response{.ok = false, .status = "invalid_request"});
  }
}

void emit(const protocol::Response& response) {
  std::optional<std::string> line = protocol::encode(response);
  if (!line) {
    return;
  }
  line->push_back('\n');
  std::fwrite(line->data(), 1, line->size(), stdout);
  std::fflush(stdout);
}

}  // namespace app
