#include "Platform/ProcessList.h"

#include <ApplicationServices/ApplicationServices.h>
#include <unistd.h>

#include "Platform/darwin/CoreFoundationValue.h"

// Process Manager is deprecated from macOS 10.9 on; nothing else in C tells the applications of the login session.
#pragma clang diagnostic ignored "-Wdeprecated-declarations"

namespace platform {

std::vector<std::string> processInformation(const std::string& key) {
  std::vector<std::string> values;
  const Scoped<CFStringRef> name = stringObject(key);
  if (!name) return values;
  ProcessSerialNumber process = {0, kNoProcess};
  while (GetNextProcess(&process) == noErr) {
    pid_t pid = -1;
    if (GetProcessPID(&process, &pid) == noErr && pid == getpid()) continue;
    const Scoped<CFDictionaryRef> information(
        ProcessInformationCopyDictionary(&process, static_cast<UInt32>(kProcessDictionaryIncludeAllInformationMask)));
    if (!information) continue;  // it has just ended
    OptionalString value = textFrom(CFDictionaryGetValue(information.get(), name.get()));
    if (value) values.push_back(std::move(*value));
  }
  return values;
}

}  // namespace platform
