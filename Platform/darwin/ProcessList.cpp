#include "Platform/ProcessList.h"

#include <ApplicationServices/ApplicationServices.h>
#include <libproc.h>
#include <unistd.h>

#include "Platform/darwin/CoreFoundationValue.h"
#include "Platform/posix/Accounts.h"

// Process Manager is deprecated since macOS 10.9, but no other C interface lists the applications of the login session.
#pragma clang diagnostic ignored "-Wdeprecated-declarations"

namespace hotfix::platform {

namespace {

/// Goes to the process after \a process, or to the first one. \return false when there is none.
bool goToNextProcess(ProcessSerialNumber& process) {
  const ProcessSerialNumber before = process;
  if (GetNextProcess(&process) == procNotFound) return false;
  // After any other result there is still a process. The walk ends only when it would not advance or would start again.
  const bool isNone = process.highLongOfPSN == 0 && process.lowLongOfPSN == kNoProcess;
  const bool isSame = process.highLongOfPSN == before.highLongOfPSN && process.lowLongOfPSN == before.lowLongOfPSN;
  return !isNone && !isSame;
}

/// Calls \a visit for each process with its ID (-1 if unknown) and its text for \a key, until \a visit returns false.
/// Processes without such a text are omitted.
void visitProcesses(const std::string& key, const std::function<bool(pid_t id, const std::string& value)>& visit) {
  const Scoped<CFStringRef> name = stringObject(key);
  if (!name) return;
  ProcessSerialNumber process = {0, kNoProcess};
  while (goToNextProcess(process)) {
    pid_t pid = -1;
    if (GetProcessPID(&process, &pid) == noErr && pid == getpid()) continue;
    const Scoped<CFDictionaryRef> information(
        ProcessInformationCopyDictionary(&process, static_cast<UInt32>(kProcessDictionaryIncludeAllInformationMask)));
    if (!information) continue;  // the process has just ended
    const OptionalString value = textFrom(CFDictionaryGetValue(information.get(), name.get()));
    if (value && !visit(pid, *value)) return;
  }
}

std::string userOf(pid_t id) {
  struct proc_bsdshortinfo information = {};
  const int size = proc_pidinfo(id, PROC_PIDT_SHORTBSDINFO, 1, &information, PROC_PIDT_SHORTBSDINFO_SIZE);
  return size == PROC_PIDT_SHORTBSDINFO_SIZE ? accountText(information.pbsi_uid) : "";
}

}  // namespace

std::vector<std::string> processInformation(const std::string& key) {
  std::vector<std::string> values;
  visitProcesses(key, [&values](pid_t, const std::string& value) {
    values.push_back(value);
    return true;
  });
  return values;
}

// Outside a login session, for example over ssh, no process is listed.
bool canListProcesses() {
  ProcessSerialNumber process = {0, kNoProcess};
  return goToNextProcess(process);
}

std::optional<RunningProcess> findProcess(const std::function<bool(const std::string& executable)>& isLookedFor) {
  std::optional<RunningProcess> found;
  visitProcesses(kBundleExecutableKey, [&](pid_t id, const std::string& executable) {
    if (!isLookedFor(executable)) return true;
    found = RunningProcess{id, userOf(id), executable};
    return false;
  });
  return found;
}

}  // namespace hotfix::platform
