#include <array>
#include <string>
#include <string_view>
#include <utility>

#include "benchmarks/answers.h"
#include "benchmarks/rows.h"

namespace benchmarks {
namespace {

namespace fs = std::filesystem;

/// Both sides of the pipes on one core, where the system can do that: on several, it is the waking
/// of an idle core that is measured, ten times as long and different each time.
Pair roundTrips(const Bench& bench) {
  const auto ask = [&bench](const std::string& request, const std::string& answer,
                            const Command& program) {
    Command arguments = {bench.program("round_trips"), std::to_string(bench.sizes.roundTrips),
                         request, answer};
    arguments.insert(arguments.end(), program.begin(), program.end());
    const fs::path printed = bench.data / "round-trip";
    run(shell(R"(taskset -c 0 true 2>/dev/null && set -- taskset -c 0 "$@"; exec "$@")", arguments),
        {.output = printed});
    return std::stod(firstLine(printed));
  };
  const std::string request = R"({"command":"authorize"})";
  const fs::path library = zerosLibrary(bench, 1);
  return {.ours =
              [=, &bench] {
                return ask(request, R"({"ok":true,"status":"authorized"})", bench.serve(library));
              },
          .other = [=, &bench] { return ask(request, request, {bench.program("echo_lines")}); }};
}

struct Exchange {
  std::string_view request;
  /// What the answer begins with.
  std::string_view answer;
};

constexpr std::array mixedExchanges = {
    Exchange{R"({"command":"authorize"})", R"({"ok":true,"status":"authorized"})"},
    Exchange{R"({"command":"discover","limit":1})",
             R"({"ok":true,"status":"discovered","assets":[{"assetID":"only\/L0\/001",)"},
    Exchange{R"({"command":"estimate","assetID":"nobody/L0/001","photoKitResourceType":1})",
             R"({"ok":false,"status":"missing",)"},
    Exchange{R"({"command":"export","assetID":"nobody/L0/001","destination":"nowhere"})",
             R"({"ok":false,"status":"missing"})"},
    Exchange{R"({"command":"reclaim","assetIDs":["nobody/L0/001"]})",
             R"({"ok":false,"status":"missing",)"},
    Exchange{R"({"command":"open"})", R"({"ok":false,"status":"invalid_request",)"},
    Exchange{R"({"command":"unheard of"})",
             R"({"ok":false,"status":"invalid_request","error":"Unknown command"})"},
    Exchange{"this is no request", R"({"ok":false,"status":"invalid_request"})"},
};

fs::path mixedRequests(const Bench& bench) {
  return writeText(bench.data / "mixed-requests", [&](const auto& piece) {
    for (std::size_t index = 0; std::cmp_less(index, bench.sizes.requests); ++index) {
      piece(mixedExchanges[index % mixedExchanges.size()].request);
      piece("\n");
    }
  });
}

Pair mixedPair(const Bench& bench) {
  const fs::path requests = mixedRequests(bench);
  const fs::path answers = bench.data / "mixed-answers";
  const auto pipe = [=, count = bench.sizes.requests](const Command& command,
                                                      std::string_view Exchange::* answer) {
    Command arguments = {requests};
    arguments.insert(arguments.end(), command.begin(), command.end());
    const Usage usage =
        run(shell(R"(file=$1; shift; cat "$file" | "$@")", arguments), {.output = answers});
    expectLines(answers, count, [answer](std::string_view line, std::size_t index) {
      return line.starts_with(mixedExchanges[index % mixedExchanges.size()].*answer);
    });
    return usage.seconds / static_cast<double>(count);
  };
  const fs::path library = zerosLibrary(bench, 1);
  return {.ours = [=, &bench] { return pipe(bench.serve(library), &Exchange::answer); },
          .other = [=, &bench] { return pipe({bench.program("echo_lines")}, &Exchange::request); }};
}

/// A reclaim of as many unknown identifiers as fit the line.
fs::path longLine(const Bench& bench, const std::string& name, std::string_view end) {
  return writeText(bench.data / name, [&](const auto& piece) {
    piece(R"({"command":"reclaim","assetIDs":["nobody/L0/001")");
    std::string identifier = R"(,"01234567-89AB-CDEF-0123-000000000000/L0/001")";
    const std::size_t last = identifier.rfind("/L0");
    std::int64_t length = 0;
    for (std::int64_t index = 0; length < bench.sizes.longLine; ++index) {
      const std::string digits = std::to_string(index);
      identifier.replace(last - digits.size(), digits.size(), digits);
      piece(identifier);
      length += std::ssize(identifier);
    }
    piece(end);
  });
}

struct LongLine {
  std::string name;
  std::string_view end;
  std::string status;
};

Usage answerLongLine(const Bench& bench, const LongLine& line) {
  const fs::path answer = bench.data / "long-line-answer";
  const Usage usage =
      run(bench.serve(zerosLibrary(bench, 1)), {.input = bench.data / line.name, .output = answer});
  expect(stringOf(firstLine(answer), "status") == line.status, "wrong answer to a long line");
  return usage;
}

Pair longLineTime(const Bench& bench, const LongLine& line) {
  const fs::path file = longLine(bench, line.name, line.end);
  return {
      .ours = [=, &bench] { return answerLongLine(bench, line).seconds; },
      .other =
          [=, &bench] {
            return run(shell(R"(wc -l <"$1" && "$2" "$1")", {file, bench.program("parse_line")}))
                .seconds;
          }};
}

Pair longLineMemory(const Bench& bench, const LongLine& line) {
  const fs::path file = longLine(bench, line.name, line.end);
  return {.ours = [=, &bench] { return peakOf(answerLongLine(bench, line)); },
          .other = [=] { return static_cast<double>(fs::file_size(file)); }};
}

Pair emptyInput(const Bench& bench) {
  // No request, no library: this is the helper itself, and photos-sim loads more.
  return {.ours = [&bench] { return run({bench.program("photos-helper")}).seconds; }};
}

}  // namespace

std::vector<Row> lineRows(const Bench& bench) {
  const LongLine reclaim{.name = "long-reclaim", .end = "]}\n", .status = "missing"};
  const LongLine broken{.name = "long-broken", .end = "]\n", .status = "invalid_request"};
  const std::string megabytes = counted(bench.sizes.longLine / 1'000'000) + " MB";
  return {
      {.name = "authorize",
       .what = "\"authorize\" round trip, beside a C program that echoes lines",
       .aim = Aim{Judged::ratio, 1.3},
       .prepare = [&bench] { return roundTrips(bench); }},
      {.name = "start",
       .what = "start to exit of `photos-helper` on empty input",
       .aim = Aim{Judged::ours, 10e-3},
       .prepare = [&bench] { return emptyInput(bench); }},
      {.name = "pipe",
       .what = counted(bench.sizes.requests) +
               " mixed small requests in one pipe, each, beside that C program",
       .prepare = [&bench] { return mixedPair(bench); }},
      {.name = "long-reclaim",
       .what = "a reclaim in one line of " + megabytes + ", beside `wc -l` and a plain parse",
       .prepare = [=, &bench] { return longLineTime(bench, reclaim); },
       .slow = true},
      {.name = "long-broken",
       .what = "a line of " + megabytes + " that is not JSON at its end, beside the same",
       .prepare = [=, &bench] { return longLineTime(bench, broken); },
       .slow = true},
      {.name = "long-reclaim-memory",
       .what =
           "peak memory with a reclaim in one line of " + megabytes + ", beside the line's size",
       .unit = Unit::bytes,
       .prepare = [=, &bench] { return longLineMemory(bench, reclaim); },
       .slow = true},
      {.name = "long-broken-memory",
       .what = "peak memory with a line of " + megabytes +
               " that is not JSON at its end, beside its size",
       .unit = Unit::bytes,
       .prepare = [=, &bench] { return longLineMemory(bench, broken); },
       .slow = true},
  };
}

}  // namespace benchmarks
