#include "Platform/RandomKey.h"

#include <cstdlib>

namespace hotfix::platform {

const HashKey& processHashKey() {
  static const HashKey key = [] {
    HashKey random = {};
    arc4random_buf(&random, sizeof random);
    return random;
  }();
  return key;
}

}  // namespace hotfix::platform
