#ifndef TESTS_PLATFORM_CONDITIONS_H_
#define TESTS_PLATFORM_CONDITIONS_H_

#include <dirent.h>
#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <optional>
#include <string>
#include <thread>

#include "Tests/Platform/HostCalls.h"

namespace hotfix {

/// Conditions of the system that tests bring about: processes and users of their own, low limits, trees deeper than a
/// path can name, and somebody who exchanges entries while an operation runs.

/// Runs \a body in a forked child, where it may change what belongs to a whole process. What it expects counts.
template <class Body>
void inChild(Body body) {
  std::fflush(nullptr);
  const pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    body();
    std::fflush(nullptr);
    _exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  EXPECT_EQ(status, 0) << "wait status of the child";
}

inline bool isRoot() { return geteuid() == 0; }

/// Gives up all rights for good, and all ids for those of "nobody" and one group; for use in a child.
inline void becomeUnprivileged(const gid_t* group = nullptr) {
  constexpr uid_t kNobody = 65534;
  if (!isRoot()) return;
  ASSERT_EQ(setgroups(group != nullptr ? 1 : 0, group), 0);
  ASSERT_EQ(setgid(kNobody), 0);
  ASSERT_EQ(setuid(kNobody), 0);
}

/// As inChild, by a user who has no privileges.
template <class Body>
void asUnprivileged(Body body) {
  inChild([&] {
    becomeUnprivileged();
    if (!::testing::Test::HasFatalFailure()) body();
  });
}

struct Account {
  std::string name;
  uid_t uid = 0;
  gid_t gid = 0;
  std::string group;  ///< name of the account's own group
  std::string home;
};

/// An account whose user and group are not those that the tests run with; none when the machine has no other.
inline std::optional<Account> otherAccount() {
  std::optional<Account> found;
  setpwent();
  while (const passwd* entry = getpwent()) {
    if (entry->pw_uid == 0 || entry->pw_uid == geteuid() || entry->pw_gid == getegid()) continue;
    const group* own = getgrgid(entry->pw_gid);
    if (own == nullptr) continue;
    found = Account{entry->pw_name, entry->pw_uid, entry->pw_gid, own->gr_name, entry->pw_dir};
    break;
  }
  endpwent();
  return found;
}

/// While it lives, a soft limit of the process is lowered.
class ScopedLimit {
 public:
  using Resource = decltype(RLIMIT_NOFILE);
  ScopedLimit(Resource resource, rlim_t soft) : _resource(resource) {
    EXPECT_EQ(getrlimit(_resource, &_before), 0);
    rlimit lowered = _before;
    lowered.rlim_cur = soft;
    EXPECT_EQ(setrlimit(_resource, &lowered), 0);
  }
  ScopedLimit(const ScopedLimit&) = delete;
  ScopedLimit& operator=(const ScopedLimit&) = delete;
  ~ScopedLimit() { setrlimit(_resource, &_before); }

 private:
  Resource _resource;
  rlimit _before = {};
};

/// While it lives, the process has another file mode creation mask.
class ScopedUmask {
 public:
  explicit ScopedUmask(mode_t mask) : _before(umask(mask)) {}
  ScopedUmask(const ScopedUmask&) = delete;
  ScopedUmask& operator=(const ScopedUmask&) = delete;
  ~ScopedUmask() { umask(_before); }

 private:
  mode_t _before;
};

/// While it lives, the descriptor \a number stands for the file of \a other.
class ScopedRedirection {
 public:
  ScopedRedirection(int number, int other) : _number(number), _kept(fcntl(number, F_DUPFD_CLOEXEC, 3)) {
    std::fflush(nullptr);
    EXPECT_EQ(dup2(other, number), number);
  }
  ScopedRedirection(const ScopedRedirection&) = delete;
  ScopedRedirection& operator=(const ScopedRedirection&) = delete;
  ~ScopedRedirection() {
    std::fflush(nullptr);
    if (_kept < 0) {
      close(_number);
    } else {
      dup2(_kept, _number);
      close(_kept);
    }
  }

