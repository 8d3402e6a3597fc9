#ifndef PLATFORM_PREVIEW_PREVIEW_H_
#define PLATFORM_PREVIEW_PREVIEW_H_

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "Platform/SystemLog.h"
#include "Support/OptionalString.h"

/// What a preview is told and what it tells. One process makes one preview: this platform has no way back.
namespace hotfix::platform::preview {

/// The result code that the platform would leave, in the file \a resultFile, each time it is run to update; absent: it
/// leaves none.
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
  bool isAsked = false;  ///< it only answers a question, and was really started
};

struct RepairedEntry {
  std::string path;
  uid_t oldOwner, newOwner;
  gid_t oldGroup, newGroup;
  mode_t oldMode, newMode;
};

/// What a repair of owners would do below a folder. Of entries the first ones are listed, all are counted.
struct RecordedRepair {
  static constexpr size_t kMostListed = 20;

  std::string folder;
  std::string refusal;        ///< why it is refused as a whole; empty when it is not
  std::uint64_t entries = 0;  ///< all below the folder
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

/// Writes to this process's own standard output. \return false when that cannot be done; a reader that has gone is no
/// signal.
bool writeOutput(const std::string& text);

}  // namespace hotfix::platform::preview

#endif
