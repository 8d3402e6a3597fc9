#include "Platform/ChildProcess.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "Platform/SystemPaths.h"
#include "Platform/posix/Spawn.h"
#include "Platform/posix/SystemHabits.h"
#include "Platform/preview/Layer.h"
#include "Platform/preview/Preview.h"
#include "Platform/preview/Question.h"

namespace hotfix::platform {

using preview::Entry;
using preview::layer;
using preview::Place;

namespace {

preview::PlatformResult& platformResult() {
  static auto* result = new preview::PlatformResult;
  return *result;
}

constexpr int kMostInterpreters = 5;  // as on Linux: the interpreter of a script may be a script too
constexpr size_t kLongestFirstLine = 256;

bool mayExecute(const struct stat& status) {
  const mode_t mode = status.st_mode;
  if (geteuid() == 0) return (mode & (S_IXUSR | S_IXGRP | S_IXOTH)) != 0;
  if (status.st_uid == geteuid()) return (mode & S_IXUSR) != 0;
  return (mode & (status.st_gid == getegid() ? S_IXGRP : S_IXOTH)) != 0;
}

/// The program that the first line of a script names, if any.
OptionalString interpreterIn(std::string_view beginning) {
  std::string_view line = beginning.substr(2, beginning.substr(2).find('\n'));
  const size_t start = line.find_first_not_of(" \t");
  if (start == std::string_view::npos) return std::nullopt;
  line.remove_prefix(start);
  return std::string(line.substr(0, line.find_first_of(" \t\r")));
}

/// The error that the system would give for starting a program. The checks have the order of execve(2).
int launchError(const std::string& path, int interpreters = 0) {
  Place place;
  if (const int error = layer().find(path, Links::Followed, &place)) return error;
  const Entry& file = *place.entry;
  if (!file.isFile() || !mayExecute(file.status)) return EACCES;
  if (!file.machinePath.empty() && !file.content &&
      faccessat(AT_FDCWD, file.machinePath.c_str(), X_OK, AT_EACCESS) != 0)
    return errno;  // also for a volume from which programs may not be started
  const std::string beginning = layer().beginning(file, kLongestFirstLine);
  if (isSystemProgram(beginning)) return 0;
  if (beginning.compare(0, 2, "#!") != 0) return ENOEXEC;
  const OptionalString interpreter = interpreterIn(beginning);
  if (!interpreter) return ENOEXEC;
  return interpreters == kMostInterpreters ? ELOOP : launchError(*interpreter, interpreters + 1);
}

bool isUpdate(const std::vector<std::string>& arguments) {
  const auto operation = std::find(arguments.begin(), arguments.end(), "-provisioningOperation");
  return operation != arguments.end() && operation + 1 != arguments.end() && *(operation + 1) == "update";
}

/// Writes a file like a program that opens, empties and writes it: an existing file keeps its identity and attributes.
void overwrite(const std::string& path, const std::string& text) {
  Place place;
  const int error = layer().find(path, Links::Followed, &place);
  if (!place.folder || (error != 0 && error != ENOENT)) return;
  Entry file;
  if (error == 0) {
    if (!place.entry->isFile()) return;
    file = *place.entry;
    file.machinePath.clear();
  } else {
    if (layer().writeError(*place.folder) != 0) return;
    file.status = layer().newStatus(*place.folder, S_IFREG | 0666);
  }
  file.content = std::make_shared<const std::string>(text);
  file.status.st_size = static_cast<off_t>(text.size());
  layer().put(*place.folder, place.name, std::move(file));
}

}  // namespace

void preview::setPlatformResult(const PlatformResult& result) { platformResult() = result; }

preview::Recording& preview::recording() {
  static auto* theRecording = new Recording;
  return *theRecording;
}

ChildProcess::ChildProcess(const OptionalString& executable, const std::vector<std::string>& arguments) {
  if (!executable) {
    _error = logFailedLaunch(executable, 0);
    return;
  }
  preview::RecordedChild child;
  child.commandLine = {*executable};
  child.commandLine.insert(child.commandLine.end(), arguments.begin(), arguments.end());
  if (const int error = launchError(*executable)) {
    child.error = _error = logFailedLaunch(executable, error);
  } else if (const preview::PlatformResult& result = platformResult();
             *executable == result.launcher && isUpdate(arguments) && result.code) {
    overwrite(result.file, "rc=" + *result.code + "\n");
  }
  preview::recording().children.push_back(std::move(child));
}

ChildProcess::~ChildProcess() = default;

void ChildProcess::waitUntilExit() { _pid = -1; }  // nothing was started

void ignoreTerminalStops() {}  // no child reads the terminal

void runShellCommand(const std::string& commandLine) {
  preview::recording().children.push_back({shellCommand(commandLine), std::nullopt, false});
}

OptionalString firstLineOfShellCommand(const std::string& commandLine, size_t limit) {
  preview::RecordedChild child{shellCommand(commandLine), std::nullopt, commandLine == onDisk(kJavaHomeFinder)};
  OptionalString line;
  if (child.isAsked) {
    const preview::Answer answer = preview::ask(child.commandLine, limit);
    child.error = answer.error;
    if (!answer.output.empty()) line = firstLineOf(answer.output);
  }
  preview::recording().children.push_back(std::move(child));
  return line;
}

}  // namespace hotfix::platform
