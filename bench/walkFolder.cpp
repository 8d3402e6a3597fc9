// walkFolder FOLDER MODE: gives everything below the folder the mode (octal), for bench/walk-calls.

#include <cstdio>
#include <cstdlib>

#include "Platform/Ownership.h"

namespace hotfix {

namespace {

int walk(int argc, char* argv[]) {
  if (argc != 3) {
    std::fputs("Usage: walkFolder FOLDER MODE\n", stderr);
    return 2;
  }
  platform::Attributes attributes;
  attributes.mode = static_cast<mode_t>(std::strtoul(argv[2], nullptr, 8));
  return platform::setAttributesBelow(argv[1], attributes) ? 0 : 1;
}

}  // namespace

}  // namespace hotfix

int main(int argc, char* argv[]) { return hotfix::walk(argc, argv); }
