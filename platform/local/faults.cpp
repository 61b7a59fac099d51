#include "platform/local/faults.h"

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <thread>

#include "library/model.h"

namespace platform::local {

void wait(double seconds) {
  if (seconds > 0 && seconds <= library::longestDelay) {
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
  }
}

void stall() {
  for (;;) {
    pause();
  }
}

void crash() {
  // The signal may take a moment to arrive.
  kill(getpid(), SIGKILL);
  stall();
}

}  // namespace platform::local
