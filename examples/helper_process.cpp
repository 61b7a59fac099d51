#include "examples/helper_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>

extern char** environ;  // NOLINT(readability-redundant-declaration): not everywhere declared

namespace examples {
namespace {

struct Pipe {
  int readEnd = -1;
  int writeEnd = -1;
};

/// Both ends are closed in a started program, unless it is told to keep one.
Pipe makePipe() {
  std::array<int, 2> ends{-1, -1};
  if (pipe(ends.data()) == 0) {
    fcntl(ends[0], F_SETFD, FD_CLOEXEC);
    fcntl(ends[1], F_SETFD, FD_CLOEXEC);
  }
  return {.readEnd = ends[0], .writeEnd = ends[1]};
}

}  // namespace

HelperProcess::HelperProcess(const std::vector<std::string>& command) {
  // A helper that ends early must not end its host: writing to it then just fails.
  std::signal(SIGPIPE, SIG_IGN);
  const Pipe input = makePipe();
  const Pipe output = makePipe();
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input.readEnd, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output.writeEnd, STDOUT_FILENO);
  std::vector<std::string> words = command;
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (std::string& word : words) {
    arguments.push_back(word.data());
  }
  arguments.push_back(nullptr);
  if (posix_spawnp(&process_, arguments.front(), &actions, nullptr, arguments.data(), environ) !=
      0) {
    process_ = -1;
  }
  posix_spawn_file_actions_destroy(&actions);
  close(input.readEnd);
  close(output.writeEnd);
  requests_ = fdopen(input.writeEnd, "w");
  answers_ = fdopen(output.readEnd, "r");
}

HelperProcess::~HelperProcess() {
  std::fclose(requests_);
  std::fclose(answers_);
  while (process_ > 0 && waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
  }
}

std::string HelperProcess::ask(const std::string& request) {
  std::fwrite(request.data(), 1, request.size(), requests_);
  std::fputc('\n', requests_);
  std::fflush(requests_);
  char* line = nullptr;
  std::size_t capacity = 0;
  const ssize_t length = getline(&line, &capacity, answers_);
  std::string answer(line, length > 0 ? static_cast<std::size_t>(length) - 1 : 0);
  std::free(line);
  return answer;
}

}  // namespace examples
