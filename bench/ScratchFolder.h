#ifndef BENCH_SCRATCH_FOLDER_H_
#define BENCH_SCRATCH_FOLDER_H_

#include <string>

namespace hotfix {

/// A fresh folder, below TMPDIR or /tmp, that goes away with all it holds.
class ScratchFolder {
 public:
  ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder();

  /// Path of something in the folder.
  std::string operator/(const std::string& name) const { return _path + "/" + name; }

  /// Writes a file and answers its path.
  std::string makeFile(const std::string& name, const std::string& contents) const;

  /// Makes a tree of that many entries, every twentieth of them a folder, and answers its path.
  std::string makeTree(const std::string& name, int entries) const;

 private:
  std::string _path;
};

}  // namespace hotfix

#endif
