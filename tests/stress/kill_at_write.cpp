// Preloaded into a program, kills it at a change that it makes to a file, by number: a write is
// half done then, anything else not begun.
//
// KILL_AT_WRITE is the number of the change, counted from 1.
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdlib>

namespace {

bool isDue() {
  static const char* const number = std::getenv("KILL_AT_WRITE");
  static std::atomic<long> changesLeft = number == nullptr ? 0 : std::atol(number);
  return changesLeft.fetch_sub(1) == 1;
}

/// The function of that name that this one stands before.
template <class Function>
Function real(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

template <class... Arguments>
int change(const char* name, Arguments... arguments) {
  if (isDue()) {
    static_cast<void>(std::raise(SIGKILL));
  }
  return real<int (*)(Arguments...)>(name)(arguments...);
}

template <class... Offset>
ssize_t changeBytes(const char* name, int descriptor, const void* bytes, size_t size,
                    Offset... offset) {
  const auto call = real<ssize_t (*)(int, const void*, size_t, Offset...)>(name);
  struct stat status{};
  if (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && isDue()) {
    static_cast<void>(call(descriptor, bytes, size / 2, offset...));
    static_cast<void>(std::raise(SIGKILL));
  }
  return call(descriptor, bytes, size, offset...);
}

}  // namespace

extern "C" {

ssize_t write(int descriptor, const void* bytes, size_t size) {
  return changeBytes("write", descriptor, bytes, size);
}
ssize_t pwrite64(int descriptor, const void* bytes, size_t size, std::int64_t offset) {
  return changeBytes("pwrite64", descriptor, bytes, size, offset);
}
int ftruncate64(int descriptor, std::int64_t size) {
  return change("ftruncate64", descriptor, size);
}
int rename(const char* from, const char* to) { return change("rename", from, to); }
int unlink(const char* path) { return change("unlink", path); }
int unlinkat(int folder, const char* path, int flags) {
  return change("unlinkat", folder, path, flags);
}
int mkdir(const char* path, mode_t mode) { return change("mkdir", path, mode); }
}
