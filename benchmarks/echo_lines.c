// The least that a program answering lines can do: gives each one back.
#include <stdio.h>

int main(void) {
  static char line[1 << 16];
  while (fgets(line, sizeof line, stdin)) {
    fputs(line, stdout);
    fflush(stdout);
  }
  return 0;
}
