#ifndef PLATFORM_CHILD_PROCESS_H_
#define PLATFORM_CHILD_PROCESS_H_

#include <sys/types.h>

#include <string>
#include <vector>

#include "Support/OptionalString.h"

/// Child processes: started, and waited for until they exit. Exit statuses are never examined.
///
/// A child begins with the default action for SIGCHLD and SIGPIPE and inherits nothing above descriptor 2. Its standard
/// input, environment and working folder are the caller's. It leads its own process group, and is not stopped when it
/// uses the terminal: reading from it is an error. Waiting is right also in a process that ignores SIGCHLD or reaps its
/// children elsewhere. A listener of progress is told of the child before a signal can end this process.
///
/// The system shell stays in the caller's process group, as with system(3) and popen(3), and reads the terminal as the
/// caller does.
///
/// No signal is blocked in a child but SIGTTIN and SIGTTOU, and these not in the system shell. Whether they stay so in
/// the child's own children is up to it: a virtual machine hands them on, some shells do not.
namespace hotfix::platform {

class ChildProcess {
 public:
  /// Starts the program at the path \a executable: no shell, no search path, argument 0 is the path itself. Standard
  /// output and standard error go to the null device.
  ///
  /// When it cannot be started (an absent path, a missing file, a folder, a file without execute right, a script
  /// without "#!") one line at level 3 names the path and the reason, and waiting returns at once.
  ChildProcess(const OptionalString& executable, const std::vector<std::string>& arguments);
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Waits, so that no child outlives the object that stands for it.
  ~ChildProcess();

  /// Why it could not be started: the system's own words; none when it was started.
  const OptionalString& error() const { return _error; }

  /// Returns when the child has exited.
  void waitUntilExit();

 private:
  pid_t _pid = -1;  // -1: not started, or already waited for
  OptionalString _error;
};

/// From now on the terminal stops neither this process nor any child in the background, nor a child's children,
/// whatever those do with blocked signals. For a program that owns its process, as it changes what SIGTTIN and SIGTTOU
/// do there.
void ignoreTerminalStops();

/// Starts a child as ChildProcess does and waits until it exits. \return ChildProcess::error.
OptionalString runAndWait(const OptionalString& executable, const std::vector<std::string>& arguments);

/// Gives \a commandLine to the system shell, with standard output and error inherited, and waits until it exits.
void runShellCommand(const std::string& commandLine);

/// The first line that a shell command prints: at most \a limit bytes of it, cut at the first newline, and at a NUL
/// byte. Standard error goes to the null device. The rest of the output is not read; the command is waited for.
///
/// \return none when the command cannot be run or prints nothing.
OptionalString firstLineOfShellCommand(const std::string& commandLine, size_t limit);

}  // namespace hotfix::platform

#endif
