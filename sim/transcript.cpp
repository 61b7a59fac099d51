#include "sim/transcript.h"

#include <boost/json/parse.hpp>
#include <charconv>
#include <fstream>
#include <optional>
#include <string_view>
#include <utility>

namespace sim {
namespace {

namespace json = boost::json;

/// The text with the byte of that hexadecimal number for each "%HH".
std::optional<std::string> withoutEscapes(std::string_view text) {
  std::string bytes;
  for (std::size_t index = 0; index < text.size(); ++index) {
    if (text[index] != '%') {
      bytes += text[index];
      continue;
    }
    const std::string_view digits = text.substr(index + 1, 2);
    unsigned char byte = 0;
    const auto parsed = std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
    if (digits.size() < 2 || parsed.ptr != digits.data() + digits.size()) {
      return std::nullopt;
    }
    bytes += static_cast<char>(byte);
    index += 2;
  }
  return bytes;
}

/// Takes the lines of a transcript, one by one. Each call returns what is wrong, if anything.
class Reader {
 public:
  using Fault = std::optional<std::string>;

  Fault take(std::size_t number, std::string_view line) {
    if (line.empty() || line.starts_with('#')) {
      comments_.append(line).append(line.empty() ? "" : "\n");
      return {};
    }
    const std::size_t space = line.find(' ');
    const std::string_view mark = line.substr(0, space);
    const std::string_view rest =
        space == std::string_view::npos ? std::string_view() : line.substr(space + 1);
    if (mark == "<") {
      if (sessions_.empty() || sessions_.back().exchanges.empty()) {
        line_ = number;
        return "an answer without a request";
      }
      answer_.append(rest);
      return {};
    }
    if (Fault fault = finishExchange()) {
      return fault;
    }
    line_ = number;
    if (mark == "library:") {
      sessions_.push_back(
          {.line = number, .comments = std::exchange(comments_, ""), .library = std::string(rest)});
      return {};
    }
    return mark == ">" || mark == ">%" || mark == ">|" ? addRequest(mark, rest)
                                                       : "no mark of the notation begins the line";
  }

  /// To be called behind the last line, too. The fault is one of line().
  Fault finishExchange() {
    if (sessions_.empty() || sessions_.back().exchanges.empty() ||
        !sessions_.back().exchanges.back().answer.is_null()) {
      return {};
    }
    boost::system::error_code error;
    json::value answer = json::parse(answer_, error);
    if (error || !answer.is_object()) {
      return answer_.empty() ? "a request without an answer"
                             : "the answer to this request is no JSON object";
    }
    sessions_.back().exchanges.back().answer = std::move(answer);
    answer_.clear();
    return {};
  }

  /// Where the last request or library stands, or the line that is at fault.
  [[nodiscard]] std::size_t line() const { return line_; }
  std::vector<Session>& sessions() { return sessions_; }

 private:
  Fault addRequest(std::string_view mark, std::string_view rest) {
    if (sessions_.empty()) {
      return "a request before any library";
    }
    std::vector<Exchange>& exchanges = sessions_.back().exchanges;
    if (!exchanges.empty() && !exchanges.back().request.ends_with('\n')) {
      return "a request behind the session's last";
    }
    std::optional<std::string> request =
        mark == ">%" ? withoutEscapes(rest) : std::optional(std::string(rest));
    if (!request) {
      return "a % without two hexadecimal digits behind it";
    }
    exchanges.push_back({.line = line_,
                         .comments = std::exchange(comments_, ""),
                         .request = std::move(*request) + (mark == ">|" ? "" : "\n")});
    return {};
  }

  std::vector<Session> sessions_;
  std::size_t line_ = 1;
  std::string comments_;
  std::string answer_;
};

}  // namespace

std::string linePlace(const std::filesystem::path& file, std::size_t line) {
  return file.string() + ":" + std::to_string(line);
}

std::expected<std::vector<Session>, Error> readTranscript(const std::filesystem::path& file) {
  std::ifstream stream(file);
  Reader reader;
  Reader::Fault fault;
  std::size_t number = 0;
  for (std::string line; !fault && std::getline(stream, line);) {
    fault = reader.take(++number, line);
  }
  if (!stream.is_open() || stream.bad()) {
    return std::unexpected(failure(file, lastSystemError(), "name a transcript that can be read"));
  }
  if (!fault) {
    fault = reader.finishExchange();
  }
  if (!fault && reader.sessions().empty()) {
    fault = "no session begins here";
  }
  if (fault) {
    return std::unexpected(failure(linePlace(file, reader.line()), *fault,
                                   "tests/transcripts/README.md has the notation"));
  }
  return std::move(reader.sessions());
}

}  // namespace sim
