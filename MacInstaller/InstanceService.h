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

/// One installed instance of the platform: where each of its files lives, and every operation on them.
///
/// All operations work from two paths, the home folder and the data folder (workspace); both may be absent. Without a
/// home folder a getter answers none or false and logs nothing, and a setter does nothing, except where said. Each
/// operation reads its files afresh and writes them back before it returns; every rewrite of a file is atomic (see
/// platform::writeFileAtomically). Paths below are relative to the home folder unless said otherwise.
///
/// An operation makes no folder, except where said: what it writes needs the folder around it. That is the home folder
/// itself where no other is named.
class InstanceService {
 public:
  // ----- Making an instance service -----

  /// For the instance at \a pathToRcphome, with side effects that every caller inherits:
  ///
  /// - installs the process-wide copy policy below;
  /// - makes the home folder and its missing parents;
  /// - copies the staging folder "/tmp/zelcore2/" to the place that the internal configuration has under
  ///   "newInstallLocation", in a folder that must exist. A failed copy is a line at level 3; no such place a line at
  ///   level 4; a staging folder of somebody that is not trusted counts as missing, with a line at level 4.
  ///
  /// The paths are kept only when something exists at the home path then, else one line at level 3 says so.
  InstanceService(const OptionalString& pathToRcphome, const OptionalString& pathToRcpData);

  /// The same without a data folder.
  explicit InstanceService(const OptionalString& pathToRcphome);

  InstanceService(const InstanceService&) = delete;
  InstanceService& operator=(const InstanceService&) = delete;

  /// The home folder, or none.
  const OptionalString& pathToRcphome() const { return _pathToRcphome; }

  /// The copy policy: a copy goes on past an item exactly when that item exists already.
  static bool fileManagerShouldProceedAfterError(const platform::FileError& error, const std::string& copyingItemAtPath,
                                                 const std::string& toPath);

  // ----- Install manifests -----

  /// Replaces `deploy/<toFile>` by a copy of \a source and, with an installer root that exists, rewrites its
  /// "${installer.root}" references to "file:" and the root.
  ///
  /// Needs the folder `deploy`: a new home folder has none. The old file is deleted before the source is looked at:
  /// with an absent or missing source it is gone. Without a home folder the default home
  /// "/Applications/Vantelmor.app/Contents/MacOS/rcp" is taken, logged at level 3, and kept for all later operations.
  /// The steps are logged at level 6.
  /// \return whether the copy, and the rewriting if it was asked for, succeeded. A copy that cannot be rewritten, as it
  ///     is no XML, stays. False, with nothing copied, where an old file or broken link cannot be deleted, or there is
  ///     no `deploy`. On false \a error, when given, holds the reason, if that was the copy.
  bool copyInstallManifest(const OptionalString& source, const std::string& toFile,
                           const OptionalString& replaceInstallerRootWith, platform::FileError* error = nullptr);

  /// The same for `deploy/install.xml`.
  bool copyInstallManifest(const OptionalString& source, const OptionalString& replaceInstallerRootWith);

  /// The same for `deploy/install.update.xml`.
  /// On false \a error, when given, holds the reason, if that was the copy.
  bool copyUpdateManifest(const OptionalString& source, const OptionalString& replaceInstallerRootWith,
                          platform::FileError* error = nullptr);

  /// Replaces the manifest of the same name in `deploy`, which it needs, by a copy of \a source, unchanged.
  ///
  /// \return false, with nothing done, when the home folder or the source is absent or missing.
  bool copyManifest(const OptionalString& source);

  /// Replaces `deploy/uninstall.hotfix.xml` by a copy of \a source. Needs the folder `deploy`. The answer is as for
  /// copyManifest, also where an old file or broken link cannot be deleted; nothing is logged.
  bool copyHotfixUninstallManifest(const OptionalString& source);

  /// Copies `deploy/install.xml` to `deploy/install.<version>.xml`, named by the "provisioning.manifest.version" of
  /// `rcplauncher.properties`, or by "old" when there is none. An older backup of that name stays as it is. Does
  /// nothing without `rcplauncher.properties` or `deploy/install.xml`; a failed copy is not told.
  void backupInstallManifest();

  // ----- Provisioning runs -----

  /// The launcher's arguments for a provisioning run with this operation, in the invoking user's locale. What comes
  /// after "-vmargs" is for the platform's virtual machine; "-data" comes only with a data folder.
  static std::vector<std::string> provisioningArguments(const std::string& operation, const OptionalString& data);

  /// Starts \a launcher for a clean-up pass and waits for it, see platform::ChildProcess. The data folder is passed on
  /// when there is one. Needs no home folder. A launcher that is absent or cannot be started is a line at level 3.
  StepResult startProvisioningWithCleanUp(const OptionalString& launcher);

  /// The same for an update pass.
  StepResult startProvisioningWithUpdate(const OptionalString& launcher);

