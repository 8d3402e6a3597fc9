#ifndef PLATFORM_STANDARD_STREAMS_H_
#define PLATFORM_STANDARD_STREAMS_H_

#include <string>

/// The three standard descriptors of the process. In an installer that links the library, they may be anything.
namespace hotfix::platform {

/// Prints \a line and a newline to standard output, unbuffered. Silently ignores a closed output or a closed pipe,
/// without the signal that would end the process. Prints the bytes unchanged, except at a terminal: see
/// text::sanitized.
void printLine(const std::string& line);

/// Writes \a text to standard error, unbuffered and unchanged, and ignores the same failures.
void writeToStandardError(const std::string& text);

/// During its lifetime, none of the descriptors 0 to 2 is closed: a closed one is opened at the null device (closed
/// again on exec), so that no other opened file, pipe or log connection can become standard input or output.
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
