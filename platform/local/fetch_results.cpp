#include "platform/local/fetch_results.h"

namespace platform::local {

std::unique_ptr<photos::Asset> LocalAssets::assetOfRow(std::int64_t row) const {
  // After a failed read the asset has no values, and from the next request on access is restricted.
  return std::make_unique<LocalAsset>(
      snapshot_, snapshot_->library().asset(row).value_or(library::AssetRow()));
}

std::size_t OrderedAssets::count() {
  while (readMore()) {
  }
  return end();
}

std::int64_t OrderedAssets::row(std::size_t index) {
  while (index >= end() && readMore()) {
  }
  return snapshot()->order().row(index);
}

std::unique_ptr<photos::Asset> OrderedAssets::objectAtIndex(std::size_t index) {
  // The assets of a listing lie side by side in the database's index: one search finds a run.
  constexpr std::size_t runLength = 64;
  const std::int64_t asset = row(index);
  const std::optional<photos::Date> date = snapshot()->order().date(index);
  if (!date) {
    return assetOfRow(asset);
  }
  std::size_t place = index - runBegin_;
  if (place >= run_.size() || run_[place].row != asset) {
    run_ = snapshot()->library().assetsFrom(*date, asset, runLength).value_or(Run());
    runBegin_ = index;
    place = 0;
    // A damaged index need not find what it has listed.
    if (run_.empty() || run_.front().row != asset) {
      return assetOfRow(asset);
    }
  }
  // Moved out. An asset that is asked for again is read again.
  return std::make_unique<LocalAsset>(snapshot(), std::exchange(run_[place], {}));
}

std::optional<std::size_t> OrderedAssets::indexOfAsset(const photos::AssetFilter& filter,
                                                       std::size_t index, std::uint64_t skipped) {
  do {
    index = snapshot()->order().walk(filter, index, end(), skipped);
    if (index < end()) {
      return index;
    }
  } while (readMore());
  return std::nullopt;
}

std::size_t OrderedAssets::end() const {
  const AssetOrder& order = snapshot()->order();
  return before_ ? order.sizeBefore(*before_) : order.size();
}

bool OrderedAssets::readMore() {
  // Once an asset behind the end of the result has been read, the result is complete.
  return end() == snapshot()->order().size() && snapshot()->readMoreOfOrder();
}

}  // namespace platform::local
