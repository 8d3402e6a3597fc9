#ifndef MACINSTALLER_INSTALL_UTIL_H_
#define MACINSTALLER_INSTALL_UTIL_H_

#include <optional>
#include <string>
#include <vector>

#include "Platform/Ownership.h"
#include "Support/OptionalString.h"
#include "Support/PropertyListValue.h"
#include "Support/StepResult.h"

namespace hotfix {

/// What the installer tools share: version stamps, checks of machine and paths, tracing, messages to one another,
/// file and package helpers. Class-level operations only; no instance is ever made, and nothing is kept.
class InstallUtil {
 public:
  InstallUtil() = delete;

  // ----- Manifest version stamps -----

  /// A stamp for this moment: ten digits, day, month, year modulo 100, hour, minute of local time. Two stamps of the
  /// same minute are equal, and stamps do not sort by time.
  static std::string generateNewManifestVersion();

  /// A text of one character (one UTF-16 code unit) with "0" before it; any other text as it is.
  static std::string processDate(const std::string& text);

  // ----- Platform and process checks -----

  /// Whether a path must be refused: it holds one of ! " ' ; \ # % | = ? or, in a component, a colon. An absent or
  /// empty path is not refused.
  static bool containUnSupportedCharacters(const OptionalString& path);

  /// The values that running processes have under a key of their information, see platform::processInformation.
  static std::vector<std::string> getAllProcess(const std::string& key);

  /// Whether a process runs whose executable lies at or below \a prefix, see the other form.
  /// \param[out] running when given, set to that executable.
  static bool checkBundleIsRunning(const std::string& prefix, std::string* running = nullptr);

  /// Whether a running process has, under the key, a value that begins with \a prefix, ignoring case.
  ///
  /// Deliberately a prefix test: "/Applications/P.app" also finds a program in "/Applications/P.app2". Each value
  /// looked at is logged at level 6; none after the first match. An empty prefix gives false. So does a system that
  /// cannot list its processes, with one line at level 4 and for who watches.
  static bool checkBundleIsRunning(const std::string& prefix, const std::string& kCFBundleKey,
                                   std::string* running = nullptr);

  /// Folder of the application bundle that a path lies in: the path up to the last ".app" that "/Contents/MacOS"
  /// follows, case-sensitive. None when there is no such place in it.
  static OptionalString getBundlePath(const OptionalString& path);

  /// Name of the product that a home folder belongs to: of its last component, going upwards, that ends in "app" (with
  /// or without a dot, deliberately), the part before the first ".".
  ///
  /// Logs the path at level 6, then the name at level 6. "/" with one line at level 3 when no component ends so; also
  /// for a relative, an empty and an absent path.
  static std::string getTargetNameBy(const OptionalString& path);

  /// The identifier in the `Contents/Info.plist` of a bundle folder; none when the file or the key is missing.
  static OptionalString getBundleID(const std::string& bundlePath);

  /// The locale that the invoking user chose ("AppleLocale"), read as that user also when the tool runs as root, else
  /// the one for all users, else "en_US". A value that cannot be a locale identifier counts as "en_US". The effective
  /// user id is switched for the time of the read, when the account is known.
  ///
  /// Nothing is kept: each call reads the settings anew, and each pass of the platform makes one. Their size is
  /// bounded, see UserDefaults.h.
  static std::string getCurrentLocale();

  // ----- Tracing and installer messages -----

  /// Whether log lines are copied into the trace file: always true. The user's trace switch is read, as the user, and
  /// then not used; both deliberately.
  static bool shouldWriteTraces();

  /// Opens the trace file "/tmp/install_trace.log", made or emptied, and adds it to the log's outputs until the process
  /// ends. One that cannot be opened leaves tracing off, silently.
  static void setupTraceOutput();

  /// Claims the installers' pasteboard, which empties it; with \a reset, stores a report that means no error
  /// ("ERROR_CODE" 0 and an empty "ERROR_DETAILS").
  static void initInternalPasteboard(bool reset);

  /// Stores a report on the installers' pasteboard. Does nothing unless this process was the last to claim it, and for
  /// an absent report.
  static void sendErrorMessage(const std::optional<PropertyListValue>& report);

  /// The report on the installers' pasteboard, or none.
  static std::optional<PropertyListValue> getErrorMessage();

  // ----- File and package helpers -----

  /// The path without its last three components: the metapackage around a component package.
  static std::string getPathToMPKGThrough(const std::string& path);

  /// The path without its last four components: the folder that holds the metapackage.
  static std::string getInstallerRootThrough(const std::string& path);

  /// Gives everything below a folder, but not the folder itself, the invoking user as owner, the group "admin" and the
  /// mode 0775; see platform::setAttributesBelow for links and failures.
  ///
  /// \return what it came to: true when every entry has them now, as in an empty folder. False for an absent or missing
  ///     folder; false with one line at level 3, which says why, and nothing changed for a folder that is refused: the
  ///     machine's or a user's own, or one that somebody's link leads to.
  static platform::RepairOutcome changeAttributesForDirectory(const OptionalString& folder);

  /// Hands a command line to the system shell and waits for it; its exit status is discarded. An empty one does
  /// nothing.
  static void startProvisionWithArgs(const std::string& commandLine);

  /// Whether a text begins with a prefix, ignoring case. False for an empty prefix, and when either is absent.
  /// A match never ends inside a character: "s" is no prefix of "ß".
  static bool hasPrefixCaseInsensitive(const OptionalString& text, const OptionalString& prefix);

  /// Replaces "${package}" in every value of \a inProperties that is a text; nested values are left alone. An absent
  /// package changes nothing.
  static void replacePackageVariableWith(const OptionalString& package, PropertyListValue::Dictionary& inProperties);

  /// Copies a folder to a place where nothing is, in a folder that must exist, or merges it into the folder that is
  /// there.
  ///
  /// In a merge a file replaces whatever has its name, a folder is merged into its namesake, and what only the
  /// destination has stays. Nothing happens when a path is absent or the source is missing, and nothing to an existing
  /// destination when the source is a plain file. Links to folders in the source are followed, but not back to a folder
  /// that is being merged. A folder is never merged into itself, by whatever links. Failures are passed over in
  /// silence.
  static void copyFolderFrom(const OptionalString& source, const OptionalString& to);

  /// Makes the system forget an installer receipt, with `/usr/sbin/pkgutil --forget`. What comes of it is not examined;
  /// a program that cannot be started is a line at level 3. An absent identifier does nothing.
  /// \return how it ended, as far as it is known.
  static StepResult removeReceipt(const OptionalString& packageIdentifier);
};

}  // namespace hotfix

#endif
