#include "tests/child_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <system_error>
#include <utility>

// NOLINTNEXTLINE(readability-redundant-declaration): macOS does not declare it.
extern char** environ;

namespace tests {
namespace {

/// Both ends of a pipe, for reading and for writing; the program gets copies of its own.
std::array<int, 2> openPipe() {
  std::array<int, 2> ends{-1, -1};
  if (pipe(ends.data()) == 0) {
    fcntl(ends[0], F_SETFD, FD_CLOEXEC);
    fcntl(ends[1], F_SETFD, FD_CLOEXEC);
  }
  return ends;
}

std::string readAll(FILE* file) {
  std::string text;
  std::array<char, 65536> piece{};
  while (const std::size_t size = std::fread(piece.data(), 1, piece.size(), file)) {
    text.append(piece.data(), size);
  }
  return text;
}

}  // namespace

ChildProcess::ChildProcess(std::vector<std::string> command, const std::filesystem::path& folder)
    : errors_(std::tmpfile()) {
  if (errors_ == nullptr) {
    throw std::runtime_error("no temporary file can be made");
  }
  std::signal(SIGPIPE, SIG_IGN);
  const std::array<int, 2> input = openPipe();
  const std::array<int, 2> output = openPipe();
  input_ = input[1];
  output_ = fdopen(output[0], "r");
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (std::string& argument : command) {
    arguments.push_back(argument.data());
  }
  arguments.push_back(nullptr);

  posix_spawn_file_actions_t actions{};
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, fileno(errors_), STDERR_FILENO);
  posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
  // The program has to ignore SIGPIPE by itself.
  sigset_t defaults{};
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGPIPE);
  posix_spawnattr_t attributes{};
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setsigdefault(&attributes, &defaults);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  // Nor may it rely on SIGCHLD, which a host may leave ignored.
  const auto before = std::signal(SIGCHLD, SIG_IGN);
  const int error =
      posix_spawn(&process_, arguments[0], &actions, &attributes, arguments.data(), environ);
  std::signal(SIGCHLD, before);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  close(input[0]);
  close(output[1]);
  if (error != 0) {
    throw std::system_error(error, std::generic_category(), command.front());
  }
}

ChildProcess::~ChildProcess() {
  closeOutput();
  static_cast<void>(wait());
  std::fclose(errors_);
}

void ChildProcess::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(input_, bytes.data(), bytes.size());
    if (written < 0) {
      return;
    }
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

void ChildProcess::closeInput() {
  if (input_ >= 0) {
    close(std::exchange(input_, -1));
  }
}

void ChildProcess::closeOutput() {
  if (output_ != nullptr) {
    std::fclose(std::exchange(output_, nullptr));
  }
}

std::string ChildProcess::readLine() {
  char* buffer = nullptr;
  std::size_t capacity = 0;
  const ssize_t length = getline(&buffer, &capacity, output_);
  std::string line(buffer, length < 0 ? 0 : static_cast<std::size_t>(length));
  std::free(buffer);
  return line;
}

std::string ChildProcess::readToEnd() { return readAll(output_); }

void ChildProcess::kill() {
  ::kill(process_, SIGKILL);
  static_cast<void>(wait());
}

int ChildProcess::wait() {
  closeInput();
  int status = 0;
  if (process_ < 0 || waitpid(std::exchange(process_, -1), &status, 0) < 0) {
    return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string ChildProcess::errors() {
  std::fseek(errors_, 0, SEEK_SET);
  return readAll(errors_);
}

}  // namespace tests
