#include "sim/progress_bar.h"

#include <unistd.h>

#include <iostream>
#include <string>

namespace sim {

ProgressBar::ProgressBar(std::size_t total)
    : total_(total), visible_(total > 0 && isatty(STDERR_FILENO) != 0) {}

ProgressBar::~ProgressBar() {
  if (visible_) {
    std::cerr << "\r\033[K";
  }
}

void ProgressBar::advance() {
  ++done_;
  if (!visible_) {
    return;
  }
  const std::size_t percent = done_ * 100 / total_;
  if (percent == shownPercent_ && done_ != 1) {
    return;
  }
  shownPercent_ = percent;
  std::string bar(percent * 2 / 5, '#');
  bar.resize(40, '.');
  std::cerr << "\r[" + bar + "] " + std::to_string(done_) + " of " + std::to_string(total_);
}

}  // namespace sim
