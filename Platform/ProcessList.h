#ifndef PLATFORM_PROCESS_LIST_H_
#define PLATFORM_PROCESS_LIST_H_

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

/// The processes that run on this machine, the calling one left out.
///
/// On macOS the applications of the login session, as Process Manager lists them. On Linux every process that /proc
/// shows; a script shows as its interpreter, and a process whose program may not be looked at is not listed.
namespace hotfix::platform {

/// Key under which a process's information holds the full path of its executable.
inline constexpr char kBundleExecutableKey[] = "CFBundleExecutable";

/// The texts that the running processes have under a key of their information, one per process that has it. On Linux
/// kBundleExecutableKey is the only key that a process has.
std::vector<std::string> processInformation(const std::string& key);

/// Whether the system lists processes: false when it shows none at all, not even the caller: on Linux without
/// /proc, on macOS outside a login session.
bool canListProcesses();

/// What a person needs to know of a process to find it.
struct RunningProcess {
  pid_t id;
  std::string user;  ///< the account's name, or its number when the account has none; empty when it is not known
  std::string executable;
};

/// The first of these processes whose executable is one that is looked for; none when there is none (any more).
std::optional<RunningProcess> findProcess(const std::function<bool(const std::string& executable)>& isLookedFor);

}  // namespace hotfix::platform

#endif
