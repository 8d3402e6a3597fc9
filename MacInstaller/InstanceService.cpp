#include "MacInstaller/InstanceService.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "MacInstaller/Configuration.h"
#include "MacInstaller/InstallManifest.h"
#include "MacInstaller/InstallUtil.h"
#include "MacInstaller/InstanceFiles.h"
#include "MacInstaller/JavaProperties.h"
#include "MacInstaller/Properties.h"
#include "MacInstaller/Reasons.h"
#include "MacInstaller/StringUtil.h"
#include "Platform/Bundle.h"
#include "Platform/CaseFolding.h"
#include "Platform/ChildProcess.h"
#include "Platform/PropertyList.h"
#include "Platform/SystemLog.h"
#include "Platform/SystemPaths.h"
#include "Platform/UserIdentity.h"
#include "Support/Path.h"
#include "Support/TextNumber.h"

namespace hotfix {

using platform::LogLevel;

namespace {

// Files of an instance, relative to the home folder.
constexpr char kDeployFolder[] = "deploy";
constexpr char kInstallManifest[] = "install.xml";
constexpr char kLauncherProperties[] = "rcplauncher.properties";
constexpr char kInstallInfo[] = "installInfo.plist";
constexpr char kEclipseFolder[] = "eclipse";
constexpr char kLinksFolder[] = "eclipse/links";
constexpr char kPluginsFolder[] = "eclipse/plugins";
constexpr char kCollectionUtility[] = "collectionutility.jar";
constexpr char kHistoryFolder[] = "deploy/installHistory";
constexpr char kAgentProperties[] = "osgiagent.properties";
constexpr char kJvmProperties[] = "deploy/jvm.properties";
constexpr char kPluginCustomization[] = "plugin_customization.ini";
constexpr char kAddonInfo[] = "addonInfo.plist";
constexpr char kExtrasFolder[] = "deploy/extras";
// Beside the home folder, and in the data folder.
constexpr char kSharedFolder[] = "shared";
constexpr char kResultFile[] = ".provisioning_rc";
constexpr char kInstallProperties[] = ".config/rcpinstall.properties";

// Keys of the internal configuration, of properties files and of property lists.
constexpr char kNewInstallLocationKey[] = "newInstallLocation";
constexpr char kProductNameKey[] = "productName";
constexpr char kManifestVersionKey[] = "provisioning.manifest.version";
constexpr char kInstallIDKey[] = "rcp.install.id";
constexpr char kDataKey[] = "rcp.data";
constexpr char kManifestKey[] = "provisioning.manifest";
constexpr char kBaseLocationKey[] = "rcp.base.location";
constexpr char kAddonsKey[] = "addons";
constexpr char kAddonIDKey[] = "ID";
constexpr char kAddonVersionKey[] = "version";
constexpr char kResultKey[] = "rc";
constexpr char kPathKey[] = "path";
constexpr char kBundleVersionKey[] = "CFBundleShortVersionString";
constexpr char kVersionKey[] = "version";
constexpr char kHotfixVersionKey[] = "hotfixVersion";
constexpr char kSkipRunningCheckKey[] = "SKIPRUNNINGCHECK";
constexpr char kHotfixBundleIDKey[] = "installedHotfixBundleID";

constexpr char kBasePluginPrefix[] = "com.qor.rcp.base_";
constexpr char kKeyStorePrefix[] = ".keystore";
constexpr char kHomeVariable[] = "${env.HOME}";
// The platform expands "${rcp.home}" itself, so it is written literally.
constexpr char kManifestUrl[] = "file:/${rcp.home}/rcp/deploy/install.xml";
constexpr char kBaseLocation[] = "${rcp.home}/rcp/eclipse/plugins/com.qor.rcp.base_";
constexpr size_t kLongestJavaHome = 1022;
constexpr char kJavaPluginIdentifier[] = "com.oracle.java.JavaAppletPlugin";

// Messages. Keep the misspellings: users search logs for these texts.
constexpr char kHomeIs[] = "The pathToRcphome is: %s.";
constexpr char kNewInstallLocationIs[] = "newInstallLocation : %s.";
constexpr char kCopyingFailed[] = "Error copying files: %s.";
constexpr char kNoNewInstallLocation[] = "Can not copy to newInstallLocation because its nil!";
constexpr char kForeignStagingFolder[] =
    "Ignored %s: it counts only as a folder that root or this user owns and that not everybody can write to.";
constexpr char kNoFileAt[] = "No file at: %s!";
constexpr char kNoHome[] = "The _pathToRcphome is nil, manually setting rcpHome!";
constexpr char kProductNameIs[] = "The product name is: %s.";
constexpr char kNoProductName[] = "The productName is nil!";
constexpr char kCopyManifest[] = "Copy install manifest to %s.";
constexpr char kUpdateRoot[] = "Update ${installer.root}.";
constexpr char kRootIs[] = "Get ${installer.root} : %s.";
constexpr char kSaveManifest[] = "Save install manifest.";
constexpr char kNoHomeForLauncher[] = "The rcpHome is nil, manually setting rcpHome";
constexpr char kNoLauncherTemplate[] = "Fail to locate the template for rcplauncher.properties.";
constexpr char kNoHomeFolder[] = "Failed to create directory %s";
constexpr char kLauncherCopyFailed[] = "Fail to copy rcplauncher.properties to %s, try again...";
constexpr char kLauncherCopyFailedAgain[] = "Fail to copy rcplauncher.properties to %s again!";
constexpr char kUpdateLauncher[] = "Update rcplauncher.properties. ";
constexpr char kSaveLauncher[] = "Save rcplauncher.properties.";
constexpr char kNoAgentTemplate[] = "Not able to find template for osgiagent.properties.";
constexpr char kNoDeployFolder[] = "Not able to create the %s directory.";
constexpr char kKeyStoreSource[] = ".keystore source files are in %s.";
constexpr char kKeyStoreDeleted[] = "Delete existing keystore files '%s' from %s.";
constexpr char kKeyStoreCopied[] = "Copy keystore file '%s' from %s to %s.";
constexpr char kCopyExtras[] = "Begin to copy files from %s to %s ";
constexpr char kGetInstallInfo[] = "Get installInfo: %s";
constexpr char kNoLinksFolder[] = "Not able to create links directory.";
constexpr char kAddonLogFile[] = "Addon Log Fie is %s";
constexpr char kCollectLogs[] =
    "Begin to call collection utility to gather log files for the %s operaton of %s project.";
constexpr char kNoJava[] = "Can't find java home, skip log collection for the %s operaton of %s project.";
constexpr char kHomeForLogs[] = "_pathToRcphome is %s.";
constexpr char kNoUtility[] = "No log files are gathered as there is no collectionutility.jar under %s. ";
constexpr char kProductVersionIs[] = "productVersion is %s.";
constexpr char kLogsCollected[] =
    "Successfully collect the log files and place them under %s for the %s operaton of %s project.";

bool existsAt(const OptionalString& path) { return path && platform::exists(*path); }

/// Deletes the target of a copy. With the copy policy, a target that could not be deleted would look like a successful
/// copy, and the caller would then consume its source.
bool clearTarget(const std::string& target, platform::FileError* error = nullptr) {
  return platform::removeItem(target, error) || platform::isUnused(target);
}

/// Sets new stamps in a launcher's properties, and the location of the base plug-in if there is one.
void stampLauncher(JavaProperties& properties, const OptionalString& baseVersion) {
  const std::string stamp = InstallUtil::generateNewManifestVersion();
  (void)properties.setProperty(stamp, kInstallIDKey);
  (void)properties.setProperty(stamp, kManifestVersionKey);
  if (baseVersion) (void)properties.setProperty(kBaseLocation + *baseVersion, kBaseLocationKey);
}

/// The first entry of the add-on registry with this "ID", which must not be absent.
PropertyListValue::Array::iterator findAddon(PropertyListValue::Array& entries, const OptionalString& addonID) {
  return std::find_if(entries.begin(), entries.end(), [&addonID](const PropertyListValue& entry) {
    const PropertyListValue::Dictionary* keys = entry.asDictionary();
    return keys != nullptr && textFor(*keys, kAddonIDKey) == addonID;
  });
}

/// The names of the keystores in a folder; none for an absent or unreadable folder.
std::vector<std::string> keyStoreNames(const OptionalString& folder) {
  std::vector<std::string> names;
  if (!folder) return names;
  for (const std::string& name : platform::namesInFolder(*folder).value_or(std::vector<std::string>())) {
    if (InstallUtil::hasPrefixCaseInsensitive(name, kKeyStorePrefix)) names.push_back(name);
  }
  return names;
}

/// Home folder of a Java runtime: that of the browser plug-in, otherwise the one that the system names.
OptionalString javaHome() {
  const OptionalString identifier = platform::bundleIdentifier(platform::onDisk(platform::kJavaPlugin));
  if (identifier && platform::equalIgnoringCase(*identifier, kJavaPluginIdentifier)) {
    return platform::onDisk(platform::kJavaPluginHome);
  }
  OptionalString home =
      platform::firstLineOfShellCommand(platform::onDisk(platform::kJavaHomeFinder), kLongestJavaHome);
  // With a relative path, such as an empty line, root would run a program from the current folder.
  return home && home->compare(0, 1, "/") == 0 ? home : std::nullopt;
}

}  // namespace

// ----- Making an instance service -----

InstanceService::InstanceService(const OptionalString& pathToRcphome, const OptionalString& pathToRcpData) {
  platform::log(LogLevel::Info, kHomeIs, textOrNull(pathToRcphome));
  platform::setCopyPolicy(fileManagerShouldProceedAfterError);

  const OptionalString location = Configuration().getTextForKey(kNewInstallLocationKey);
  platform::log(LogLevel::Info, kNewInstallLocationIs, textOrNull(location));
  if (pathToRcphome) (void)platform::createFolder(*pathToRcphome, platform::Parents::Created);  // tested below
  if (location) {
    copyStagingFolder(*location);
  } else {
    platform::log(LogLevel::Warning, kNoNewInstallLocation);
  }

  if (existsAt(pathToRcphome)) {
    _pathToRcphome = pathToRcphome;
    _pathToRcpData = pathToRcpData;
  } else {
    platform::log(LogLevel::Error, kNoFileAt, textOrNull(pathToRcphome));
  }
}

bool InstanceService::fileManagerShouldProceedAfterError(const platform::FileError& error, const std::string&,
                                                         const std::string&) {
  return error.code == platform::kFileExists;
}

void InstanceService::copyStagingFolder(const std::string& location) {
  const std::string staging = platform::onDisk(platform::kStagingFolder);
  bool isDistrusted = false;
  platform::FileError error;
  if (platform::copyTrustedFolder(staging, location, &isDistrusted, &error)) return;
  if (isDistrusted) {
    platform::log(LogLevel::Warning, kForeignStagingFolder, platform::kStagingFolder);
    // It is treated as missing.
    error.description = std::string("Copy ") + platform::kStagingFolder + ": No such folder";
  }
  platform::log(LogLevel::Error, kCopyingFailed, error.description.c_str());
}

OptionalString InstanceService::inHome(const std::string& relativePath) const {
  if (!_pathToRcphome) return std::nullopt;
  return path::appending(*_pathToRcphome, relativePath);
}

OptionalString InstanceService::besideHome(const std::string& name) const {
  if (!_pathToRcphome) return std::nullopt;
  return path::appending(path::deletingLastComponent(*_pathToRcphome), name);
}

// ----- Install manifests -----

void InstanceService::adoptDefaultHome() {
  if (const OptionalString name = Configuration().getTextForKey(kProductNameKey)) {
    platform::log(LogLevel::Info, kProductNameIs, name->c_str());
  } else {
    platform::log(LogLevel::Error, kNoProductName);
  }
  // Deliberately the same folder for every product: the name of the product is only logged.
  _pathToRcphome = platform::onDisk(platform::kDefaultHome);
}

bool InstanceService::copyInstallManifest(const OptionalString& source, const std::string& toFile,
                                          const OptionalString& replaceInstallerRootWith, platform::FileError* error) {
  if (!_pathToRcphome) {
    platform::log(LogLevel::Error, kNoHome);
    adoptDefaultHome();
  }
  const std::string target = path::appending(*inHome(kDeployFolder), toFile);
  const bool isCleared = clearTarget(target, error);  // deliberately before the source is examined
  platform::log(LogLevel::Info, kCopyManifest, target.c_str());
  const bool isCopied = source && isCleared && platform::copyItem(*source, target, error);
  if (!isCopied || !existsAt(replaceInstallerRootWith)) return isCopied;

  platform::log(LogLevel::Info, kUpdateRoot);
  InstallManifest manifest(target);
  const std::string rootUrl = "file:" + *replaceInstallerRootWith;
  platform::log(LogLevel::Info, kRootIs, rootUrl.c_str());
  (void)manifest.replaceInstallerRootWith(rootUrl);  // a manifest without features is saved too
  platform::log(LogLevel::Info, kSaveManifest);
  return manifest.saveInstallManifestAs(std::nullopt);
}

bool InstanceService::copyInstallManifest(const OptionalString& source,
                                          const OptionalString& replaceInstallerRootWith) {
  return copyInstallManifest(source, kInstallManifest, replaceInstallerRootWith);
}

bool InstanceService::copyUpdateManifest(const OptionalString& source, const OptionalString& replaceInstallerRootWith,
                                         platform::FileError* error) {
  return copyInstallManifest(source, kUpdateManifest, replaceInstallerRootWith, error);
}

bool InstanceService::copyManifest(const OptionalString& source) {
  if (!existsAt(source) || !existsAt(_pathToRcphome)) return false;
  return copyInstallManifest(source, path::lastComponent(*source), std::nullopt);
}

bool InstanceService::copyHotfixUninstallManifest(const OptionalString& source) {
  if (!existsAt(source) || !existsAt(_pathToRcphome)) return false;
  const std::string target = *inHome(kUninstallManifest);
  return clearTarget(target) && platform::copyItem(*source, target);
}

void InstanceService::backupInstallManifest() {
  const OptionalString properties = inHome(kLauncherProperties);
  if (!existsAt(properties)) return;
  const std::string version = JavaProperties(properties).getPropertyForKey(kManifestVersionKey).value_or("old");
  const std::string deploy = *inHome(kDeployFolder);
  const std::string manifest = path::appending(deploy, kInstallManifest);
  // The copy policy keeps an older backup of the same name.
  if (platform::exists(manifest))
    (void)platform::copyItem(manifest, path::appending(deploy, "install." + version + ".xml"));
}

// ----- Provisioning runs -----

std::vector<std::string> InstanceService::provisioningArguments(const std::string& operation,
                                                                const OptionalString& data) {
  std::vector<std::string> arguments = {"-rcpLauncherWait",
                                        "-provManifest",
                                        "-noSplash",
                                        "-provisioningOperation",
                                        operation,
                                        "-nl",
                                        InstallUtil::getCurrentLocale(),
                                        "-vmargs",
                                        "-Dfile.encoding=UTF-8",
                                        "-Xms32m",
                                        "-Xmx256m"};
  if (data) arguments.insert(arguments.end(), {"-data", *data});
  return arguments;
}

StepResult InstanceService::startProvisioningWithCleanUp(const OptionalString& launcher) {
  return launchResult(launcher, platform::runAndWait(launcher, provisioningArguments("cleanup", _pathToRcpData)));
}

StepResult InstanceService::startProvisioningWithUpdate(const OptionalString& launcher) {
  return launchResult(launcher, platform::runAndWait(launcher, provisioningArguments("update", _pathToRcpData)));
}

OptionalString InstanceService::existingResultFile() const {
  // Deliberately expands "~" for the home, but not for the file beside it.
  if (!_pathToRcphome || !platform::exists(platform::expandingTilde(*_pathToRcphome))) return std::nullopt;
  const OptionalString file = besideHome(kResultFile);
  return existsAt(file) ? file : std::nullopt;
}

OptionalString InstanceService::provisioningFailure() const {
  const OptionalString file = existingResultFile();
  if (!file) return "the platform ended without leaving a result in " + besideHome(kResultFile).value_or(kResultFile);
  const OptionalString code = JavaProperties(file).getPropertyForKey(kResultKey);
  if (!code) return "the result that the platform left in " + *file + " has no \"rc\"";
  const std::int32_t value = text::integerAtStart(*code);
  if (value == 0 || value == 2) return std::nullopt;
  return "the platform failed with the result code " + *code + ", read from " + *file;
}

void InstanceService::removeProvisionRCFile() {
  if (const OptionalString file = existingResultFile()) (void)platform::removeItem(*file);
}

void InstanceService::setLauncherProperty(const std::string& key, const OptionalString& value) {
  const OptionalString file = inHome(kLauncherProperties);
  if (!existsAt(file)) return;
  JavaProperties properties(file);
  (void)properties.setProperty(value, key);
  (void)properties.savePropertiesToFile(std::nullopt);
}

void InstanceService::updateProvisionManifestVersion(const std::string& version) {
  setLauncherProperty(kManifestVersionKey, version);
}

void InstanceService::updateInstallID(const std::string& id) { setLauncherProperty(kInstallIDKey, id); }

void InstanceService::updateInstallIDWithProvManVer() {
  const OptionalString launcherFile = inHome(kLauncherProperties);
  if (!launcherFile || !_pathToRcpData) return;
  platform::FileBelow installFile(*_pathToRcpData, kInstallProperties);
  if (!installFile.isThere() || !existsAt(launcherFile)) return;
  const OptionalString version = JavaProperties(launcherFile).getPropertyForKey(kManifestVersionKey);
  setLauncherProperty(kInstallIDKey, version);
  JavaProperties installProperties(std::move(installFile));
  (void)installProperties.setProperty(version, kInstallIDKey);
  (void)installProperties.savePropertiesToFile(std::nullopt);
}

// ----- Installed versions and hotfix records -----

bool InstanceService::hasInstanceInstalled() const {
  return existsAt(inHome(std::string(kDeployFolder) + "/" + kInstallManifest));
}

OptionalString InstanceService::getBaseVersion() const {
  const OptionalString plugins = inHome(kPluginsFolder);
  if (!plugins) return std::nullopt;
  OptionalString greatest;
  for (const std::string& name : platform::namesInFolder(*plugins).value_or(std::vector<std::string>())) {
    constexpr size_t kPrefixLength = sizeof kBasePluginPrefix - 1;
    if (name.compare(0, kPrefixLength, kBasePluginPrefix) != 0) continue;
    const std::string version = name.substr(kPrefixLength, name.find('_', kPrefixLength) - kPrefixLength);
    // Deliberately compares texts, not versions.
    if (!greatest || version > *greatest) greatest = version;
  }
  return greatest;
}

OptionalString InstanceService::getInstalledTargetVersion() const {
  const OptionalString bundle = InstallUtil::getBundlePath(_pathToRcphome);
  if (!bundle) return std::nullopt;
  return Properties(path::appending(*bundle, "Contents/Info.plist")).getTextForKey(kBundleVersionKey);
}

OptionalString InstanceService::installRecord(const std::string& key) const {
  return Properties(inHome(kInstallInfo)).getTextForKey(key);
}

void InstanceService::changeInstallRecord(const std::string& key, const OptionalString& value, IfMissing ifMissing) {
  const OptionalString file = inHome(kInstallInfo);
  if (!file) return;
  const bool startsEmpty = platform::isKnownMissing(*file) && ifMissing == IfMissing::Created;
  Properties records = startsEmpty ? Properties() : Properties(file);
  const std::optional<PropertyListValue> record = value ? std::optional<PropertyListValue>(*value) : std::nullopt;
  // Unreadable records accept no change and are not written; the save returns that.
  (void)records.setProperty(record, key);
  (void)records.savePropertiesToFile(file);
}

OptionalString InstanceService::getInstalledVersion() const {
  const OptionalString file = inHome(kInstallInfo);
  if (!file) return std::nullopt;
  platform::log(LogLevel::Info, kGetInstallInfo, file->c_str());
  return installRecord(kVersionKey);
}

void InstanceService::setInstalledVersion(const OptionalString& version) {
  if (version) changeInstallRecord(kVersionKey, version, IfMissing::Created);
}

bool InstanceService::isHotfixApplied() const {
  return Properties(inHome(kInstallInfo)).getPropertyForKey(kHotfixVersionKey).has_value();
}

OptionalString InstanceService::getCurrentHotfixVersion() const { return installRecord(kHotfixVersionKey); }

void InstanceService::updateHotfixVersion(const OptionalString& version) {
  changeInstallRecord(kHotfixVersionKey, version, IfMissing::Created);
}

void InstanceService::saveHotfixSkipRunningCheckProperty(bool skip) {
  changeInstallRecord(kSkipRunningCheckKey, StringUtil::boolToString(skip), IfMissing::Created);
}

bool InstanceService::isHotfixInstallWithSkipRunningCheck() const {
  const OptionalString file = inHome(kInstallInfo);
  if (!existsAt(file)) return false;
  const std::optional<PropertyListValue> record = Properties(file).getPropertyForKey(kSkipRunningCheckKey);
  return !record || *record == PropertyListValue("true");
}

void InstanceService::removeHotfixSkipRunningCheckProperty() {
  changeInstallRecord(kSkipRunningCheckKey, std::nullopt, IfMissing::Left);
}

void InstanceService::saveHotfixBundleID(const OptionalString& identifier) {
  changeInstallRecord(kHotfixBundleIDKey, identifier, IfMissing::Left);
}

OptionalString InstanceService::getInstalledHotfixBundleID() const { return installRecord(kHotfixBundleIDKey); }

void InstanceService::deleteInstalledHotfixBundleID() {
  changeInstallRecord(kHotfixBundleIDKey, std::nullopt, IfMissing::Left);
}

// ----- Launcher, agent and JVM configuration -----

bool InstanceService::generateRcplauncherPropertiesWithTemplate(const OptionalString& templatePath,
                                                                const OptionalString& workspace) {
  if (!_pathToRcphome) {
    platform::log(LogLevel::Error, kNoHomeForLauncher);
    adoptDefaultHome();
  }
  if (!existsAt(templatePath)) {
    platform::log(LogLevel::Error, kNoLauncherTemplate);
    return false;
  }
  platform::FileError error;
  if (!platform::createFolder(*_pathToRcphome, platform::Parents::Created, {}, &error)) {
    platform::log(LogLevel::Error, kNoHomeFolder, _pathToRcphome->c_str());
  }
  const std::string target = *inHome(kLauncherProperties);
  if (!platform::copyItem(*templatePath, target)) {
    platform::log(LogLevel::Error, kLauncherCopyFailed, target.c_str());
    // Examines the error, not the second result: an error that remains from creating the folder fails the copy too.
    (void)platform::copyItem(*templatePath, target, &error);
    if (error.code != 0) {
      platform::log(LogLevel::Error, kLauncherCopyFailedAgain, target.c_str());
      return false;
    }
  }
  platform::log(LogLevel::Info, kUpdateLauncher);
  JavaProperties properties(target);
  stampLauncher(properties, getBaseVersion());
  (void)properties.setProperty(kManifestUrl, kManifestKey);
  if (workspace) (void)properties.setProperty(workspace, kDataKey);
  platform::log(LogLevel::Info, kSaveLauncher);
  (void)properties.savePropertiesToFile(std::nullopt);  // a failed save is deliberately not reported
  return true;
}

bool InstanceService::updateRcpLauncherProperties() {
  const OptionalString file = inHome(kLauncherProperties);
  if (!existingFolderHome() || !existsAt(file)) return false;
  JavaProperties properties(file);
  stampLauncher(properties, getBaseVersion());
  return properties.savePropertiesToFile(std::nullopt);
}

bool InstanceService::copyOgsiAgentProperties(const OptionalString& templatePath) {
  if (!_pathToRcphome) return false;
  if (!existsAt(templatePath)) {
    platform::log(LogLevel::Error, kNoAgentTemplate);
    return false;
  }
  return existingFolderHome() && platform::copyItem(*templatePath, *inHome(kAgentProperties));
}

bool InstanceService::generateJVMPropertiesWithTemplate(const OptionalString& templatePath) {
  if (!existingFolderHome()) return false;
  // Deliberately, and unlike everywhere else, the user who runs the process and not the one in the environment.
  const platform::Attributes attributes{platform::loginName(), kInstallerGroup, kInstallerMode};
  const std::string deploy = *inHome(kDeployFolder);
  if (!platform::exists(deploy) && !platform::createFolder(deploy, platform::Parents::Required, attributes)) {
    platform::log(LogLevel::Error, kNoDeployFolder, deploy.c_str());
    return false;
  }
  const std::string target = *inHome(kJvmProperties);
  if (!existsAt(templatePath)) return platform::createFile(target, "", attributes);
  (void)platform::removeItem(target);  // Not a fatal error: there may be none.
  return platform::copyItem(*templatePath, target);
}

bool InstanceService::mergePluginCustomizationWithRcphome(const OptionalString& file) {
  if (!file || !existingFolderHome()) return false;
  const OptionalString own = inHome(kPluginCustomization);
  if (existsAt(own)) {
    JavaProperties properties(own);
    properties.mergeWithJavaProperties(file);
    (void)properties.savePropertiesToFile(std::nullopt);
  } else {
    (void)platform::copyItem(*file, *own);
  }
  return true;
}

bool InstanceService::mergePluginCustomizationWithBase(const OptionalString& file) {
  const OptionalString base = baseCustomization();
  if (!existsAt(file) || !base) return false;
  if (!platform::exists(*base)) return true;
  JavaProperties properties(base);
  properties.mergeWithJavaProperties(file);  // deliberately saves the base plug-in's own file too
  (void)properties.savePropertiesToFile(inHome(kPluginCustomization));
  return true;
}

/// The home folder, when it exists and is a folder.
OptionalString InstanceService::existingFolderHome() const {
  return _pathToRcphome && platform::isFolder(*_pathToRcphome) ? _pathToRcphome : std::nullopt;
}

/// The path of the base plug-in's customization file; none without a base version.
OptionalString InstanceService::baseCustomization() const {
  const OptionalString version = getBaseVersion();
  if (!version) return std::nullopt;
  return inHome(std::string(kPluginsFolder) + "/" + kBasePluginPrefix + *version + "/" + kPluginCustomization);
}

// ----- Links, permissions and workspace -----

bool InstanceService::generateLinks() {
  const OptionalString links = inHome(kLinksFolder);
  if (!links || !platform::isFolder(*inHome(kEclipseFolder))) return false;
  if (!platform::exists(*links)) {
    const platform::Attributes attributes{platform::invokingUserName().value_or("root"), kInstallerGroup,
                                          kInstallerMode};
    if (!platform::createFolder(*links, platform::Parents::Required, attributes)) {
      platform::log(LogLevel::Warning, kNoLinksFolder);
      return false;
    }
  }
  const auto writeLink = [&links](const char* name, const OptionalString& folder) {
    JavaProperties link(path::appending(*links, name));
    (void)link.setProperty(folder, kPathKey);
    (void)link.savePropertiesToFile(std::nullopt);
  };
  writeLink("rcp.link", _pathToRcphome);
  writeLink("shared.link", besideHome(kSharedFolder));
  return true;
}

std::optional<platform::RepairOutcome> InstanceService::updatePermissions(bool treatHome,
                                                                          const OptionalString& workspace) {
  if (treatHome) {
    (void)InstallUtil::changeAttributesForDirectory(_pathToRcphome);
    (void)InstallUtil::changeAttributesForDirectory(besideHome(kSharedFolder));
  }
  if (!workspace) return std::nullopt;
  return InstallUtil::changeAttributesForDirectory(workspace);
}

std::optional<platform::RepairOutcome> InstanceService::updatePermissions(bool treatHome, bool updateWorkspace) {
  return updatePermissions(treatHome, updateWorkspace ? getWorkspace() : std::nullopt);
}

OptionalString InstanceService::getWorkspace() const {
  if (_pathToRcpData) return _pathToRcpData;
  const OptionalString file = inHome(kLauncherProperties);
  if (!existsAt(file)) return std::nullopt;
  OptionalString workspace = JavaProperties(file).getPropertyForKey(kDataKey);
  const OptionalString home = platform::environmentVariable("HOME");
  if (!workspace || !home) return workspace;
  return StringUtil::stringByReplacingOccurrencesOfString(*workspace, kHomeVariable, *home);
}

// ----- Add-on registry, keystores and extras -----

std::optional<PropertyListValue::Array> InstanceService::getAllAddonRegistryInfo() const {
  const OptionalString file = inHome(kAddonInfo);
  if (!existsAt(file)) return std::nullopt;
  // Not read as Properties, which would expand "~": the check for the file does not expand it.
  const std::optional<PropertyListValue::Dictionary> registry = platform::readDictionary(*file);
  const PropertyListValue* addons = registry ? valueFor(*registry, kAddonsKey) : nullptr;
  const PropertyListValue::Array* entries = addons != nullptr ? addons->asArray() : nullptr;
  return entries != nullptr ? *entries : PropertyListValue::Array();
}

std::optional<PropertyListValue::Dictionary> InstanceService::getRegistryInfoForAddon(
    const OptionalString& addonID) const {
  std::optional<PropertyListValue::Array> entries = getAllAddonRegistryInfo();
  if (!addonID || !entries) return std::nullopt;
  const auto entry = findAddon(*entries, addonID);
  if (entry == entries->end()) return std::nullopt;
  return *entry->asDictionary();
}

OptionalString InstanceService::getAddonInstalledVersion(const OptionalString& addonID) const {
  const std::optional<PropertyListValue::Dictionary> entry = getRegistryInfoForAddon(addonID);
  return entry ? textFor(*entry, kAddonVersionKey) : std::nullopt;
}

OptionalString InstanceService::getAddonInstalledBundleID(const OptionalString& addonID) const {
  const std::optional<PropertyListValue::Dictionary> entry = getRegistryInfoForAddon(addonID);
  return entry ? textFor(*entry, kBundleIdentifierKey) : std::nullopt;
}

void InstanceService::removeRegistryInfoforAddon(const OptionalString& addonID) {
  std::optional<PropertyListValue::Array> entries = getAllAddonRegistryInfo();
  if (!addonID || !entries) return;
  const auto entry = findAddon(*entries, addonID);
  if (entry != entries->end()) entries->erase(entry);
  // Deliberately does not write the file back.
}

void InstanceService::copyKeyStores(const OptionalString& sourceFolder) {
  platform::log(LogLevel::Info, kKeyStoreSource, textOrNull(sourceFolder));
  const OptionalString deploy = inHome(kDeployFolder);
  for (const std::string& name : keyStoreNames(deploy)) {
    const std::string item = path::appending(*deploy, name);
    (void)platform::removeItem(item);
    // Keeps the item's path, although the text announces its folder.
    platform::log(LogLevel::Info, kKeyStoreDeleted, name.c_str(), item.c_str());
  }
  for (const std::string& name : keyStoreNames(sourceFolder)) {
    const std::string from = path::appending(*sourceFolder, name);
    const OptionalString to = deploy ? OptionalString(path::appending(*deploy, name)) : std::nullopt;
    if (to) (void)platform::copyItem(from, *to);
    platform::log(LogLevel::Info, kKeyStoreCopied, name.c_str(), from.c_str(), textOrNull(to));  // even after a failure
  }
}

void InstanceService::copyExtras(const OptionalString& sourceFolder) {
  const OptionalString extras = inHome(kExtrasFolder);
  if (!sourceFolder || !extras) return;
  const auto names = platform::namesInFolder(*sourceFolder);
  if (!names || names->empty()) return;
  platform::log(LogLevel::Info, kCopyExtras, sourceFolder->c_str(), extras->c_str());
  InstallUtil::copyFolderFrom(sourceFolder, extras);
}

// ----- Log collection -----

std::string InstanceService::getAddonLogFile(const OptionalString& name, const std::string& action) {
  std::string file =
      path::appending(platform::kAddonLogFolder, "rcp_" + name.value_or("addon") + "_" + action + ".log");
  platform::log(LogLevel::Info, kAddonLogFile, file.c_str());
  return file;
}

StepResult InstanceService::collectLogFiles(const std::string& productName, const std::string& action,
                                            const std::string& logFile, const OptionalString& workspaceLocation) {
  platform::log(LogLevel::Notice, kCollectLogs, action.c_str(), productName.c_str());
  const OptionalString java = javaHome();
  if (!java) {
    platform::log(LogLevel::Notice, kNoJava, action.c_str(), productName.c_str());
    return {StepResult::Kind::Skipped, "no Java runtime was found"};
  }
  platform::log(LogLevel::Info, kHomeForLogs, textOrNull(_pathToRcphome));
  const OptionalString utility = inHome(kCollectionUtility);
  if (!existsAt(utility)) {
    platform::log(LogLevel::Info, kNoUtility, textOrNull(_pathToRcphome));
    return {StepResult::Kind::Skipped, "there is no " + utility.value_or(kCollectionUtility)};
  }

  OptionalString version = getInstalledTargetVersion();
  if (!version) version = InstallUtil::generateNewManifestVersion();
  platform::log(LogLevel::Info, kProductVersionIs, version->c_str());
  const OptionalString workspace = workspaceLocation ? workspaceLocation : getWorkspace();
  const std::string program = path::appending(*java, "bin/java");
  platform::ChildProcess child(
      program, {"-jar", *utility, "-productName", productName, "-productVersion", *version, "-action", action,
                "-workspace", workspace.value_or(""), "-logLocation", logFile, "-s"});
  // Logged before the utility has done anything: its outcome is never known here.
  platform::log(LogLevel::Notice, kLogsCollected, inHome(kHistoryFolder)->c_str(), action.c_str(), productName.c_str());
  child.waitUntilExit();
  return launchResult(program, child.error());
}

}  // namespace hotfix
