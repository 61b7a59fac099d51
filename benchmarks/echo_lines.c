// The least that a program answering lines can do: gives each one back.
#define _POSIX_C_SOURCE 200809L

#include <stdio.h>
#include <stdlib.h>
#include <sys/types.h>

int main(void) {
  char* line = NULL;
  size_t capacity = 0;
  ssize_t length = 0;
  while ((length = getline(&line, &capacity, stdin)) > 0) {
    fwrite(line, 1, (size_t)length, stdout);
    fflush(stdout);
  }
  free(line);
  return 0;
}
