#include "sim/play.h"

#include <algorithm>
#include <boost/json/parse.hpp>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>

#include "sim/child_process.h"
#include "sim/description.h"
#include "sim/json_difference.h"
#include "sim/show.h"
#include "sim/temporary_folder.h"
#include "sim/transcript.h"

namespace sim {
namespace {

namespace fs = std::filesystem;
namespace json = boost::json;

// What a signal to this process leaves: the helper would outlive it in its own process group.
volatile std::sig_atomic_t isInterrupted = 0;
volatile std::sig_atomic_t helperGroup = 0;

void endHelper(int /*signal*/) {
  isInterrupted = 1;
  if (helperGroup > 0) {
    ::kill(-helperGroup, SIGKILL);
  }
}

/// While one lives, those signals wait.
class HeldSignals {
 public:
  HeldSignals() {
    sigset_t held{};
    sigemptyset(&held);
    sigaddset(&held, SIGINT);
    sigaddset(&held, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &held, &before_);
  }
  HeldSignals(const HeldSignals&) = delete;
  HeldSignals& operator=(const HeldSignals&) = delete;
  ~HeldSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_{};
};

Result makeLibrary(const fs::path& transcript, const Session& session, const fs::path& folder) {
  if (session.library == "none") {
    return {};
  }
  fs::path file = transcript.parent_path() / session.library;
  if (session.library.starts_with('{')) {
    file = folder / "description.json";
    std::ofstream(file) << session.library;
  }
  const auto description = readDescription(file);
  return description ? makeDescribedLibrary(folder / "Library", *description, file)
                     : std::unexpected(description.error());
}

/// The text with `value` for each "{library}".
std::string filledIn(std::string text, const std::string& value) {
  constexpr std::string_view placeholder = "{library}";
  for (std::size_t at = 0; (at = text.find(placeholder, at)) != std::string::npos;) {
    text.replace(at, placeholder.size(), value);
    at += value.size();
  }
  return text;
}

class Player {
 public:
  explicit Player(const Play& play) : play_(play), limit_(std::to_string(play.seconds) + " s") {}

  Result play(const fs::path& transcript, const Session& session) {
    transcript_ = transcript;
    constexpr const char* advice = "set TMPDIR to a folder you may write to";
    std::error_code missing;
    const fs::path parent = fs::temp_directory_path(missing);
    if (missing) {
      return std::unexpected(failure("the folder for temporary files", missing, advice));
    }
    const TemporaryFolder folder(parent / "photos-sim-");
    if (!folder.isThere()) {
      return std::unexpected(failure(folder.path(), lastSystemError(), advice));
    }
    const Result made = makeLibrary(transcript, session, folder.path());
    if (!made) {
      return std::unexpected(
          failure(linePlace(transcript, session.line), made.error().localizedDescription));
    }
    if (play_.shows) {
      showSession(session);
    }
    std::vector<std::string> command = play_.command;
    for (std::string& word : command) {
      word = filledIn(word, folder.path() / "Library");
    }
    if (command.front().find('/') != std::string::npos) {
      command.front() = fs::absolute(command.front());  // it is started in another folder
    }
    try {
      std::optional<HeldSignals> held(std::in_place);  // until the helper's group is noted
      if (isInterrupted != 0) {
        return std::unexpected(Error{"interrupted"});
      }
      ChildProcess helper(std::move(command), folder.path(), std::chrono::seconds(play_.seconds));
      helperGroup = helper.group();
      held.reset();
      return playWith(helper, session);
    } catch (const std::system_error& error) {
      return std::unexpected(failure(play_.command.front(), error.code(), "name a program"));
    }
  }

  [[nodiscard]] std::size_t differences() const { return differences_; }
  [[nodiscard]] std::size_t answers() const { return answers_; }

