#ifndef PLATFORM_DARWIN_DYNAMIC_TYPE_H_
#define PLATFORM_DARWIN_DYNAMIC_TYPE_H_

#include <string>

namespace hotfix::platform {

/// The uniform type identifier under which a pasteboard stores a type whose name is not itself such an identifier: the
/// result of UTTypeCreatePreferredIdentifierForTag for the tag class "com.apple.nspboard-type".
///
/// It consists of "dyn.a" and the base-32 form (most significant bit first, alphabet a-z0-9 without i, j, l and o) of
/// the tag "?0=6:4=<name>". The form is not documented; it is the same in every release of macOS.
inline std::string dynamicPasteboardType(const std::string& name) {
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

#endif
