#include "Tests/Support/InstanceFixture.h"

#include <algorithm>
#include <sstream>

#include "Platform/PropertyList.h"
#include "Platform/SystemPaths.h"

namespace {

constexpr char kRecord[] = "children";  // what the noting programs append to, in the test's folder

constexpr char kUninstallManifest[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<install><domain-object><object-data><install><installfeature><requirements>"
    "<feature id=\"com.qor.hotfix\" version=\"1.0.0\" action=\"uninstall\" url=\"${installer.root}/features\"/>"
    "</requirements></installfeature></install></object-data></domain-object></install>\n";

}  // namespace

InstanceTest::InstanceTest() {
  folder.makeFile(std::string(kBundle) + "/Contents/Info.plist",
                  "{ CFBundleIdentifier = \"com.qor.product\"; CFBundleShortVersionString = \"6.2.1\"; }");
  folder.makeFile(
      inHome("rcplauncher.properties"),
      "provisioning.manifest.version=0101260000\nrcp.install.id=0101260000\nrcp.data=${env.HOME}/workspace\n");
  writeInstallInfo({{"version", "6.2.1"},
                    {"hotfixVersion", "6.2.1.1"},
                    {"SKIPRUNNINGCHECK", "false"},
                    {"installedHotfixBundleID", "com.qor.hotfix.pkg"}});
  folder.makeFile(inHome("collectionutility.jar"));
  folder.makeFile(inHome("deploy/install.xml"), "<install/>\n");
  folder.makeFile(inHome("deploy/uninstall.hotfix.xml"), kUninstallManifest);
  folder.makeFolder(inHome("eclipse/plugins/com.qor.rcp.base_6.2.1.20260101"));
  folder.makeFile(std::string(kData) + "/.config/rcpinstall.properties", "rcp.install.id=0101260000\n");

  setLauncherResult("0");
  makeNotingProgram(outside(platform::kPkgutil));
  folder.makeScript(outside(platform::kJavaHomeFinder), "echo '" + (folder / "java") + "'");
  makeNotingProgram("java/bin/java");
}

std::string InstanceTest::makeNotingProgram(const std::string& relativePath, const std::string& shellText) const {
  // One line per text, an empty line after each child; the tests' paths and arguments hold no newlines.
  return folder.makeScript(relativePath,
                           "{ printf '%s\\n' \"$0\" \"$@\"; echo; } >> '" + (folder / kRecord) + "'\n" + shellText);
}

void InstanceTest::setLauncherResult(const std::string& code) const {
  const std::string resultFile = folder / "Apps/Product.app/Contents/MacOS/.provisioning_rc";
  makeNotingProgram(inHome("rcplauncher"), code.empty() ? "" : "echo 'rc=" + code + "' > '" + resultFile + "'");
}

std::vector<std::vector<std::string>> InstanceTest::children() const {
  std::vector<std::vector<std::string>> result;
  std::vector<std::string> child;
  for (const std::string& line : folder.lines(kRecord)) {
    if (line.empty()) {
      result.push_back(child);
      child.clear();
    } else {
      child.push_back(line);
    }
  }
  return result;
}

std::vector<std::string> InstanceTest::propertiesLines(const std::string& pathInHome) const {
  std::vector<std::string> lines = folder.lines(inHome(pathInHome));
  std::sort(lines.begin(), lines.end());
  return lines;
}

std::string InstanceTest::installRecord(const std::string& key) const {
  const auto records = platform::readDictionary(folder / inHome("installInfo.plist"));
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
