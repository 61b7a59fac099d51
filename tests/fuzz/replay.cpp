// Runs a target without a fuzzer, on its seeds and on each file that is named.
#include <fstream>
#include <iostream>
#include <iterator>

#include "tests/fuzz/target.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

void run(const std::string& input) {
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
}

}  // namespace

int main(int argc, char** argv) {
  for (const std::string& seed : fuzz::seeds) {
    run(seed);
  }
  for (int index = 1; index < argc; ++index) {
    std::cout << argv[index] << '\n' << std::flush;
    std::ifstream file(argv[index], std::ios::binary);
    run({std::istreambuf_iterator<char>(file), {}});
  }
}
