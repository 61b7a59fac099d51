// Lines of any length, holding any bytes.
#pragma once

#include <sys/types.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string_view>

namespace app {

class LineReader {
 public:
  /// Reads from `input`, which it does not own.
  explicit LineReader(FILE* input) : input_(input) {}
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;
  ~LineReader() { std::free(buffer_); }

  /// The next line without its "\n", valid until the next call; nothing at the end of the input or
  /// when it cannot be read. A line for which there is no memory is passed over and comes as an
  /// empty one: neither is a request. Blocks until a whole line or the end is there.
  std::optional<std::string_view> next() {
    releaseLargeBuffer();
    errno = 0;
    const ssize_t length = getline(&buffer_, &capacity_, input_);
    if (length < 0) {
      return errno == ENOMEM ? std::optional(passedOver()) : std::nullopt;
    }
    std::string_view line(buffer_, static_cast<std::size_t>(length));
    if (line.ends_with('\n')) {
      line.remove_suffix(1);
    }
    return line;
  }

 private:
  /// One huge line must not hold its memory for the rest of the run.
  void releaseLargeBuffer() {
    constexpr std::size_t keptCapacity = 1048576;
    if (capacity_ > keptCapacity) {
      std::free(buffer_);
      buffer_ = nullptr;
      capacity_ = 0;
    }
  }

  std::string_view passedOver() {
    std::clearerr(input_);
    int byte = 0;
    while ((byte = std::getc(input_)) != '\n' && byte != EOF) {
    }
    return {};
  }

  FILE* input_;
  char* buffer_ = nullptr;
  std::size_t capacity_ = 0;
};

}  // namespace app
