#ifndef PLATFORM_LOCAL_TIME_H_
#define PLATFORM_LOCAL_TIME_H_

namespace hotfix::platform {

/// A moment on the wall clock, in local time.
struct LocalTime {
  int year = 0;    ///< 2026, not 126
  int month = 0;   ///< 1 to 12
  int day = 0;     ///< 1 to 31
  int hour = 0;    ///< 0 to 23
  int minute = 0;  ///< 0 to 59
  int second = 0;  ///< 0 to 60
};

/// The current moment in the user's current calendar. On Linux that is the Gregorian one.
LocalTime currentLocalTime();

/// The current moment in the Gregorian calendar, for log lines.
LocalTime currentGregorianLocalTime();

}  // namespace hotfix::platform

#endif
