// The table, for people and for machines.
#pragma once

#include <string>
#include <vector>

#include "benchmarks/measure.h"

namespace benchmarks {

/// One row, in short.
std::string line(const Result& result);

/// Aligned columns, in Markdown.
std::string table(const std::vector<Result>& results);

/// One JSON object; times in seconds, memory in bytes. `quick`: whether the sizes are small.
std::string json(const std::vector<Result>& results, const std::string& machine, bool quick);

/// Processor, cores, memory, system and compiler, in one line.
std::string machine();

}  // namespace benchmarks
