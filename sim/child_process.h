// A program that is run and talked to over pipes.
#pragma once

#include <sys/types.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

class ChildProcess {
 public:
  using Clock = std::chrono::steady_clock;

  /// Starts command[0], looked for as a shell does, with the rest as its arguments, in the working
  /// directory `folder` and in a process group of its own, with no signal blocked. Each call below
  /// takes no longer than `limit`, if there is one. Throws std::system_error when it can't be
  /// started.
  ChildProcess(std::vector<std::string> command, const std::filesystem::path& folder,
               std::optional<Clock::duration> limit = {});
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  /// Kills it.
  ~ChildProcess();

  /// Its process group, which is also the program's process.
  [[nodiscard]] pid_t group() const { return process_; }

  /// Gives bytes to its standard input. What a program that has ended does not take is dropped.
  void write(std::string_view bytes);
  void closeInput();

  /// Stops reading its standard output.
  void closeOutput();

  /// The next line of its standard output with its "\n", or what is left before the end. A line is
  /// given up, and comes without a "\n", at the limit and at 64 MiB.
  [[nodiscard]] std::string readLine();
  /// What it has written and nobody has read, without waiting for more.
  [[nodiscard]] std::string readWhatIsThere();
  [[nodiscard]] std::string readToEnd();

  /// Ends all processes of its group at once, with SIGKILL.
  void kill();

  /// Closes the input, waits for the end and returns the exit status; -1 when a signal ended it.
  /// What it has started is killed then, as it is itself at the limit.
  [[nodiscard]] int wait();

  /// Whether the limit was reached.
  [[nodiscard]] bool isLate() const { return isLate_; }

  /// The first 64 KiB that it has written to standard error, which may be without end.
  [[nodiscard]] std::string errors();

 private:
  [[nodiscard]] Clock::time_point deadline() const;
  bool waitFor(int descriptor, short events, Clock::time_point until);
  bool readMore(Clock::time_point until);

  int input_ = -1;
  int output_ = -1;
  FILE* errors_ = nullptr;
  pid_t process_ = -1;
  std::optional<Clock::duration> limit_;
  bool isLate_ = false;
  /// What was read behind the last line given.
  std::string ahead_;
};

}  // namespace sim
