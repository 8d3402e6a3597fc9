#ifndef PLATFORM_RANDOM_KEY_H_
#define PLATFORM_RANDOM_KEY_H_

#include "Support/KeyedHash.h"

namespace hotfix::platform {

/// The key of this process's hash tables: random, made at the first call, the same from then on. From any thread.
const HashKey& processHashKey();

}  // namespace hotfix::platform

#endif
