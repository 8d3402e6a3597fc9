#include "fuzz/Fuzz.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "Platform/FileManager.h"
#include "Platform/posix/SystemLogSink.h"

namespace hotfix::platform {

/// Takes the place of the one that is shipped: some million runs would flood the machine's log.
void sendToSystemLog(LogLevel /*level*/, const std::string& /*message*/) {}

}  // namespace hotfix::platform

namespace hotfix::fuzz {

namespace {

std::string scratchFolder;  // empty until it is needed

void removeScratchFolder() {
  if (!scratchFolder.empty()) (void)platform::removeItem(scratchFolder);
  scratchFolder.clear();
}

}  // namespace

void require(bool holds, const char* law) {
  if (holds) return;
  std::fprintf(stderr, "Broken: %s\n", law);
  removeScratchFolder();
  std::abort();
}

std::string scratchPath(const char* name) {
  if (scratchFolder.empty()) {
    const char* named = std::getenv("TMPDIR");
    const char* inMemory = access("/dev/shm", W_OK | X_OK) == 0 ? "/dev/shm" : "/tmp";
    std::string path = std::string(named != nullptr && *named != '\0' ? named : inMemory) + "/hotfixFuzz.XXXXXX";
    require(mkdtemp(path.data()) != nullptr, "a temporary folder can be made");
    scratchFolder = path;
    (void)std::atexit(removeScratchFolder);
  }
  return scratchFolder + "/" + name;
}

std::string scratchFile(const char* name, const std::string& contents) {
  const std::string path = scratchPath(name);
  std::FILE* file = std::fopen(path.c_str(), "wb");
  require(file != nullptr, "a temporary file can be made");
  const bool isWritten = std::fwrite(contents.data(), 1, contents.size(), file) == contents.size();
  require(std::fclose(file) == 0 && isWritten, "a temporary file can be written");
  return path;
}

std::string contentsOf(const std::string& path) {
  OptionalString contents = platform::readFile(path);
  require(contents.has_value(), "what was saved can be read");
  return *contents;
}

}  // namespace hotfix::fuzz
