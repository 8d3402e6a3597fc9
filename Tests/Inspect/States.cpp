#include "Tests/Inspect/States.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

namespace hotfix {

namespace {

constexpr char kBinaryList[] =
    "bplist00\xD1\x01\x02]hotfixVersionW6.2.1."
    "1\x08\x0B\x19\0\0\0\0\0\0\x01\x01\0\0\0\0\0\0\0\x03\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\x21";
constexpr char kOldList[] = "{ hotfixVersion = \"6.2.1.1\"; SKIPRUNNINGCHECK = false; version = \"6.2.1\"; }\n";

}  // namespace

void keepDocument(const std::string& text) {
  static int number = 0;
  const char* folder = std::getenv("HOTFIX_DOCUMENTS");
  if (folder != nullptr) std::ofstream(std::string(folder) + "/" + std::to_string(++number) + ".json") << text;
}

const std::vector<GeneratedMachine::NamedChange>& GeneratedMachine::changes() {
  static const std::vector<NamedChange> all = {
      {"home", &GeneratedMachine::changeHome},
      {"place", &GeneratedMachine::changePlace},
      {"install manifest", &GeneratedMachine::changeInstallManifest},
      {"uninstall manifest", &GeneratedMachine::changeUninstallManifest},
      {"update manifest", &GeneratedMachine::changeUpdateManifest},
      {"records", &GeneratedMachine::changeRecords},
      {"records file", &GeneratedMachine::changeRecordsFile},
      {"properties", &GeneratedMachine::changeProperties},
      {"backup", &GeneratedMachine::changeBackup},
      {"result", &GeneratedMachine::changeResult},
      {"old result", &GeneratedMachine::changeOldResult},
      {"launcher", &GeneratedMachine::changeLauncher},
      {"running", &GeneratedMachine::runPlatform},
      {"read-only", &GeneratedMachine::changeReadOnly},
      {"data folder", &GeneratedMachine::changeDataFolder},
      {"data path", &GeneratedMachine::changeDataPath},
      {"data entries", &GeneratedMachine::changeDataEntries},
      {"user", &GeneratedMachine::changeUser},
      {"trace", &GeneratedMachine::changeTrace},
      {"configuration", &GeneratedMachine::changeConfiguration},
      {"java", &GeneratedMachine::changeJava},
      {"tools", &GeneratedMachine::changeTools},
      {"settings", &GeneratedMachine::changeSettings},
      {"caller", &GeneratedMachine::changeCaller},
  };
  return all;
}

std::string GeneratedMachine::makeState(unsigned number) {
  _random.seed(number);
  result = "0";
  // The place comes first, as everything else is made there.
  if (pick(6) == 0) changePlace();
  arguments = {"-rcphome", home, "-rcpdata", data};
  // The results in turn, each kind of change in turn, and up to two more.
  if (number % 3 == 0) changeResult();
  std::string names;
  const size_t count = 1 + pick(3);
  for (size_t change = 0; change < count; ++change) {
    const NamedChange& next = changes()[change == 0 ? number % changes().size() : pick(changes().size())];
    names += (names.empty() ? "" : ", ") + std::string(next.name);
    (this->*next.change)();
  }
  makeLauncher();
  if (!_readOnlyFolder.empty()) root().makeReadOnly(_readOnlyFolder);
  return names;
}

/// Makes a file, in place of whatever an earlier change has put there.
void GeneratedMachine::makeText(const std::string& name, const std::string& text, mode_t mode) {
  struct stat status = {};
  const std::string place = files() / name;
  if (lstat(place.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) (void)unlink(place.c_str());
  if (S_ISDIR(status.st_mode)) return;
  files().makeFile(name, text, mode);
}

/// Puts something else in place of a file.
void GeneratedMachine::replace(const std::string& path, const std::string& kind) {
  const std::string place = files() / inside(path);
  const std::string aside = place + ".aside";
  if (kind == "missing") {
    (void)unlink(place.c_str());
  } else if (kind == "folder") {
    (void)unlink(place.c_str());
    makeText(inside(path + "/in it"), "text\n");
  } else if (kind == "link") {
    if (::rename(place.c_str(), aside.c_str()) == 0) (void)!symlink((path + ".aside").c_str(), place.c_str());
  } else if (kind == "broken link") {
    (void)unlink(place.c_str());
    (void)!symlink("nowhere", place.c_str());
  } else if (kind == "fifo") {
    (void)unlink(place.c_str());
    (void)mkfifo(place.c_str(), 0644);
  } else if (kind == "second name") {
    (void)!link(place.c_str(), aside.c_str());
  } else if (kind == "empty") {
    makeText(inside(path), "");
  } else if (kind == "foreign") {
    giveTo(ThrowAwayRoot::bob(), ThrowAwayRoot::bob(), path);
  } else if (kind == "closed") {
    (void)chmod(place.c_str(), 0000);
  } else if (kind == "open") {
    (void)chmod(place.c_str(), 0666);
  } else if (kind == "set-id") {
    (void)chmod(place.c_str(), 06755);
  }
}

void GeneratedMachine::changeHome() {
  const std::string kind = pickText({"missing", "empty", "slash", "link", "refused", "none", "file"});
  if (kind == "missing") arguments[1] = "/Applications/None.app/Contents/MacOS/rcp";
  if (kind == "empty") arguments[1] = "";
  if (kind == "slash") arguments[1] = home + "//";
  if (kind == "refused") arguments[1] = home + pickText({"!", ";", "%", "=x", "#", "?", ":"});
  if (kind == "none") arguments = {"-rcpdata", data};
  if (kind == "file") arguments[1] = home + "/installInfo.plist";
  if (kind == "link") {
    const std::string other = "/Applications/Other.app";
    (void)!symlink(bundle.c_str(), (files() / inside(other)).c_str());
    arguments[1] = other + "/Contents/MacOS/rcp";
  }
}

void GeneratedMachine::changePlace() {
  const std::string place = pickText({"/Applications/Two Words.app", "/opt/product", "/Applications/A;b.app",
                                      "/Applications/\xC3\x84rger.app", "/opt/x.app/y", "/Applications/\xFFnone.app"});
  makeInstance(place, pickText({"/Users/alice/Client Data", "/Users/alice/d", "/Users/bob/data"}));
  arguments = {"-rcphome", home, "-rcpdata", data};
}

void GeneratedMachine::changeInstallManifest() {
  replace(home + "/deploy/install.xml", pickText({"missing", "folder", "link", "broken link", "fifo", "empty"}));
}

void GeneratedMachine::changeUninstallManifest() {
  replace(home + "/deploy/uninstall.hotfix.xml", pickText({"missing", "folder", "link", "broken link", "fifo", "empty",
                                                           "second name", "foreign", "closed", "set-id"}));
}

void GeneratedMachine::changeUpdateManifest() {
  const std::string path = home + "/deploy/install.update.xml";
  if (files().has(inside(path))) return;
  makeText(inside(path), "<old/>\n");
  replace(path, pickText({"as it is", "folder", "link", "broken link", "fifo", "foreign", "closed"}));
}

void GeneratedMachine::changeRecords() {
  Records records{{"version", "6.2.1"}};
  if (pick(2) == 0) records["hotfixVersion"] = pickText({"6.2.1.1", "", "x"});
  if (pick(2) == 0) records["installedHotfixBundleID"] = pickText({kPackage, "", "-x"});
  if (pick(2) == 0) records["SKIPRUNNINGCHECK"] = pickText({"true", "false", "TRUE", ""});
  makeText(inHome("installInfo.plist"), recordsText(records), 0640);
}

void GeneratedMachine::changeRecordsFile() {
  const std::string path = home + "/installInfo.plist";
  const std::string kind = pickText({"missing", "folder", "link", "broken link", "fifo", "empty", "foreign", "closed",
                                     "binary", "old", "damaged", "array", "second name"});
  if (kind == "binary") makeText(inside(path), std::string(kBinaryList, sizeof kBinaryList - 1), 0644);
  if (kind == "old") makeText(inside(path), kOldList, 0600);
  if (kind == "damaged") makeText(inside(path), "<?xml version=\"1.0\"?><plist><dict><key>a</key>", 0644);
  if (kind == "array") makeText(inside(path), "( a, b )", 0644);
  replace(path, kind);
}

void GeneratedMachine::changeProperties() {
  const std::string path = home + "/rcplauncher.properties";
  const std::string kind = pickText({"missing", "folder", "link", "broken link", "fifo", "empty", "foreign", "closed",
                                     "slash", "odd", "latin", "set-id"});
  if (kind == "slash") makeText(inside(path), "provisioning.manifest.version=a/b\n", 0644);
  if (kind == "odd") makeText(inside(path), "provisioning.manifest.version=\\\nrcp.data=~/x\n", 0644);
  if (kind == "latin") makeText(inside(path), "a\xE4=\xFF\nrcp.data=/Users/alice/Client Data\n", 0644);
  replace(path, kind);
}

void GeneratedMachine::changeBackup() {
  const std::string path = home + "/deploy/install." + kOldStamp + ".xml";
  if (files().has(inside(path))) return;
  makeText(inside(path), "<older/>\n");
  replace(path, pickText({"as it is", "folder", "broken link"}));
}

void GeneratedMachine::changeResult() {
  if (!_isLauncherOurs) return;
  const std::string kind = pickText({"0", "1", "2", "3", "text", "none", "", "-1", "99999999999"});
  result = kind == "none" ? std::nullopt : std::optional<std::string>(kind);
}

void GeneratedMachine::changeOldResult() {
  const std::string path = bundle + "/Contents/MacOS/.provisioning_rc";
  if (files().has(inside(path))) return;
  makeText(inside(path), "rc=7\n", 0600);
  replace(path, pickText({"as it is", "folder", "link", "broken link", "foreign"}));
}

void GeneratedMachine::changeLauncher() {
  if (!_isLauncherOurs) return;
  makeLauncher();
  const std::string path = home + "/rcplauncher";
  const std::string kind = pickText({"missing", "folder", "link", "broken link", "fifo", "empty", "text", "closed",
                                     "no interpreter", "open", "foreign"});
  if (kind == "text") makeText(inside(path), "no program\n", 0755);
  if (kind == "no interpreter") makeText(inside(path), "#!/nowhere/sh\n", 0755);
  _isLauncherOurs = false;
  replace(path, kind);
  if (kind == "empty") (void)chmod((files() / inside(path)).c_str(), 0755);
}

void GeneratedMachine::makeLauncher() {
  if (!_isLauncherOurs && files().has(inside(home + "/rcplauncher"))) return;
  // Beside the home folder as the tool has it, whatever links lie on the way.
  setLauncher("case \"$*\" in *'-provisioningOperation update'*) " +
              (result ? "printf 'rc=%s\\n' '" + *result + "' > \"$(dirname \"$(dirname \"$0\")\")/.provisioning_rc\""
                      : std::string(":")) +
              " ;; esac");
}

void GeneratedMachine::runPlatform() {
  if (_isRunning) return;
  _isRunning = true;
  if (pick(3) == 0) {
    makeText(inHome("installInfo.plist"),
             recordsText({{"SKIPRUNNINGCHECK", pickText({"true", "false"})}, {"hotfixVersion", "6.2.1.1"}}), 0640);
  }
  const std::string place = pickText({"bundle", "BUNDLE", "other"});
  std::string path = place == "other" ? "/opt/other/program" : bundle + "/Contents/MacOS/platform";
  if (place == "BUNDLE") path = bundle + "x/platform";
  startProgram(path, pick(2) == 0 ? 0 : ThrowAwayRoot::alice());
}

void GeneratedMachine::changeReadOnly() {
  _readOnlyFolder = pick(3) == 0 ? data : home + (pick(2) == 0 ? "/deploy" : "");
}

void GeneratedMachine::changeDataFolder() {
  const std::string kind =
      pickText({"missing", "file", "link", "foreign link", "home of alice", "system", "bundle", "empty", "relative"});
  if (arguments.size() < 4) return;
  std::string& path = arguments[3];
  if (kind == "missing") path = "/Users/alice/none";
  if (kind == "file") path = data + "/logs/one.log";
  if (kind == "home of alice") path = "/Users/alice";
  if (kind == "system") path = pickText({"/", "/usr", "/tmp", "/Applications", "/Users"});
  if (kind == "bundle") path = bundle;
  if (kind == "empty") path = "";
  if (kind == "relative") path = data.substr(1);
  if (kind == "link" || kind == "foreign link") {
    (void)!symlink(data.c_str(), (files() / inside("/Users/bob/link")).c_str());
    if (kind == "foreign link") giveTo(ThrowAwayRoot::bob(), ThrowAwayRoot::bob(), "/Users/bob/link");
    path = "/Users/bob/link";
  }
}

void GeneratedMachine::changeDataPath() {
  const std::string kind = pickText({"no option", "parent", "property", "with rcp"});
  if (kind == "no option") arguments = {"-rcphome", home};
  if (kind == "parent" || kind == "property") arguments = {"-rcphome", bundle + "/Contents/MacOS"};
  if (kind == "property") {
    makeText(inHome("rcplauncher.properties"),
             "provisioning.manifest.version=1\nrcp.data=" +
                 pickText({"${env.HOME}/Client Data", "/Users/alice/Client Data", "/Users/alice", "x", ""}) + "\n",
             0644);
  }
  if (kind == "with rcp") {
    makeText(inHome("systemdata/file"), "text\n", 0600);
    arguments = {"-rcphome", bundle + "/Contents/MacOS"};
  }
}

void GeneratedMachine::changeDataEntries() {
  for (size_t count = 1 + pick(4); count > 0; --count) {
    const std::string path = data + "/" + pickText({"a", "deep/er/b", "odd\nname", "\xFF\xFE", "c d", ".hidden"});
    const std::string kind = pickText({"file", "foreign", "set-id", "fifo", "link", "second name of alice",
                                       "second name of bob", "second name of root", "right", "folder"});
    if (files().has(inside(path))) continue;
    if (kind == "folder") {
      files().makeFolder(inside(path), 0700);
      continue;
    }
    makeText(inside(path), "text\n", 0640);
    if (kind == "right") {
      (void)chmod((files() / inside(path)).c_str(), 0775);
      giveTo(ThrowAwayRoot::alice(), ThrowAwayRoot::admin(), path);
    }
    if (kind == "foreign" || kind == "set-id" || kind == "fifo" || kind == "link") replace(path, kind);
    if (kind.rfind("second name", 0) == 0) {
      if (kind == "second name of alice") giveTo(ThrowAwayRoot::alice(), ThrowAwayRoot::alice(), path);
      if (kind == "second name of bob") giveTo(ThrowAwayRoot::bob(), ThrowAwayRoot::bob(), path);
      (void)!link((files() / inside(path)).c_str(), (files() / inside(data + "/second")).c_str());
    }
  }
}

void GeneratedMachine::changeUser() {
  const std::string kind = pickText({"alice", "bob", "root", "unset", "unknown", "empty", "sudo"});
  if (kind == "unset") {
    environment["USER"] = std::nullopt;
  } else if (kind == "sudo") {
    environment["USER"] = "root";
    environment["SUDO_UID"] = std::to_string(ThrowAwayRoot::alice());
  } else {
    environment["USER"] = kind == "unknown" ? "nobodyknows" : kind == "empty" ? "" : kind;
  }
}

void GeneratedMachine::changeTrace() {
  if (files().has(inside(kTraceFile))) return;
  makeText(inside(kTraceFile), "old\n", 0600);
  replace(kTraceFile,
          pickText({"as it is", "folder", "link", "broken link", "fifo", "foreign", "second name", "open"}));
}

void GeneratedMachine::changeConfiguration() {
  if (files().has(inside("/opt/there"))) return;
  const std::string staging = kStagingFolder;
  std::string location =
      pickText({"/opt/new", "/no such place/new", "/opt/there", "/opt/there", "HOME", "DATA", "INTO ITSELF", ""});
  if (location == "HOME") location = home;
  if (location == "DATA") location = data + pickText({"", "/sub"});
  if (location == "INTO ITSELF") location = staging + pickText({"", "/tree", "/new"});
  makeText(inside("/opt/there/kept"), "kept\n");
  makeText(inside("/opt/there/tree/two"), "kept\n");
  makeText(inside("/opt/there/tree/deep/kept"), "kept\n");
  files().makeFolder(inside("/opt/there/tree"), 02750);
  if (pick(4) == 0) makeText(inside("/opt/there/late/file is a folder here/kept"), "kept\n");
  if (pick(4) == 0) makeText(inside("/opt/there/late/folder is a file here"), "kept\n");
  if (pick(4) == 0) files().makeLink(inside("/opt/there/empty"), "tree");
  makeText(inside(kConfigurationFile), "{ newInstallLocation = \"" + location + "\"; productName = x; }", 0644);
  replace(kConfigurationFile, pickText({"as it is", "as it is", "link", "foreign", "open", "second name", "empty"}));
  if (pick(4) == 0) return;
  makeText(inside(staging + "/one"), "one\n", 0640);
  makeText(inside(staging + "/tree/two"), "two\n", 0600);
  makeText(inside(staging + "/tree/deep/three \x1B\xFF"), "three\n");
  makeText(inside(staging + "/tree/deep/deeper/four"), "four\n", 0751);
  makeText(inside(staging + "/late/file is a folder here"), "five\n");
  files().makeFolder(inside(staging + "/late/folder is a file here"), 0755);
  files().makeFolder(inside(staging + "/tree/deep"), 01755);
  files().makeFolder(inside(staging + "/empty"), 0700);
  (void)!link((files() / inside(staging + "/one")).c_str(), (files() / inside(staging + "/tree/second name")).c_str());
  giveTo(ThrowAwayRoot::bob(), ThrowAwayRoot::admin(), staging + "/tree/deep");
  makeText(inside(staging + "/deploy/install.xml"), "<staged/>\n");
  makeText(inside(staging + "/set"), "set\n", 04755);
  files().makeLink(inside(staging + "/link"), "one");
  giveTo(ThrowAwayRoot::alice(), ThrowAwayRoot::admin(), staging + "/one");
  if (pick(3) == 0) {
    (void)mkfifo((files() / inside(staging + pickText({"", "/tree", "/tree/deep", "/late"}) + "/fifo")).c_str(), 0600);
  }
  if (pick(4) == 0) giveTo(ThrowAwayRoot::bob(), ThrowAwayRoot::bob(), staging);
}

void GeneratedMachine::changeJava() {
  const std::string kind = pickText({"no finder", "empty line", "relative", "no java", "plug-in", "silent", "closed"});
  if (kind == "no finder") replace(kJavaHomeFinder, "missing");
  if (kind == "empty line") makeStandIn(kJavaHomeFinder, "echo");
  if (kind == "relative") makeStandIn(kJavaHomeFinder, "echo java");
  if (kind == "silent") makeStandIn(kJavaHomeFinder, "exit 3");
  if (kind == "no java") replace(std::string(kJavaHome) + "/bin/java", "missing");
  if (kind == "closed") replace(std::string(kJavaHome) + "/bin/java", "closed");
  if (kind == "plug-in") {
    makeText(inside("/Library/Internet Plug-Ins/JavaAppletPlugin.plugin/Contents/Info.plist"),
             "{ CFBundleIdentifier = \"" + pickText({"com.oracle.java.JavaAppletPlugin", "x"}) + "\"; }");
  }
}

void GeneratedMachine::changeTools() {
  const std::string kind = pickText({"no pkgutil", "pkgutil folder", "no utility", "no properties of the bundle"});
  if (kind == "no pkgutil") replace(kPkgutil, "missing");
  if (kind == "pkgutil folder") replace(kPkgutil, "folder");
  if (kind == "no utility") replace(home + "/collectionutility.jar", "missing");
  if (kind == "no properties of the bundle") replace(bundle + "/Contents/Info.plist", "missing");
}

void GeneratedMachine::changeSettings() {
  makeText(inside("/Users/alice/Library/Preferences/.GlobalPreferences.plist"),
           pickText({"{ AppleLocale = \"de_DE\"; }", "{ AppleLocale = ( a ); }", "no list {"}));
}

void GeneratedMachine::changeCaller() {
  if (ThrowAwayRoot::hasAccounts()) user = pick(2) == 0 ? ThrowAwayRoot::alice() : ThrowAwayRoot::bob();
}

unsigned numberFrom(const char* name, unsigned otherwise) {
  const char* text = std::getenv(name);
  return text != nullptr ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : otherwise;
}

}  // namespace hotfix
