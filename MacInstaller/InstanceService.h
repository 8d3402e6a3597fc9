#ifndef MACINSTALLER_INSTANCE_SERVICE_H_
#define MACINSTALLER_INSTANCE_SERVICE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Platform/FileManager.h"
#include "Platform/Ownership.h"
#include "Support/OptionalString.h"
#include "Support/PropertyListValue.h"
#include "Support/StepResult.h"

namespace hotfix {

/// One installed instance of the platform: the paths of its files, and every operation on them.
///
/// All operations use two paths, the home folder and the data folder (workspace). Both may be absent. Without a home
/// folder, a getter returns none or false and logs nothing, and a setter does nothing, unless stated otherwise. Each
/// operation reads its files again and writes them back before it returns. Every rewrite of a file is atomic (see
/// platform::writeFileAtomically). Paths below are relative to the home folder unless stated otherwise.
///
/// An operation creates no folder unless stated otherwise: the parent folder of a written file must exist. It is the
/// home folder if no other folder is named.
class InstanceService {
 public:
  // ----- Construction -----

  /// For the instance at \a pathToRcphome, with these side effects:
  ///
  /// - Installs the process-wide copy policy below.
  /// - Creates the home folder and its missing parents.
  /// - Copies the staging folder "/tmp/zelcore2/" to the "newInstallLocation" of the internal configuration, in a
  ///   folder that must exist. A failed copy is logged at level 3, a missing location at level 4. A staging folder of
  ///   an untrusted user is treated as missing and logged at level 4.
  ///
  /// The paths are kept only if the home path exists then. Otherwise that is logged at level 3.
  explicit InstanceService(const OptionalString& pathToRcphome, const OptionalString& pathToRcpData = std::nullopt);

  InstanceService(const InstanceService&) = delete;
  InstanceService& operator=(const InstanceService&) = delete;

  /// The home folder, or none.
  const OptionalString& pathToRcphome() const { return _pathToRcphome; }

  /// The copy policy: a copy skips an item, and continues, exactly when that item already exists.
  static bool fileManagerShouldProceedAfterError(const platform::FileError& error, const std::string& copyingItemAtPath,
                                                 const std::string& toPath);

  // ----- Install manifests -----

  /// Replaces `deploy/<toFile>` with a copy of \a source. If an installer root exists, rewrites the "${installer.root}"
  /// references of the copy to "file:" and the root.
  ///
  /// Needs the folder `deploy`, which a new home folder does not have. Deletes the old file before it examines the
  /// source: with an absent or missing source, the old file is lost. Without a home folder, uses the default home
  /// "/Applications/Vantelmor.app/Contents/MacOS/rcp", logs this at level 3, and keeps it for all later operations.
  /// Logs the steps at level 6.
  /// \return whether the copy, and the rewriting if requested, succeeded. A copy that cannot be rewritten, because it
  ///     is not XML, is kept. False, with nothing copied, if an old file or broken link cannot be deleted, or if there
  ///     is no `deploy`. On false \a error, when given, holds the reason if the copy failed.
  bool copyInstallManifest(const OptionalString& source, const std::string& toFile,
                           const OptionalString& replaceInstallerRootWith, platform::FileError* error = nullptr);

  /// The same for `deploy/install.xml`.
  bool copyInstallManifest(const OptionalString& source, const OptionalString& replaceInstallerRootWith);

  /// The same for `deploy/install.update.xml`.
  /// On false \a error, when given, holds the reason if the copy failed.
  bool copyUpdateManifest(const OptionalString& source, const OptionalString& replaceInstallerRootWith,
                          platform::FileError* error = nullptr);

  /// Replaces the manifest of the same name in `deploy` with an unchanged copy of \a source. Needs the folder `deploy`.
  ///
  /// \return false, with nothing done, when the home folder or the source is absent or missing.
  bool copyManifest(const OptionalString& source);

  /// Replaces `deploy/uninstall.hotfix.xml` with a copy of \a source. Needs the folder `deploy`. Returns the same as
  /// copyManifest, and also false if an old file or broken link cannot be deleted. Logs nothing.
  bool copyHotfixUninstallManifest(const OptionalString& source);

