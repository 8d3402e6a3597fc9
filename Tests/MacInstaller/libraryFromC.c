/*
  Calls the exported entries from C, several times in one process.

    libraryFromC <home> <data> <count> <expected>

  <home> and <data> are paths, "-" for NULL. <count> calls are made; with a data folder all of the long entry, without
  one of the long and the short entry in turn, which then must do the same. Each result is one line on standard error.
  Ends with 0 when every call answered <expected>, with 1 when one did not, with 2 for wrong arguments.

  Without arguments it makes two calls of each entry for an absent home, which must be refused.
*/

#include <errno.h>
#include <inttypes.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "hotifxUninstallLibrary.h"

static const char* pathOrNull(const char* argument) { return strcmp(argument, "-") == 0 ? NULL : argument; }

/* Reads a whole argument as a number; answers 0 when it is none. */
static int readNumber(const char* argument, int32_t lowest, int32_t* number) {
  char* end = NULL;
  errno = 0;
  const long value = strtol(argument, &end, 10);
  if (end == argument || *end != '\0' || errno != 0 || value < lowest || value > INT32_MAX) return 0;
  *number = (int32_t)value;
  return 1;
}

int main(int argc, char** argv) {
  const char* home = NULL;
  const char* data = NULL;
  int32_t count = 4;
  int32_t expected = 1;
  if (argc != 1) {
    if (argc != 5 || !readNumber(argv[3], 1, &count) || !readNumber(argv[4], INT32_MIN, &expected)) {
      fputs("usage: libraryFromC [<home>|- <data>|- <count> <expected>]\n", stderr);
      return 2;
    }
    home = pathOrNull(argv[1]);
    data = pathOrNull(argv[2]);
  }

  int status = 0;
  for (int32_t call = 0; call < count; ++call) {
    const int isShort = data == NULL && call % 2 == 1;
    const int32_t result = isShort ? RCPUninstallHotfix(home) : RCPUninstallHotfixEx(home, data);
    fprintf(stderr, "%s %" PRId32 "\n", isShort ? "RCPUninstallHotfix" : "RCPUninstallHotfixEx", result);
    if (result != expected) status = 1;
  }
  return status;
}
