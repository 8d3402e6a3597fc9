/*
  The exported entries by way of a plug-in, for libraryFromC.c: the program is not linked with the library. The plug-in
  is loaded for each call and unloaded after it.
*/

#include <dlfcn.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "hotifxUninstallLibrary.h"

typedef int32_t (*Entry)(const char*, const char*);

static void require(int isDone) {
  if (isDone) return;
  fprintf(stderr, "%s\n", dlerror());
  abort();
}

int32_t RCPUninstallHotfixEx(const char* rcphome, const char* rcpdata) {
  void* plugin = dlopen(HOTFIX_PLUGIN, RTLD_NOW | RTLD_LOCAL);
  require(plugin != NULL);
  void* symbol = dlsym(plugin, "removeHotfix");
  require(symbol != NULL);
  Entry entry;
  memcpy(&entry, &symbol, sizeof entry); /* ISO C has no cast from an object to a function */
  const int32_t result = entry(rcphome, rcpdata);
  require(dlclose(plugin) == 0);
  return result;
}

int32_t RCPUninstallHotfix(const char* rcphome) { return RCPUninstallHotfixEx(rcphome, NULL); }