  /// Copies `deploy/install.xml` to `deploy/install.<version>.xml`, where the version is the
  /// "provisioning.manifest.version" of `rcplauncher.properties`, or "old" if there is none. Keeps an older backup of
  /// that name. Does nothing without `rcplauncher.properties` or `deploy/install.xml`. Does not report a failed copy.
  void backupInstallManifest();

  // ----- Provisioning runs -----

  /// The launcher's arguments for a provisioning run with this operation, in the invoking user's locale. The arguments
  /// after "-vmargs" are for the platform's virtual machine. "-data" is present only with a data folder.
  static std::vector<std::string> provisioningArguments(const std::string& operation, const OptionalString& data);

  /// Starts \a launcher for a clean-up pass and waits for it, see platform::ChildProcess. Passes the data folder if
  /// there is one. Needs no home folder. A launcher that is absent or cannot be started is logged at level 3.
  StepResult startProvisioningWithCleanUp(const OptionalString& launcher);

  /// The same for an update pass.
  StepResult startProvisioningWithUpdate(const OptionalString& launcher);

  /// The outcome of the last provisioning run, from the launcher's result file `.provisioning_rc` beside the home
  /// folder: 0 when its "rc" is 0 or 2, otherwise -1. A missing home ("~" expanded), file or key gives -1. A text
  /// without digits counts as 0. Logs nothing.
  std::int32_t getProvisioningResult() const { return provisioningFailure() ? -1 : 0; }

  /// Why getProvisioningResult is -1, as a text that can follow "because"; none when it is 0.
  OptionalString provisioningFailure() const;

  /// Deletes the result file, if it exists. Does not report a failure.
  void removeProvisionRCFile();

  // A properties file that exists but cannot be read stays unchanged, and is logged at level 3: see
  // JavaProperties::savePropertiesToFile.

  /// Sets "provisioning.manifest.version" in `rcplauncher.properties`. Does nothing when the file is missing.
  void updateProvisionManifestVersion(const std::string& version);

  /// Sets "rcp.install.id" in `rcplauncher.properties`. Does nothing when the file is missing.
  void updateInstallID(const std::string& id);

  /// Copies the "provisioning.manifest.version" of `rcplauncher.properties` to "rcp.install.id" there and in
  /// `.config/rcpinstall.properties` of the data folder. Does nothing without a data folder, or unless both files
  /// exist. Below the data folder, a link is not followed (see platform::FileBelow). Without a version, both files are
  /// only rewritten, and each refused change is logged at level 3.
  void updateInstallIDWithProvManVer();

  // ----- Installed versions and hotfix records -----
  // The records are keys of `installInfo.plist`. Every rewrite keeps the other keys of that file. A file that is not a
  // property list is read as one without the key, and is never written.

  /// Whether `deploy/install.xml` exists, as an entry of any kind.
  bool hasInstanceInstalled() const;

  /// Version of the base plug-in: among the entries of `eclipse/plugins` that begin with "com.qor.rcp.base_", the
  /// greatest text between the first "_" and the next "_" or the end. The comparison is deliberately textual: "9.0" is
  /// greater than "10.0". None without that folder or such an entry.
  OptionalString getBaseVersion() const;

  /// "CFBundleShortVersionString" in `Contents/Info.plist` of the application bundle around the home folder; none
  /// without bundle, file or key.
  OptionalString getInstalledTargetVersion() const;

  /// The record "version". Logs the path of the file at level 6.
  OptionalString getInstalledVersion() const;

  /// Records "version", in a new file if necessary. Does nothing with an absent version.
  void setInstalledVersion(const OptionalString& version);

  /// Whether there is a record "hotfixVersion", whatever its value.
  bool isHotfixApplied() const;

  /// The record "hotfixVersion".
  OptionalString getCurrentHotfixVersion() const;

  /// Records "hotfixVersion", or removes the record when \a version is absent. A missing file is created either way.
  void updateHotfixVersion(const OptionalString& version);

  /// Records "SKIPRUNNINGCHECK" as "true" or "false", in a new file if necessary.
  void saveHotfixSkipRunningCheckProperty(bool skip);

