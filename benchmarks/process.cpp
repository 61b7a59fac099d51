#include "benchmarks/process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <stdexcept>

extern char** environ;  // NOLINT(readability-redundant-declaration)

namespace benchmarks {
namespace {

#ifdef __APPLE__
constexpr double bytesOfPeak = 1;
#else
constexpr double bytesOfPeak = 1024;
#endif

pid_t start(Command command, const Streams& streams) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, streams.input.c_str(), O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, streams.output.c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0666);
  std::vector<char*> arguments;
  for (std::string& word : command) {
    arguments.push_back(word.data());
  }
  arguments.push_back(nullptr);
  pid_t process = -1;
  const int failure =
      posix_spawnp(&process, arguments.front(), &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (failure != 0) {
    throw std::runtime_error(command.front() + " can't be started");
  }
  return process;
}

}  // namespace

Usage run(const Command& command, const Streams& streams) {
  using Clock = std::chrono::steady_clock;
  // Emptying what an earlier run wrote is not a part of this one.
  if (streams.output != Streams{}.output) {
    std::filesystem::remove(streams.output);
  }
  const Clock::time_point begin = Clock::now();
  const pid_t process = start(command, streams);
  int status = 0;
  rusage used{};
  while (wait4(process, &status, 0, &used) < 0 && errno == EINTR) {
  }
  const std::chrono::duration<double> duration = Clock::now() - begin;
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    throw std::runtime_error(command.front() + " failed");
  }
  return {.seconds = duration.count(),
          .peakBytes = static_cast<double>(used.ru_maxrss) * bytesOfPeak};
}

Command shell(const std::string& script, const Command& arguments) {
  Command command = {"sh", "-c", script, "sh"};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return command;
}

double peakOf(const Usage& usage) {
  rusage own{};
  getrusage(RUSAGE_SELF, &own);
  if (usage.peakBytes <= static_cast<double>(own.ru_maxrss) * bytesOfPeak) {
    throw std::runtime_error("the benchmarks themselves had more memory than what they measure");
  }
  return usage.peakBytes;
}

}  // namespace benchmarks
