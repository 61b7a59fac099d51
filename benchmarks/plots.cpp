#include "benchmarks/plots.h"

#include <map>
#include <string>
#include <utility>

#include "benchmarks/data.h"

namespace benchmarks {
namespace {

namespace fs = std::filesystem;

/// Each curve's points, "x median min max", by the curve's name.
using Curves = std::map<std::string, std::vector<std::string>>;

std::string point(double x, const Range& range) {
  std::string text;
  for (const double number : {x, range.median, range.min, range.max}) {
    text += std::to_string(number) + ' ';
  }
  return text;
}

std::map<std::string, Curves> curvesOf(const std::vector<Result>& results) {
  std::map<std::string, Curves> plots;
  for (const Result& result : results) {
    if (const auto& place = result.row.point) {
      Curves& curves = plots[place->plot];
      curves[place->ours].push_back(point(place->x, result.ours));
      if (result.other) {
        curves[place->other].push_back(point(place->x, *result.other));
      }
    }
  }
  for (const Result& result : results) {
    if (result.row.point && !result.trouble.empty()) {
      plots.erase(result.row.point->plot);
    }
  }
  return plots;
}

void drawOne(const std::string& name, const Curves& curves, const fs::path& folder,
             const fs::path& scratch) {
  std::vector<std::string> script = {
      "set terminal svg noenhanced size 800,500 font 'sans-serif,14' background 'white'",
      "set output '" + (folder / (name + ".svg")).string() + "'",
      "set logscale xy",
      "set grid",
      "set key top left",
      "set format y '%g s'",
      name == "export" ? "set xlabel 'MiB'" : "set xlabel 'assets'",
      name == "export" ? "scale = 1048576" : "scale = 1",
  };
  std::string plot = "plot ";
  for (const auto& [curve, points] : curves) {
    const fs::path file =
        writeLines(scratch / (name + "-" + std::to_string(script.size())), points);
    script.push_back("# " + curve);
    plot += "'" + file.string() + "' using ($1/scale):2:3:4 with yerrorlines linewidth 2 title '" +
            curve + "', ";
  }
  script.push_back(plot);
  run({"gnuplot", writeLines(scratch / (name + ".gnuplot"), script)});
}

}  // namespace

void draw(const std::vector<Result>& results, const fs::path& folder, const fs::path& scratch) {
  for (const auto& [name, curves] : curvesOf(results)) {
    drawOne(name, curves, folder, scratch);
  }
}

}  // namespace benchmarks
