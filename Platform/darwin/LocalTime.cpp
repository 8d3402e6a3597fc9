#include "Platform/LocalTime.h"

#include "Platform/darwin/CoreFoundationValue.h"

namespace hotfix::platform {

namespace {

// time(3) is not suitable: its seconds have 32 bits in a 32-bit process.
LocalTime currentTimeIn(const Scoped<CFCalendarRef>& calendar) {
  LocalTime time;
  CFCalendarDecomposeAbsoluteTime(calendar.get(), CFAbsoluteTimeGetCurrent(), "yMdHms", &time.year, &time.month,
                                  &time.day, &time.hour, &time.minute, &time.second);
  return time;
}

}  // namespace

LocalTime currentLocalTime() { return currentTimeIn(Scoped<CFCalendarRef>(CFCalendarCopyCurrent())); }

LocalTime currentGregorianLocalTime() {
  return currentTimeIn(
      Scoped<CFCalendarRef>(CFCalendarCreateWithIdentifier(kCFAllocatorDefault, kCFGregorianCalendar)));
}

}  // namespace hotfix::platform
