#include "Tests/Faults/Machine.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

#include "Platform/SystemPaths.h"
#include "Tests/Support/Instance.h"
#include "Tests/Support/TreeSnapshot.h"

namespace hotfix::machine {

namespace {

// Copies: what is in /tmp is hidden from the runs, and the programs may have been built there.
constexpr char kTool[] = "/stand-ins/hotfixUninstall";
constexpr char kFailCalls[] = "/stand-ins/failCalls.so";
constexpr char kOutput[] = "/stand-ins/output";
constexpr char kErrors[] = "/stand-ins/errors";
constexpr char kRecord[] = "/stand-ins/record";
constexpr char kNotes[] = "/stand-ins/notes";
// All that is put back for each run, and looked at after it.
constexpr const char* kTops[] = {"/Applications", "/Users", "/tmp"};
constexpr int kPatience = 10;  // seconds; a run takes some milliseconds

bool hasAccounts = true;
std::string standIn;           // the program's bytes
std::set<std::string> stamps;  // of the minutes in which runs took place

std::string readText(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

void writeText(const std::string& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

Entry file(const std::string& text, mode_t mode = 0644, uid_t owner = 0, gid_t group = 0) {
  return {Entry::Kind::File, text, mode, owner, group};
}

void makeFolders(const std::string& path) {
  for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
    mkdir(path.substr(0, slash).c_str(), 0755);
  }
}

void makeProgram(const std::string& path, const std::string& program) {
  makeFolders(path);
  unlink(path.c_str());
  writeText(path, program);
  chmod(path.c_str(), 0755);
}

void replaceStamps(std::string& text) {
  for (const std::string& stamp : stamps) {
    for (size_t at; (at = text.find(stamp)) != std::string::npos;) text.replace(at, stamp.size(), kNow);
  }
}

void addTo(Tree& tree, const std::string& folder) {
  visitTree(folder, [&](const std::string& name, const struct stat& status) {
    std::string path = folder + "/" + name;
    if (path.substr(path.rfind('/') + 1) == kFiller) return false;
    const std::string description = describeEntry(path, status);
    const size_t content = description.find(": ");
    Entry entry;
    entry.mode = status.st_mode & 07777U;
    entry.owner = status.st_uid;
    entry.group = status.st_gid;
    entry.kind = S_ISDIR(status.st_mode)   ? Entry::Kind::Folder
                 : S_ISLNK(status.st_mode) ? Entry::Kind::Link
                                           : Entry::Kind::File;
    if (content != std::string::npos) entry.text = description.substr(content + 2);
    replaceStamps(entry.text);
    replaceStamps(path);
    tree[path] = entry;
    return true;
  });
}

void noteMinute(std::time_t moment) {
  struct tm fields = {};
  gmtime_r(&moment, &fields);
  char text[16];
  stamps.emplace(text, std::strftime(text, sizeof text, "%d%m%y%H%M", &fields));
}

/// Becomes the tool.
[[noreturn]] void becomeTool(const Fault& fault, const std::string& data) {
  const std::string at = "FAIL_CALLS_AT=" + std::to_string(fault.at), how = "FAIL_CALLS_HOW=" + fault.how;
  const std::string notes = std::string("FAIL_CALLS_NOTES=") + kNotes;
  const std::string preload = std::string("LD_PRELOAD=") + kFailCalls;
  const std::string program = std::string("FAIL_CALLS_PROGRAM=") + kTool;
  std::vector<const char*> environment = {"PATH=/usr/bin:/bin", "USER=alice", "HOME=/Users/alice", "TZ=UTC"};
  if (!fault.how.empty()) {
    environment.insert(environment.end(), {preload.c_str(), program.c_str(), notes.c_str(), at.c_str(), how.c_str()});
  }
  environment.push_back(nullptr);
  const char* const arguments[] = {kTool, "-rcphome", kHome, "-rcpdata", data.c_str(), nullptr};
  dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
  dup2(open(kOutput, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600), STDOUT_FILENO);
  dup2(open(kErrors, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600), STDERR_FILENO);
  sigset_t signals;
  sigemptyset(&signals);
  sigprocmask(SIG_SETMASK, &signals, nullptr);
  umask(022);
  setsid();
  if (chdir(kElsewhere) != 0) _exit(126);
  execve(kTool, const_cast<char**>(arguments), const_cast<char**>(environment.data()));
  _exit(126);
}

/// Waits for a child, for all of them with -1, for a while. \return false when it takes too long.
bool waitFor(pid_t process, int& status, const std::function<void()>& whenStopped) {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGCHLD);
  for (;;) {
    const pid_t ended = waitpid(process, &status, WNOHANG | (whenStopped ? WUNTRACED : 0));
    if (ended > 0 && WIFSTOPPED(status)) {
      whenStopped();
      kill(process, SIGCONT);
    } else if (ended == -1 || (ended > 0 && process != -1)) {
      return true;  // -1: nobody is left to wait for
    } else if (ended == 0) {
      const struct timespec patience = {kPatience, 0};
      if (sigtimedwait(&signals, nullptr, &patience) == -1 && errno == EAGAIN) return false;
    }
  }
}

std::vector<std::string> linesOf(const std::string& path) {
  std::vector<std::string> lines;
  std::ifstream stream(path);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

NotedCall notedCall(const std::string& line) {
  NotedCall call;
  std::istringstream stream(line);
  stream >> call.number >> call.name >> std::ws;
  std::getline(stream, call.what);
  call.needsRoom = !call.name.empty() && call.name.back() == '+';
  if (call.needsRoom) call.name.pop_back();
  return call;
}

}  // namespace

uid_t alice() { return hasAccounts ? 4711 : 0; }
gid_t admin() { return hasAccounts ? 4780 : 0; }

std::string setUp() {
  // Children that outlive a killed tool are waited for here; and SIGCHLD is waited for, not handled.
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGCHLD);
  sigprocmask(SIG_BLOCK, &signals, nullptr);

