// What a row of the table is, and how it is measured.
#pragma once

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace benchmarks {

enum class Unit { seconds, bytes };

/// What is judged: ours alone, our part of the other's, or what ours has above the other's.
enum class Judged { ours, ratio, difference };

struct Aim {
  Judged judged = Judged::ours;
  double atMost = 0;
};

/// The two sides of a row. Each call is one run, checks its answers, and gives what was measured.
struct Pair {
  std::function<double()> ours;
  /// Empty when ours is measured alone.
  std::function<double()> other = {};
};

/// A point of a plot.
struct Point {
  std::string plot;
  std::string ours;
  std::string other;
  double x = 0;
};

struct Row {
  /// What it is called on the command line.
  std::string name;
  std::string what;
  Unit unit = Unit::seconds;
  std::optional<Aim> aim = {};
  /// Makes the data that the row needs, and checks once what need not be checked in each run.
  std::function<Pair()> prepare = {};
  std::optional<Point> point = {};
  /// A run that takes long is repeated less often.
  bool slow = false;
};

/// The row can't be run on this machine, for no fault of anybody.
struct NotRun : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct Range {
  double median = 0;
  double min = 0;
  double max = 0;
};

struct Result {
  Row row;
  Range ours = {};
  std::optional<Range> other = {};
  /// Both of each run of ours and the other's after it.
  std::optional<double> ratio = {};
  std::optional<double> difference = {};
  int runs = 0;
  std::optional<bool> met = {};
  /// Why there is no result.
  std::string trouble = {};
  bool failed = false;
};

/// Runs each side once to warm up, then both in turn. Failures are in the result. Quick: few runs,
/// and no aim, since the aims are for the full sizes.
Result measure(const Row& row, bool quick);

}  // namespace benchmarks
