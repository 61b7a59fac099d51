#include "platform/local/objects.h"

#include <algorithm>

namespace platform::local {

OrderedAssets::OrderedAssets(std::shared_ptr<Connection> connection,
                             const photos::FetchOptions& options)
    : connection_(std::move(connection)),
      snapshot_(connection_->snapshot()),
      before_(options.creationDateBefore) {
  if (before_) {
    first_ =
        connection_->reading(std::size_t{0}, [this] { return connection_->order().firstDated(); });
  }
}

std::size_t OrderedAssets::count() {
  while (readMore()) {
  }
  return connection_->order().end(before_) - first_;
}

std::int64_t OrderedAssets::row(std::size_t index) {
  return connection_->order().row(first_ + index);
}

std::unique_ptr<photos::Asset> OrderedAssets::objectAtIndex(std::size_t index) {
  constexpr std::size_t longestRun = 128;
  const AssetOrder& order = connection_->order();
  const std::size_t position = first_ + index;
  const std::optional<photos::Date> date = order.date(position);
  if (!date) {
    return std::make_unique<LocalAsset>(snapshot_, connection_->asset(order.row(position)));
  }
  const std::size_t runEnd = runBegin_ + run_.size();
  if (position < ungiven_ || position >= runEnd) {
    // Reading on where the last run ended is worth reading ahead; a jump is not.
    runLength_ = position == runEnd ? std::clamp(2 * runLength_, std::size_t{1}, longestRun) : 1;
    run_ = connection_->assetsFrom(*date, order.row(position), runLength_);
    runBegin_ = position;
  }
  if (run_.empty()) {
    return std::make_unique<LocalAsset>(snapshot_, AssetRow{});
  }
  ungiven_ = position + 1;
  AssetWithResources& found = run_[position - runBegin_];
  return std::make_unique<LocalAsset>(snapshot_, std::move(found.asset),
                                      std::move(found.resources));
}

std::optional<std::size_t> OrderedAssets::indexOfAsset(const photos::AssetFilter& filter,
                                                       std::size_t index, std::uint64_t skipped) {
  std::size_t position = first_ + index;
  do {
    const AssetOrder& order = connection_->order();
    const std::size_t end = order.end(before_);
    position = order.walk(filter, position, end, skipped);
    if (position < end) {
      return position - first_;
    }
  } while (readMore());
  return std::nullopt;
}

bool OrderedAssets::readMore() {
  return connection_->reading(false, [this] { return connection_->order().readMore(before_); });
}

}  // namespace platform::local
