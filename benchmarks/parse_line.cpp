// Reads a file and parses it with the JSON library, plainly. Prints whether it is JSON.
// Usage: parse_line FILE

#include <boost/json/parse.hpp>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <string>

int main(int count, char** arguments) {
  if (count != 2) {
    return EXIT_FAILURE;
  }
  try {
    const std::filesystem::path file = arguments[1];
    std::string text(std::filesystem::file_size(file), '\0');
    std::ifstream(file, std::ios::binary).read(text.data(), std::ssize(text));
    boost::json::error_code error;
    const boost::json::value value = boost::json::parse(text, error);
    std::puts(error || value.is_null() ? "not JSON" : "JSON");
    // What it holds is given back by the end of the process.
    std::fflush(stdout);
    std::_Exit(EXIT_SUCCESS);
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "parse_line: %s\n", exception.what());
    return EXIT_FAILURE;
  }
}