  for (const char* folder : {"/stand-ins", "/Applications", "/Users", "/tmp", "/usr/libexec"}) mkdir(folder, 0755);
  writeText("/stand-ins/try", "");
  hasAccounts = chown("/stand-ins/try", 4711, 4780) == 0;
  standIn = readText(HOTFIX_STAND_IN);
  makeProgram(kTool, readText(HOTFIX_TOOL));
  makeProgram(kFailCalls, readText(HOTFIX_FAIL_CALLS));
  (void)instance::inHome("installInfo.plist");  // reads the instance's files, which may be in /tmp too
  // Over the machine's folders, which a user namespace may not let us write to. No run needs what they hold.
  for (const char* folder : {"/Applications", "/Users", "/tmp", "/usr/sbin", "/usr/libexec"}) {
    if (mount("tmpfs", folder, "tmpfs", 0, "mode=0755") != 0) {
      return "mount " + std::string(folder) + ": " + std::strerror(errno);
    }
  }
  for (const char* path : {"/usr/sbin/pkgutil", "/usr/libexec/java_home", "/Library/Java/Home/bin/java"}) {
    makeProgram(path, standIn);
    if (access(path, X_OK) != 0) return std::string(path) + " cannot be put in place";
  }
  writeText("/stand-ins/passwd", "root:x:0:0::/root:/bin/sh\nalice:x:" + std::to_string(alice()) + ":" +
                                     std::to_string(admin()) + "::/Users/alice:/bin/sh\n");
  writeText("/stand-ins/group", "root:x:0:\nadmin:x:" + std::to_string(admin()) + ":\n");
  for (const std::string name : {"passwd", "group"}) {
    if (mount(("/stand-ins/" + name).c_str(), ("/etc/" + name).c_str(), "", MS_BIND, nullptr) != 0) {
      return "mount /etc/" + name + ": " + std::strerror(errno);
    }
  }
  return "";
}

Tree original() {
  const std::string bundle = kBundle, home = kHome, data = kData;
  const uid_t owner = alice();
  const gid_t group = admin();
  std::string manifest = "<install>\n";
  for (int line = 0; line < 40; ++line)
    manifest += "  <feature id=\"" + std::to_string(line) + "\" match=\"perfect\"/>\n";
  Tree tree;
  instance::makeFiles(bundle, data, [&tree](const std::string& path, const std::string& content) {
    tree[path] = file(content, path.find("rcpinstall") == std::string::npos ? 0644 : 0600);
  });
  tree[bundle + "/Contents/MacOS/.provisioning_rc"] = file("rc=1\n");
  tree[home + "/rcplauncher"] = file(standIn, 0755);
  tree[home + "/deploy/install.xml"] = file(manifest + "</install>\n");
  tree[home + "/deploy/install.update.xml"] = file("<older/>\n");
  tree[home + "/deploy/uninstall.hotfix.xml"] = file(manifest + "  <uninstall/>\n</install>\n", 0660, owner, group);
  for (const char* name : {"rcplauncher.properties", "installInfo.plist"}) {
    tree[home + "/" + name] = file(instance::inHome(name), 0640, owner, group);
  }
  tree[data + "/logs/one.log"] = file("one\n");
  tree[data + "/logs/attached"] = {Entry::Kind::Link, "/Users/alice/Library", 0777, 0, 0};
  tree[data + "/logs"] = {Entry::Kind::Folder, "", 0700, 0, 0};
  tree[data + "/mail"] = {Entry::Kind::Folder, "", 0775, owner, group};
  tree[data + "/mail/inbox"] = file("in a folder where others can write\n", 0600);
  tree[data + "/right"] = file("right\n", 0775, owner, group);
  for (const char* name : {"install.xml", "install.update.xml", "uninstall.hotfix.xml"}) {
    tree[std::string(kElsewhere) + "/deploy/" + name] = file("<elsewhere/>\n");
  }
  tree[std::string(platform::kDefaultHome) + "/deploy/install.xml"] = file("<another/>\n");
  tree["/Users/alice/Library/Preferences/.GlobalPreferences.plist"] =
      file("{ AppleLocale = \"en_GB\"; }\n", 0644, owner, group);
  tree["/tmp/com.qor.rcp.platform.internal.configuration"] =
      file("{ newInstallLocation = \"" + std::string(kStaged) + "\"; }\n", 0600);
  tree["/tmp/zelcore2/staged"] = file(manifest, 0640, owner, group);
  tree["/tmp/zelcore2/inner/link"] = {Entry::Kind::Link, "../staged", 0777, 0, 0};
  tree["/tmp/install_trace.log"] = file("of an earlier run\n");
  // The folders around them.
  const Tree named = tree;
  for (const auto& [path, entry] : named) {
    const size_t top = path.find('/', 1);
    for (size_t slash = path.rfind('/'); slash > top; slash = path.rfind('/', slash - 1)) {
      tree.emplace(path.substr(0, slash), Entry());
    }
  }
  return tree;
}

void removeAll(const std::string& folder) {
  if (DIR* const stream = opendir(folder.c_str())) {
    while (const dirent* found = readdir(stream)) {
      const std::string name = found->d_name;
      if (name == "." || name == "..") continue;
      const std::string path = folder + "/" + name;
      if (found->d_type == DT_DIR)
        removeAll(path);
      else
        unlink(path.c_str());
    }
    closedir(stream);
  }
  rmdir(folder.c_str());
}

void make(const std::string& path, const Entry& entry) {
  if (entry.kind == Entry::Kind::Folder) {
    mkdir(path.c_str(), 0755);
  } else if (entry.kind == Entry::Kind::Link) {
    if (symlink(entry.text.c_str(), path.c_str()) != 0) return;
  } else {
    unlink(path.c_str());
    writeText(path, entry.text);
    // Where the file system has any: then these calls are among those that go wrong.
    if (path.find("hotfix.xml") != std::string::npos) setxattr(path.c_str(), "user.note", "kept", 4, 0);
  }
  if (lchown(path.c_str(), entry.owner, entry.group) != 0) return;
  if (entry.kind != Entry::Kind::Link) chmod(path.c_str(), entry.mode);
}

void restore(const Tree& tree) {
  for (const char* top : kTops) {
    removeAll(top);
  }
  chmod("/tmp", 01777);
  for (const auto& [path, entry] : tree) make(path, entry);
}

Tree look() {
  Tree tree;
  for (const char* top : kTops) addTo(tree, top);
  return tree;
}

Run run(const Fault& fault, const std::function<void()>& whenStopped, const std::string& data) {
  for (const char* path : {kOutput, kErrors, kRecord, kNotes}) unlink(path);
  const std::time_t begin = std::time(nullptr);
  const pid_t process = fork();
  if (process == 0) becomeTool(fault, data);
  Run result;
  result.hasHung = !waitFor(process, result.status, whenStopped);
  if (result.hasHung) {
    kill(process, SIGKILL);
    waitpid(process, nullptr, 0);
  }
  int status = 0;
  if (!waitFor(-1, status, nullptr)) result.hasHung = true;
  const std::time_t end = std::time(nullptr);
  for (std::time_t moment = begin; moment <= end; ++moment) noteMinute(moment);
  result.output = readText(kOutput);
  result.errors = readText(kErrors);
  result.children = linesOf(kRecord);
  for (const std::string& line : linesOf(kNotes)) result.calls.push_back(notedCall(line));
  return result;
}

}  // namespace hotfix::machine
