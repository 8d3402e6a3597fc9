/* A plug-in that the library went into. It exports one function. */

#include "hotifxUninstallLibrary.h"

int32_t removeHotfix(const char* home, const char* data);

int32_t removeHotfix(const char* home, const char* data) { return RCPUninstallHotfixEx(home, data); }
