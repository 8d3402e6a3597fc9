#include "Platform/posix/FileChanges.h"

#include <atomic>

namespace hotfix::platform {

namespace {

std::atomic<CopyPolicy> theCopyPolicy{nullptr};

}  // namespace

// ----- Whole files -----

bool createFile(const std::string& path, const std::string& contents, const Attributes& attributes) {
  if (!writeFileAtomically(path, contents)) return false;
  (void)setAttributes(path, attributes);  // an error here is not fatal: the file exists
  return true;
}

bool writeFileAtomically(const std::string& path, const std::string& contents) {
  return writeFileAtomically(path, [&contents](const PartWriter& write) { return write(contents); });
}

bool writeFileAtomically(const std::string& path, const std::function<bool(const PartWriter& write)>& produce) {
  return writeAtomically(path, Adopted::FromAnyFile, produce);
}

bool writeTrustedFile(const std::string& path, const std::string& contents) {
  return writeAtomically(path, Adopted::FromTrustedFile,
                         [&contents](const PartWriter& write) { return write(contents); });
}

// ----- Copies -----

void setCopyPolicy(CopyPolicy policy) { theCopyPolicy = policy; }

CopyPolicy copyPolicy() { return theCopyPolicy; }

bool copyItem(const std::string& source, const std::string& target, FileError* error) {
  bool isDistrusted = false;
  return copyFrom(source, target, /*isTrustNeeded=*/false, &isDistrusted, error);
}

bool copyTrustedFolder(const std::string& source, const std::string& target, bool* isDistrusted, FileError* error) {
  *isDistrusted = false;
  return copyFrom(source, target, /*isTrustNeeded=*/true, isDistrusted, error);
}

}  // namespace hotfix::platform
