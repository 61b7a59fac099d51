// A bar on standard error that shows how far a long call has come. It is drawn on a terminal only,
// and gone when the object is destroyed.
#pragma once

#include <cstddef>

namespace sim {

class ProgressBar {
 public:
  explicit ProgressBar(std::size_t total);
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;
  ~ProgressBar();

  void advance();

 private:
  std::size_t total_;
  std::size_t done_ = 0;
  std::size_t shownPercent_ = 0;
  bool visible_;
};

}  // namespace sim
