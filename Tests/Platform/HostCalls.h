#ifndef TESTS_PLATFORM_HOST_CALLS_H_
#define TESTS_PLATFORM_HOST_CALLS_H_

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#ifdef __APPLE__
#include <dlfcn.h>
#include <fcntl.h>
#else
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/inotify.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <cerrno>
#include <cstddef>
#endif

/// What the tests ask of a system in another way on each, or what only one of them has. No other file of the tests asks
/// which system it runs on: where something is missing, it asks here and skips the test.

namespace hotfix::host {

#ifdef __APPLE__

// ----- Names -----

/// The name of an entry that is as odd as file systems allow: letters that have just one form. It must be UTF-8.
inline constexpr char kOddName[] = "\xC3\x9F\xE2\x82\xAC";

inline std::string programName() { return getprogname(); }

/// The most memory that this process has ever had, in bytes.
inline size_t peakMemory() {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<size_t>(usage.ru_maxrss);
}

// ----- Entries -----

/// Exchanges what is at two paths in one step. \return false where that cannot be done.
inline bool exchange(const std::string& left, const std::string& right) {
  // Since macOS 10.12. Looked up: __builtin_available would take a library of the compiler, which a cross build lacks.
  using Function = int (*)(const char*, const char*, unsigned);
  static const auto function = reinterpret_cast<Function>(dlsym(RTLD_DEFAULT, "renamex_np"));
  return function != nullptr && function(left.c_str(), right.c_str(), RENAME_SWAP) == 0;
}

inline timespec accessTime(const struct stat& status) { return status.st_atimespec; }
inline timespec modificationTime(const struct stat& status) { return status.st_mtimespec; }
inline timespec changeTime(const struct stat& status) { return status.st_ctimespec; }

/// What setTimes makes of a number of nanoseconds: before macOS 10.13 nothing sets them finer.
inline constexpr long settableNanoseconds(long nanoseconds) { return nanoseconds / 1000 * 1000; }

/// Sets the times of an entry itself, a link not followed. \return false, with errno set, on failure.
inline bool setTimes(const std::string& path, timespec access, timespec modification) {
  const timeval times[] = {{access.tv_sec, static_cast<suseconds_t>(access.tv_nsec / 1000)},
                           {modification.tv_sec, static_cast<suseconds_t>(modification.tv_nsec / 1000)}};
  return lutimes(path.c_str(), times) == 0;
}

/// An extended attribute of what is at a path, as setxattr(2) and getxattr(2).
inline int setAttribute(const std::string& path, const char* name, const void* value, size_t size) {
  return setxattr(path.c_str(), name, value, size, 0, 0);
}
inline ssize_t attribute(const std::string& path, const char* name, void* value, size_t size) {
  return getxattr(path.c_str(), name, value, size, 0, 0);
}

/// Whether a file can have capabilities, in the extended attribute "security.capability".
inline constexpr bool kHasFileCapabilities = false;

/// Whether an entry can be held, whatever its kind and mode, without being opened.
inline constexpr bool kHoldsWithoutOpening = false;

/// Tells what happens to entries. Where it is not available it tells nothing.
class EntryWatch {
 public:
  static constexpr bool kIsAvailable = false;

  bool addOpenings(const std::string&) { return false; }
  bool addNewNames(const std::string&) { return false; }
  std::vector<std::string> seen() { return {}; }
};

/// Writes the bytes of a file to the disk: what the C library's fsync does.
inline int sync(int descriptor) {
  using Function = int (*)(int);
  static const auto function = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "fsync"));
  return function(descriptor);
}

/// Gives a user all rights to a folder by an access control list. \return false where that cannot be done.
inline bool grantWriting(const std::string&, uid_t) { return false; }

/// Mounts a volume of 64 KiB at a folder, for this process alone. \return false where that cannot be done.
inline bool mountSmallVolume(const std::string&) { return false; }

/// The C library's names for these calls.
#if defined __i386__ || defined __x86_64__
inline constexpr char kFstatat[] = "fstatat$INODE64";
#else
inline constexpr char kFstatat[] = "fstatat";
#endif
inline constexpr char kOpenat[] = "openat";

