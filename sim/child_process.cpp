#include "sim/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>
#include <utility>

// NOLINTNEXTLINE(readability-redundant-declaration): macOS does not declare it.
extern char** environ;

namespace sim {
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

}  // namespace

ChildProcess::ChildProcess(std::vector<std::string> command, const std::filesystem::path& folder,
                           std::optional<Clock::duration> limit)
    : errors_(std::tmpfile()), limit_(limit) {
  if (errors_ == nullptr) {
    throw std::runtime_error("no temporary file can be made");
  }
  std::signal(SIGPIPE, SIG_IGN);
  const std::array<int, 2> input = openPipe();
  const std::array<int, 2> output = openPipe();
  input_ = input[1];
  output_ = output[0];
  fcntl(input_, F_SETFL, O_NONBLOCK);
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
  sigset_t blocked{};
  sigemptyset(&blocked);
  posix_spawnattr_setsigmask(&attributes, &blocked);
  posix_spawnattr_setflags(&attributes,
                           POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
  const int error =
      posix_spawnp(&process_, arguments[0], &actions, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  close(input[0]);
  close(output[1]);
  if (error != 0) {
    closeInput();
    closeOutput();
    std::fclose(errors_);
    throw std::system_error(error, std::generic_category(), command.front());
  }
}

ChildProcess::~ChildProcess() {
  kill();
  closeInput();
  closeOutput();
  std::fclose(errors_);
}

void ChildProcess::write(std::string_view bytes) {
  const Clock::time_point until = deadline();
  while (!bytes.empty() && waitFor(input_, POLLOUT, until)) {
    const ssize_t written = ::write(input_, bytes.data(), bytes.size());
    if (written < 0 && errno != EAGAIN) {
      return;
    }
    bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
  }
}

void ChildProcess::closeInput() {
  if (input_ >= 0) {
    close(std::exchange(input_, -1));
  }
}

void ChildProcess::closeOutput() {
  if (output_ >= 0) {
    close(std::exchange(output_, -1));
  }
}

std::string ChildProcess::readLine() {
  constexpr std::size_t longestLine = 64 << 20;
  const Clock::time_point until = deadline();
  std::size_t searched = 0;
  std::size_t newline = 0;
  while ((newline = ahead_.find('\n', searched)) == std::string::npos) {
    searched = ahead_.size();
    if (searched > longestLine || !readMore(until)) {
      return std::exchange(ahead_, "");
    }
  }
  std::string line = ahead_.substr(0, newline + 1);
  ahead_.erase(0, newline + 1);
  return line;
}

std::string ChildProcess::readWhatIsThere() {
  pollfd there{.fd = output_, .events = POLLIN, .revents = 0};
  if (poll(&there, 1, 0) > 0) {
    readMore(deadline());
  }
  return std::exchange(ahead_, "");
}

std::string ChildProcess::readToEnd() {
  for (const Clock::time_point until = deadline(); readMore(until);) {
  }
  return std::exchange(ahead_, "");
}

void ChildProcess::kill() {
  if (process_ > 0) {
    ::kill(-process_, SIGKILL);
    static_cast<void>(waitpid(std::exchange(process_, -1), nullptr, 0));
  }
}

int ChildProcess::wait() {
  closeInput();
  // A program that has ended keeps its number, and its group's, until it is waited for.
  siginfo_t ended{};
  for (const Clock::time_point until = deadline();
       process_ > 0 &&
       waitid(P_PID, static_cast<id_t>(process_), &ended,
              WEXITED | WNOWAIT | (limit_ ? WNOHANG : 0)) == 0 &&
       ended.si_pid == 0;) {
    constexpr int pause = 5;  // milliseconds
    if (Clock::now() >= until) {
      isLate_ = true;
      break;
    }
    poll(nullptr, 0, pause);
  }
  kill();
  return ended.si_pid != 0 && ended.si_code == CLD_EXITED ? ended.si_status : -1;
}

std::string ChildProcess::errors() {
  std::fseek(errors_, 0, SEEK_SET);
  std::array<char, 65536> piece{};
  return {piece.data(), std::fread(piece.data(), 1, piece.size(), errors_)};
}

ChildProcess::Clock::time_point ChildProcess::deadline() const {
  return limit_ ? Clock::now() + *limit_ : Clock::time_point::max();
}

/// Whether the descriptor is ready before that time.
bool ChildProcess::waitFor(int descriptor, short events, Clock::time_point until) {
  pollfd awaited{.fd = descriptor, .events = events, .revents = 0};
  int ready = 0;
  do {
    using std::chrono::milliseconds;
    constexpr milliseconds longest(3'600'000);
    const auto left = until == Clock::time_point::max()
                          ? longest
                          : std::chrono::ceil<milliseconds>(until - Clock::now());
    if (left <= milliseconds(0)) {
      isLate_ = true;
      return false;
    }
    ready = poll(&awaited, 1, static_cast<int>(std::min(left, longest).count()));
  } while (ready == 0 || (ready < 0 && errno == EINTR));
  return ready > 0;
}

/// Reads on; false at the end.
bool ChildProcess::readMore(Clock::time_point until) {
  std::array<char, 65536> piece{};
  const ssize_t size =
      waitFor(output_, POLLIN, until) ? read(output_, piece.data(), piece.size()) : 0;
  ahead_.append(piece.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
  return size > 0;
}

}  // namespace sim
