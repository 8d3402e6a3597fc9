#include "Support/TextNumber.h"

#include <algorithm>

#include "Support/TextEncoding.h"

namespace hotfix::text {

namespace {

bool isBlank(char16_t unit) {
  return unit < 0x21 || (unit >= 0x7F && unit <= 0xA0) || (unit >= 0x2000 && unit <= 0x200B) || unit == 0x3000;
}

}  // namespace

std::int32_t integerAtStart(const std::string& utf8) {
  const std::u16string units = utf16FromUtf8(utf8);
  auto at = std::find_if_not(units.begin(), units.end(), isBlank);
  const bool isNegative = at != units.end() && *at == u'-';
  if (at != units.end() && (*at == u'-' || *at == u'+')) at = std::find_if_not(at + 1, units.end(), isBlank);

  const std::int64_t largest = isNegative ? -std::int64_t{INT32_MIN} : INT32_MAX;
  std::int64_t number = 0;
  for (; at != units.end() && *at >= u'0' && *at <= u'9'; ++at) {
    number = std::min(number * 10 + (*at - u'0'), largest);
  }
  return static_cast<std::int32_t>(isNegative ? -number : number);
}

}  // namespace hotfix::text
