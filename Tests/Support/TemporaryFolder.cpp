#include "Tests/Support/TemporaryFolder.h"

#include <dirent.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

namespace hotfix {

namespace {

std::string failed(const std::string& what) { return what + ": " + std::strerror(errno); }

/// Removes a tree that the tests made themselves: nobody else writes to it meanwhile.
void removeTree(const std::string& path) {
  struct stat status;
  if (lstat(path.c_str(), &status) != 0) return;
  if (!S_ISDIR(status.st_mode)) {
    unlink(path.c_str());
    return;
  }
  chmod(path.c_str(), 0700);
  if (DIR* stream = opendir(path.c_str())) {
    while (const dirent* entry = readdir(stream)) {
      const std::string name = entry->d_name;
      if (name != "." && name != "..") removeTree(path + "/" + name);
    }
    closedir(stream);
  }
  rmdir(path.c_str());
}

void makeParents(const std::string& path) {
  for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
    if (mkdir(path.substr(0, slash).c_str(), 0755) != 0 && errno != EEXIST) {
      ADD_FAILURE() << failed("mkdir " + path.substr(0, slash));
      return;
    }
  }
}

}  // namespace

TemporaryFolder::TemporaryFolder() {
  const char* base = std::getenv("TMPDIR");
  std::string pattern = std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/hotfixTest.XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) {
    ADD_FAILURE() << failed("mkdtemp " + pattern);
    std::abort();  // a test must not go on at the top of the disk
  }
  chmod(pattern.c_str(), 0755);
  char* resolved = realpath(pattern.c_str(), nullptr);
  _path = resolved != nullptr ? resolved : pattern;
  std::free(resolved);
}

TemporaryFolder::~TemporaryFolder() { removeTree(_path); }

std::string TemporaryFolder::operator/(const std::string& relativePath) const {
  return relativePath.empty() ? _path : _path + "/" + relativePath;
}

std::string TemporaryFolder::makeFolder(const std::string& relativePath, mode_t mode) const {
  const std::string path = *this / relativePath;
  makeParents(path);
  if (mkdir(path.c_str(), mode) != 0 && errno != EEXIST) ADD_FAILURE() << failed("mkdir " + path);
  if (chmod(path.c_str(), mode) != 0) ADD_FAILURE() << failed("chmod " + path);
  return path;
}

std::string TemporaryFolder::makeFile(const std::string& relativePath, const std::string& contents, mode_t mode) const {
  const std::string path = *this / relativePath;
  makeParents(path);
  std::ofstream stream(path, std::ios::binary | std::ios::trunc);
  stream << contents;
  stream.close();
  if (!stream) ADD_FAILURE() << failed("write " + path);
  if (chmod(path.c_str(), mode) != 0) ADD_FAILURE() << failed("chmod " + path);
  return path;
}

std::string TemporaryFolder::makeScript(const std::string& relativePath, const std::string& shellText) const {
  return makeFile(relativePath, "#!/bin/sh\n" + shellText + "\n", 0755);
}

std::string TemporaryFolder::makeLink(const std::string& relativePath, const std::string& target) const {
  const std::string path = *this / relativePath;
  makeParents(path);
  if (symlink(target.c_str(), path.c_str()) != 0) ADD_FAILURE() << failed("symlink " + path);
  return path;
}

std::string TemporaryFolder::makeFifo(const std::string& relativePath) const {
  const std::string path = *this / relativePath;
  makeParents(path);
  if (mkfifo(path.c_str(), 0644) != 0) ADD_FAILURE() << failed("mkfifo " + path);
  return path;
}

std::string TemporaryFolder::read(const std::string& relativePath) const {
  std::ifstream stream(*this / relativePath, std::ios::binary);
  if (!stream) ADD_FAILURE() << "cannot read " << (*this / relativePath);
  std::ostringstream contents;
  contents << stream.rdbuf();
  return contents.str();
}

std::vector<std::string> TemporaryFolder::lines(const std::string& relativePath) const {
  std::vector<std::string> result;
  std::ifstream stream(*this / relativePath, std::ios::binary);
  for (std::string line; std::getline(stream, line);) result.push_back(line);
  return result;
}

bool TemporaryFolder::has(const std::string& relativePath) const {
  struct stat status;
  return lstat((*this / relativePath).c_str(), &status) == 0;
}

struct stat TemporaryFolder::attributes(const std::string& relativePath) const {
  struct stat status = {};
  if (lstat((*this / relativePath).c_str(), &status) != 0) ADD_FAILURE() << failed("lstat " + (*this / relativePath));
  return status;
}

std::vector<std::string> TemporaryFolder::names(const std::string& relativePath) const {
  std::vector<std::string> result;
  DIR* stream = opendir((*this / relativePath).c_str());
  if (stream == nullptr) {
    ADD_FAILURE() << failed("opendir " + (*this / relativePath));
    return result;
  }
  while (const dirent* entry = readdir(stream)) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") result.push_back(name);
  }
  closedir(stream);
  std::sort(result.begin(), result.end());
  return result;
}

}  // namespace hotfix
