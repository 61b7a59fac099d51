// Is told what comes and goes.
#pragma once

#include <string_view>

namespace app {

/// Called by the thread of run(). A line is without its "\n", and valid during the call.
class Observer {
 public:
  Observer() = default;
  Observer(const Observer&) = delete;
  Observer& operator=(const Observer&) = delete;
  virtual ~Observer() = default;

  /// A line has come, and is not carried out yet.
  virtual void received(std::string_view line) noexcept = 0;

  /// The answer to the last line has been written.
  virtual void answered(std::string_view line) noexcept = 0;
};

}  // namespace app
