// Whole programs, measured from outside.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace benchmarks {

using Command = std::vector<std::string>;

struct Usage {
  /// From just before the start to the end.
  double seconds = 0;
  /// The most memory that the program had, as the operating system counts it. It counts what this
  /// process has ever had too, so that a program smaller than this one can't be told.
  double peakBytes = 0;
};

struct Streams {
  std::filesystem::path input = "/dev/null";
  std::filesystem::path output = "/dev/null";
};

/// Runs a program to its end. Throws std::runtime_error when it can't be started or its exit status
/// is not 0.
Usage run(const Command& command, const Streams& streams = {});

/// A command for the shell; $1, $2, ... in it are `arguments`.
Command shell(const std::string& script, const Command& arguments);

/// The peak of `usage`. Throws std::runtime_error when this process had as much itself.
double peakOf(const Usage& usage);

}  // namespace benchmarks
