#include "platform/local/commit_watch.h"

#include <sqlite3.h>

#include <atomic>

namespace platform::local {
namespace {

/// The first piece of the WAL index, which SQLite keeps mapped as long as the database is open; or
/// null.
const volatile std::uint32_t* walIndex(sqlite3* database) {
  constexpr int pieceSize = 32768;
  sqlite3_file* file = nullptr;
  if (sqlite3_file_control(database, "main", SQLITE_FCNTL_FILE_POINTER,
                           static_cast<void*>(&file)) != SQLITE_OK ||
      file == nullptr || file->pMethods == nullptr || file->pMethods->iVersion < 2) {
    return nullptr;
  }
  volatile void* piece = nullptr;
  const bool isMapped =
      file->pMethods->xShmMap(file, 0, pieceSize, /*extend=*/0, &piece) == SQLITE_OK;
  return isMapped ? static_cast<const volatile std::uint32_t*>(piece) : nullptr;
}

}  // namespace

std::optional<CommitWatch::Header> CommitWatch::header() {
  if (index_ == nullptr) {
    index_ = walIndex(database_.getHandle());
  }
  if (index_ == nullptr) {
    return std::nullopt;
  }
  std::atomic_thread_fence(std::memory_order_seq_cst);
  Header header{};
  for (std::size_t word = 0; word < header.size(); ++word) {
    header[word] = index_[word];
  }
  return header;
}

}  // namespace platform::local
