#ifndef PLATFORM_CHILD_PROCESS_H_
#define PLATFORM_CHILD_PROCESS_H_

#include <sys/types.h>

#include <string>
#include <vector>

#include "Support/OptionalString.h"

/// Child processes: started, and waited for until they exit. Exit statuses are never examined.
///
/// A child begins with the default action for SIGCHLD and SIGPIPE and inherits no descriptor above 2. Its standard
/// input, environment and working folder are the caller's. It leads its own process group, and is not stopped when it
/// uses the terminal: reading from the terminal is an error. Waiting also works in a process that ignores SIGCHLD or
/// reaps its children elsewhere. A listener of progress learns about the child before a signal can end this process.
///
/// The system shell stays in the caller's process group, as with system(3) and popen(3), and reads the terminal like
/// the caller.
///
/// SIGTTIN and SIGTTOU are blocked in a child, but not in the system shell. No other signal is blocked. The child
/// decides whether they are blocked in its own children: a virtual machine passes them on, some shells do not.
namespace hotfix::platform {

class ChildProcess {
 public:
  /// Starts the program at the path \a executable: no shell, no search path, argument 0 is the path itself. Standard
  /// output and standard error go to the null device.
  ///
  /// If it cannot be started (an absent path, a missing file, a folder, a file without execute permission, a script
  /// without "#!"), one log line at level 3 names the path and the reason, and waiting returns immediately.
  ChildProcess(const OptionalString& executable, const std::vector<std::string>& arguments);
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Waits, so that no child outlives its object.
  ~ChildProcess();

  /// Why it could not be started: the system's error text; none when it was started.
  const OptionalString& error() const { return _error; }

  /// Returns when the child has exited.
  void waitUntilExit();

 private:
  pid_t _pid = -1;  // -1: not started, or already waited for
  OptionalString _error;
};

/// From now on, the terminal does not stop this process, a child in the background or a child's children, even if those
/// change the blocked signals. Only for a program that owns its process, because it changes the actions of SIGTTIN and
/// SIGTTOU in the process.
void ignoreTerminalStops();

/// Starts a ChildProcess and waits until it exits. \return ChildProcess::error.
OptionalString runAndWait(const OptionalString& executable, const std::vector<std::string>& arguments);

/// Runs \a commandLine in the system shell, with inherited standard output and error, and waits until it exits.
void runShellCommand(const std::string& commandLine);

/// The first line that a shell command prints: at most \a limit bytes, cut at the first newline or NUL byte. Standard
/// error goes to the null device. The rest of the output is not read. Waits until the command exits.
///
/// \return none when the command cannot be run or prints nothing.
OptionalString firstLineOfShellCommand(const std::string& commandLine, size_t limit);

}  // namespace hotfix::platform

#endif
