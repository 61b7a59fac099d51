#include "benchmarks/measure.h"

#include <algorithm>

namespace benchmarks {
namespace {

double median(std::vector<double> values) {
  std::ranges::sort(values);
  const std::size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

Range range(const std::vector<double>& values) {
  const auto [min, max] = std::ranges::minmax(values);
  return {.median = median(values), .min = min, .max = max};
}

double judged(Judged what, const Result& result) {
  switch (what) {
    case Judged::ratio:
      return result.ratio.value();
    case Judged::difference:
      return result.difference.value();
    default:
      return result.ours.median;
  }
}

void measureInTurn(const Pair& pair, int runs, Result& result) {
  std::vector<double> ours;
  std::vector<double> other;
  std::vector<double> ratios;
  std::vector<double> differences;
  for (int run = -1; run < runs; ++run) {
    const double our = pair.ours();
    const double their = pair.other ? pair.other() : 0;
    if (run >= 0) {
      ours.push_back(our);
      other.push_back(their);
      ratios.push_back(our / their);
      differences.push_back(our - their);
    }
  }
  result.runs = runs;
  result.ours = range(ours);
  if (pair.other) {
    result.other = range(other);
    result.ratio = median(ratios);
    result.difference = median(differences);
  }
  if (const std::optional<Aim> aim = result.row.aim) {
    result.met = judged(aim->judged, result) <= aim->atMost;
  }
}

}  // namespace

Result measure(const Row& row, bool quick) {
  constexpr int fewRuns = 2;
  constexpr int slowRuns = 3;
  constexpr int manyRuns = 7;
  Result result{.row = row};
  if (quick) {
    result.row.aim.reset();
  }
  try {
    measureInTurn(row.prepare(), quick ? fewRuns : (row.slow ? slowRuns : manyRuns), result);
  } catch (const NotRun& reason) {
    result.trouble = reason.what();
  } catch (const std::exception& exception) {
    result.trouble = exception.what();
    result.failed = true;
  }
  return result;
}

}  // namespace benchmarks