  /// The outcome of the last provisioning run, from the launcher's result file `.provisioning_rc` beside the home
  /// folder: 0 when its "rc" is 0 or 2, else -1. A missing home ("~" expanded), file or key gives -1; a text without
  /// digits counts as 0. Nothing is logged. On -1 \a reason, when given, says what was found, to follow "because".
  std::int32_t getProvisioningResult(std::string* reason = nullptr) const;

  /// Deletes the result file, if it exists; a failure is not told.
  void removeProvisionRCFile();

  // A properties file that exists and cannot be read is left as it is, with a line at level 3: see
  // JavaProperties::savePropertiesToFile.

  /// Sets "provisioning.manifest.version" in `rcplauncher.properties`. Does nothing when the file is missing.
  void updateProvisionManifestVersion(const std::string& version);

  /// Sets "rcp.install.id" in `rcplauncher.properties`. Does nothing when the file is missing.
  void updateInstallID(const std::string& id);

  /// Makes the "provisioning.manifest.version" of `rcplauncher.properties` the "rcp.install.id" there and in
  /// `.config/rcpinstall.properties` of the data folder. Does nothing without a data folder, and unless both files
  /// exist; below the data folder a link does not count (see platform::FileBelow). Without a version both files are
  /// only rewritten, and each refused change is a line at level 3.
  void updateInstallIDWithProvManVer();

  // ----- Installed versions and hotfix records -----
  // The records are keys of `installInfo.plist`; other keys of that file are carried through every rewrite. A file that
  // is no property list reads as one without the key, and is never written.

  /// Whether `deploy/install.xml` exists, whatever it is.
  bool hasInstanceInstalled() const;

  /// Version of the base plug-in: of the entries of `eclipse/plugins` that begin with "com.qor.rcp.base_", the greatest
  /// text between the first "_" and the next or the end. Compared deliberately as text, so "9.0" is above "10.0". None
  /// without that folder or such an entry.
  OptionalString getBaseVersion() const;

  /// "CFBundleShortVersionString" in `Contents/Info.plist` of the application bundle around the home folder; none
  /// without bundle, file or key.
  OptionalString getInstalledTargetVersion() const;

  /// The record "version". Logs the path of the file at level 6.
  OptionalString getInstalledVersion() const;

  /// Records "version", in a new file if need be. An absent version does nothing.
  void setInstalledVersion(const OptionalString& version);

  /// Whether there is a record "hotfixVersion", whatever its value.
  bool isHotfixApplied() const;

  /// The record "hotfixVersion".
  OptionalString getCurrentHotfixVersion() const;

  /// Records "hotfixVersion", or removes the record when \a version is absent. A missing file is created either way.
  void updateHotfixVersion(const OptionalString& version);

  /// Records "SKIPRUNNINGCHECK" as "true" or "false", in a new file if need be.
  void saveHotfixSkipRunningCheckProperty(bool skip);

  /// Whether the check for a running platform is to be skipped: the record is exactly "true", or the file exists
  /// without that record. The latter is deliberate: an uninstall goes ahead whenever the records do not say otherwise.
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
  // Copies go by the copy policy: a target that exists already stays as it is, and its copy counts as a success.

  /// Makes `rcplauncher.properties` from a template, unless it exists, and sets in it "rcp.install.id" and
  /// "provisioning.manifest.version" (one new stamp), "provisioning.manifest", "rcp.base.location" (with a base
  /// version) and "rcp.data" (with a workspace). All other keys of file or template are kept.
  ///
  /// Without a home folder the default home is taken and kept, as in copyInstallManifest. A missing home folder is
  /// made, with its parents.
  /// \return true when the file was laid out, whatever its last save reported. False, with a line at level 3, when the
  ///     template is absent or missing, or could not be copied in two tries; also when the second try succeeded after
  ///     the home folder could not be made.
  bool generateRcplauncherPropertiesWithTemplate(const OptionalString& templatePath, const OptionalString& workspace);

  /// Sets a new "rcp.install.id" and "provisioning.manifest.version" (the same stamp) and, with a base version,
  /// "rcp.base.location" in an existing `rcplauncher.properties`. Nothing is logged.
  /// \return whether the file could be saved; false when there is no home folder or no such file in it.
  bool updateRcpLauncherProperties();

  /// Copies a template to `osgiagent.properties`; an existing file stays.
  /// \return the copy's success. False without a home folder; false, with a line at level 3, when the template is
  /// absent
  ///     or missing.
  bool copyOgsiAgentProperties(const OptionalString& templatePath);

  /// Replaces `deploy/jvm.properties` by a copy of a template or, when that is absent or missing, by an empty file. A
  /// missing `deploy` is made. Folder and empty file get the process's user as owner, group "admin" and mode 0775.
  /// \return whether the file is there now. False without a home folder; false, with a line at level 3, when `deploy`
  ///     cannot be made.
  bool generateJVMPropertiesWithTemplate(const OptionalString& templatePath);

