// Asks again and again, each time when the last answer has come: requests go to standard output,
// answers come from standard input. Tells standard error how many seconds one round trip takes in
// the mean.
// Usage: round_trips COUNT REQUEST ANSWER
// Exit status: 0 when every answer was ANSWER.
#define _POSIX_C_SOURCE 200809L

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

static double now(void) {
  struct timespec time;
  clock_gettime(CLOCK_MONOTONIC, &time);
  return (double)time.tv_sec + (double)time.tv_nsec / 1e9;
}

int main(int count, char** arguments) {
  if (count != 4) {
    return EXIT_FAILURE;
  }
  const int times = atoi(arguments[1]);
  double begin = 0;
  char line[4096];
  for (int trip = -times / 10; trip < times; ++trip) {  // some to warm up
    if (trip == 0) {
      begin = now();
    }
    puts(arguments[2]);
    fflush(stdout);
    if (!fgets(line, sizeof line, stdin)) {
      return EXIT_FAILURE;
    }
    line[strcspn(line, "\n")] = '\0';
    if (strcmp(line, arguments[3]) != 0) {
      fprintf(stderr, "wrong answer: %s\n", line);
      return EXIT_FAILURE;
    }
  }
  fprintf(stderr, "%.9f\n", (now() - begin) / times);
  return EXIT_SUCCESS;
}
