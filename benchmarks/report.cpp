#include "benchmarks/report.h"

#include <algorithm>
#include <array>
#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <cmath>
#include <iomanip>
#include <sstream>

namespace benchmarks {
namespace {

using Cells = std::array<std::string, 6>;

/// Three significant digits, without an exponent.
std::string digits(double value) {
  int places = 2;
  for (double size = std::abs(value); size >= 10 && places > 0; size /= 10) {
    --places;
  }
  std::ostringstream text;
  text << std::fixed << std::setprecision(places) << value;
  return text.str();
}

std::string text(double value, Unit unit) {
  struct Scale {
    double size;
    const char* name;
  };
  constexpr std::array seconds = {Scale{1, " s"}, Scale{1e-3, " ms"}, Scale{1e-6, " µs"}};
  constexpr std::array bytes = {Scale{1e9, " GB"}, Scale{1e6, " MB"}, Scale{1e3, " KB"}};
  const auto& scales = unit == Unit::seconds ? seconds : bytes;
  const auto* const fitting =
      std::ranges::find_if(scales, [value](const Scale& scale) { return value >= scale.size; });
  const Scale& scale = fitting == scales.end() ? scales.back() : *fitting;
  return digits(value / scale.size) + scale.name;
}

std::string text(const Range& range, Unit unit) {
  return text(range.median, unit) + " (" + text(range.min, unit) + " .. " + text(range.max, unit) +
         ")";
}

std::string text(const std::optional<Aim>& aim, Unit unit) {
  if (!aim) {
    return "";
  }
  switch (aim->judged) {
    case Judged::ratio:
      return "≤ " + digits(aim->atMost) + " times";
    case Judged::difference:
      return "≤ " + text(aim->atMost, unit) + " more";
    default:
      return "≤ " + text(aim->atMost, unit);
  }
}

/// How ours stands beside the other: the ratio, or the difference where that is judged.
std::string beside(const Result& result) {
  if (result.row.aim && result.row.aim->judged == Judged::difference) {
    const double difference = result.difference.value();
    return (difference < 0 ? "-" : "+") + text(std::abs(difference), result.row.unit);
  }
  return result.ratio ? digits(*result.ratio) : "";
}

std::string name(Judged judged) {
  switch (judged) {
    case Judged::ratio:
      return "ratio";
    case Judged::difference:
      return "difference";
    default:
      return "ours";
  }
}

Cells cells(const Result& result) {
  const Unit unit = result.row.unit;
  const std::string aim = text(result.row.aim, unit);
  if (!result.trouble.empty()) {
    return {result.row.what,
            (result.failed ? "failed: " : "not run: ") + result.trouble,
            "",
            "",
            aim,
            result.failed ? "failed" : "not run"};
  }
  return {result.row.what,
          text(result.ours, unit),
          result.other ? text(*result.other, unit) : "",
          beside(result),
          aim,
          result.met ? (*result.met ? "met" : "not met") : ""};
}

/// How many characters, not bytes, a cell takes.
std::size_t width(const std::string& cell) {
  return static_cast<std::size_t>(
      std::ranges::count_if(cell, [](char byte) { return (byte & 0xC0) != 0x80; }));
}

boost::json::value json(const Range& range) {
  return boost::json::object({{"median", range.median}, {"min", range.min}, {"max", range.max}});
}

}  // namespace

std::string line(const Result& result) {
  const Cells all = cells(result);
  std::string text;
  for (std::size_t column = 1; column < all.size(); ++column) {
    if (!all[column].empty()) {
      text += (text.empty() ? "" : ", ") + all[column];
    }
  }
  return text;
}

std::string table(const std::vector<Result>& results) {
  std::vector<Cells> rows = {{"What", "Ours: median (min .. max)", "The other: median (min .. max)",
                              "Ratio", "Aim", "Met"}};
  std::ranges::transform(results, std::back_inserter(rows), cells);
  std::array<std::size_t, std::tuple_size_v<Cells>> widths{};
  for (const Cells& row : rows) {
    for (std::size_t column = 0; column < row.size(); ++column) {
      widths[column] = std::max(widths[column], width(row[column]));
    }
  }
  std::string text;
  const auto line = [&](auto&& cell, char fill) {
    for (std::size_t column = 0; column < widths.size(); ++column) {
      const std::string content = cell(column);
      text += (column == 0 ? "| " : " | ") + content;
      text.append(widths[column] - width(content), fill);
    }
    text += " |\n";
  };
  for (const Cells& row : rows) {
    line([&row](std::size_t column) { return row[column]; }, ' ');
    if (&row == &rows.front()) {
      line([](std::size_t) { return std::string(); }, '-');
    }
  }
  return text;
}

std::string json(const std::vector<Result>& results, const std::string& machine, bool quick) {
  boost::json::array rows;
  for (const Result& result : results) {
    boost::json::object row({{"name", result.row.name},
                             {"what", result.row.what},
                             {"unit", result.row.unit == Unit::seconds ? "s" : "B"}});
    if (result.trouble.empty()) {
      row["runs"] = result.runs;
      row["ours"] = json(result.ours);
    } else {
      row[result.failed ? "failed" : "notRun"] = result.trouble;
    }
    if (result.other) {
      row["other"] = json(*result.other);
      row["ratio"] = *result.ratio;
      row["difference"] = *result.difference;
    }
    if (const auto& aim = result.row.aim) {
      row["aim"] = boost::json::object({{"judged", name(aim->judged)}, {"atMost", aim->atMost}});
    }
    if (result.met) {
      row["met"] = *result.met;
    }
    rows.push_back(std::move(row));
  }
  return boost::json::serialize(
      boost::json::object({{"machine", machine}, {"quick", quick}, {"rows", std::move(rows)}}));
}

}  // namespace benchmarks
