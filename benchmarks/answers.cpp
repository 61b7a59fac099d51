#include "benchmarks/answers.h"

#include <fstream>
#include <stdexcept>
#include <utility>

namespace benchmarks {

void expect(bool isTrue, const std::string& otherwise) {
  if (!isTrue) {
    throw std::runtime_error(otherwise);
  }
}

void forEachLine(const std::filesystem::path& file,
                 const std::function<void(std::string_view)>& use) {
  std::ifstream stream(file);
  for (std::string line; std::getline(stream, line);) {
    use(line);
  }
}

void expectLines(const std::filesystem::path& file, std::int64_t count,
                 const std::function<bool(std::string_view, std::size_t)>& isRight) {
  std::size_t lines = 0;
  forEachLine(file, [&](std::string_view line) {
    if (!isRight(line, lines)) {
      throw std::runtime_error("wrong answer: " + std::string(line.substr(0, 200)));
    }
    ++lines;
  });
  expect(std::cmp_equal(lines, count),
         std::to_string(lines) + " answers instead of " + std::to_string(count));
}

void expectLines(const std::filesystem::path& file, std::int64_t count, std::string_view text) {
  expectLines(file, count,
              [text](std::string_view line, std::size_t) { return line.contains(text); });
}

std::string firstLine(const std::filesystem::path& file) {
  std::ifstream stream(file);
  std::string line;
  std::getline(stream, line);
  return line;
}

std::string stringOf(std::string_view answer, std::string_view key) {
  const std::string begin = '"' + std::string(key) + "\":\"";
  const std::size_t found = answer.find(begin);
  expect(found != std::string_view::npos, "wrong answer: " + std::string(answer.substr(0, 200)));
  answer.remove_prefix(found + begin.size());
  return std::string(answer.substr(0, answer.find('"')));
}

}  // namespace benchmarks
