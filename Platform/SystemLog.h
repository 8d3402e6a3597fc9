#ifndef PLATFORM_SYSTEM_LOG_H_
#define PLATFORM_SYSTEM_LOG_H_

#include <string>

/// The system log, with extra output files.
///
/// On macOS messages go to Apple System Log, on Linux to the reader of syslog(3)'s socket, in the form that syslog(3)
/// has, under the program's name. A log that is too busy to take a message does not get it. A line for each extra file
/// is made here on both: programs built with a current SDK get nothing from the system into files that they add
/// themselves.
namespace hotfix::platform {

/// Levels of a message, numbered as in syslog(3) and Apple System Log.
enum class LogLevel { Error = 3, Warning = 4, Notice = 5, Info = 6 };

/// Logs a message, made printf-style. A null pointer for "%s" is not allowed: see textOrNull.
///
/// Every extra file gets one line, in one write: "Nov  3 09:05:07 host sender[123] <Info>: text", local time. In the
/// text a newline or carriage return becomes newline and tab, so that no message can look like two. A file that
/// cannot be written is no longer used. Never fails, also while the process ends.
void log(LogLevel level, const char* format, ...) __attribute__((format(printf, 2, 3)));

/// Adds an open descriptor to the outputs of the process's log. It stays the caller's. Adding it twice is once.
void addLogFile(int descriptor);

/// Removes it again; does nothing when it was not added. Does not close it.
void removeLogFile(int descriptor);

/// Opens a trace file for addLogFile: created when missing (mode 0644), emptied when present.
///
/// Safe in a folder that everybody can write to. An existing regular file with one link that belongs to root, the
/// effective user or the invoking user is emptied and used; anything else (a link, a FIFO, somebody else's file, a
/// file with two links) is unlinked and made anew, exclusively. Opening never blocks.
/// \return the descriptor, closed on exec, or -1 when no such file can be had.
int openTraceFile(const std::string& path);

}  // namespace hotfix::platform

#endif
