#ifndef TESTS_SUPPORT_TEMPORARY_FOLDER_H_
#define TESTS_SUPPORT_TEMPORARY_FOLDER_H_

#include <sys/stat.h>

#include <string>
#include <vector>

namespace hotfix {

/// A new folder below TMPDIR or /tmp. Its destructor removes it with all its content. The helpers take paths relative
/// to it and make missing parents. A helper that fails makes the running test fail.
class TemporaryFolder {
 public:
  TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder();

  const std::string& path() const { return _path; }

  /// The absolute path of an entry in the folder.
  std::string operator/(const std::string& relativePath) const;

  std::string makeFolder(const std::string& relativePath, mode_t mode = 0755) const;
  std::string makeFile(const std::string& relativePath, const std::string& contents = "", mode_t mode = 0644) const;
  std::string makeScript(const std::string& relativePath, const std::string& shellText) const;  ///< "#!/bin/sh", 0755
  std::string makeLink(const std::string& relativePath, const std::string& target) const;
  std::string makeFifo(const std::string& relativePath) const;

  /// The content of a file. The test fails if the file cannot be read.
  std::string read(const std::string& relativePath) const;
  /// The lines of a file without their newlines; empty for a missing file.
  std::vector<std::string> lines(const std::string& relativePath) const;
  /// Whether an entry exists; a broken link counts too.
  bool has(const std::string& relativePath) const;
  /// The attributes of an entry. A link is not followed.
  struct stat attributes(const std::string& relativePath) const;
  mode_t mode(const std::string& relativePath) const { return attributes(relativePath).st_mode & 07777U; }
  /// The sorted names in a folder.
  std::vector<std::string> names(const std::string& relativePath = "") const;

 private:
  std::string _path;
};

}  // namespace hotfix

#endif
