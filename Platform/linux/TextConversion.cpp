#include "Platform/posix/TextConversion.h"

#include <iconv.h>

#include <cerrno>
#include <memory>

namespace hotfix::platform {

OptionalString convertedToUtf8(std::string_view bytes, const std::string& encoding) {
  if (encoding.find('/') != std::string::npos) return std::nullopt;  // would make iconv guess
  const iconv_t conversion = iconv_open("UTF-8", encoding.c_str());
  if (conversion == reinterpret_cast<iconv_t>(-1)) return std::nullopt;
  const auto close = [](void* opened) { iconv_close(static_cast<iconv_t>(opened)); };
  const std::unique_ptr<void, decltype(close)> owner(conversion, close);

  std::string utf8;
  char* input = const_cast<char*>(bytes.data());  // iconv does not write to it
  size_t inputLeft = bytes.size();
  bool isFlushed = false;
  while (!isFlushed) {
    char chunk[16384];
    char* output = chunk;
    size_t outputLeft = sizeof chunk;
    isFlushed = inputLeft == 0;  // a last call, without input, ends a sequence of shifts
    const size_t result = iconv(conversion, isFlushed ? nullptr : &input, &inputLeft, &output, &outputLeft);
    if (result == static_cast<size_t>(-1) && errno != E2BIG) return std::nullopt;
    utf8.append(chunk, sizeof chunk - outputLeft);
  }
  return utf8;
}

}  // namespace hotfix::platform
