#include "Tests/EndToEnd/ThrowAwayRoot.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <sstream>

namespace hotfix {

namespace {

std::string reason(const std::string& what) { return what + ": " + std::strerror(errno); }

void writeText(const std::string& path, const std::string& text) { std::ofstream(path) << text; }

std::string readText(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

/// Takes the process into its own mount namespace, as an ordinary user by way of a user namespace. Answers what
/// hinders it.
std::string enterNamespaces() {
  const uid_t user = geteuid();
  const gid_t group = getegid();
  if (user == 0) {
    if (unshare(CLONE_NEWNS) != 0) return reason("a mount namespace");
  } else {
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return reason("a user namespace");
    writeText("/proc/self/setgroups", "deny");
    writeText("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
    writeText("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
    if (geteuid() != 0) return "the user namespace has no root";
  }
  if (mount("", "/", "", MS_REC | MS_PRIVATE, nullptr) != 0) return reason("private mounts");
  return "";
}

const std::string& namespaceObstacle() {
  static const std::string obstacle = enterNamespaces();  // once in the life of the program
  return obstacle;
}

/// Flags that a mount has and that a user namespace may not take from it.
unsigned long keptFlags(const std::string& path) {
  struct statvfs status = {};
  statvfs(path.c_str(), &status);
  unsigned long flags = status.f_flag & (ST_NOSUID | ST_NODEV | ST_NOEXEC | ST_NOATIME | ST_NODIRATIME);
  if ((status.f_flag & ST_RELATIME) != 0) flags |= MS_RELATIME;
  return flags;
}

}  // namespace

bool ThrowAwayRoot::hasAccounts() {
  // Another id than root's counts where it is mapped.
  static const bool answer = [] {
    std::ifstream map("/proc/self/uid_map");
    unsigned long first = 0, outside = 0, count = 0;
    map >> first >> outside >> count;
    return count > 1;
  }();
  return answer;
}

ThrowAwayRoot::ThrowAwayRoot() {
  _obstacle = namespaceObstacle();
  mountAll();
  startFirstProcess();
}

ThrowAwayRoot::~ThrowAwayRoot() {
  if (!_processes.empty()) kill(_processes.front(), SIGKILL);
  // The first process ends only when nobody is left in its namespace.
  for (auto process = _processes.rbegin(); process != _processes.rend(); ++process) waitpid(*process, nullptr, 0);
  if (_processNamespace != -1) close(_processNamespace);
  // With everything mounted below it, whoever still has a file open there.
  umount2(_folder.path().c_str(), MNT_DETACH);
}

void ThrowAwayRoot::noteObstacle(const std::string& what) {
  if (_obstacle.empty()) _obstacle = reason(what);
}

void ThrowAwayRoot::mount(const char* type, const std::string& source, const std::string& path, unsigned long flags,
                          const std::string& options) {
  if (!_obstacle.empty()) return;
  if (::mount(source.c_str(), path.c_str(), type, flags, options.c_str()) != 0) noteObstacle("mount " + path);
}

void ThrowAwayRoot::mountAll() {
  // Limited, so that a tool gone wild fills this and not the machine's memory.
  mount("tmpfs", "tmpfs", _folder.path(), 0, "mode=0755,size=512m");
  if (!_obstacle.empty()) return;
  // Made in the upper layer beforehand, the folders that tests write to belong to us also in a user namespace.
  for (const char* path :
       {"upper/Applications", "upper/Users", "upper/Library", "upper/dev", "upper/etc", "upper/proc", "upper/root",
        "upper/tmp", "upper/usr/libexec", "upper/usr/sbin", "upper/stand-ins", "work", "root"}) {
    _folder.makeFolder(path);
  }
  makeAccounts();
  mountCopy();
  mount("tmpfs", "tmpfs", _folder / inside("/tmp"), MS_NOSUID | MS_NODEV, "mode=1777,size=16m");
  mount("tmpfs", "tmpfs", _folder / inside("/dev"), 0, "mode=0755");
  if (!_obstacle.empty()) return;
  for (const char* device : {"/dev/null", "/dev/zero", "/dev/full", "/dev/tty"}) {
    bindReadOnly(device, _folder.makeFile(inside(device)));
  }
  showReadOnly(HOTFIX_SOURCE_FOLDER);
  showReadOnly(HOTFIX_BUILD_FOLDER);
  if (access((_folder / inside("/bin/sh")).c_str(), X_OK) != 0) noteObstacle("/bin/sh in the copy of the root");
}

void ThrowAwayRoot::mountCopy() {
  const auto mountOverlay = [this](const std::string& folder) {
    mount("overlay", "overlay", _folder / ("root" + folder), 0,
          "lowerdir=" + (folder.empty() ? "/" : folder) + ",upperdir=" + (_folder / ("upper" + folder)) +
              ",workdir=" + _folder.makeFolder("work" + folder));
  };
  if (hasAccounts()) return mountOverlay("");
  // A user namespace may not look below what is mounted on "/", so the folders with programs are copied one by one.
  mount("", _folder / "upper", _folder / "root", MS_BIND);
  for (const char* folder : {"/bin", "/etc", "/lib", "/lib32", "/lib64", "/libx32", "/sbin", "/usr"}) {
    struct stat status = {};
    if (lstat(folder, &status) != 0) continue;
    if (S_ISLNK(status.st_mode)) {
      char target[256] = {};
      if (readlink(folder, target, sizeof target - 1) > 0) _folder.makeLink(inside(folder), target);
    } else {
      _folder.makeFolder(inside(folder));
      mountOverlay(folder);
    }
  }
}

void ThrowAwayRoot::makeAccounts() {
  // Before the machine's own accounts: the first entry of a name or a number is the one that is found.
  const std::string alice = std::to_string(ThrowAwayRoot::alice());
  const std::string bob = std::to_string(ThrowAwayRoot::bob());
  const std::string admin = std::to_string(ThrowAwayRoot::admin());
  _folder.makeFile("upper/etc/passwd", "root:x:0:0::/root:/bin/sh\nalice:x:" + alice + ":" + alice +
                                           "::/Users/alice:/bin/sh\nbob:x:" + bob + ":" + bob +
                                           "::/Users/bob:/bin/sh\n" + readText("/etc/passwd"));
  _folder.makeFile("upper/etc/group", "root:x:0:\nadmin:x:" + admin + ":\nalice:x:" + alice + ":\nbob:x:" + bob +
                                          ":\n" + readText("/etc/group"));
  const auto makeHome = [this](const std::string& name, uid_t user) {
    if (chown(_folder.makeFolder("upper/Users/" + name).c_str(), user, user) != 0) noteObstacle("home of " + name);
  };
  makeHome("alice", ThrowAwayRoot::alice());
  makeHome("bob", ThrowAwayRoot::bob());
}

void ThrowAwayRoot::showReadOnly(const std::string& folder) {
  struct stat there = {}, here = {};
  if (stat(folder.c_str(), &there) == 0 && stat((_folder / inside(folder)).c_str(), &here) == 0 &&
      there.st_dev == here.st_dev && there.st_ino == here.st_ino) {
    return;  // in a folder that is shown already
  }
  bindReadOnly(folder, _folder.makeFolder(inside(folder)));
}

void ThrowAwayRoot::bindReadOnly(const std::string& source, const std::string& path) {
  // A user namespace must show what is mounted below a folder with it. Root leaves that out: it would be writable.
  unsigned long flags = MS_BIND;
  if (!hasAccounts()) flags |= MS_REC;
  mount("", source, path, flags);
  mount("", "", path, MS_BIND | MS_REMOUNT | MS_RDONLY | keptFlags(source));
}

void ThrowAwayRoot::mountMemory(const std::string& path, const std::string& options) {
  const std::string place = _folder / inside(path);
  if (!_folder.has(inside(path))) _folder.makeFolder(inside(path));
  if (::mount("tmpfs", place.c_str(), "tmpfs", 0, options.c_str()) != 0) ADD_FAILURE() << reason("mount " + place);
}

bool ThrowAwayRoot::mountDeadVolume(const std::string& path) {
  const std::string place = _folder.makeFolder(inside(path));
  const int server = open("/dev/fuse", O_RDWR | O_CLOEXEC);
  if (server == -1) return false;
  const std::string options = "fd=" + std::to_string(server) + ",rootmode=40000,user_id=0,group_id=0";
  const bool isMounted = ::mount("fuse", place.c_str(), "fuse", MS_NOSUID | MS_NODEV, options.c_str()) == 0;
  close(server);
  return isMounted;
}

void ThrowAwayRoot::makeReadOnly(const std::string& path) {
  const std::string place = _folder / inside(path);
  if (::mount(place.c_str(), place.c_str(), "", MS_BIND, "") != 0 ||
      ::mount("", place.c_str(), "", MS_BIND | MS_REMOUNT | MS_RDONLY | keptFlags(place), "") != 0) {
    ADD_FAILURE() << reason("mount " + place);
  }
}

void ThrowAwayRoot::startFirstProcess() {
  if (!_obstacle.empty()) return;
  std::ifstream program("/bin/sleep", std::ios::binary);
  std::ostringstream bytes;
  bytes << program.rdbuf();
  _folder.makeFile(inside(kFirstProcess), bytes.str(), 0755);

  int result[2];
  if (pipe2(result, O_CLOEXEC) != 0) return noteObstacle("pipe");
  // As fork, with a new list of processes.
  const auto process = static_cast<pid_t>(syscall(SYS_clone, CLONE_NEWPID | SIGCHLD, 0, 0, 0, 0));
  if (process == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const std::string root = _folder / "root";
    if (chroot(root.c_str()) == 0 && chdir("/") == 0 &&
        ::mount("proc", "/proc", "proc", MS_RDONLY | MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) == 0) {
      execl(kFirstProcess, kFirstProcess, "infinity", nullptr);
    }
    const int error = errno;
    (void)!write(result[1], &error, sizeof error);
    _exit(1);
  }
  close(result[1]);
  if (process > 0) {
    _processes.push_back(process);
    int error = 0;
    if (read(result[0], &error, sizeof error) > 0)
      errno = error;  // nothing to read once it has become the program
    else
      error = 0;
    if (error != 0) noteObstacle("the first process of a process namespace");
    _processNamespace = open(("/proc/" + std::to_string(process) + "/ns/pid").c_str(), O_RDONLY | O_CLOEXEC);
    if (_processNamespace == -1) noteObstacle("the process namespace");
  } else {
    noteObstacle("a process namespace");
  }
  close(result[0]);
}

pid_t ThrowAwayRoot::start(const std::function<void()>& program) {
  // A process cannot be moved to another process namespace, only its children can be born there; and one that has set
  // this up may be unable to go back. So a helper does it, and gives us its child for our own.
  const std::string root = _folder / "root";  // no memory is asked for in the child: a thread may hold its lock
  int result[2];
  if (pipe2(result, O_CLOEXEC) != 0) ADD_FAILURE() << reason("pipe");
  const pid_t helper = fork();
  if (helper == 0) {
    if (setns(_processNamespace, CLONE_NEWPID) != 0) _exit(1);
    const auto process = static_cast<pid_t>(syscall(SYS_clone, CLONE_PARENT | SIGCHLD, 0, 0, 0, 0));
    if (process != 0) _exit(write(result[1], &process, sizeof process) == sizeof process ? 0 : 1);
    if (chroot(root.c_str()) == 0 && chdir("/") == 0) program();
    _exit(126);
  }
  close(result[1]);
  pid_t process = -1;
  if (read(result[0], &process, sizeof process) != sizeof process || process < 0) ADD_FAILURE() << "no process";
  close(result[0]);
  waitpid(helper, nullptr, 0);
  _processes.push_back(process);
  return process;
}

}  // namespace hotfix
