// A helper process as a host holds it: started, asked line by line, ended.
#pragma once

#include <sys/types.h>

#include <cstdio>
#include <string>
#include <vector>

namespace examples {

/// One thread at a time. Ends the helper by closing its standard input, and waits for its exit.
class HelperProcess {
 public:
  /// Starts `command`, a program and its arguments, with pipes for its standard input and output.
  /// Without a helper every ask() fails.
  explicit HelperProcess(const std::vector<std::string>& command);
  HelperProcess(const HelperProcess&) = delete;
  HelperProcess& operator=(const HelperProcess&) = delete;
  ~HelperProcess();

  /// Sends one request line, without its newline, and waits for the one answer line; empty when
  /// the helper is gone.
  std::string ask(const std::string& request);

 private:
  pid_t process_ = -1;
  FILE* requests_ = nullptr;
  FILE* answers_ = nullptr;
};

}  // namespace examples
