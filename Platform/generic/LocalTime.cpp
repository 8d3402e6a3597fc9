#include "Platform/LocalTime.h"

#include <ctime>

namespace hotfix::platform {

LocalTime currentLocalTime() {
  const std::time_t now = std::time(nullptr);
  struct tm local = {};
  localtime_r(&now, &local);
  return {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec};
}

LocalTime currentGregorianLocalTime() { return currentLocalTime(); }

}  // namespace hotfix::platform
