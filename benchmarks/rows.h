// All rows of the table, by what they are about. The rows refer to `bench`, which outlives them.
#pragma once

#include <vector>

#include "benchmarks/data.h"
#include "benchmarks/measure.h"

namespace benchmarks {

/// Starting, ending, and lines of all kinds.
std::vector<Row> lineRows(const Bench& bench);

std::vector<Row> discoverRows(const Bench& bench);
std::vector<Row> exportRows(const Bench& bench);
std::vector<Row> smallExportRows(const Bench& bench);
std::vector<Row> reclaimRows(const Bench& bench);

/// The points of the plots: the cost of a listing and of an export as the work grows.
std::vector<Row> discoverGrowthRows(const Bench& bench);
std::vector<Row> exportGrowthRows(const Bench& bench);

}  // namespace benchmarks
