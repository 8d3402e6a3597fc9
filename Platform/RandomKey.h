#ifndef PLATFORM_RANDOM_KEY_H_
#define PLATFORM_RANDOM_KEY_H_

#include "Support/KeyedHash.h"

namespace hotfix::platform {

/// The key of this process's hash tables: random, created by the first call, then always the same. Thread-safe.
const HashKey& processHashKey();

}  // namespace hotfix::platform

#endif