  /// Whether to skip the check for a running platform: the record is exactly "true", or the file exists without that
  /// record. The latter is deliberate: without a record against it, the uninstall continues.
  bool isHotfixInstallWithSkipRunningCheck() const;

  /// Removes the record "SKIPRUNNINGCHECK". A missing file is not created.
  void removeHotfixSkipRunningCheckProperty();

  /// Records "installedHotfixBundleID", or removes the record when \a identifier is absent. A missing file is not
  /// created.
  void saveHotfixBundleID(const OptionalString& identifier);

  /// The record "installedHotfixBundleID": the package identifier of the hotfix's receipt.
  OptionalString getInstalledHotfixBundleID() const;

  /// Removes the record "installedHotfixBundleID". A missing file is not created.
  void deleteInstalledHotfixBundleID();

  // ----- Launcher, agent and JVM configuration -----
  // Copies follow the copy policy: an existing target is kept, and its copy is a success.

  /// Creates `rcplauncher.properties` from a template, unless it exists. Sets in it "rcp.install.id" and
  /// "provisioning.manifest.version" (one new stamp), "provisioning.manifest", "rcp.base.location" (with a base
  /// version) and "rcp.data" (with a workspace). Keeps all other keys of the file or template.
  ///
  /// Without a home folder, uses and keeps the default home, like copyInstallManifest. Creates a missing home folder,
  /// with its parents.
  /// \return true when the file was prepared, whatever the result of its last save. False, with a log line at level 3,
  ///     when the template is absent or missing, or could not be copied in two attempts; also when the second attempt
  ///     succeeded after the home folder could not be created.
  bool generateRcplauncherPropertiesWithTemplate(const OptionalString& templatePath, const OptionalString& workspace);

  /// Sets a new "rcp.install.id" and "provisioning.manifest.version" (the same stamp) and, with a base version,
  /// "rcp.base.location" in an existing `rcplauncher.properties`. Nothing is logged.
  /// \return whether the file could be saved; false when there is no home folder or no such file in it.
  bool updateRcpLauncherProperties();

  /// Copies a template to `osgiagent.properties`. Keeps an existing file.
  /// \return whether the copy succeeded. False without a home folder. False, with a log line at level 3, when the
  ///     template is absent or missing.
  bool copyOgsiAgentProperties(const OptionalString& templatePath);

  /// Replaces `deploy/jvm.properties` with a copy of a template or, if that is absent or missing, with an empty file.
  /// Creates a missing `deploy`. Folder and empty file get the process's user as owner, group "admin" and mode 0775.
  /// \return whether the file exists now. False without a home folder. False, with a log line at level 3, when `deploy`
  ///     cannot be created.
  bool generateJVMPropertiesWithTemplate(const OptionalString& templatePath);

  /// Merges a customization file into `plugin_customization.ini` (the given file's values win), or copies it there if
  /// there is none yet. If the given file is missing, the existing one is only rewritten.
  /// \return false, with nothing done, without a home folder or a path. Otherwise true, whatever the outcome.
  bool mergePluginCustomizationWithRcphome(const OptionalString& file);

  /// Merges a customization file into the base plug-in's own `plugin_customization.ini`, and writes the result there
  /// and to the home folder's `plugin_customization.ini`.
  /// \return false, with nothing done, without a home folder, an existing file or a base version. Otherwise true; if
  ///     the base plug-in has no such file, nothing is done.
  bool mergePluginCustomizationWithBase(const OptionalString& file);

  // ----- Links, permissions and workspace -----

  /// Writes the link files of the plug-in loader: "path" in `eclipse/links/rcp.link` (the home folder) and in
  /// `eclipse/links/shared.link` ("shared" beside the home folder). Keeps other keys in them.
  ///
  /// Creates a missing `eclipse/links`, owned by the invoking user and group "admin", mode 0775. Does not change an
  /// existing folder.
  /// \return false without a folder `eclipse`, or, with a log line at level 4, when `eclipse/links` cannot be created.
  ///     The result does not show whether the files could be saved.
  bool generateLinks();

  /// Makes the invoking user the owner of everything below the home folder and the folder "shared" beside it (with
  /// \a treatHome) and below \a workspace (unless absent), see InstallUtil::changeAttributesForDirectory. Skips a
  /// missing folder.
  /// \return the outcome of the repair of the workspace; none when it is absent.
  std::optional<platform::RepairOutcome> updatePermissions(bool treatHome, const OptionalString& workspace);

