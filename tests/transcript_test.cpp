// Plays each transcript against the real program. transcripts/README.md explains the notation to
// its readers; a line is one of
//
//   # a comment, or an empty line
//   library: FILE.json    a session on the library that photos-sim makes of that description
//   library: {...}        the same, with the description itself
//   library: none         a session on a library that is not there
//   > REQUEST             a line sent as it stands
//   >% REQUEST            the same, with %HH for any byte
//   >| REQUEST            the last line of a session, sent without its newline
//   < ANSWER              the answer to the request above it; may go on over several lines
//
// A file may hold several sessions. Each runs in a folder of its own, against which relative paths
// in requests count, with its library at "Library".
#include <gtest/gtest.h>

#include <algorithm>
#include <boost/json.hpp>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/child_process.h"
#include "tests/temporary_folder.h"

namespace tests {
namespace {

namespace fs = std::filesystem;

struct Exchange {
  std::string request;
  /// What the program is to answer, as JSON text.
  std::string answer;
};

struct Session {
  std::string library;
  std::vector<Exchange> exchanges;
};

std::string withoutEscapes(const std::string& text) {
  std::string bytes;
  for (std::size_t index = 0; index < text.size(); ++index) {
    if (text[index] != '%') {
      bytes += text[index];
    } else {
      bytes += static_cast<char>(std::stoi(text.substr(index + 1, 2), nullptr, 16));
      index += 2;
    }
  }
  return bytes;
}

std::vector<Session> readTranscript(const fs::path& path) {
  std::ifstream file(path);
  std::vector<Session> sessions;
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line.starts_with('#')) {
      continue;
    }
    const std::size_t space = line.find(' ');
    const std::string mark = line.substr(0, space);
    const std::string rest = space == std::string::npos ? "" : line.substr(space + 1);
    if (mark == "library:") {
      sessions.push_back({.library = rest, .exchanges = {}});
    } else if (!sessions.empty() && (mark == ">" || mark == ">%" || mark == ">|")) {
      const std::string request = mark == ">%" ? withoutEscapes(rest) : rest;
      const char* const end = mark == ">|" ? "" : "\n";
      sessions.back().exchanges.push_back({request + end, ""});
    } else if (mark == "<" && !sessions.empty() && !sessions.back().exchanges.empty()) {
      sessions.back().exchanges.back().answer += rest;
    } else {
      throw std::runtime_error("not in the notation: " + line);
    }
  }
  return sessions;
}

std::vector<std::string> allTranscripts() {
  std::vector<std::string> names;
  for (const fs::path& file : fs::directory_iterator(TRANSCRIPTS)) {
    if (file.extension() == ".transcript" && file.stem() != TRANSCRIPT_LEFT_OUT) {
      names.push_back(file.stem());
    }
  }
  std::ranges::sort(names);
  return names;
}

void makeLibrary(const std::string& description, const fs::path& folder) {
  fs::path file = fs::path(TRANSCRIPTS) / description;
  if (description.starts_with('{')) {
    file = folder / "description.json";
    std::ofstream(file) << description;
  }
  ChildProcess program({PHOTOS_SIM, "create", "Library", "--from", file}, folder);
  EXPECT_EQ(program.wait(), 0) << program.errors();
}

void checkAnswer(const Exchange& exchange, std::string answer) {
  SCOPED_TRACE(exchange.request);
  ASSERT_TRUE(answer.ends_with('\n')) << "no answer";
  answer.pop_back();
  boost::system::error_code error;
  const boost::json::value parsed = boost::json::parse(answer, error);
  EXPECT_FALSE(error) << answer;
  EXPECT_EQ(parsed, boost::json::parse(exchange.answer));
}

void play(const Session& session) {
  const TemporaryFolder folder;
  const bool isThere = session.library != "none";
  if (isThere) {
    makeLibrary(session.library, folder.path());
  }
  ChildProcess program({PHOTOS_SIM, "serve", "Library"}, folder.path());
  for (const Exchange& exchange : session.exchanges) {
    program.write(exchange.request);
    if (!exchange.request.ends_with('\n')) {
      program.closeInput();
    }
    checkAnswer(exchange, program.readLine());
  }
  program.closeInput();
  EXPECT_EQ(program.readToEnd(), "") << "more answers than requests";
  EXPECT_EQ(program.wait(), 0);
  EXPECT_TRUE(!isThere || program.errors().empty()) << program.errors();
}

class Transcript : public testing::TestWithParam<std::string> {};

TEST_P(Transcript, IsPlayedByTheProgram) {
  const auto sessions = readTranscript(fs::path(TRANSCRIPTS) / (GetParam() + ".transcript"));
  ASSERT_FALSE(sessions.empty());
  for (const Session& session : sessions) {
    play(session);
  }
}

INSTANTIATE_TEST_SUITE_P(All, Transcript, testing::ValuesIn(allTranscripts()),
                         [](const auto& transcript) { return transcript.param; });

}  // namespace
}  // namespace tests
