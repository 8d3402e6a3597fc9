#ifndef PLATFORM_PROCESS_LIST_H_
#define PLATFORM_PROCESS_LIST_H_

#include <string>
#include <vector>

/// The processes that run on this machine, the calling one left out.
///
/// On macOS the applications of the login session, as Process Manager lists them. On Linux every process that /proc
/// shows; a script shows as its interpreter, and a process whose program may not be looked at is not listed.
namespace platform {

/// Key under which a process's information holds the full path of its executable.
inline constexpr char kBundleExecutableKey[] = "CFBundleExecutable";

/// The texts that the running processes have under a key of their information, one per process that has it. On Linux
/// kBundleExecutableKey is the only key that a process has.
std::vector<std::string> processInformation(const std::string& key);

}  // namespace platform

#endif
