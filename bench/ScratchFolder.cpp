#include "bench/ScratchFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "Platform/FileManager.h"

namespace hotfix {

namespace {

/// A benchmark of something that is not there would measure nothing.
void require(bool isDone, const std::string& what) {
  if (isDone) return;
  std::perror(what.c_str());
  std::exit(1);
}

}  // namespace

ScratchFolder::ScratchFolder() {
  const char* base = std::getenv("TMPDIR");
  _path = std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/hotfixBench.XXXXXX";
  require(mkdtemp(_path.data()) != nullptr, _path);
}

ScratchFolder::~ScratchFolder() { (void)platform::removeItem(_path); }

std::string ScratchFolder::makeFile(const std::string& name, const std::string& contents) const {
  const std::string path = *this / name;
  require(platform::createFile(path, contents, {}), path);
  return path;
}

std::string ScratchFolder::makeTree(const std::string& name, int entries) const {
  constexpr int kFolderEvery = 20;
  const std::string top = *this / name;
  require(mkdir(top.c_str(), 0755) == 0, top);
  std::string folder = top;
  for (int entry = 0; entry < entries; ++entry) {
    if (entry % kFolderEvery == 0) {
      folder = top + "/folder " + std::to_string(entry);
      require(mkdir(folder.c_str(), 0755) == 0, folder);
      continue;
    }
    const std::string path = folder + "/file " + std::to_string(entry);
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0755);
    require(file >= 0 && write(file, path.data(), path.size()) > 0, path);
    close(file);
  }
  return top;
}

}  // namespace hotfix
