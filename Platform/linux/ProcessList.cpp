#include "Platform/ProcessList.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>

#include "Platform/FileManager.h"
#include "Platform/SystemPaths.h"
#include "Platform/posix/Accounts.h"
#include "Platform/posix/Descriptors.h"
#include "Support/OptionalString.h"
#include "Support/TextNumber.h"

namespace hotfix::platform {

namespace {

constexpr char kProcessFolder[] = "/proc";

bool isNumber(const std::string& name) {
  return std::all_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; });
}

/// Whether the text of the link is the true path of its target.
bool isTruePath(const std::string& link, const std::string& text) {
  struct stat program;
  struct stat named;
  return stat(link.c_str(), &program) == 0 && stat(text.c_str(), &named) == 0 && areSame(program, named);
}

/// Path of the program of a process; none for a kernel thread, for a process that has just ended, and for a process
/// that may not be examined.
OptionalString executablePath(const std::string& process) {
  const std::string link = onDisk(kProcessFolder) + "/" + process + "/exe";
  char text[PATH_MAX] = {};
  const ssize_t length = readlink(link.c_str(), text, sizeof text - 1);
  if (length <= 0) return std::nullopt;
  std::string path(text, static_cast<size_t>(length));
  // The kernel adds this if the file was removed or replaced (proc(5)), but a file may also have such a name.
  static constexpr std::string_view kDeleted = " (deleted)";
  const bool mayBeDeleted =
      path.size() > kDeleted.size() && path.compare(path.size() - kDeleted.size(), kDeleted.size(), kDeleted) == 0;
  if (mayBeDeleted && !isTruePath(link, path)) path.resize(path.size() - kDeleted.size());
  return path;
}

/// Calls \a visit with the number and the program of each process until it returns false.
void visitProcesses(const std::function<bool(const std::string& process, const std::string& executable)>& visit) {
  const std::string self = std::to_string(getpid());
  const auto processes = namesInFolder(onDisk(kProcessFolder));
  if (!processes) return;
  for (const std::string& process : *processes) {
    if (!isNumber(process) || process == self) continue;
    const OptionalString executable = executablePath(process);
    if (executable && !visit(process, *executable)) return;
  }
}

}  // namespace

std::vector<std::string> processInformation(const std::string& key) {
  std::vector<std::string> values;
  if (key != kBundleExecutableKey) return values;
  visitProcesses([&values](const std::string&, const std::string& executable) {
    values.push_back(executable);
    return true;
  });
  return values;
}

bool canListProcesses() {
  const auto processes = namesInFolder(onDisk(kProcessFolder));
  return processes && std::any_of(processes->begin(), processes->end(), isNumber);
}

std::optional<RunningProcess> findProcess(const std::function<bool(const std::string& executable)>& isLookedFor) {
  std::optional<RunningProcess> found;
  visitProcesses([&](const std::string& process, const std::string& executable) {
    if (!isLookedFor(executable)) return true;
    found = RunningProcess{static_cast<pid_t>(text::integerAtStart(process)), "", executable};
    struct stat status;  // the folder belongs to the process's user
    if (stat((onDisk(kProcessFolder) + "/" + process).c_str(), &status) == 0) found->user = accountText(status.st_uid);
    return false;
  });
  return found;
}

}  // namespace hotfix::platform