 private:
  Result playWith(ChildProcess& helper, const Session& session) {
    std::size_t line = session.line;
    for (const Exchange& exchange : session.exchanges) {
      line = exchange.line;
      if (!play(helper, exchange)) {
        break;
      }
    }
    if (!helper.isLate()) {
      checkEnd(helper, session, line);
    }
    helper.kill();
    helperGroup = 0;
    // A library that is not there may be spoken of.
    if (const std::string errors = helper.errors(); !errors.empty() && session.library != "none") {
      tell(session.line, "the helper wrote on standard error:");
      std::istringstream lines(errors);
      int told = 0;
      for (std::string text; std::getline(lines, text);) {
        constexpr int most = 20;
        if (++told > most) {
          sayBelow("... and so on");
          break;
        }
        sayBelow(text);
      }
    }
    if (isInterrupted != 0) {
      return std::unexpected(Error{"interrupted"});
    }
    if (helper.isLate() && answers_ == 0) {
      return std::unexpected(failure(play_.command.front(), "has never answered",
                                     "see what it does with a request by hand"));
    }
    return {};
  }

  /// False when no more answers are to be expected.
  bool play(ChildProcess& helper, const Exchange& exchange) {
    helper.write(exchange.request);
    if (!exchange.request.ends_with('\n')) {
      helper.closeInput();
    }
    std::string line = helper.readLine();
    if (isInterrupted != 0) {
      return false;
    }
    if (!line.ends_with('\n')) {
      tell(exchange.line, helper.isLate() ? "no answer within " + limit_
                          : line.empty()  ? "no answer: the helper has ended"
                                          : "no newline behind the answer");
      return false;
    }
    line.pop_back();
    ++answers_;
    boost::system::error_code error;
    const json::value answer = json::parse(line, error);
    if (error) {
      tell(exchange.line, "no JSON: " + line.substr(0, 200));
    } else if (const auto difference = differenceOf(exchange.answer, answer)) {
      tell(exchange.line, *difference);
    }
    if (play_.shows) {
      showExchange(exchange, error ? json::value(line) : answer);
    }
    if (!helper.readWhatIsThere().empty()) {
      tell(exchange.line, "more than one answer");
    }
    return true;
  }

  void checkEnd(ChildProcess& helper, const Session& session, std::size_t lastLine) {
    helper.closeInput();
    if (!helper.readLine().empty()) {
      tell(lastLine, "more than one answer");
    }
    const int status = helper.wait();
    if (helper.isLate()) {
      tell(session.line, "the helper has not ended " + limit_ + " after its input");
    } else if (status != 0) {
      tell(session.line, status < 0 ? "a signal has ended the helper"
                                    : "the helper has ended with status " + std::to_string(status));
    }
  }

  void tell(std::size_t line, const std::string& difference) {
    if (isInterrupted == 0) {
      ++differences_;
      say(linePlace(transcript_, line) + ": " + difference);
    }
  }

  const Play& play_;
  std::string limit_;
  fs::path transcript_;
  std::size_t differences_ = 0;
  std::size_t answers_ = 0;
};

}  // namespace

Result playTranscripts(const Play& play) {
  std::vector<std::pair<fs::path, std::vector<Session>>> transcripts;
  for (const fs::path file : play.transcripts) {
    auto sessions = readTranscript(file);
    if (!sessions) {
      return std::unexpected(std::move(sessions.error()));
    }
    transcripts.emplace_back(file, std::move(*sessions));
  }
  for (const int signal : {SIGINT, SIGTERM}) {
    std::signal(signal, endHelper);
  }
  Player player(play);
  for (const auto& [file, sessions] : transcripts) {
    for (const Session& session : sessions) {
      if (Result played = player.play(file, session); !played) {
        return played;
      }
    }
  }
  if (const Result shown = flushOutput(); !shown) {
    return shown;
  }
  if (player.differences() > 0) {
    return std::unexpected(Error{counted(player.differences(), "difference") + "; see above"});
  }
  say(counted(player.answers(), "answer") + ", all as written");
  return {};
}

}  // namespace sim
