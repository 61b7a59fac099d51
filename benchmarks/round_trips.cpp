// Asks a program that answers lines again and again, and prints how many seconds one round trip
// takes in the mean.
// Usage: round_trips COUNT REQUEST ANSWER PROGRAM [ARGUMENT...]
// Exit status: 0 when every answer was ANSWER.

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "examples/helper_process.h"

int main(int count, char** arguments) {
  constexpr int program = 4;
  if (count <= program) {
    return EXIT_FAILURE;
  }
  const int times = std::atoi(arguments[1]);
  const std::string request = arguments[2];
  const std::string answer = arguments[3];
  examples::HelperProcess process(std::vector<std::string>(arguments + program, arguments + count));
  const auto areRight = [&](int trips) {
    for (int trip = 0; trip < trips; ++trip) {
      if (process.ask(request) != answer) {
        return false;
      }
    }
    return true;
  };
  using Clock = std::chrono::steady_clock;
  if (!areRight(times / 10)) {  // to warm up
    return EXIT_FAILURE;
  }
  const Clock::time_point begin = Clock::now();
  const bool right = areRight(times);
  const std::chrono::duration<double> duration = Clock::now() - begin;
  std::cout << duration.count() / times << '\n';
  return right ? EXIT_SUCCESS : EXIT_FAILURE;
}
