// Measures what the helper costs, beside what a user would pick instead, and prints one table.
//
// Exit status: 0 when all rows ran and gave right answers, whatever the numbers are.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "benchmarks/plots.h"
#include "benchmarks/report.h"
#include "benchmarks/rows.h"

namespace {

using benchmarks::Bench;
using benchmarks::Result;
using benchmarks::Row;

struct Options {
  Bench bench;
  bool quick = false;
  bool plots = false;
  std::filesystem::path docs;
  std::string json;
  std::string markdown;
  std::vector<std::string> names;
};

std::vector<Row> rowsOf(const Options& options) {
  std::vector<Row> rows;
  const auto add = [&](std::vector<Row> (*some)(const Bench&)) {
    std::ranges::move(some(options.bench), std::back_inserter(rows));
  };
  if (!options.plots) {
    add(benchmarks::lineRows);
    add(benchmarks::discoverRows);
    add(benchmarks::exportRows);
    add(benchmarks::smallExportRows);
    add(benchmarks::reclaimRows);
  }
  add(benchmarks::discoverGrowthRows);
  add(benchmarks::exportGrowthRows);
  return rows;
}

/// The rows whose names begin with one of `names`, each of which means at least one row.
std::vector<Row> chosen(const std::vector<Row>& rows, const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    if (std::ranges::none_of(rows, [&](const Row& row) { return row.name.starts_with(name); })) {
      std::string message = "no row's name begins with “" + name + "”; the rows are";
      for (const Row& row : rows) {
        message.append(1, ' ').append(row.name);
      }
      throw std::runtime_error(message);
    }
  }
  std::vector<Row> result;
  std::ranges::copy_if(rows, std::back_inserter(result), [&](const Row& row) {
    return names.empty() || std::ranges::any_of(names, [&](const std::string& name) {
             return row.name.starts_with(name);
           });
  });
  return result;
}

/// Better known before a run that takes long.
void expectWritable(const std::string& file) {
  if (!file.empty() && !std::ofstream(file, std::ios::app)) {
    throw std::runtime_error(file + " can't be written; choose another place");
  }
}

std::vector<Result> measureAll(const std::vector<Row>& rows, bool quick) {
  std::vector<Result> results;
  for (const Row& row : rows) {
    std::cerr << row.name << ": " << std::flush;
    results.push_back(benchmarks::measure(row, quick));
    std::cerr << benchmarks::line(results.back()) << '\n';
  }
  return results;
}

int measureAndReport(const Options& options) {
  expectWritable(options.json);
  expectWritable(options.markdown);
  const std::vector<Result> results =
      measureAll(chosen(rowsOf(options), options.names), options.quick);
  const std::string machine = benchmarks::machine();
  const std::string table = machine + "\n\n" + benchmarks::table(results);
  std::cout << table;
  if (!options.json.empty()) {
    benchmarks::writeLines(options.json, {benchmarks::json(results, machine, options.quick)});
  }
  if (!options.markdown.empty()) {
    benchmarks::writeLines(options.markdown, {table});
  }
  if (options.names.empty()) {
    const std::filesystem::path& data = options.bench.data;
    benchmarks::draw(results, options.quick ? data : options.docs, data);
  }
  return std::ranges::any_of(results, &Result::failed) ? EXIT_FAILURE : EXIT_SUCCESS;
}

}  // namespace

int main(int count, char** arguments) {
  Options options;
  CLI::App app("Measures the helper beside what a user would pick instead.", "./bench");
  app.add_option("--programs", options.bench.programs)->required()->group("");
  app.add_option("--data", options.bench.data)->required()->group("");
  app.add_option("--docs", options.docs)->required()->group("");
  app.add_flag("--quick", options.quick, "Small sizes and few runs");
  app.add_flag("--plots", options.plots, "Only the cost as the work grows");
  app.add_option("--json", options.json, "Write the table as JSON too")->type_name("FILE");
  app.add_option("--markdown", options.markdown, "Write the table as Markdown too")
      ->type_name("FILE");
  app.add_option("ROW", options.names, "Only rows whose names begin so");
  CLI11_PARSE(app, count, arguments);
  try {
    if (options.quick) {
      options.bench.sizes = benchmarks::quickSizes();
    }
    std::filesystem::create_directories(options.bench.data);
    return measureAndReport(options);
  } catch (const std::exception& exception) {
    std::cerr << "./bench: " << exception.what() << '\n';
    return EXIT_FAILURE;
  }
}
