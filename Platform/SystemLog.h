#ifndef PLATFORM_SYSTEM_LOG_H_
#define PLATFORM_SYSTEM_LOG_H_

#include <string>

/// The system log, with extra output files.
///
/// On macOS, messages go to Apple System Log. On Linux they go to the reader of syslog(3)'s socket, in the form of
/// syslog(3), with the program's name. A log that is too busy for a message does not get it. On both systems, the lines
/// for the extra files are written here: in programs built with a current SDK, the system writes nothing to files that
/// they add.
namespace hotfix::platform {

/// Levels of a message, numbered as in syslog(3) and Apple System Log.
enum class LogLevel { Error = 3, Warning = 4, Notice = 5, Info = 6 };

/// Logs a message with a printf format. A null pointer for "%s" is not allowed: see textOrNull.
///
/// Every extra file gets one line, in one write: "Nov  3 09:05:07 host sender[123] <Info>: text", local time. In the
/// text, a newline or carriage return becomes a newline and a tab, so that no message can look like two. A file that
/// cannot be written is no longer used. Never fails, even while the process ends.
void log(LogLevel level, const char* format, ...) __attribute__((format(printf, 2, 3)));

/// Adds an open descriptor to the outputs of the process's log. The caller keeps its ownership. Adding it twice has the
/// effect of adding it once.
void addLogFile(int descriptor);

/// Removes it again. Does nothing when it was not added. Does not close it.
void removeLogFile(int descriptor);

/// Opens a trace file for addLogFile: created when missing (mode 0644), emptied when present.
///
/// Safe in a folder that everybody can write to. An existing regular file with one name that belongs to root, the
/// effective user or the invoking user is emptied and used. Anything else (a link, a FIFO, another user's file, a file
/// with two names) is removed and created again, exclusively. Opening never blocks.
/// \return the descriptor, closed on exec, or -1 when there is no such file.
int openTraceFile(const std::string& path);

}  // namespace hotfix::platform

#endif
