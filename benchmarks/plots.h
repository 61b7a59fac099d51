// The cost as the work grows, drawn by gnuplot.
#pragma once

#include <filesystem>
#include <vector>

#include "benchmarks/measure.h"

namespace benchmarks {

/// Draws NAME.svg into `folder` for each plot of which the results have all points; scripts and
/// numbers go to `scratch`. Throws std::runtime_error when gnuplot fails.
void draw(const std::vector<Result>& results, const std::filesystem::path& folder,
          const std::filesystem::path& scratch);

}  // namespace benchmarks