/// Whether a process can have calls of its own refused.
inline constexpr bool kCanRefuseCalls = false;

inline bool refuseLinks(int) { return false; }
inline bool refuseNewFolders(int) { return false; }

// ----- Sockets -----

/// For the type of a socket, where it can be said there.
inline constexpr int kClosedOnExec = 0;

/// Two ends of a connection that keeps each write apart, of up to 16 KiB.
inline bool connectPackets(int ends[2]) {
  if (socketpair(AF_UNIX, SOCK_DGRAM, 0, ends) != 0) return false;
  constexpr int kSize = 1 << 14;
  for (const int end : {ends[0], ends[1]}) {
    if (fcntl(end, F_SETFD, FD_CLOEXEC) != 0) return false;
    for (const int buffer : {SO_SNDBUF, SO_RCVBUF}) {  // without it a packet may have 2 KiB
      if (setsockopt(end, SOL_SOCKET, buffer, &kSize, sizeof kSize) != 0) return false;
    }
  }
  return true;
}

// ----- Users -----

/// Whether the accounts are those of /etc/passwd in the root folder of the process.
inline constexpr bool kAccountsAreAFile = false;

/// Changes the real and the effective user of the process; for root. \return false on failure.
inline bool setUsers(uid_t real, uid_t effective) { return setreuid(real, effective) == 0; }

#else

// ----- Names -----

/// The name of an entry that is as odd as file systems allow: no UTF-8.
inline constexpr char kOddName[] = "\xff";

inline std::string programName() { return program_invocation_short_name; }

/// The most memory that this process has ever had, in bytes.
inline size_t peakMemory() {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<size_t>(usage.ru_maxrss) << 10U;
}

// ----- Entries -----

/// Exchanges what is at two paths in one step. \return false where that cannot be done.
inline bool exchange(const std::string& left, const std::string& right) {
  return renameat2(AT_FDCWD, left.c_str(), AT_FDCWD, right.c_str(), RENAME_EXCHANGE) == 0;
}

inline timespec accessTime(const struct stat& status) { return status.st_atim; }
inline timespec modificationTime(const struct stat& status) { return status.st_mtim; }
inline timespec changeTime(const struct stat& status) { return status.st_ctim; }

/// What setTimes makes of a number of nanoseconds.
inline constexpr long settableNanoseconds(long nanoseconds) { return nanoseconds; }

/// Sets the times of an entry itself, a link not followed. \return false, with errno set, on failure.
inline bool setTimes(const std::string& path, timespec access, timespec modification) {
  const timespec times[] = {access, modification};
  return utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW) == 0;
}

/// An extended attribute of what is at a path, as setxattr(2) and getxattr(2).
inline int setAttribute(const std::string& path, const char* name, const void* value, size_t size) {
  return setxattr(path.c_str(), name, value, size, 0);
}
inline ssize_t attribute(const std::string& path, const char* name, void* value, size_t size) {
  return getxattr(path.c_str(), name, value, size);
}

/// Whether a file can have capabilities, in the extended attribute "security.capability".
inline constexpr bool kHasFileCapabilities = true;

/// Whether an entry can be held, whatever its kind and mode, without being opened.
inline constexpr bool kHoldsWithoutOpening = true;

/// Tells what happens to entries. Where it is not available it tells nothing.
class EntryWatch {
 public:
  static constexpr bool kIsAvailable = true;

