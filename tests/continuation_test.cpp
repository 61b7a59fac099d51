// The one-shot wait, and what the system log is told when it is misused.
#include "runtime/continuation.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include <future>
#include <string>
#include <tuple>

namespace tests {
namespace {

using runtime::suspend;

TEST(Continuation, GivesTheValueThatAnotherThreadResumesItWith) {
  for (int round = 0; round < 1000; ++round) {
    int writtenBefore = 0;
    std::future<void> other;
    const int value = suspend("wait()", -1, [&](const auto& continuation) {
      other = std::async(std::launch::async, [&writtenBefore, round, continuation] {
        writtenBefore = round;
        continuation.resume(round);
      });
    });
    EXPECT_EQ(value, round);
    EXPECT_EQ(writtenBefore, round);
  }
}

TEST(Continuation, ReportsASecondValueAndTheLackOfOneAndNothingElse) {
  const auto resumed = [](int times) {
    return suspend("wait()", 0, [=](const auto& continuation) {
      for (int value = 1; value <= times; ++value) {
        continuation.resume(value);
      }
    });
  };
  openlog("tests", LOG_PERROR, LOG_USER);
  for (const auto& [times, value, told] : {std::tuple(1, 1, ""),
                                           {2, 1, "wait() was resumed more than once\n"},
                                           {0, 0, "wait() was never resumed\n"}}) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(resumed(times), value);
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(*told == '\0' ? log.empty() : log.ends_with(told)) << log;
  }
}

}  // namespace
}  // namespace tests
