// Preloaded into the tool, makes one of its calls to the file system go wrong. Told by the environment:
//
//   FAIL_CALLS_PROGRAM   the program that is meant; any other one is left alone, and so are the children of this one
//   FAIL_CALLS_NOTES     file that gets a line for every call: "number name what"
//   FAIL_CALLS_AT        which call, counted from 1
//   FAIL_CALLS_HOW       list     nothing goes wrong
//                        short    a read, write or copy handles only a part
//                        kill     SIGKILL before the call; int, term and hup likewise
//                        stop     SIGSTOP before the call, which then goes on normally
//                        room     ENOSPC, from this call on in all that need room
//                        all      EIO, from this call on in all, but not on standard output
//                        a number of errno
//
// What the C library calls inside itself is not seen: the whole look-up of an account, for example, is one call here.

#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <grp.h>
#include <limits.h>
#include <pwd.h>
#include <signal.h>
#include <spawn.h>
#include <stdarg.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

enum How { kList, kShort, kKill, kStop, kRoom, kAll, kError };

static bool isMeant;
static enum How how;
static int failure;
static int sentSignal = SIGKILL;
static long wanted;
static long count;
static int notes = -1;

// ----- Set-up -----

__attribute__((constructor)) static void begin(void) {
  const char* program = getenv("FAIL_CALLS_PROGRAM");
  const char* file = getenv("FAIL_CALLS_NOTES");
  const char* number = getenv("FAIL_CALLS_AT");
  const char* kind = getenv("FAIL_CALLS_HOW");
  char self[PATH_MAX] = "";
  if (program == NULL || file == NULL || number == NULL || kind == NULL) return;
  if (syscall(SYS_readlinkat, AT_FDCWD, "/proc/self/exe", self, sizeof self - 1) < 0) return;
  if (strcmp(self, program) != 0) return;

  const long opened = syscall(SYS_openat, AT_FDCWD, file, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  if (opened < 0) _exit(125);
  notes = fcntl((int)opened, F_DUPFD_CLOEXEC, 900);  // the tool shall get the numbers that it always gets
  syscall(SYS_close, opened);
  wanted = strtol(number, NULL, 10);
  failure = (int)strtol(kind, NULL, 10);
  how = strcmp(kind, "list") == 0    ? kList
        : strcmp(kind, "short") == 0 ? kShort
        : strcmp(kind, "kill") == 0  ? kKill
        : strcmp(kind, "int") == 0   ? kKill
        : strcmp(kind, "term") == 0  ? kKill
        : strcmp(kind, "hup") == 0   ? kKill
        : strcmp(kind, "stop") == 0  ? kStop
        : strcmp(kind, "room") == 0  ? kRoom
        : strcmp(kind, "all") == 0   ? kAll
                                     : kError;
  if (strcmp(kind, "int") == 0) sentSignal = SIGINT;
  if (strcmp(kind, "term") == 0) sentSignal = SIGTERM;
  if (strcmp(kind, "hup") == 0) sentSignal = SIGHUP;
  if (how == kRoom) failure = ENOSPC;
  if (how == kAll) failure = EIO;
  // Its children are to run, and to start, as ever.
  for (const char* const* name = (const char* const[]){"LD_PRELOAD", "FAIL_CALLS_PROGRAM", "FAIL_CALLS_NOTES",
                                                       "FAIL_CALLS_AT", "FAIL_CALLS_HOW", NULL};
       *name != NULL; ++name) {
    unsetenv(*name);
  }
  isMeant = true;
}

// ----- Counting -----

/// What a descriptor stands for.
static void describe(int descriptor, char* text, size_t size) {
  char link[64];
  snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
  const long length = syscall(SYS_readlinkat, AT_FDCWD, link, text, size - 1);
  if (length >= 0)
    text[length] = '\0';
  else
    snprintf(text, size, "%d", descriptor);
}

static void note(const char* name, bool needsRoom, int descriptor, const char* path, const char* more) {
  char folder[PATH_MAX] = "";
  char line[4 * PATH_MAX];
  const bool isNamed = path != NULL && path[0] != '\0';
  if (descriptor != AT_FDCWD && !(isNamed && path[0] == '/')) describe(descriptor, folder, sizeof folder);
  const char* stream = path == NULL && descriptor == STDOUT_FILENO ? "standard output " : "";
  const int length = snprintf(line, sizeof line, "%ld %s%s %s%s%s%s%s%s\n", count, name, needsRoom ? "+" : "", stream,
                              folder, folder[0] != '\0' && isNamed ? "/" : "", isNamed ? path : "",
                              more != NULL ? " " : "", more != NULL ? more : "");
  if (length > 0) (void)syscall(SYS_write, notes, line, (size_t)length);
}

/// Counts a call; all that goes wrong goes wrong here. \return whether the call fails, with errno set.
static bool isHit(const char* name, bool needsRoom, int descriptor, const char* path, const char* more,
                  bool* isShortened) {
  if (!isMeant) return false;
  ++count;
  const int before = errno;
  note(name, needsRoom, descriptor, path, more);
  errno = before;
  if ((how == kRoom && needsRoom) || (how == kAll && (path != NULL || descriptor != STDOUT_FILENO))) {
    if (count >= wanted) errno = failure;
    return count >= wanted;
  }
  if (how == kList || count != wanted) return false;
  if (how == kKill) kill(getpid(), sentSignal);
  if (how == kStop) raise(SIGSTOP);
  if (how == kShort && isShortened != NULL) *isShortened = true;
  if (how == kError) errno = failure;
  return how == kError;
}

#define NEXT(name)                                \
  static __typeof__(&name) next;                  \
  if (next == NULL) {                             \
    void* const symbol = dlsym(RTLD_NEXT, #name); \
    memcpy(&next, &symbol, sizeof next);          \
  }

/// A function that does what the next one of its name does, or fails.
#define FORWARD(type, name, parameters, arguments, failed, needsRoom, descriptor, path, more) \
  type name parameters {                                                                      \
    NEXT(name)                                                                                \
    return isHit(#name, needsRoom, descriptor, path, more, NULL) ? failed : next arguments;   \
  }

#define BY_PATH(name, parameters, arguments, needsRoom) \
  FORWARD(int, name, parameters, arguments, -1, needsRoom, AT_FDCWD, path, NULL)
#define BY_PATH_AT(name, parameters, arguments, needsRoom) \
  FORWARD(int, name, parameters, arguments, -1, needsRoom, folder, path, NULL)
#define BY_DESCRIPTOR(name, parameters, arguments, needsRoom) \
  FORWARD(int, name, parameters, arguments, -1, needsRoom, descriptor, NULL, NULL)

// ----- Opening -----

static mode_t modeOf(int flags, va_list arguments) {
  return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE ? va_arg(arguments, mode_t) : 0;
}

/// What an opening is for.
static const char* purpose(int flags) {
  if ((flags & O_PATH) != 0) return "hold";
  if ((flags & O_DIRECTORY) != 0) return "folder";
  if ((flags & O_CREAT) != 0) return "create";
  return (flags & O_ACCMODE) == O_RDONLY ? "read" : "write";
}

#define OPEN(name)                                                                             \
  int name(const char* path, int flags, ...) {                                                 \
    va_list arguments;                                                                         \
    va_start(arguments, flags);                                                                \
    const mode_t mode = modeOf(flags, arguments);                                              \
    va_end(arguments);                                                                         \
    NEXT(name)                                                                                 \
    if (isHit(#name, (flags & O_CREAT) != 0, AT_FDCWD, path, purpose(flags), NULL)) return -1; \
    return next(path, flags, mode);                                                            \
  }
#define OPEN_AT(name)                                                                        \
  int name(int folder, const char* path, int flags, ...) {                                   \
    va_list arguments;                                                                       \
    va_start(arguments, flags);                                                              \
    const mode_t mode = modeOf(flags, arguments);                                            \
    va_end(arguments);                                                                       \
    NEXT(name)                                                                               \
    if (isHit(#name, (flags & O_CREAT) != 0, folder, path, purpose(flags), NULL)) return -1; \
    return next(folder, path, flags, mode);                                                  \
  }

OPEN(open)
OPEN(open64)
OPEN_AT(openat)
OPEN_AT(openat64)
FORWARD(int, pipe, (int ends[2]), (ends), -1, false, AT_FDCWD, NULL, NULL)

// ----- Data -----

static const char* bytes(char text[32], size_t size) {
  snprintf(text, 32, "%zu bytes", size);
  return text;
}

ssize_t read(int descriptor, void* buffer, size_t size) {
  NEXT(read)
  bool isShortened = false;
  if (isHit("read", false, descriptor, NULL, NULL, &isShortened)) return -1;
  return next(descriptor, buffer, isShortened && size > 8 ? 8 : size);
}

#define WRITE(name, parameters, arguments)                                                                      \
  ssize_t name parameters {                                                                                     \
    NEXT(name)                                                                                                  \
    bool isShortened = false;                                                                                   \
    char text[32];                                                                                              \
    /* Standard output does not lie where the tool works. */                                                    \
    if (isHit(#name, descriptor > STDERR_FILENO, descriptor, NULL, bytes(text, size), &isShortened)) return -1; \
    if (isShortened) size = (size + 1) / 2;                                                                     \
    return next arguments;                                                                                      \
  }

WRITE(write, (int descriptor, const void* buffer, size_t size), (descriptor, buffer, size))
WRITE(pwrite, (int descriptor, const void* buffer, size_t size, off_t at), (descriptor, buffer, size, at))
WRITE(pwrite64, (int descriptor, const void* buffer, size_t size, off64_t at), (descriptor, buffer, size, at))

ssize_t copy_file_range(int from, off64_t* fromAt, int to, off64_t* toAt, size_t size, unsigned flags) {
  NEXT(copy_file_range)
  bool isShortened = false;
  if (isHit("copy_file_range", true, to, NULL, NULL, &isShortened)) return -1;
  return next(from, fromAt, to, toAt, isShortened && size > 8 ? 8 : size, flags);
}

BY_DESCRIPTOR(fsync, (int descriptor), (descriptor), true)
BY_DESCRIPTOR(fdatasync, (int descriptor), (descriptor), true)
BY_DESCRIPTOR(ftruncate, (int descriptor, off_t size), (descriptor, size), false)
BY_DESCRIPTOR(ftruncate64, (int descriptor, off64_t size), (descriptor, size), false)

// ----- Names -----

FORWARD(int, rename, (const char* path, const char* to), (path, to), -1, true, AT_FDCWD, path, to)
FORWARD(int, renameat, (int folder, const char* path, int toFolder, const char* to), (folder, path, toFolder, to), -1,
        true, folder, path, to)
FORWARD(int, renameat2, (int folder, const char* path, int toFolder, const char* to, unsigned flags),
        (folder, path, toFolder, to, flags), -1, true, folder, path, to)
FORWARD(int, link, (const char* path, const char* to), (path, to), -1, true, AT_FDCWD, path, to)
FORWARD(int, linkat, (int folder, const char* path, int toFolder, const char* to, int flags),
        (folder, path, toFolder, to, flags), -1, true, folder, path, to)
FORWARD(int, symlink, (const char* text, const char* path), (text, path), -1, true, AT_FDCWD, path, text)
FORWARD(int, symlinkat, (const char* text, int folder, const char* path), (text, folder, path), -1, true, folder, path,
        text)
BY_PATH(unlink, (const char* path), (path), false)
BY_PATH_AT(unlinkat, (int folder, const char* path, int flags), (folder, path, flags), false)
BY_PATH(rmdir, (const char* path), (path), false)
BY_PATH(mkdir, (const char* path, mode_t mode), (path, mode), true)
BY_PATH_AT(mkdirat, (int folder, const char* path, mode_t mode), (folder, path, mode), true)
FORWARD(ssize_t, readlink, (const char* path, char* buffer, size_t size), (path, buffer, size), -1, false, AT_FDCWD,
        path, NULL)
FORWARD(ssize_t, readlinkat, (int folder, const char* path, char* buffer, size_t size), (folder, path, buffer, size),
        -1, false, folder, path, NULL)
FORWARD(char*, realpath, (const char* path, char* buffer), (path, buffer), NULL, false, AT_FDCWD, path, NULL)

// ----- Attributes -----

BY_PATH(stat, (const char* path, struct stat* status), (path, status), false)
BY_PATH(stat64, (const char* path, struct stat64* status), (path, status), false)
BY_PATH(lstat, (const char* path, struct stat* status), (path, status), false)
BY_PATH(lstat64, (const char* path, struct stat64* status), (path, status), false)
BY_DESCRIPTOR(fstat, (int descriptor, struct stat* status), (descriptor, status), false)
BY_DESCRIPTOR(fstat64, (int descriptor, struct stat64* status), (descriptor, status), false)
BY_PATH_AT(fstatat, (int folder, const char* path, struct stat* status, int flags), (folder, path, status, flags),
           false)
BY_PATH_AT(fstatat64, (int folder, const char* path, struct stat64* status, int flags), (folder, path, status, flags),
           false)
BY_PATH(chmod, (const char* path, mode_t mode), (path, mode), false)
BY_DESCRIPTOR(fchmod, (int descriptor, mode_t mode), (descriptor, mode), false)
BY_PATH_AT(fchmodat, (int folder, const char* path, mode_t mode, int flags), (folder, path, mode, flags), false)
BY_PATH(chown, (const char* path, uid_t owner, gid_t group), (path, owner, group), false)
BY_PATH(lchown, (const char* path, uid_t owner, gid_t group), (path, owner, group), false)
BY_DESCRIPTOR(fchown, (int descriptor, uid_t owner, gid_t group), (descriptor, owner, group), false)
BY_PATH_AT(fchownat, (int folder, const char* path, uid_t owner, gid_t group, int flags),
           (folder, path, owner, group, flags), false)
BY_DESCRIPTOR(futimens, (int descriptor, const struct timespec times[2]), (descriptor, times), false)
BY_PATH_AT(utimensat, (int folder, const char* path, const struct timespec times[2], int flags),
           (folder, path, times, flags), false)
FORWARD(ssize_t, flistxattr, (int descriptor, char* names, size_t size), (descriptor, names, size), -1, false,
        descriptor, NULL, NULL)
FORWARD(ssize_t, fgetxattr, (int descriptor, const char* name, void* value, size_t size),
        (descriptor, name, value, size), -1, false, descriptor, NULL, name)
FORWARD(int, fsetxattr, (int descriptor, const char* name, const void* value, size_t size, int flags),
        (descriptor, name, value, size, flags), -1, true, descriptor, NULL, name)

// ----- Folders -----

FORWARD(DIR*, opendir, (const char* path), (path), NULL, false, AT_FDCWD, path, NULL)
FORWARD(DIR*, fdopendir, (int descriptor), (descriptor), NULL, false, descriptor, NULL, NULL)
FORWARD(struct dirent*, readdir, (DIR * stream), (stream), NULL, false, dirfd(stream), NULL, NULL)
FORWARD(struct dirent64*, readdir64, (DIR * stream), (stream), NULL, false, dirfd(stream), NULL, NULL)

// ----- What answers a number of errno -----

FORWARD(int, posix_spawn,
        (pid_t * process, const char* path, const posix_spawn_file_actions_t* actions,
         const posix_spawnattr_t* attributes, char* const arguments[], char* const environment[]),
        (process, path, actions, attributes, arguments, environment), failure, false, AT_FDCWD, path, NULL)

#define LOOK_UP(name, key, record)                                                                          \
  int name(key, record* result, char* buffer, size_t size, record** found) {                                \
    NEXT(name)                                                                                              \
    if (!isHit(#name, false, AT_FDCWD, NULL, NULL, NULL)) return next(sought, result, buffer, size, found); \
    *found = NULL;                                                                                          \
    return failure;                                                                                         \
  }

LOOK_UP(getpwnam_r, const char* sought, struct passwd)
LOOK_UP(getpwuid_r, uid_t sought, struct passwd)
LOOK_UP(getgrnam_r, const char* sought, struct group)
