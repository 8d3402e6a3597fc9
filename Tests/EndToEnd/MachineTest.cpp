#include "Tests/EndToEnd/MachineTest.h"

#include <grp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <cstdlib>

namespace hotfix {

namespace {

constexpr char kRecord[] = "/stand-ins/record";
constexpr char kNote[] = "/stand-ins/note";
constexpr char kOutput[] = "/stand-ins/output";
constexpr char kErrors[] = "/stand-ins/errors";
constexpr int kPatience = 60 * 1000;  // milliseconds; a call takes far less than a second

// Half an hour off, so that no stamp made in another time zone can pass.
constexpr char kTimeZone[] = "HFX-05:30";
constexpr std::time_t kTimeZoneOffset = 5 * 3600 + 1800;

std::string shellQuoted(const std::string& text) {
  std::string result = "'";
  for (const char c : text) result += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return result + "'";
}

std::string lastComponent(const std::string& path) { return path.substr(path.rfind('/') + 1); }

std::string localTime(std::time_t moment, const char* format) {
  moment += kTimeZoneOffset;
  struct tm fields = {};
  gmtime_r(&moment, &fields);
  char text[64];
  return std::string(text, std::strftime(text, sizeof text, format, &fields));
}

std::string hostName() {
  char name[256] = {};
  gethostname(name, sizeof name - 1);
  return name;
}

void replaceAll(std::string& text, const std::string& old, const std::string& now) {
  for (size_t at = text.find(old); at != std::string::npos; at = text.find(old, at + now.size())) {
    text.replace(at, old.size(), now);
  }
}

/// The text between two others, or "none".
std::string between(const std::string& text, const std::string& before, const std::string& after) {
  const size_t begin = text.find(before);
  if (begin == std::string::npos) return "none";
  const size_t from = begin + before.size();
  return text.substr(from, text.find(after, from) - from);
}

std::vector<char*> pointers(const std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (const std::string& text : texts) result.push_back(const_cast<char*>(text.c_str()));
  result.push_back(nullptr);
  return result;
}

/// Becomes the program of a call. Returns only when that is impossible. Asks for no memory: this is the child of a
/// process with threads.
void become(const Call& call, char* const argv[], char* const envp[], int input, int output, int errors) {
  umask(022);
  setsid();
  dup2(input, STDIN_FILENO);
  dup2(output, STDOUT_FILENO);
  dup2(errors, STDERR_FILENO);
  for (int descriptor = 3; descriptor < 256; ++descriptor) fcntl(descriptor, F_SETFD, FD_CLOEXEC);
  if (chdir(call.folder.c_str()) != 0) return;
  if (call.user != 0 && (setgroups(0, nullptr) != 0 || setgid(call.user) != 0 || setuid(call.user) != 0)) return;
  call.prepare();
  execve(call.program.c_str(), argv, envp);
}

}  // namespace

Lines joined(std::initializer_list<Lines> parts) {
  Lines result;
  for (const Lines& part : parts) result.insert(result.end(), part.begin(), part.end());
  return result;
}

std::vector<CommandLine> Outcome::commandLines() const {
  std::vector<CommandLine> result;
  for (const Child& child : children) result.push_back(child.commandLine);
  return result;
}

// ----- The machine -----

void MachineTest::SetUp() {
  _root = std::make_unique<ThrowAwayRoot>();
  if (!root().obstacle().empty()) GTEST_SKIP() << "no throw-away root on this machine: " << root().obstacle();
  files().makeFolder(inside("/stand-ins"), 0777);
  files().makeFolder(inside("/stand-ins/seen"), 0777);
  makeInstance("/Applications/Product.app", "/Users/alice/Client Data");
  makeStandIn(kPkgutil);
  makeStandIn(kJavaHomeFinder, "echo " + shellQuoted(kJavaHome));
  makeStandIn(std::string(kJavaHome) + "/bin/java");
}

void MachineTest::TearDown() {
  if (_systemLogSocket != -1) close(_systemLogSocket);
}

void MachineTest::makeInstance(const std::string& bundlePath, const std::string& dataPath) {
  bundle = bundlePath;
  home = bundle + "/Contents/MacOS/rcp";
  data = dataPath;
  std::string note = "printf '%s\\0' $$ $# \"$0\" \"$@\" >> " + std::string(kRecord) + "\n";
  if (!notesCallsOnly) {
    note += "mkdir /stand-ins/seen/$$\ncp -a " + shellQuoted(bundle) + " " + shellQuoted(data) + " " + kTraceFile +
            " " + kOutput +
            " /proc/$$/fd /proc/$$/environ /stand-ins/seen/$$\n"
            // By the shell itself: while it waits for another program, it blocks signals.
            "while IFS= read -r line; do printf '%s\\n' \"$line\"; done"
            " < /proc/$$/status > /stand-ins/seen/$$/status\n";
  }
  files().makeFile(inside(kNote), note);

  instance::makeFiles(bundle, data, [this](const std::string& path, const std::string& content) {
    files().makeFile(inside(path), content);
  });
  setLauncher("echo rc=0 > \"$result\"");
  const std::map<std::string, mode_t> ofAlice = {
      {"rcplauncher.properties", 0664}, {"installInfo.plist", 0640}, {"deploy/uninstall.hotfix.xml", 0660}};
  for (const auto& [name, mode] : ofAlice) {
    files().makeFile(inHome(name), instance::inHome(name), mode);
    giveTo(ThrowAwayRoot::alice(), ThrowAwayRoot::admin(), home + "/" + name);
  }
  EXPECT_EQ(chmod((files() / inside(data + "/.config/rcpinstall.properties")).c_str(), 0600), 0);
  files().makeFile(inside(data + "/logs/one.log"), "one\n");
  files().makeFolder(inside(data + "/logs"), 0700);
}

void MachineTest::giveTo(uid_t user, gid_t group, const std::string& path) {
  if (lchown((files() / inside(path)).c_str(), user, group) != 0) ADD_FAILURE() << path << ": " << std::strerror(errno);
}

void MachineTest::makeStandIn(const std::string& path, const std::string& shellText) {
  files().makeScript(inside(path), ". " + std::string(kNote) + "\n" + shellText);
}

void MachineTest::makePatientJava() {
  files().makeScript(inside(std::string(kJavaHome) + "/bin/java"),
                     "tries=0\nuntil grep -q Successfully " + std::string(kTraceFile) +
                         " || [ $tries = 100 ]; do sleep 0.1; tries=$((tries + 1)); done\n. " + kNote);
}

pid_t MachineTest::startProgram(const std::string& path, uid_t user) {
  files().makeFile(inside(path), files().read(inside(ThrowAwayRoot::kFirstProcess)), 0755);
  int started[2];
  EXPECT_EQ(pipe(started), 0);
  const pid_t process = root().start([&] {
    // The pipe closes when the program has taken over.
    for (const int end : started) fcntl(end, F_SETFD, FD_CLOEXEC);
    if (user != 0 && setuid(user) != 0) return;
    execl(path.c_str(), path.c_str(), "infinity", nullptr);
  });
  close(started[1]);
  char byte;
  EXPECT_EQ(read(started[0], &byte, 1), 0);
  close(started[0]);
  return process;
}

void MachineTest::setLauncher(const std::string& shellText) {
  makeStandIn(home + "/rcplauncher", "result=\"${0%/*}/../.provisioning_rc\"\n" + shellText);
}

void MachineTest::setRecords(const Records& records) {
  files().makeFile(inHome("installInfo.plist"), recordsText(records), 0640);
}

void MachineTest::installHotfixAgain() {
  files().makeFile(inHome("deploy/uninstall.hotfix.xml"), uninstallManifest, 0660);
  files().makeFile(inHome("installInfo.plist"), instance::inHome("installInfo.plist"), 0640);
}

Snapshot MachineTest::state() {
  Snapshot all = takeSnapshot(root().changedEntries());
  Snapshot result = takeSnapshot(files() / inside("/tmp"), "/tmp");
  for (const auto& [path, entry] : all) {
    if (path.compare(0, 10, "/stand-ins") != 0) result[path] = entry;
  }
  for (auto& [path, entry] : result) {
    entry = withoutStamps(entry);
    const size_t text = entry.find(" file: ");
    if (path == kTraceFile && text != std::string::npos) entry.erase(text + 6);
  }
  return result;
}

std::string MachineTest::withoutStamps(std::string text) const {
  for (const std::string& stamp : _stamps) replaceAll(text, stamp, "<now>");
  return text;
}

bool MachineTest::isStampOfNow(const std::string& text) const { return _stamps.count(text) != 0; }

std::string MachineTest::found(const Child& child) {
  const std::string foundBundle = child.seen + "/" + lastComponent(bundle);
  const std::string foundHome = foundBundle + "/Contents/MacOS/rcp";
  const std::string properties = files().read(foundHome + "/rcplauncher.properties");
  const std::string records = files().read(foundHome + "/installInfo.plist");
  const auto property = [&](const std::string& key) {
    const std::string value = between("\n" + properties, "\n" + key + "=", "\n");
    return isStampOfNow(value) ? "now" : value == kOldStamp ? "old" : value;
  };
  const auto recordOf = [&](const std::string& key) {
    return between(records, "<key>" + key + "</key>\n\t<string>", "</string>");
  };
  const auto there = [&](const std::string& name) { return files().has(foundHome + "/deploy/" + name) ? "yes" : "no"; };
  const std::string result = foundBundle + "/Contents/MacOS/.provisioning_rc";
  const Snapshot dataFound = takeSnapshot(files() / (child.seen + "/" + lastComponent(data)));
  const auto file = dataFound.find("/logs/one.log");
  return "uninstall=" + std::string(there("uninstall.hotfix.xml")) + " update=" + there("install.update.xml") +
         " backup=" + there("install." + std::string(kOldStamp) + ".xml") +
         " result=" + (files().has(result) ? joined({files().lines(result), {""}}).front() : "none") +
         " version=" + property("provisioning.manifest.version") + " id=" + property("rcp.install.id") +
         " hotfix=" + recordOf("hotfixVersion") + " package=" + recordOf("installedHotfixBundleID") +
         " skip=" + recordOf("SKIPRUNNINGCHECK") +
         " data=" + (file == dataFound.end() ? "none" : file->second.substr(0, file->second.find(" file"))) +
         " printed=" + std::to_string(files().lines(child.seen + "/output").size()) +
         " traced=" + std::to_string(files().lines(child.seen + "/install_trace.log").size());
}

Lines MachineTest::found(const Outcome& outcome) {
  Lines result;
  for (const Child& child : outcome.children) result.push_back(found(child));
  return result;
}

// ----- Calls -----

Call MachineTest::uninstall() { return call({"-rcphome", home, "-rcpdata", data}); }

Call MachineTest::uninstallWithFault(const std::string& how, size_t number) {
  Call call = uninstall();
  call.environment.insert({{"LD_PRELOAD", HOTFIX_FAIL_CALLS},
                           {"FAIL_CALLS_PROGRAM", HOTFIX_TOOL},
                           {"FAIL_CALLS_NOTES", kNotedCalls},
                           {"FAIL_CALLS_AT", std::to_string(number)},
                           {"FAIL_CALLS_HOW", how}});
  call.environment["ASAN_OPTIONS"] += ":verify_asan_link_order=0";
  return call;
}

Call MachineTest::call(const CommandLine& arguments) {
  Call call;
  call.program = HOTFIX_TOOL;
  call.commandLine = joined({{HOTFIX_TOOL}, arguments});
  call.environment = {{"PATH", "/usr/bin:/bin"}, {"USER", "alice"}, {"HOME", "/Users/alice"}, {"TZ", kTimeZone}};
  // What the tool needs to start, and how it was asked to check itself.
  for (const char* name : {"LD_LIBRARY_PATH", "ASAN_OPTIONS", "LSAN_OPTIONS", "UBSAN_OPTIONS"}) {
    if (const char* value = std::getenv(name)) call.environment[name] = value;
  }
  return call;
}

Outcome MachineTest::run(const Call& call) {
  unlink((files() / inside(kRecord)).c_str());
  const int input = open("/dev/null", O_RDONLY | O_CLOEXEC);
  const int output = open(files().makeFile(inside(kOutput)).c_str(), O_WRONLY | O_CLOEXEC);
  const int errors = open(files().makeFile(inside(kErrors)).c_str(), O_WRONLY | O_CLOEXEC);
  std::vector<std::string> environment;
  for (const auto& [name, value] : call.environment) environment.push_back(name + "=" + value);
  const std::vector<char*> argv = pointers(call.commandLine), envp = pointers(environment);
  const std::time_t begin = std::time(nullptr);
  const pid_t process = root().start([&] { become(call, argv.data(), envp.data(), input, output, errors); });
  Outcome outcome;
  outcome.ending = waitFor(process);
  const std::time_t end = std::time(nullptr);
  for (const int descriptor : {input, output, errors}) close(descriptor);

  for (std::time_t moment = begin; moment <= end; ++moment) _stamps.insert(localTime(moment, "%d%m%y%H%M"));
  outcome.output = files().read(inside(kOutput));
  outcome.standardError = outcome.errors = files().read(inside(kErrors));
  splitErrors(outcome);
  outcome.children = readChildren();
  readTrace(outcome, lastComponent(call.commandLine.front()), begin, end);
  return outcome;
}

std::string MachineTest::waitFor(pid_t process) {
  const int ended = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
  struct pollfd events[2] = {{ended, POLLIN, 0}, {_systemLogSocket, POLLIN, 0}};
  const auto drainSystemLog = [this] {
    char message[8192];
    for (ssize_t size; (size = recv(_systemLogSocket, message, sizeof message, MSG_DONTWAIT)) > 0;) {
      systemLog.emplace_back(message, static_cast<size_t>(size));
    }
  };
  bool hung = false;
  while (!hung && events[0].revents == 0) {
    hung = poll(events, 2, kPatience) == 0;
    if (events[1].revents != 0) drainSystemLog();
  }
  close(ended);
  if (hung) kill(process, SIGKILL);
  int status = 0;
  waitpid(process, &status, 0);
  if (hung) return "hung";
  return WIFEXITED(status) ? "exit " + std::to_string(WEXITSTATUS(status))
                           : "signal " + std::to_string(WTERMSIG(status));
}

std::vector<Child> MachineTest::readChildren() {
  std::vector<Child> children;
  if (!files().has(inside(kRecord))) return children;
  std::vector<std::string> fields;
  std::string field;
  for (const char c : files().read(inside(kRecord))) {
    if (c != '\0') {
      field += c;
    } else {
      fields.push_back(field);
      field.clear();
    }
  }
  // Process id, number of arguments, path, arguments.
  for (size_t at = 0; at + 2 < fields.size();) {
    const size_t end = std::min<size_t>(at + 3 + std::stoul(fields[at + 1]), fields.size());
    Child child;
    child.seen = inside("/stand-ins/seen/" + fields[at]);
    child.commandLine.assign(fields.begin() + static_cast<std::ptrdiff_t>(at) + 2,
                             fields.begin() + static_cast<std::ptrdiff_t>(end));
    children.push_back(child);
    at = end;
  }
  return children;
}

/// Only what stands at the very end, with the place of the log after it, are the closing lines.
void MachineTest::splitErrors(Outcome& outcome) {
  const size_t begin = outcome.errors.rfind(kNotRemoved);
  if (begin == std::string::npos) return;
  const size_t text = begin + sizeof kNotRemoved - 1, end = outcome.errors.find(".\n", text);
  for (const char* place : {"/tmp/install_trace.log", "the system log"}) {
    const std::string last = std::string(".\nSee ") + place + " for details, and man hotfixUninstall.\n";
    if (end == std::string::npos || outcome.errors.substr(end) != last) continue;
    outcome.reason = outcome.errors.substr(text, end - text);
    outcome.errors.erase(begin);
    return;
  }
}

void MachineTest::readTrace(Outcome& outcome, const std::string& sender, std::time_t begin, std::time_t end) {
  struct stat status = {};
  if (lstat((files() / inside(kTraceFile)).c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return;
  std::set<std::string> times;
  for (std::time_t moment = begin; moment <= end; ++moment) times.insert(localTime(moment, "%b %e %H:%M:%S"));
  const std::string origin = " " + hostName() + " " + sender + "[";
  for (const std::string& line : files().lines(inside(kTraceFile))) {
    if (!outcome.trace.empty() && line.compare(0, 1, "\t") == 0) {
      outcome.trace.back() += "\n" + line;  // goes on after a newline in the text
      continue;
    }
    const size_t process = 15 + origin.size(), rest = line.find("] <");
    const bool fits = times.count(line.substr(0, 15)) != 0 && line.compare(15, origin.size(), origin) == 0 &&
                      rest != std::string::npos;
    const std::string id = fits ? line.substr(process, rest - process) : "";
    if (outcome.process.empty()) outcome.process = id;
    outcome.trace.push_back(fits && id == outcome.process ? line.substr(rest + 2) : "? " + line);
  }
}

struct sockaddr_un MachineTest::systemLogAddress() {
  struct sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  const std::string path = files() / inside("/dev/log");
  EXPECT_LT(path.size(), sizeof address.sun_path);
  path.copy(address.sun_path, path.size());
  return address;
}

int MachineTest::makeSystemLog(int type) {
  const int made = socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
  const struct sockaddr_un address = systemLogAddress();
  EXPECT_EQ(bind(made, reinterpret_cast<const struct sockaddr*>(&address), sizeof address), 0) << std::strerror(errno);
  return made;
}

void MachineTest::listenToSystemLog() { _systemLogSocket = makeSystemLog(SOCK_DGRAM); }

// ----- What is expected -----

CommandLine MachineTest::collect(const std::string& workspace, const std::string& javaHome,
                                 const std::string& version) {
  const std::string name = lastComponent(bundle);
  return {javaHome + "/bin/java",
          "-jar",
          home + "/collectionutility.jar",
          "-productName",
          name.substr(0, name.find('.')),
          "-productVersion",
          version,
          "-action",
          "HOTFIX_UNINSTALL",
          "-workspace",
          workspace,
          "-logLocation",
          kTraceFile,
          "-s"};
}

std::vector<CommandLine> MachineTest::allChildren() {
  return {uninstallLaunch(),       uninstallLaunch(),     forget(), findJava(), collect(data),
          launch("cleanup", data), launch("update", data)};
}

std::vector<CommandLine> MachineTest::failedUninstall() {
  return {uninstallLaunch(), uninstallLaunch(),       findJava(),
          collect(data),     launch("cleanup", data), launch("update", data)};
}

std::vector<CommandLine> MachineTest::refusal() {
  return {findJava(), collect(data), launch("cleanup", data), launch("update", data)};
}

Lines MachineTest::serviceMade(const std::string& home) {
  return {"<Info>: The pathToRcphome is: " + home + ".", "<Info>: newInstallLocation : (null).",
          "<Warning>: Can not copy to newInstallLocation because its nil!"};
}

Lines MachineTest::serviceMade() { return serviceMade(home); }

Lines MachineTest::checked() {
  return joined(
      {{"<Info>: RCP Home : " + home + " .", "<Info>: Check whether the unsupported characters are contained.",
        "<Info>: Check whether the target platform is installed."},
       serviceMade(),
       {"<Info>: Check whether platform is running.",
        "<Info>: >>>> current is " + std::string(ThrowAwayRoot::kFirstProcess) + "."}});
}

Lines MachineTest::uninstalled() {
  return joined({{"<Info>: Remove hotfix."},
                 serviceMade(),
                 {"<Info>: Copy install manifest to " + home + "/deploy/install.update.xml.",
                  "<Info>: Launch platform to uninstall provisioned features..."}});
}

Lines MachineTest::collected() {
  const std::string name = lastComponent(bundle), product = name.substr(0, name.find('.'));
  return {"<Info>: pathToRCPHome is " + home + ".",
          "<Info>: targetName is " + product + ".",
          "<Notice>: Begin to call collection utility to gather log files for the HOTFIX_UNINSTALL operaton of " +
              product + " project.",
          "<Info>: _pathToRcphome is " + home + ".",
          "<Info>: productVersion is 6.2.1.",
          "<Notice>: Successfully collect the log files and place them under " + home +
              "/deploy/installHistory for the HOTFIX_UNINSTALL operaton of " + product + " project."};
}

Lines MachineTest::allTrace() { return joined({checked(), uninstalled(), collected(), serviceMade()}); }

void MachineTest::addTraceAndRepair(Snapshot& after) {
  const std::string repaired = "0775 " + owners("alice:admin");
  after[data + "/.config"] = after[data + "/logs"] = repaired + " folder";
  after[data + "/.config/rcpinstall.properties"] = repaired + " file: rcp.install.id=" + kOldStamp + "\n";
  after[data + "/logs/one.log"] = repaired + " file: one\n";
  after[kTraceFile] = "0644 " + owners("root:root") + " file:";
}

Lines MachineTest::successChanges(const Snapshot& before) {
  Snapshot after = before;
  const std::string ofAlice = owners("alice:admin"), ofRoot = owners("root:root");
  after.erase(home + "/deploy/uninstall.hotfix.xml");
  after[home + "/deploy/install.update.xml"] = "0660 " + ofAlice + " file: " + uninstallManifest;
  after[home + "/deploy/install." + kOldStamp + ".xml"] = "0644 " + ofRoot + " file: " + installManifest;
  after[home + "/rcplauncher.properties"] =
      "0664 " + ofAlice +
      " file: provisioning.manifest.version=<now>\nrcp.data=${env.HOME}/workspace\nrcp.install.id=<now>\n";
  after[home + "/installInfo.plist"] = "0640 " + ofAlice + " file: " + recordsText({{"version", "6.2.1"}});
  after[bundle + "/Contents/MacOS/.provisioning_rc"] = "0644 " + ofRoot + " file: rc=0\n";
  addTraceAndRepair(after);
  return differences(before, after);
}

void MachineTest::expectSucceeded(const Outcome& outcome, const std::optional<Children>& children,
                                  const std::optional<Lines>& trace) {
  EXPECT_EQ(outcome.ending, "exit 0");
  EXPECT_EQ(outcome.output, kSucceeded);
  EXPECT_EQ(outcome.errors, "");
  if (children) {
    EXPECT_EQ(outcome.commandLines(), *children);
  }
  if (trace) {
    EXPECT_EQ(outcome.trace, *trace);
  }
}

void MachineTest::expectFailed(const Outcome& outcome, const std::string& output,
                               const std::optional<Children>& children, const std::optional<Lines>& trace) {
  EXPECT_EQ(outcome.ending, "exit 1");
  EXPECT_EQ(outcome.output, output);
  EXPECT_EQ(outcome.errors, "");
  if (children) {
    EXPECT_EQ(outcome.commandLines(), *children);
  }
  if (trace) {
    EXPECT_EQ(outcome.trace, *trace);
  }
}

void MachineTest::expectSuccess(const Outcome& outcome, const Snapshot& before) {
  expectSucceeded(outcome, allChildren(), allTrace());
  EXPECT_EQ(differences(before, state()), successChanges(before));
}

}  // namespace hotfix
