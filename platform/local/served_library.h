// A library while it is served, and views of it that stay as they are.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "library/library.h"
#include "platform/local/asset_order.h"

namespace platform::local {

class Snapshot;

/// What is kept of a library between requests. One thread at a time.
struct ServedLibrary {
  ServedLibrary(library::Library opened, library::FileIdentity file)
      : library(std::move(opened)), identity(file) {}

  library::Library library;
  /// Of its database.
  library::FileIdentity identity;
  AssetOrder order;
  /// SQLite's data_version when the order was read.
  std::optional<std::int64_t> orderVersion;
  std::weak_ptr<Snapshot> snapshot;
};

/// A read transaction: while it lives, all reads see the library as it was when it began. The
/// objects of a fetch share one, which also keeps the library open for them.
class Snapshot {
 public:
  /// The snapshot that is alive, or a new one.
  [[nodiscard]] static std::shared_ptr<Snapshot> of(std::shared_ptr<ServedLibrary> served);

  explicit Snapshot(std::shared_ptr<ServedLibrary> served);
  Snapshot(const Snapshot&) = delete;
  Snapshot& operator=(const Snapshot&) = delete;
  ~Snapshot();

  [[nodiscard]] library::Library& library() { return served_->library; }
  [[nodiscard]] const library::FileIdentity& identity() const { return served_->identity; }
  [[nodiscard]] const AssetOrder& order() const { return served_->order; }

  /// Reads one more piece of the order; false when there is none, or it can't be read.
  [[nodiscard]] bool readMoreOfOrder();

 private:
  std::shared_ptr<ServedLibrary> served_;
};

}  // namespace platform::local
