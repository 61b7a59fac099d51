#include <chrono>
#include <memory>
#include <string>

#include "benchmarks/answers.h"
#include "benchmarks/rows.h"
#include "examples/helper_process.h"

namespace benchmarks {
namespace {

namespace fs = std::filesystem;
using examples::HelperProcess;

/// The mean time of one round trip.
double askRepeatedly(HelperProcess& process, const std::string& request, const std::string& answer,
                     std::int64_t times) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point begin = Clock::now();
  for (std::int64_t time = 0; time < times; ++time) {
    expect(process.ask(request) == answer, "wrong answer to " + request);
  }
  const std::chrono::duration<double> duration = Clock::now() - begin;
  return duration.count() / static_cast<double>(times);
}

Pair roundTrips(const Bench& bench) {
  const auto helper = std::make_shared<HelperProcess>(bench.serve(zerosLibrary(bench, 1)));
  const auto echo = std::make_shared<HelperProcess>(Command{bench.program("echo_lines")});
  const std::string request = R"({"command":"authorize"})";
  return {.ours =
              [=, times = bench.sizes.roundTrips] {
                return askRepeatedly(*helper, request, R"({"ok":true,"status":"authorized"})",
                                     times);
              },
          .other =
              [=, times = bench.sizes.roundTrips] {
                return askRepeatedly(*echo, request, request, times);
              }};
}

fs::path mixedRequests(const Bench& bench) {
  const std::vector<std::string> kinds = {
      R"({"command":"authorize"})",
      R"({"command":"discover","limit":1})",
      R"({"command":"estimate","assetID":"nobody/L0/001","photoKitResourceType":1})",
      R"({"command":"export","assetID":"nobody/L0/001","destination":"nowhere"})",
      R"({"command":"reclaim","assetIDs":["nobody/L0/001"]})",
      R"({"command":"open"})",
      R"({"command":"unheard of"})",
      R"(this is no request)",
  };
  return writeText(bench.data / "mixed-requests", [&](const auto& piece) {
    for (std::int64_t index = 0; index < bench.sizes.requests; ++index) {
      piece(kinds[static_cast<std::size_t>(index) % kinds.size()]);
      piece("\n");
    }
  });
}

Pair mixedPair(const Bench& bench) {
  const fs::path requests = mixedRequests(bench);
  const fs::path answers = bench.data / "mixed-answers";
  const auto pipe = [=, count = bench.sizes.requests](const Command& command,
                                                      std::string_view answer) {
    Command arguments = {requests};
    arguments.insert(arguments.end(), command.begin(), command.end());
    const Usage usage =
        run(shell(R"(file=$1; shift; cat "$file" | "$@")", arguments), {.output = answers});
    expectLines(answers, count, answer);
    return usage.seconds / static_cast<double>(count);
  };
  const fs::path library = zerosLibrary(bench, 1);
  return {.ours = [=, &bench] { return pipe(bench.serve(library), R"({"ok":)"); },
          .other = [=, &bench] { return pipe({bench.program("echo_lines")}, ""); }};
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
  return {.ours = [library = zerosLibrary(bench, 1), &bench] {
    return run(bench.serve(library)).seconds;
  }};
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
       .what = "process start to exit on empty input",
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
       .what = "peak memory with that reclaim, beside the line's size",
       .unit = Unit::bytes,
       .prepare = [=, &bench] { return longLineMemory(bench, reclaim); },
       .slow = true},
      {.name = "long-broken-memory",
       .what = "peak memory with the line that is not JSON, beside its size",
       .unit = Unit::bytes,
       .prepare = [=, &bench] { return longLineMemory(bench, broken); },
       .slow = true},
  };
}

}  // namespace benchmarks
