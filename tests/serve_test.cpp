// Where the process's work runs: on queues of the test's own, in a process of its own.
#include "app/serve.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "platform/local/local_platform.h"
#include "runtime/queues.h"

namespace {

/// What the current thread serves.
thread_local std::string queue = "none";  // NOLINT(runtime/string): no other object looks at it
std::deque<std::function<void()>> mainQueue;
std::thread worker;

void note(const std::string& what) {
  std::fprintf(stderr, "%s on %s\n", what.c_str(), queue.c_str());
}

}  // namespace

namespace runtime {

void asyncOnMainQueue(std::function<void()> work) { mainQueue.push_back(std::move(work)); }

void asyncOnWorkerPool(std::function<void()> work) {
  note("run() starts");
  worker = std::thread([work = std::move(work)] {
    queue = "worker";
    work();
  });
}

void serveMainQueue() {
  queue = "main queue";
  for (;;) {
    if (!mainQueue.empty()) {
      const auto work = std::move(mainQueue.front());
      mainQueue.pop_front();
      work();
    }
    if (worker.joinable()) {
      worker.join();
    }
  }
}

}  // namespace runtime

namespace tests {
namespace {

/// Tells where a request is served.
class TellingPlatform : public platform::local::LocalPlatform {
 public:
  using LocalPlatform::LocalPlatform;
  photos::AuthorizationStatus authorizationStatus(photos::AccessLevel level) override {
    note("request");
    return LocalPlatform::authorizationStatus(level);
  }
};

TEST(ServeDeathTest, RunsTheCycleOnAWorkerAndExitsOnTheMainQueue) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto serve = [] {
    std::array<int, 2> ends{};
    const std::string_view line = "{\"command\":\"coffee\"}\n";
    if (pipe(ends.data()) != 0 || write(ends[1], line.data(), line.size()) < 0) {
      std::exit(1);
    }
    dup2(ends[0], STDIN_FILENO);
    close(ends[1]);
    std::atexit([] { note("exit"); });
    TellingPlatform platform("nowhere");
    app::serve(platform);
  };
  EXPECT_EXIT(serve(), testing::ExitedWithCode(0),
              "^run\\(\\) starts on main queue\nrequest on worker\nexit on main queue\n$");
}

}  // namespace
}  // namespace tests
