#ifndef PLATFORM_STANDARD_STREAMS_H_
#define PLATFORM_STANDARD_STREAMS_H_

#include <string>

/// The three standard descriptors of the process, which in an installer that links the library may be anything.
namespace hotfix::platform {

/// Prints \a line and a newline to standard output, at once. A closed output or a reader that has gone is passed over
/// in silence, without the signal that would end the process. The bytes are printed as they are, but for a terminal:
/// it gets them sanitized, see text::sanitized.
void printLine(const std::string& line);

/// Writes \a text to standard error, at once and as it is, with the same failures passed over.
void writeToStandardError(const std::string& text);

/// While it lives, none of the descriptors 0 to 2 is free: a closed one is the null device (closed again on exec), so
/// that no file, pipe or log connection that is opened meanwhile can become standard input or output.
class ScopedStandardDescriptors {
 public:
  ScopedStandardDescriptors();
  ScopedStandardDescriptors(const ScopedStandardDescriptors&) = delete;
  ScopedStandardDescriptors& operator=(const ScopedStandardDescriptors&) = delete;
  ~ScopedStandardDescriptors();

 private:
  bool _opened[3] = {false, false, false};
};

}  // namespace hotfix::platform

#endif