 private:
  int _number;
  int _kept;
};

/// While it lives, the descriptor \a number stands for a pipe whose reader has gone. For use in a child, which a signal
/// would end from then on.
class ScopedBrokenPipe {
 public:
  explicit ScopedBrokenPipe(int number) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    signal(SIGPIPE, SIG_DFL);
    close(ends[0]);
    _redirection.emplace(number, ends[1]);
    close(ends[1]);
  }

 private:
  std::optional<ScopedRedirection> _redirection;
};

/// The number of open descriptors of the process.
inline int openDescriptors() {
  int count = 0;
  DIR* stream = opendir("/dev/fd");
  if (stream == nullptr) return -1;
  while (readdir(stream) != nullptr) ++count;
  closedir(stream);
  return count;
}

/// A chain of folders, one in the other, with a file "f" and a link "l" to nowhere in each: too deep for any path.
/// Goes away without the code under test.
class DeepFolder {
 public:
  static constexpr int kLevels = 3000;

  explicit DeepFolder(const std::string& path) : _path(path) {
    EXPECT_EQ(mkdir(path.c_str(), 0755), 0);
    int folder = open(path.c_str(), kOpen);
    for (int level = 0; level < kLevels; ++level) {
      const int file = openat(folder, "f", O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
      EXPECT_GE(file, 0);
      close(file);
      EXPECT_EQ(symlinkat("nowhere", folder, "l"), 0);
      EXPECT_EQ(mkdirat(folder, "d", 0755), 0);
      folder = replace(folder, "d");
    }
    close(folder);
  }
  DeepFolder(const DeepFolder&) = delete;
  DeepFolder& operator=(const DeepFolder&) = delete;
  ~DeepFolder() { EXPECT_EQ(std::system(("rm -rf '" + _path + "'").c_str()), 0); }

  /// Calls \a visitor with a descriptor of each folder that holds the three entries, from the top, while there is one.
  /// \return how many there were.
  template <class Visitor>
  static int visit(const std::string& path, Visitor visitor) {
    int count = 0;
    int folder = open(path.c_str(), kOpen);
    while (folder >= 0 && faccessat(folder, "d", F_OK, AT_SYMLINK_NOFOLLOW) == 0) {
      visitor(folder);
      ++count;
      folder = replace(folder, "d");
    }
    if (folder >= 0) close(folder);
    return count;
  }

 private:
  static constexpr int kOpen = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

  static int replace(int folder, const char* name) {
    const int next = openat(folder, name, kOpen);
    close(folder);
    return next;
  }

  std::string _path;
};

/// What a test does when a file or folder is about to be synced: called with its descriptor by the stand-in for
/// fsync(2), which is in AtomicWriteTest.cpp.
extern std::function<void(int descriptor)> beforeSync;

/// What a test does before the mode of this open entry is changed, once. The stand-in for fchmod(2) is in
/// ExchangedEntryTest.cpp.
void actBeforeModeChangeOf(ino_t entry, std::function<void()> action);

/// Whether the file system of the two entries can exchange them.
inline bool canExchange(const std::string& left, const std::string& right) {
  return host::exchange(left, right) && host::exchange(left, right);
}

/// While it lives, a thread exchanges two entries again and again, so that there is always something at both paths.
class Exchanger {
 public:
  Exchanger(const std::string& left, const std::string& right)
      : _thread([this, left, right] {
          while (!_stopped) {
            if (host::exchange(left, right)) ++_rounds;
          }
        }) {}
  Exchanger(const Exchanger&) = delete;
  Exchanger& operator=(const Exchanger&) = delete;
  ~Exchanger() {
    _stopped = true;
    _thread.join();
  }

  /// How often they were exchanged until now.
  int rounds() const { return _rounds; }

 private:
  std::atomic<bool> _stopped{false};
  std::atomic<int> _rounds{0};
  std::thread _thread;  // last: it uses the others
};

}  // namespace hotfix

#endif
