// Reads requests from lines.
#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "protocol/request.h"

namespace protocol {

/// The JSON reader: one lives for the whole run and keeps nothing from one line to the next.
class RequestDecoder {
 public:
  RequestDecoder();
  RequestDecoder(const RequestDecoder&) = delete;
  RequestDecoder& operator=(const RequestDecoder&) = delete;
  ~RequestDecoder();

  /// The request that the line holds, or nothing: there is no partly filled request. The line must
  /// be exactly one JSON object (nested 512 deep at most, exponents of numbers of 31 bits), with
  /// `command` a string and every other field of its type, missing or null. An integer has 64 bits;
  /// written with a fraction or an exponent, it is a whole value of up to 2 to the power of 53. Of
  /// two equal keys the last counts; other keys are ignored. Bytes that are not UTF-8 are replaced
  /// by U+FFFD.
  [[nodiscard]] std::optional<Request> decode(std::string_view line);

 private:
  class Parser;
  std::unique_ptr<Parser> parser_;
};

}  // namespace protocol
