// The one-shot wait, and what the system log is told when it is misused.
#include "runtime/continuation.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include <future>
#include <string>

namespace tests {
namespace {

using runtime::suspend;

/// What the system log is told meanwhile.
std::string logOf(auto&& work) {
  openlog("tests", LOG_PERROR, LOG_USER);
  testing::internal::CaptureStderr();
  work();
  return testing::internal::GetCapturedStderr();
}

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

TEST(Continuation, KeepsTheFirstValueAndReportsTheSecond) {
  std::string value;
  const std::string log = logOf([&] {
    value = suspend("twice()", std::string("lost"), [](const auto& continuation) {
      const auto resumeCopy = [continuation] { continuation.resume("second"); };
      continuation.resume("first");
      resumeCopy();
    });
  });
  EXPECT_EQ(value, "first");
  EXPECT_TRUE(log.contains("twice() was resumed more than once")) << log;
}

TEST(Continuation, GivesTheFallbackWhenItIsLostAndReportsThat) {
  std::string value;
  const std::string log = logOf(
      [&] { value = suspend("lost()", std::string("fallback"), [](const auto& /*dropped*/) {}); });
  EXPECT_EQ(value, "fallback");
  EXPECT_TRUE(log.contains("lost() was never resumed")) << log;
}

TEST(Continuation, ReportsNothingWhenItIsResumedOnceBeforeTheWait) {
  EXPECT_EQ(
      logOf([] { EXPECT_EQ(suspend("once()", 0, [](const auto& once) { once.resume(5); }), 5); }),
      "");
}

}  // namespace
}  // namespace tests
