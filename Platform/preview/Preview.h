#ifndef PLATFORM_PREVIEW_PREVIEW_H_
#define PLATFORM_PREVIEW_PREVIEW_H_

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "Platform/SystemLog.h"
#include "Support/OptionalString.h"

/// The input and the results of a preview. A process can make only one preview: this platform cannot be reset.
namespace hotfix::platform::preview {

/// The result code that the platform would write to \a file each time \a launcher runs an update; absent: it writes
/// none.
struct PlatformResult {
  std::string launcher;
  std::string file;
  OptionalString code;
};
void setPlatformResult(const PlatformResult& result);

struct LoggedLine {
  LogLevel level;
  std::string text;
};

struct RecordedChild {
  std::vector<std::string> commandLine;
  OptionalString error;  ///< why it could not be started
  bool isAsked = false;  ///< it only answers a question, and was actually started
};

struct RepairedEntry {
  std::string path;
  uid_t oldOwner, newOwner;
  gid_t oldGroup, newGroup;
  mode_t oldMode, newMode;
};

/// The changes by a repair of owners below a folder. The first entries are listed, all are counted.
struct RecordedRepair {
  static constexpr size_t kMostListed = 20;

  std::string folder;
  std::string refusal;        ///< why the whole repair is refused; empty when it is not refused
  std::uint64_t entries = 0;  ///< all entries below the folder
  std::uint64_t changed = 0;
  std::uint64_t ownersChanged = 0;  ///< or groups
  std::uint64_t modesChanged = 0;
  std::uint64_t failed = 0;
  std::vector<RepairedEntry> firstChanged;
  struct Failure {
    std::string path;
    std::string reason;
  };
  std::vector<Failure> firstFailed;
};

struct Recording {
  std::string standardOutput;
  std::string standardError;
  std::vector<LoggedLine> log;
  std::vector<RecordedChild> children;
  std::vector<RecordedRepair> repairs;
};
Recording& recording();

/// Writes to this process's own standard output. \return false when that fails. A closed pipe causes no signal.
bool writeOutput(const std::string& text);

}  // namespace hotfix::platform::preview

#endif
