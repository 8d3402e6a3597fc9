#ifndef PLATFORM_PROCESS_LIST_H_
#define PLATFORM_PROCESS_LIST_H_

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

/// The processes that run on this machine, except the calling process.
///
/// On macOS they are the applications of the login session, as listed by Process Manager. On Linux they are all
/// processes in /proc. A script appears as its interpreter, and a process is not listed if its program may not be
/// examined.
namespace hotfix::platform {

/// Key of the full path of the executable in a process's information.
inline constexpr char kBundleExecutableKey[] = "CFBundleExecutable";

/// The texts of the running processes under a key of their information, one per process that has the key. On Linux
/// kBundleExecutableKey is the only key.
std::vector<std::string> processInformation(const std::string& key);

/// Whether the system lists processes: false when it shows none at all, not even the caller. This happens on Linux
/// without /proc, and on macOS outside a login session.
bool canListProcesses();

/// The information that a user needs to find a process.
struct RunningProcess {
  pid_t id;
  std::string user;  ///< the account's name, or its number when the account has none; empty when it is not known
  std::string executable;
};

/// The first of these processes with a matching executable; none when there is none (any more).
std::optional<RunningProcess> findProcess(const std::function<bool(const std::string& executable)>& isLookedFor);

}  // namespace hotfix::platform

#endif
