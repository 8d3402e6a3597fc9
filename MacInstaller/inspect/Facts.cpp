#include "MacInstaller/inspect/Facts.h"

#include "MacInstaller/InstallUtil.h"
#include "MacInstaller/JavaProperties.h"
#include "MacInstaller/Properties.h"
#include "MacInstaller/StringUtil.h"
#include "Platform/CaseFolding.h"
#include "Platform/FileManager.h"
#include "Platform/PropertyList.h"
#include "Platform/SystemPaths.h"
#include "Platform/UserIdentity.h"
#include "Platform/preview/Question.h"
#include "Support/TextNumber.h"
#include "Support/XmlDocument.h"

namespace hotfix {

namespace {

constexpr size_t kLongestAnswer = size_t{1} << 16;
constexpr size_t kStampLength = 10;
constexpr char kTemporaryPrefix[] = ".tmp.";

/// A record as text: a string unchanged, "true" or "false" for a boolean, "?" for any other type.
OptionalString recordText(const Properties& records, const char* key) {
  const std::optional<PropertyListValue> value = records.getPropertyForKey(key);
  if (!value) return std::nullopt;
  if (const std::string* text = value->asString()) return *text;
  if (const bool* boolean = value->asBoolean()) return std::string(*boolean ? "true" : "false");
  return std::string("?");
}

/// The path in absolute form, so that commands with it can be run in any folder.
std::string absolute(const std::string& path) {
  return path.empty() || path.front() == '/' ? path : platform::resolvedPath(path).value_or(path);
}

/// Notes a path if the system does not say whether it exists.
void noteReach(Facts& facts, const std::string& path) {
  const std::optional<platform::FileError> error = platform::lookUpError(path);
  if (error && !platform::isKnownMissing(path)) {
    facts.outOfReach.push_back(path + " cannot be looked at: " + error->reason);
  }
}

void readRecords(Facts& facts) {
  facts.hasRecords = platform::exists(facts.recordsFile);
  if (!facts.hasRecords) return;
  facts.areRecordsDamaged = !platform::readDictionary(facts.recordsFile);
  if (facts.areRecordsDamaged && !platform::hasRootRights() && !platform::readFile(facts.recordsFile)) {
    facts.outOfReach.push_back(facts.recordsFile + " cannot be read");
  }
  const Properties records(facts.recordsFile);
  facts.installedVersion = recordText(records, "version");
  facts.hotfixVersion = recordText(records, "hotfixVersion");
  facts.skipRunningCheck = recordText(records, "SKIPRUNNINGCHECK");
  facts.bundleId = recordText(records, "installedHotfixBundleID");
}

/// The feature elements of a manifest.
std::vector<XmlElement> featuresOf(const XmlDocument& manifest) {
  std::vector<XmlElement> level;
  if (const auto root = manifest.rootElement()) level.push_back(*root);
  for (const char* name : {"domain-object", "object-data", "install", "installfeature", "requirements", "feature"}) {
    std::vector<XmlElement> next;
    for (const XmlElement& element : level) {
      for (const XmlElement& child : element.children(name)) next.push_back(child);
    }
    level = std::move(next);
  }
  return level;
}

void readFeatures(Facts& facts) {
  const std::string file = facts.inDeploy(facts.hasUninstallManifest ? "uninstall.hotfix.xml" : "install.update.xml");
  const OptionalString bytes = platform::readFile(file);
  const auto manifest = bytes ? XmlDocument::parse(*bytes) : nullptr;
  if (!manifest) return;
  const std::vector<XmlElement> features = featuresOf(*manifest);
  for (const XmlElement& feature : features) {
    const OptionalString id = feature.attribute("id");
    const OptionalString version = feature.attribute("version");
    if (!id || !version || feature.attribute("action") != "uninstall") continue;
    if ((*id + *version).find('/') != std::string::npos) continue;
    const std::string folder = path::appending(facts.home, "eclipse/plugins/" + *id + "_" + *version);
    facts.features.push_back({folder, platform::exists(folder)});
  }
  facts.isUpdateOnly = !features.empty() && facts.features.empty();
}

/// A stamp "DDMMYYHHMM" in a form that sorts by time; any other text unchanged.
std::string sortable(const std::string& stamp) {
  if (stamp.size() != kStampLength || stamp.find_first_not_of("0123456789") != std::string::npos) return stamp;
  return stamp.substr(4, 2) + stamp.substr(2, 2) + stamp.substr(0, 2) + stamp.substr(6);
}

void readLauncherProperties(Facts& facts) {
  const std::string file = path::appending(facts.home, "rcplauncher.properties");
  if (!platform::exists(file)) {
    facts.isIdOfLastRun = true;  // without the file, a run sets no stamp
    return;
  }
  const JavaProperties properties(file);
  facts.manifestVersion = properties.getPropertyForKey("provisioning.manifest.version");
  facts.installId = properties.getPropertyForKey("rcp.install.id");
  facts.isIdOfLastRun =
      !facts.manifestVersion || (facts.installId && sortable(*facts.installId) >= sortable(*facts.manifestVersion));
  if (facts.data) return;
  facts.data = properties.getPropertyForKey("rcp.data");
  const OptionalString userHome = platform::environmentVariable("HOME");
  if (facts.data && userHome) {
    facts.data = StringUtil::stringByReplacingOccurrencesOfString(*facts.data, "${env.HOME}", *userHome);
  }
}

void readResult(Facts& facts) {
  if (!platform::exists(facts.resultFile)) return;
  facts.resultCode = JavaProperties(facts.resultFile).getPropertyForKey("rc").value_or("");
  const std::int32_t code = text::integerAtStart(*facts.resultCode);
  facts.isGoodResult = code == 0 || code == 2;
}

void readProcesses(Facts& facts) {
  if (!facts.bundle) return;
  static const std::vector<std::string> kRunning = platform::processInformation(platform::kBundleExecutableKey);
  const std::string prefix = platform::lowercased(*facts.bundle);
  const auto isOurs = [&prefix](const std::string& executable) {
    return platform::lowercased(executable).rfind(prefix, 0) == 0;
  };
  for (const std::string& executable : kRunning) {
    if (!isOurs(executable)) continue;
    const auto process = platform::findProcess([&](const std::string& other) { return other == executable; });
    if (process) facts.processes.push_back(*process);
  }
}

void readTemporaryFiles(Facts& facts) {
  for (const std::string& folder : {facts.home, facts.deploy}) {
    for (const std::string& name : platform::namesInFolder(folder).value_or(std::vector<std::string>())) {
      // ".tmp." and sixteen letters: the names that writing a file uses.
      if (name.rfind(kTemporaryPrefix, 0) == 0 && name.size() == sizeof kTemporaryPrefix - 1 + 16) {
        facts.temporaryFiles.push_back(path::appending(folder, name));
      }
    }
  }
}

}  // namespace

std::optional<bool> isReceiptKnown(const std::string& package) {
  // A record may contain any text. A text that pkgutil could take for an option is not passed to it.
  if (package.empty() || package.front() == '-') return std::nullopt;
  const platform::preview::Answer answer =
      platform::preview::ask({platform::onDisk(platform::kPkgutil), "--pkg-info", package}, kLongestAnswer);
  if (answer.error || answer.exitStatus < 0) return std::nullopt;
  return answer.exitStatus == 0;
}

Facts readFacts(const std::string& home, const OptionalString& data) {
  Facts facts;
  facts.home = absolute(path::appending(home, ""));
  if (data) facts.data = absolute(*data);
  facts.deploy = path::appending(facts.home, "deploy");
  facts.recordsFile = path::appending(facts.home, "installInfo.plist");
  facts.resultFile = path::appending(path::deletingLastComponent(facts.home), ".provisioning_rc");
  facts.traceFile = platform::onDisk(platform::kTraceFile);
  facts.historyFolder = facts.inDeploy("installHistory");
  facts.hasHome = platform::isFolder(facts.home);
  noteReach(facts, facts.home);
  if (!facts.hasHome) return facts;
  for (const char* name : {"install.xml", "uninstall.hotfix.xml", "install.update.xml"}) {
    noteReach(facts, facts.inDeploy(name));
  }
  noteReach(facts, facts.recordsFile);
  facts.hasInstallManifest = platform::exists(facts.inDeploy("install.xml"));
  facts.hasUninstallManifest = platform::exists(facts.inDeploy("uninstall.hotfix.xml"));
  facts.hasUpdateManifest = platform::exists(facts.inDeploy("install.update.xml"));
  facts.bundle = InstallUtil::getBundlePath(facts.home);
  if (facts.bundle) {
    facts.bundleVersion =
        Properties(path::appending(*facts.bundle, "Contents/Info.plist")).getTextForKey("CFBundleShortVersionString");
  }
  readRecords(facts);
  readFeatures(facts);
  readLauncherProperties(facts);
  readResult(facts);
  readProcesses(facts);
  if (facts.bundleId) facts.isReceiptKnown = isReceiptKnown(*facts.bundleId);
  readTemporaryFiles(facts);
  return facts;
}

}  // namespace hotfix
