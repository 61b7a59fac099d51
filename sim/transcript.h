// Transcripts: sessions of the protocol, written down. tests/transcripts/README.md has the
// notation.
#pragma once

#include <boost/json/value.hpp>
#include <cstddef>
#include <expected>
#include <filesystem>
#include <string>
#include <vector>

#include "sim/message.h"

namespace sim {

struct Exchange {
  /// The line that the request stands on, counted from 1.
  std::size_t line = 0;
  /// The comments before it, each with its newline.
  std::string comments = {};
  /// What is sent, with its newline if it has one.
  std::string request = {};
  boost::json::value answer = {};
};

struct Session {
  std::size_t line = 0;
  std::string comments = {};
  /// "none", a description, or the path of one, relative to the transcript's folder.
  std::string library = {};
  std::vector<Exchange> exchanges = {};
};

/// All sessions of a transcript. A failure names the line that is not in the notation.
[[nodiscard]] std::expected<std::vector<Session>, Error> readTranscript(
    const std::filesystem::path& file);

/// Such as "tests/pages.transcript:12".
[[nodiscard]] std::string linePlace(const std::filesystem::path& file, std::size_t line);

}  // namespace sim