  /// Merges a customization file into `plugin_customization.ini` (the given file's values win), or copies it there when
  /// there is none yet. With a missing file the own one is only rewritten.
  /// \return false, with nothing done, without a home folder or a path; else true, whatever came of it.
  bool mergePluginCustomizationWithRcphome(const OptionalString& file);

  /// Merges a customization file into the base plug-in's own `plugin_customization.ini`, which keeps the result, and
  /// writes that result to the home folder's `plugin_customization.ini` as well.
  /// \return false, with nothing done, without a home folder, an existing file or a base version. True otherwise, also
  ///     when the base plug-in has no such file: then nothing is done.
  bool mergePluginCustomizationWithBase(const OptionalString& file);

  // ----- Links, permissions and workspace -----

  /// Writes the link files of the plug-in loader: "path" in `eclipse/links/rcp.link` (the home folder) and in
  /// `eclipse/links/shared.link` ("shared" beside the home folder). Other keys in them are kept.
  ///
  /// A missing `eclipse/links` is made, owned by the invoking user and group "admin", mode 0775; an existing one is
  /// used as it is.
  /// \return false without a folder `eclipse`, or, with a line at level 4, when `eclipse/links` cannot be made. Whether
  ///     the files could be saved is not looked at.
  bool generateLinks();

  /// Hands everything below the home folder and the folder "shared" beside it (with \a treatHome) and below
  /// \a workspace (unless absent) to the invoking user, see InstallUtil::changeAttributesForDirectory. One that is
  /// missing is left out.
  /// \return what the repair of the workspace came to; none when it is absent.
  std::optional<platform::RepairOutcome> updatePermissions(bool treatHome, const OptionalString& workspace);

  /// The same with the workspace that getWorkspace finds, or none.
  std::optional<platform::RepairOutcome> updatePermissions(bool treatHome, bool updateWorkspace);

  /// Not to be called: a literal path would silently become a boolean.
  void updatePermissions(bool treatHome, const char* workspace) = delete;

  /// The data folder, or, when there is none, "rcp.data" of `rcplauncher.properties` with "${env.HOME}" replaced by
  /// the environment variable HOME (when that is set). Whether it exists is not tested. None without that file or key.
  OptionalString getWorkspace() const;

  // ----- Add-on registry, keystores and extras -----

  /// The entries of `addonInfo.plist`, in the order of their installation, with every key and type they have. Empty
  /// when the file lists none or cannot be read; none when it does not exist. A "~" in the home's path is not expanded.
  std::optional<PropertyListValue::Array> getAllAddonRegistryInfo() const;

  /// The first entry whose "ID" is exactly \a addonID; none when there is none, or for an absent ID.
  std::optional<PropertyListValue::Dictionary> getRegistryInfoForAddon(const OptionalString& addonID) const;

  /// The "version" of an add-on's entry, or none.
  OptionalString getAddonInstalledVersion(const OptionalString& addonID) const;

  /// The "CFBundleIdentifier" of an add-on's entry, or none.
  OptionalString getAddonInstalledBundleID(const OptionalString& addonID) const;

  /// Looks the entry up and forgets it in memory. The file is not written: the operation has no lasting effect, on
  /// purpose. An absent ID, one that is not there and a missing file do nothing.
  void removeRegistryInfoforAddon(const OptionalString& addonID);

  /// Replaces all keystore files of `deploy` (names that begin with ".keystore" in any letter case) by those of a
  /// folder. Needs the folder `deploy`. Each step is a line at level 6, whether it succeeded or not; without a home
  /// folder or `deploy` too, though nothing is copied then. A source that is absent, missing or without keystores
  /// leaves none.
  void copyKeyStores(const OptionalString& sourceFolder);

  /// Merges a folder into `deploy/extras`, see InstallUtil::copyFolderFrom. A missing `deploy/extras` is made, in the
  /// folder `deploy`, which it needs. Does nothing for a source that is absent, no folder, or empty.
  void copyExtras(const OptionalString& sourceFolder);

  // ----- Log collection -----

  /// Path of the log file of an add-on's operation: "/tmp/rcp_<name>_<action>.log", with "addon" for an absent name.
  /// Logged at level 6. Needs no home folder.
  static std::string getAddonLogFile(const OptionalString& name, const std::string& action);

  /// collectLogFiles with the instance's own workspace.
  StepResult collectLogFiles(const std::string& productName, const std::string& action, const std::string& logFile);

  /// Runs the log-collection utility of the instance, `collectionutility.jar`, with the Java runtime of the machine,
  /// and waits for it. Progress is logged at levels 5 and 6.
  ///
  /// Does nothing, after a line that says so, without a Java runtime, when the one that the system names has a relative
  /// path, or without the utility. What the utility itself
  /// does stays unknown: the line that tells of success is logged as soon as it was started, deliberately. An instance
  /// without a version passes a fresh stamp, one without a workspace an empty text.
  StepResult collectLogFiles(const std::string& productName, const std::string& action, const std::string& logFile,
                             const OptionalString& workspaceLocation);

 private:
  /// What a change of the install records does when there is no file for them yet.
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
