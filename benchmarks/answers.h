// Checks of what a program has answered. All throw std::runtime_error.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

namespace benchmarks {

void expect(bool isTrue, const std::string& otherwise);

/// Gives each line of the file, in order and one at a time, so that this process stays small.
void forEachLine(const std::filesystem::path& file,
                 const std::function<void(std::string_view)>& use);

/// The file holds this many lines, and each is right, told its index.
void expectLines(const std::filesystem::path& file, std::int64_t count,
                 const std::function<bool(std::string_view line, std::size_t index)>& isRight);

/// The same, where each line is to hold `text`.
void expectLines(const std::filesystem::path& file, std::int64_t count, std::string_view text);

[[nodiscard]] std::string firstLine(const std::filesystem::path& file);

/// What stands in an answer line behind the key of a string.
[[nodiscard]] std::string stringOf(std::string_view answer, std::string_view key);

}  // namespace benchmarks
