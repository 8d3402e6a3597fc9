/*
  Removes the hotfix of one instance, as an installer does it in-process.

      uninstall HOME [DATA]

  Without DATA the data folder is "systemdata" in HOME.
*/

#include <stdio.h>

#include "hotifxUninstallLibrary.h"

int main(int argc, char* argv[]) {
  if (argc < 2 || argc > 3) {
    fprintf(stderr, "Usage: uninstall HOME [DATA]\n");
    return 2;
  }
  const int32_t status = argc == 3 ? RCPUninstallHotfixEx(argv[1], argv[2]) : RCPUninstallHotfix(argv[1]);
  if (status == 0) {
    puts("The hotfix was removed.");
  } else {
    char reason[1024];
    RCPUninstallHotfixReason(reason, sizeof reason);
    printf("The hotfix was not removed: %s.\n", reason);
  }
  return (int)status;
}
