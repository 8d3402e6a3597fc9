#ifndef PLATFORM_POSIX_SPAWN_H_
#define PLATFORM_POSIX_SPAWN_H_

#include <sys/types.h>

#include <string>
#include <vector>

#include "Platform/posix/Descriptors.h"

/// Starting children: those of ChildProcess.h, and those that answer a question of a preview.
namespace hotfix::platform {

/// The process group of a child.
enum class ProcessGroup { Own, Callers };

/// In place of the descriptor for the standard output of a child. The caller's standard error is inherited only
/// together with its standard output, otherwise it goes to the null device.
constexpr int kInherited = -1;
constexpr int kDiscarded = -2;

/// Starts the program at the path that begins the command line. \return its process id, or -1 with \a error set to the
/// number of the error.
pid_t spawn(const std::vector<std::string>& commandLine, ProcessGroup group, int output, int* error);

/// Makes a pipe with both ends closed on exec. \return false, with errno set, on failure.
bool makePipe(ScopedFd& readEnd, ScopedFd& writeEnd);

/// The first line of an output, without its end.
std::string firstLineOf(const std::string& output);

/// Logs that a program could not be started. \return the reason.
std::string logFailedLaunch(const OptionalString& executable, int error);

/// The system shell with a command line.
std::vector<std::string> shellCommand(const std::string& commandLine);

}  // namespace hotfix::platform

#endif
