#include "platform/local/url.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <boost/url/parse.hpp>
#include <cerrno>
#include <csignal>
#include <utility>

extern char** environ;  // NOLINT(readability-redundant-declaration): not everywhere declared

namespace platform::local {
namespace {

#ifdef __APPLE__
constexpr const char* opener = "open";
#else
constexpr const char* opener = "xdg-open";
#endif

class LocalURL : public photos::URL {
 public:
  explicit LocalURL(std::string text) : text_(std::move(text)) {}
  [[nodiscard]] const std::string& text() const { return text_; }

 private:
  std::string text_;
};

/// Runs a program found on the path with one argument and waits; true when it ended with status 0.
bool run(const char* program, std::string argument) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_RDWR, 0);
  }
  // The opener inherits ignored signals: give it the default actions again.
  sigset_t defaults;
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGPIPE);
  sigaddset(&defaults, SIGXFSZ);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setsigdefault(&attributes, &defaults);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  std::string name = program;
  std::array<char*, 3> arguments = {name.data(), argument.data(), nullptr};
  pid_t process = 0;
  const int failure =
      posix_spawnp(&process, program, &actions, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  if (failure != 0) {
    return false;
  }
  int status = 0;
  while (waitpid(process, &status, 0) < 0) {
    if (errno != EINTR) {
      return false;
    }
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace

std::unique_ptr<photos::URL> parseURL(const std::string& text) {
  return boost::urls::parse_uri(text) ? std::make_unique<LocalURL>(text) : nullptr;
}

bool openWithSystem(const photos::URL& url) {
  return run(opener, static_cast<const LocalURL&>(url).text());
}

}  // namespace platform::local
