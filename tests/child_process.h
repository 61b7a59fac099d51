// A program that a test runs and talks to over pipes.
#pragma once

#include <sys/types.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace tests {

class ChildProcess {
 public:
  /// Starts command[0] with the rest as its arguments, in the working directory `folder`. Throws
  /// std::system_error when it can't be started.
  ChildProcess(std::vector<std::string> command, const std::filesystem::path& folder);
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess();

  /// Gives bytes to its standard input. What a program that has ended does not take is dropped.
  void write(std::string_view bytes);
  void closeInput();

  /// Stops reading its standard output.
  void closeOutput();

  /// The next line of its standard output with its "\n", or what is left before the end.
  [[nodiscard]] std::string readLine();
  [[nodiscard]] std::string readToEnd();

  /// Ends it at once, with SIGKILL, and waits until it is gone.
  void kill();

  /// Closes the input, waits for the end and returns the exit status; -1 when a signal ended it.
  [[nodiscard]] int wait();

  /// All that it has written to standard error.
  [[nodiscard]] std::string errors();

 private:
  int input_ = -1;
  FILE* output_ = nullptr;
  FILE* errors_ = nullptr;
  pid_t process_ = -1;
};

}  // namespace tests
