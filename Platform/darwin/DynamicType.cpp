#include "Platform/darwin/DynamicType.h"

namespace hotfix::platform {

std::string dynamicPasteboardType(const std::string& name) {
  static constexpr char kDigits[] = "abcdefghkmnpqrstuvwxyz0123456789";
  std::string identifier = "dyn.a";
  unsigned pending = 0;  // bits that do not fill a digit yet
  unsigned count = 0;
  for (const char c : "?0=6:4=" + name) {
    pending = (pending << 8U | static_cast<unsigned char>(c)) & 0xFFFU;
    for (count += 8; count >= 5; count -= 5) identifier += kDigits[pending >> (count - 5) & 31U];
  }
  if (count > 0) identifier += kDigits[pending << (5 - count) & 31U];
  return identifier;
}

}  // namespace hotfix::platform