  /// The same with the workspace that getWorkspace finds, or none.
  std::optional<platform::RepairOutcome> updatePermissions(bool treatHome, bool updateWorkspace);

  /// Deleted, because a literal path would silently become a boolean.
  void updatePermissions(bool treatHome, const char* workspace) = delete;

  /// The data folder or, if there is none, "rcp.data" of `rcplauncher.properties` with "${env.HOME}" replaced with
  /// the environment variable HOME (if it is set). Does not test whether it exists. None without that file or key.
  OptionalString getWorkspace() const;

  // ----- Add-on registry, keystores and extras -----

  /// The entries of `addonInfo.plist`, in the order of their installation, with all keys and types. Empty when the file
  /// lists no entries or cannot be read; none when it does not exist. A "~" in the home's path is not expanded.
  std::optional<PropertyListValue::Array> getAllAddonRegistryInfo() const;

  /// The first entry with exactly this "ID"; none if there is no such entry, or for an absent ID.
  std::optional<PropertyListValue::Dictionary> getRegistryInfoForAddon(const OptionalString& addonID) const;

  /// The "version" of an add-on's entry, or none.
  OptionalString getAddonInstalledVersion(const OptionalString& addonID) const;

  /// The "CFBundleIdentifier" of an add-on's entry, or none.
  OptionalString getAddonInstalledBundleID(const OptionalString& addonID) const;

  /// Removes the entry in memory only. The file is deliberately not written, so the operation has no lasting effect.
  /// Does nothing with an absent or unknown ID, or if the file is missing.
  void removeRegistryInfoforAddon(const OptionalString& addonID);

  /// Replaces all keystore files of `deploy` (names that begin with ".keystore" in any letter case) with those of a
  /// folder. Needs the folder `deploy`. Logs each step at level 6, whether it succeeds or not, and even without a home
  /// folder or `deploy`, when nothing is copied. If the source is absent, missing or without keystores, no keystore
  /// remains.
  void copyKeyStores(const OptionalString& sourceFolder);

  /// Merges a folder into `deploy/extras`, see InstallUtil::copyFolderFrom. Creates a missing `deploy/extras`; the
  /// folder `deploy` must exist. Does nothing if the source is absent, not a folder, or empty.
  void copyExtras(const OptionalString& sourceFolder);

  // ----- Log collection -----

  /// Path of the log file of an add-on's operation: "/tmp/rcp_<name>_<action>.log", with "addon" for an absent name.
  /// Logged at level 6. Needs no home folder.
  static std::string getAddonLogFile(const OptionalString& name, const std::string& action);

  /// Runs the log-collection utility of the instance, `collectionutility.jar`, with the Java runtime of the machine,
  /// and waits for it. Logs its progress at levels 5 and 6.
  ///
  /// Only logs the reason and returns if there is no Java runtime, if the system names one with a relative path, or if
  /// there is no utility. The outcome of the utility is unknown: the line that reports success is deliberately logged
  /// as soon as the utility was started. An instance without a version passes a new stamp. An absent workspace is that
  /// of the instance; an instance without one passes an empty text.
  StepResult collectLogFiles(const std::string& productName, const std::string& action, const std::string& logFile,
                             const OptionalString& workspaceLocation = std::nullopt);

 private:
  /// What happens to a missing file when the install records change.
  enum class IfMissing { Created, Left };

  void copyStagingFolder(const std::string& location);
  void adoptDefaultHome();
  OptionalString inHome(const std::string& relativePath) const;
  OptionalString besideHome(const std::string& name) const;
  OptionalString existingFolderHome() const;
  OptionalString baseCustomization() const;
  OptionalString existingResultFile() const;
  void setLauncherProperty(const std::string& key, const OptionalString& value);
  OptionalString installRecord(const std::string& key) const;
  void changeInstallRecord(const std::string& key, const OptionalString& value, IfMissing ifMissing);

  OptionalString _pathToRcphome;
  OptionalString _pathToRcpData;
};

}  // namespace hotfix

#endif
