// Plays transcripts against a helper, and judges its answers.
#pragma once

#include <string>
#include <vector>

#include "sim/message.h"

namespace sim {

struct Play {
  /// Paths of the transcripts.
  std::vector<std::string> transcripts;
  /// How the helper is started; "{library}" stands for the path of the session's library.
  std::vector<std::string> command;
  /// How long an answer, and the end behind the last one, may take.
  int seconds = 30;
  /// Whether each request is printed with its answer, on standard output.
  bool shows = false;
};

/// Plays all sessions. Each has a folder of its own, with its library at "Library", which is the
/// helper's working directory and goes with the session. Says each difference, and fails when there
/// is any. What it has started is ended when it returns. Called once.
[[nodiscard]] Result playTranscripts(const Play& play);

}  // namespace sim
