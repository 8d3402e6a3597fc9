#include "Tests/Support/InstanceFixture.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <sstream>

#include "Platform/PropertyList.h"
#include "Platform/SystemLog.h"
#include "Platform/SystemPaths.h"

namespace hotfix {

namespace {

constexpr char kRecord[] = "children";  // what the noting programs append to, in the test's folder
constexpr char kHistory[] = "history";  // log lines, starts and prints
constexpr char kStarted[] = "started ";

}  // namespace

ScopedWorkingFolder::ScopedWorkingFolder(const std::string& path) {
  char before[PATH_MAX] = "/";
  if (getcwd(before, sizeof before) == nullptr) ADD_FAILURE() << "getcwd: " << std::strerror(errno);
  _before = before;
  if (chdir(path.c_str()) != 0) ADD_FAILURE() << "chdir " << path << ": " << std::strerror(errno);
}

ScopedWorkingFolder::~ScopedWorkingFolder() {
  if (chdir(_before.c_str()) != 0) ADD_FAILURE() << "chdir " << _before << ": " << std::strerror(errno);
}

InstanceTest::InstanceTest() {
  instance::makeFiles(kBundle, kData,
                      [this](const std::string& path, const std::string& content) { folder.makeFile(path, content); });
  folder.makeFolder(inHome("eclipse/plugins/com.qor.rcp.base_6.2.1.20260101"));

  setLauncherResult("0");
  makeNotingProgram(outside(platform::kPkgutil));
  folder.makeScript(outside(platform::kJavaHomeFinder), "echo '" + (folder / "java") + "'");
  makeNotingProgram("java/bin/java");

  _historyFile = open((folder / kHistory).c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  EXPECT_NE(_historyFile, -1);
  platform::addLogFile(_historyFile);
}

InstanceTest::~InstanceTest() {
  platform::removeLogFile(_historyFile);
  close(_historyFile);
}

const std::string& InstanceTest::uninstallManifest() {
  static const std::string text = instance::inHome("deploy/uninstall.hotfix.xml");
  return text;
}

LogLines InstanceTest::creationLines(const std::string& home) {
  return {{6, "The pathToRcphome is: " + home + "."},
          {6, "newInstallLocation : (null)."},
          {4, "Can not copy to newInstallLocation because its nil!"}};
}

// ----- Instance services -----

InstanceTest::GoneHome::GoneHome(const TemporaryFolder& folder) : InstanceService(folder / "gone", std::nullopt) {
  EXPECT_EQ(rmdir((folder / "gone").c_str()), 0);
}

void InstanceTest::expectRefusedWithoutHome(const std::function<bool(InstanceService&)>& operation) const {
  InstanceService homeless(std::nullopt, data()), file = fileHome();
  GoneHome gone(folder);
  const Tree before = everything();
  clearLog();
  for (InstanceService* each : {&homeless, &file, static_cast<InstanceService*>(&gone)}) EXPECT_FALSE(operation(*each));
  EXPECT_EQ(homeless.pathToRcphome(), std::nullopt) << "the default home is not taken";
  expectEverything(before);
}

// ----- Noting programs -----

std::string InstanceTest::makeNotingProgram(const std::string& relativePath, const std::string& shellText) const {
  // One line per text, a row of signs after each child; the tests' paths and arguments hold no newlines.
  return folder.makeScript(relativePath,
                           "top='" + folder.path() + "'; record=\"$top/" + kRecord + "\"\n" +
                               "state=\"$top/at start/$(grep -c '^=====$' \"$record\" 2>/dev/null || :)\"\n"
                               "[ -e \"$record\" ] || state=\"$top/at start/0\"\n"
                               "mkdir -p \"$state\" && cp -Rp \"$top/Apps\" \"$top/data\" \"$state\" 2>/dev/null\n"
                               "echo \"" +
                               kStarted + "${0##*/}\" >> \"$top/" + kHistory + "\"\n" +
                               "{ printf '%s\\n' \"$0\" \"$@\"; echo =====; } >> \"$record\"\n" + shellText);
}

void InstanceTest::setLauncherResult(const std::string& code) const {
  const std::string resultFile = folder / kResultFile;
  makeNotingProgram(inHome("rcplauncher"), code.empty() ? "" : "echo 'rc=" + code + "' > '" + resultFile + "'");
}

Children InstanceTest::children() const {
  Children result;
  std::vector<std::string> child;
  for (const std::string& line : folder.lines(kRecord)) {
    if (line == "=====") {
      result.push_back(child);
      child.clear();
    } else {
      child.push_back(line);
    }
  }
  return result;
}

std::vector<std::string> InstanceTest::history() const {
  std::vector<std::string> events;
  for (const std::string& line : folder.lines(kHistory)) {
    const size_t level = line.find("] <");  // "Nov  3 09:05:07 host sender[123] <Info>: text"
    const size_t text = level == std::string::npos ? level : line.find(">: ", level);
    if (text != std::string::npos) {
      events.push_back(line.substr(level + 3, text - level - 3) + ": " + line.substr(text + 3));
    } else {
      events.push_back(line.rfind(kStarted, 0) == 0 ? line : "printed " + line);
    }
  }
  return events;
}

InstanceTest::PrintsToHistory::PrintsToHistory(const InstanceTest& test) {
  std::fflush(stdout);
  _before = dup(STDOUT_FILENO);
  dup2(test._historyFile, STDOUT_FILENO);
}

InstanceTest::PrintsToHistory::~PrintsToHistory() {
  std::fflush(stdout);
  dup2(_before, STDOUT_FILENO);
  close(_before);
}

// ----- Files of the instance -----

Tree InstanceTest::homeWith(const std::string& pathInHome, const std::string& entry) const {
  Tree tree = homeTree();
  tree[pathInHome] = entry;
  return tree;
}

Tree InstanceTest::everything() const {
  Tree tree = treeSnapshot(folder.path());
  EXPECT_EQ(tree.erase(kHistory), 1U);
  return tree;
}

void InstanceTest::expectHome(const Tree& expected) const {
  EXPECT_EQ(homeTree(), expected);
  EXPECT_THAT(log(), IsEmpty());
}

void InstanceTest::expectEverything(const Tree& expected) const {
  EXPECT_EQ(everything(), expected);
  EXPECT_THAT(log(), IsEmpty());
}

std::vector<std::string> InstanceTest::propertiesLines(const std::string& pathInHome) const {
  std::vector<std::string> lines = folder.lines(inHome(pathInHome));
  std::sort(lines.begin(), lines.end());
  return lines;
}

std::string InstanceTest::installRecord(const std::string& key, const std::string& file) const {
  const auto records = platform::readDictionary(folder / file);
  if (!records) return "<no dictionary>";
  const auto record = records->find(key);
  if (record == records->end() || record->second.asString() == nullptr) return "<none>";
  return *record->second.asString();
}

void InstanceTest::writeInstallInfo(const std::vector<std::pair<std::string, std::string>>& records) const {
  std::ostringstream text;
  text << "{\n";
  for (const auto& [key, value] : records) text << "  \"" << key << "\" = \"" << value << "\";\n";
  text << "}\n";
  folder.makeFile(inHome("installInfo.plist"), text.str());
}

}  // namespace hotfix