  EntryWatch() : _watch(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {}
  EntryWatch(const EntryWatch&) = delete;
  EntryWatch& operator=(const EntryWatch&) = delete;
  ~EntryWatch() { close(_watch); }

  /// Watch from now on whether an entry is opened, and which names get entries in a folder. \return false on failure.
  bool addOpenings(const std::string& path) { return inotify_add_watch(_watch, path.c_str(), IN_OPEN) >= 0; }
  bool addNewNames(const std::string& folder) { return inotify_add_watch(_watch, folder.c_str(), IN_CREATE) >= 0; }

  /// What has happened since the last call: the new names, and an empty text for each opening.
  std::vector<std::string> seen() {
    std::vector<std::string> result;
    alignas(inotify_event) char events[4096];
    for (ssize_t size; (size = read(_watch, events, sizeof events)) > 0;) {
      for (ssize_t at = 0; at < size;) {
        const auto* event = reinterpret_cast<const inotify_event*>(events + at);
        result.emplace_back(event->len > 0 ? event->name : "");
        at += static_cast<ssize_t>(sizeof *event + event->len);
      }
    }
    return result;
  }

 private:
  int _watch;
};

/// Writes the bytes of a file to the disk: what the C library's fsync does.
inline int sync(int descriptor) { return static_cast<int>(syscall(SYS_fsync, descriptor)); }

/// Gives a user all rights to a folder by an access control list. \return false where that cannot be done.
inline bool grantWriting(const std::string& folder, uid_t user) {
  // acl(5), as the kernel has it: after the version the entries, each a kind, rights and a number.
  struct Entry {
    std::uint16_t kind, rights;
    std::uint32_t number;
  };
  const struct {
    std::uint32_t version = 2;
    Entry owner = {1, 7, 0xFFFFFFFF};
    Entry named;
    Entry group = {4, 0, 0xFFFFFFFF}, mask = {16, 7, 0xFFFFFFFF}, other = {32, 0, 0xFFFFFFFF};
  } list = {2, {1, 7, 0xFFFFFFFF}, {2, 7, user}};
  return setAttribute(folder, "system.posix_acl_access", &list, sizeof list) == 0;
}

/// Gives the process mounts of its own; for use in a child. \return whether it may.
inline bool giveOwnMounts() {
  return unshare(CLONE_NEWNS) == 0 && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

/// Mounts a volume of 64 KiB at a folder, for this process alone. \return false where that cannot be done.
inline bool mountSmallVolume(const std::string& folder) {
  return giveOwnMounts() && mount("none", folder.c_str(), "tmpfs", 0, "size=64k") == 0;
}

/// The C library's names for these calls, with large files, and on a 32-bit machine with a large time.
inline constexpr const char* kFstatat = sizeof(time_t) > sizeof(long) ? "__fstatat64_time64" : "fstatat64";
inline constexpr char kOpenat[] = "openat64";

/// Whether a process can have calls of its own refused.
inline constexpr bool kCanRefuseCalls = true;

/// Lets each of some calls of this process fail from now on, for good. \return false where that cannot be done.
inline bool refuseCalls(const std::vector<long>& calls, int error) {
  std::vector<sock_filter> steps = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
  for (const long call : calls) {
    steps.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(call), 0, 1));
    steps.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned>(error)));
  }
  steps.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
  const sock_fprog program = {static_cast<unsigned short>(steps.size()), steps.data()};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

/// A file system without links, that answers so by \a error, and without renaming to a free name.
inline bool refuseLinks(int error) { return refuseCalls({SYS_renameat2}, ENOSYS) && refuseCalls({SYS_linkat}, error); }

/// Each making of a folder answers \a error.
inline bool refuseNewFolders(int error) {
#ifdef SYS_mkdir
  return refuseCalls({SYS_mkdir, SYS_mkdirat}, error);
#else
  return refuseCalls({SYS_mkdirat}, error);
#endif
}

// ----- Sockets -----

/// For the type of a socket, where it can be said there.
inline constexpr int kClosedOnExec = SOCK_CLOEXEC;

/// Two ends of a connection that keeps each write apart, of up to 16 KiB.
inline bool connectPackets(int ends[2]) { return socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) == 0; }

// ----- Users -----

/// Whether the accounts are those of /etc/passwd in the root folder of the process.
inline constexpr bool kAccountsAreAFile = true;

/// Changes the real and the effective user of the process; for root. \return false on failure.
inline bool setUsers(uid_t real, uid_t effective) { return setresuid(real, effective, 0) == 0; }

#endif

/// What mknod(2) makes another null device of.
inline dev_t nullDevice() {
  struct stat status = {};
  return stat("/dev/null", &status) == 0 ? status.st_rdev : 0;
}

}  // namespace hotfix::host

#endif
