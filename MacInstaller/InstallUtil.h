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

/// Operations that the installer tools share: version stamps, checks of machine and paths, tracing, messages between
/// installers, file and package helpers. It has only static operations and keeps no state.
class InstallUtil {
 public:
  InstallUtil() = delete;

  // ----- Manifest version stamps -----

  /// A stamp for this moment: ten digits, day, month, year modulo 100, hour, minute of local time. Two stamps of the
  /// same minute are equal, and stamps do not sort by time.
  static std::string generateNewManifestVersion();

  /// A text of one character (one UTF-16 code unit) with "0" before it; any other text unchanged.
  static std::string processDate(const std::string& text);

  // ----- Platform and process checks -----

  /// Whether a path must be refused: it contains one of ! " ' ; \ # % | = ? or, in a component, a colon. An absent or
  /// empty path is not refused.
  static bool containUnSupportedCharacters(const OptionalString& path);

  /// The values of the running processes under a key of their information, see platform::processInformation.
  static std::vector<std::string> getAllProcess(const std::string& key);

  /// Whether the executable of a running process is at or below \a prefix, see the other form.
  /// \param[out] running when given, set to that executable.
  static bool checkBundleIsRunning(const std::string& prefix, std::string* running = nullptr);

  /// Whether a running process has, under the key, a value that begins with \a prefix, ignoring case.
  ///
  /// Deliberately a prefix test: "/Applications/P.app" also finds a program in "/Applications/P.app2". Logs each
  /// compared value at level 6, and none after the first match. Returns false for an empty prefix. Also returns false
  /// if the system cannot list its processes, with one log line at level 4 and a warning to the listener of progress.
  static bool checkBundleIsRunning(const std::string& prefix, const std::string& kCFBundleKey,
                                   std::string* running = nullptr);

  /// Folder of the application bundle that contains a path: the path up to the last ".app" before "/Contents/MacOS",
  /// case-sensitive. None when the path has no such part.
  static OptionalString getBundlePath(const OptionalString& path);

  /// Name of the product of a home folder: the part before the first "." of the last component that ends in "app"
  /// (deliberately with or without a dot), searched upwards.
  ///
  /// Logs the path at level 6, then the name at level 6. Returns "/" with one log line at level 3 when there is no such
  /// component, and for a relative, an empty and an absent path.
  static std::string getTargetNameBy(const OptionalString& path);

  /// The identifier in the `Contents/Info.plist` of a bundle folder; none when the file or the key is missing.
  static OptionalString getBundleID(const std::string& bundlePath);

  /// The locale of the invoking user ("AppleLocale"), read as that user even when the tool runs as root; otherwise the
  /// one for all users, otherwise "en_US". A value that cannot be a locale identifier gives "en_US". If the account is
  /// known, the effective user id is switched during the read.
  ///
  /// Nothing is cached: each call reads the settings again, and each pass of the platform calls this once. The size of
  /// the settings is limited, see UserDefaults.h.
  static std::string getCurrentLocale();

  // ----- Tracing and installer messages -----

  /// Whether log lines are copied into the trace file: always true. The user's trace switch is deliberately read, as
  /// the user, and deliberately not used.
  static bool shouldWriteTraces();

  /// Creates or empties the trace file "/tmp/install_trace.log", and adds it to the log's outputs until the process
  /// ends. If it cannot be opened, tracing is silently off. \return its descriptor; -1 if tracing is off.
  static int setupTraceOutput();

  /// Claims the installers' pasteboard, which empties it. With \a reset, stores a report that means no error
  /// ("ERROR_CODE" 0 and an empty "ERROR_DETAILS").
  static void initInternalPasteboard(bool reset);

  /// Stores a report on the installers' pasteboard. Does nothing unless this process was the last to claim it, or if
  /// the report is absent.
  static void sendErrorMessage(const std::optional<PropertyListValue>& report);

  /// The report on the installers' pasteboard, or none.
  static std::optional<PropertyListValue> getErrorMessage();

  // ----- File and package helpers -----

  /// The path without its last three components: the metapackage around a component package.
  static std::string getPathToMPKGThrough(const std::string& path);

  /// The path without its last four components: the parent folder of the metapackage.
  static std::string getInstallerRootThrough(const std::string& path);

  /// Sets owner, group and mode of everything below a folder, but not of the folder itself: the invoking user, the
  /// group "admin" and 0775. See platform::setAttributesBelow for links and failures.
  ///
  /// \return the outcome: true when every entry has these attributes now, or the folder is empty. False for an absent
  ///     or missing folder. False for a refused folder, with the reason logged at level 3 and nothing changed: it
  ///     belongs to the machine or is a user's home, or an untrusted link leads to it.
  static platform::RepairOutcome changeAttributesForDirectory(const OptionalString& folder);

  /// Runs a command line in the system shell and waits for it. Ignores its exit status. Does nothing for an empty
  /// command line.
  static void startProvisionWithArgs(const std::string& commandLine);

  /// Whether a text begins with a prefix, ignoring case. False for an empty prefix, and when either is absent.
  /// A match never ends inside a character: "s" is not a prefix of "ß".
  static bool hasPrefixCaseInsensitive(const OptionalString& text, const OptionalString& prefix);

  /// Replaces "${package}" in every value of \a inProperties that is a text. Does not change nested values. An absent
  /// package changes nothing.
  static void replacePackageVariableWith(const OptionalString& package, PropertyListValue::Dictionary& inProperties);

  /// Copies a folder to an unused path, whose parent folder must exist, or merges it into the existing folder there.
  ///
  /// In a merge, a file replaces any entry of its name, a folder is merged into the folder of its name, and entries
  /// that only the destination has are kept. Does nothing if a path is absent or the source is missing, or if the
  /// source is a plain file and the destination exists. Links to folders in the source are followed, but not back to a
  /// folder that is being merged. A folder is never merged into itself, even through links. Failures are silently
  /// ignored.
  static void copyFolderFrom(const OptionalString& source, const OptionalString& to);

  /// Makes the system forget an installer receipt, with `/usr/sbin/pkgutil --forget`. Does not examine the result. Logs
  /// a program that cannot be started at level 3. Does nothing with an absent identifier.
  /// \return the outcome, as far as it is known.
  static StepResult removeReceipt(const OptionalString& packageIdentifier);
};

}  // namespace hotfix

#endif
