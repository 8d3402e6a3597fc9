// hotfixInspect changes nothing: no entry of a generated machine is another one afterwards, and no system call of it
// writes.

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <sstream>

#include "Tests/Inspect/States.h"

namespace hotfix {

namespace {

constexpr char kCalls[] = "/stand-ins/calls";

std::string timeOf(const struct timespec& time) {
  return std::to_string(time.tv_sec) + "." + std::to_string(time.tv_nsec);
}

std::string extendedAttributes(const std::string& path) {
  std::string names(4096, '\0');
  const ssize_t length = llistxattr(path.c_str(), names.data(), names.size());
  return length > 0 ? names.substr(0, static_cast<size_t>(length)) : "";
}

/// Everything that stat(2) tells of an entry but the time of the last reading; it holds any change of the content.
std::string attributesOf(const std::string& path, const struct stat& status) {
  return std::to_string(status.st_ino) + " " + std::to_string(status.st_mode) + " " + std::to_string(status.st_nlink) +
         " " + std::to_string(status.st_uid) + " " + std::to_string(status.st_gid) + " " +
         std::to_string(status.st_size) + " " + timeOf(status.st_mtim) + " " + timeOf(status.st_ctim) + " " +
         extendedAttributes(path);
}

/// Whether a line of strace(1) tells of a call that can change something.
bool isWriting(const std::string& call) {
  for (const char* name : {"rename",      "unlink",          "rmdir",    "mkdir",     "mknod",
                           "link",        "symlink",         "chmod",    "fchmod",    "chown",
                           "fchown",      "lchown",          "truncate", "ftruncate", "fallocate",
                           "utime",       "futimes",         "setxattr", "lsetxattr", "fsetxattr",
                           "removexattr", "copy_file_range", "sendfile", "pwrite",    "creat",
                           "mount",       "umount",          "kill",     "bind",      "connect",
                           "sendto",      "sendmsg"}) {
    if (call.rfind(name, 0) == 0 && call.rfind("readlink", 0) != 0) return true;
  }
  if (call.rfind("write", 0) == 0) return call.rfind("write(1,", 0) != 0 && call.rfind("write(2,", 0) != 0;
  const bool isOpen = call.rfind("open", 0) == 0;
  const bool isToWrite = call.find("O_WRONLY") != std::string::npos || call.find("O_RDWR") != std::string::npos ||
                         call.find("O_CREAT") != std::string::npos || call.find("O_TRUNC") != std::string::npos;
  return isOpen && isToWrite && call.find("\"/dev/null\"") == std::string::npos;
}

bool isQuestion(const std::string& call) {
  return call.find("execve(\"/bin/sh\", [\"/bin/sh\", \"-c\", \"/usr/libexec/java_home\"]") == 0 ||
         call.find("execve(\"/usr/sbin/pkgutil\", [\"/usr/sbin/pkgutil\", \"--pkg-info\"") == 0;
}

}  // namespace

class PurityTest : public GeneratedMachine, public ::testing::WithParamInterface<unsigned> {
 protected:
  Snapshot everything() {
    Snapshot entries;
    for (const char* folder : {"/Applications", "/Users", "/Library", "/opt", "/tmp", "/usr/sbin", "/usr/libexec"}) {
      const std::string top = files() / inside(folder);
      visitTree(top, [&](const std::string& name, const struct stat& status) {
        const std::string path = top + "/" + name;
        entries[path] = attributesOf(path, status);
        return true;
      });
    }
    return entries;
  }

  /// The calls of hotfixInspect itself that write, and programs that it starts but for the two questions. What these
  /// programs do is theirs.
  Lines offences() {
    const auto processOf = [](const std::string& line) { return line.substr(0, line.find(' ')); };
    const Lines lines = files().lines(inside(kCalls));
    if (lines.empty()) return {"no call was seen"};
    const std::string self = processOf(lines.front());
    std::set<std::string> own{self};  // and its children, until they become other programs
    for (const std::string& line : lines) {
      const bool isBirth = line.find("clone") != std::string::npos || line.find("fork") != std::string::npos;
      const size_t answer = line.rfind("= ");
      if (processOf(line) == self && isBirth && answer != std::string::npos) own.insert(line.substr(answer + 2));
    }
    Lines found;
    for (const std::string& line : lines) {
      const std::string process = processOf(line);
      const std::string call = line.substr(line.find_first_not_of(' ', process.size()));
      if (&line == &lines.front() || own.count(process) == 0) continue;
      if (call.rfind("execve(", 0) == 0) {
        own.erase(process);
        if (!isQuestion(call)) found.push_back(line);
      } else if (isWriting(call) && call.find("nscd/socket") == std::string::npos) {  // the C library's look-ups
        found.push_back(line);
      }
    }
    return found;
  }
};

TEST_P(PurityTest, NothingIsChanged) {
  if (access("/usr/bin/strace", X_OK) != 0) GTEST_SKIP() << "no strace here";
  const std::string what = makeState(GetParam());
  if (HasFailure()) return;
  SCOPED_TRACE("state " + std::to_string(GetParam()) + ": " + what);
  CommandLine previewWords{"preview", "--json"};
  previewWords.insert(previewWords.end(), arguments.begin(), arguments.end());
  for (const CommandLine& words : {previewWords, CommandLine{"status", home, data, "--json"}}) {
    const Snapshot before = everything();
    Call traced = call(joined({{"-f", "-qq", "-s", "300", "-e", "trace=!none", "-o", kCalls, HOTFIX_INSPECT}, words}));
    traced.program = "/usr/bin/strace";
    traced.commandLine.front() = traced.program;
    const Outcome outcome = run(traced);
    EXPECT_EQ(outcome.output.substr(0, 1), "{") << outcome.errors;
    EXPECT_EQ(differences(before, everything()), Lines());
    EXPECT_EQ(offences(), Lines());
  }
}

INSTANTIATE_TEST_SUITE_P(States, PurityTest, ::testing::Range(0U, numberFrom("HOTFIX_PURE_STATES", 8)));

}  // namespace hotfix
