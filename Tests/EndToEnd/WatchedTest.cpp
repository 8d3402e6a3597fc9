#include "Tests/EndToEnd/WatchedTest.h"

#include <sys/ioctl.h>
#include <termios.h>

#include <cstdlib>
#include <fstream>
#include <regex>

namespace hotfix {

Terminal::Terminal(unsigned short columns) : _program(-1), _person(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
  char name[64] = {};
  if (grantpt(_person) == 0 && unlockpt(_person) == 0 && ptsname_r(_person, name, sizeof name) == 0) {
    _program = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
  }
  struct termios settings = {};
  EXPECT_EQ(tcgetattr(_program, &settings), 0) << "no pseudo-terminal";
  cfmakeraw(&settings);  // what is written comes as it is
  EXPECT_EQ(tcsetattr(_program, TCSANOW, &settings), 0);
  struct winsize size = {};
  size.ws_col = columns;
  size.ws_row = 24;
  EXPECT_EQ(ioctl(_program, TIOCSWINSZ, &size), 0);
}

Terminal::~Terminal() { text(); }

void Terminal::begin(const std::string& text, const std::function<void()>& act) {
  _reader = std::thread([this, text, act] {
    bool isAwaited = !text.empty();
    char bytes[4096];
    for (ssize_t count; (count = read(_person, bytes, sizeof bytes)) > 0;) {
      _text.append(bytes, static_cast<size_t>(count));
      if (!isAwaited || _text.find(text) == std::string::npos) continue;
      isAwaited = false;
      act();
    }
    hangUp();
  });
}

void Terminal::hangUp() {
  if (_person != -1) close(_person);
  _person = -1;
}

const std::string& Terminal::text() {
  if (_program != -1) close(_program);
  _program = -1;
  if (_reader.joinable()) _reader.join();
  return _text;
}

Call WatchedTest::watched(const Terminal& terminal, Call call) {
  call.environment.insert({"TERM", "xterm"});
  call.prepare = [&terminal] { dup2(terminal.descriptor(), STDERR_FILENO); };
  return call;
}

Outcome WatchedTest::watch(std::string& text, Call call) {
  Terminal terminal;
  terminal.begin();
  Outcome outcome = run(watched(terminal, std::move(call)));
  text = terminal.text();
  EXPECT_EQ(outcome.errors, "");  // the file that the terminal stands in for
  return outcome;
}

Lines WatchedTest::screen(const std::string& text) {
  Lines result;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const size_t last = line.rfind('\r');
    if (last != std::string::npos) line.erase(0, last + 1);
    line = std::regex_replace(line, std::regex("\x1B\\[[0-9;]*m"), "");
    result.push_back(std::regex_replace(line, std::regex(R"(\.\.\. ([a-z ]+), [0-9]+ s(:|$))"), "... $1$2"));
  }
  return result;
}

std::string WatchedTest::idInside(pid_t process) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.compare(0, 6, "NSpid:") == 0) return line.substr(line.rfind('\t') + 1);
  }
  return "none";
}

void WatchedTest::removeFile(const std::string& pathInHome) { unlink((files() / inHome(pathInHome)).c_str()); }

void WatchedTest::runPlatform() {
  runningProcess = idInside(startProgram(bundle + "/Contents/MacOS/product", ThrowAwayRoot::alice()));
}

const std::vector<WatchedTest::Way>& WatchedTest::ways() {
  using Test = WatchedTest;
  static const std::string kForbidden = "Permission denied; run it with sudo";
  static const std::vector<Way> all = {
      {"NoHomeFolderIsGiven", [](Test& test) { test.home = ""; }},
      {"HomeIsMissing", [](Test& test) { test.home = "/Applications/Other.app/Contents/MacOS/rcp"; }},
      {"CharacterIsRefused",
       [](Test& test) { test.makeInstance("/Applications/Pr\xC3\xB6#duct.app", test.data); },
       {{"CHARACTER", "#"}, {"POSITION", "18"}}},
      {"HomeIsOutOfReach",
       [](Test& test) { test.files().makeFolder(inside(test.bundle), 0700); },
       {{"ERROR", kForbidden}},
       true},
      {"NoInstanceIsThere", [](Test& test) { test.removeFile("deploy/install.xml"); }},
      {"HomeLiesInNoBundle", [](Test& test) { test.makeInstance("/Applications/product", test.data); }},
      {"PlatformIsRunning",
       [](Test& test) { test.runPlatform(); },
       {{"USER", ThrowAwayRoot::hasAccounts() ? "alice" : "root"}}},
      {"UninstallManifestIsMissing", [](Test& test) { test.removeFile("deploy/uninstall.hotfix.xml"); }},
      {"UninstallManifestCannotBeCopied",
       [](Test& test) { test.root().makeReadOnly(test.home + "/deploy"); },
       {{"ERROR", "Read-only file system"}}},
      {"UninstallManifestMayNotBeCopied", [](Test&) {}, {{"ERROR", kForbidden}}, true},
      {"LauncherCannotBeStarted",
       [](Test& test) { test.removeFile("rcplauncher"); },
       {{"ERROR", "No such file or directory"}}},
      {"ResultIsAFailure", [](Test& test) { test.setLauncher("echo rc=13 > \"$result\""); }, {{"CODE", "13"}}},
      {"ResultFileIsMissing", [](Test& test) { test.setLauncher(""); }},
      {"ResultFileHasNoCode", [](Test& test) { test.setLauncher("echo state=0 > \"$result\""); }}};
  return all;
}

Call WatchedTest::prepare(const Way& way, std::map<std::string, std::string>& values) {
  way.change(*this);
  Call result = home.empty() ? call({"-rcpdata", data}) : uninstall();
  if (way.isByBob) result.user = ThrowAwayRoot::bob();
  values = way.values;
  values["HOME"] = home;
  values["PROGRAM"] = bundle + "/Contents/MacOS/product";
  values["RESULT"] = bundle + "/Contents/MacOS/.provisioning_rc";
  values["PROCESS"] = runningProcess;
  return result;
}

}  // namespace hotfix
