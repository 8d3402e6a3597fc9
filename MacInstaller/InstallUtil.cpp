#include "MacInstaller/InstallUtil.h"

#include <algorithm>
#include <string_view>

#include "MacInstaller/InstanceFiles.h"
#include "MacInstaller/Properties.h"
#include "MacInstaller/Reasons.h"
#include "MacInstaller/StringUtil.h"
#include "Platform/CaseFolding.h"
#include "Platform/ChildProcess.h"
#include "Platform/FileManager.h"
#include "Platform/LocalTime.h"
#include "Platform/Ownership.h"
#include "Platform/Pasteboard.h"
#include "Platform/ProcessList.h"
#include "Platform/SystemLog.h"
#include "Platform/SystemPaths.h"
#include "Platform/UserDefaults.h"
#include "Platform/UserIdentity.h"
#include "Support/Path.h"
#include "Support/Progress.h"
#include "Support/TextEncoding.h"

namespace hotfix {

using platform::LogLevel;

namespace {

// The characters, in addition to the colon, that the installers refuse in a path.
constexpr char kRefusedCharacters[] = "!\"';\\#%|=?";
constexpr char kBundleProgramFolder[] = ".app/Contents/MacOS";
constexpr char kBundleSuffix[] = ".app";
// Deliberately without a dot: a folder "myapp" names a product too.
constexpr char kApplicationSuffix[] = "app";

constexpr char kLocaleKey[] = "AppleLocale";
constexpr char kDefaultLocale[] = "en_US";

constexpr char kTraceDomain[] = "com.qor.rcp.install.mac";
constexpr char kTraceKey[] = "com.qor.rcp.install.mac.traceEnable";

constexpr char kInstallerPasteboard[] = "INSTALLATION_INTERNAL_PASTEBOARD";
constexpr char kErrorMessageType[] = "ERROR_MESSAGE";
constexpr char kErrorCodeKey[] = "ERROR_CODE";
constexpr char kErrorDetailsKey[] = "ERROR_DETAILS";

constexpr char kPackageVariable[] = "${package}";

constexpr char kCurrentProcess[] = ">>>> current is %s.";
constexpr char kNoProcessList[] = "The running processes cannot be listed: whether the platform runs was not checked.";
constexpr char kPathToHome[] = "pathToRCPHome is %s.";
constexpr char kTargetName[] = "targetName is %s.";
constexpr char kInvalidHome[] = "Error path value, please provide a valid path value for rcp home.";
constexpr char kRefusedFolder[] = "Refused to change owner and permissions below %s: %s.";

bool hasPrefix(const std::string& text, const std::string& prefix) {
  return !prefix.empty() && text.compare(0, prefix.size(), prefix) == 0;
}

bool hasSuffix(const std::string& text, const std::string& suffix) {
  return text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

/// Whether a text can be a locale identifier, "zh-Hans_CN@currency=EUR". It is an argument of the launcher, which uses
/// it to find files. The longest of ICU (ULOC_FULLNAME_CAPACITY) has 156 characters.
bool isPlausibleLocale(const std::string& text) {
  constexpr size_t kLongest = 156;
  const auto isLetter = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); };
  const auto fits = [isLetter](char c) {
    return isLetter(c) || (c >= '0' && c <= '9') || std::string_view("_-@=;+").find(c) != std::string_view::npos;
  };
  return !text.empty() && text.size() <= kLongest && isLetter(text[0]) && std::all_of(text.begin(), text.end(), fits);
}

/// InstallUtil::copyFolderFrom, inside the source folders \a enclosing. A link back to one of them would be endless.
void copyOrMerge(const std::string& source, const std::string& target, std::vector<std::string>& enclosing) {
  if (!platform::exists(source)) return;
  if (!platform::exists(target)) {
    (void)platform::copyItem(source, target);
    return;
  }
  const std::string folder = platform::resolvedPath(source).value_or(source);
  // A folder merged into itself would lose every file, because each file is removed before it is copied.
  if (folder == platform::resolvedPath(target)) return;
  if (std::find(enclosing.begin(), enclosing.end(), folder) != enclosing.end()) return;
  enclosing.push_back(folder);
  // Deliberate: a plain file as the source has no names, so it does not change an existing destination.
  for (const std::string& name : platform::namesInFolder(source).value_or(std::vector<std::string>())) {
    const std::string from = path::appending(source, name);
    const std::string to = path::appending(target, name);
    if (platform::isFolder(from)) {
      copyOrMerge(from, to, enclosing);
    } else {
      (void)platform::removeItem(to);  // an entry of any kind, even a folder with content
      (void)platform::copyItem(from, to);
    }
  }
  enclosing.pop_back();
}

}  // namespace

// ----- Manifest version stamps -----

std::string InstallUtil::generateNewManifestVersion() {
  const platform::LocalTime now = platform::currentLocalTime();
  std::string stamp;
  for (const int field : {now.day, now.month, now.year % 100, now.hour, now.minute})
    stamp += processDate(std::to_string(field));
  return stamp;
}

std::string InstallUtil::processDate(const std::string& text) {
  return text::utf16FromUtf8(text).size() == 1 ? "0" + text : text;
}

// ----- Platform and process checks -----

bool InstallUtil::containUnSupportedCharacters(const OptionalString& path) {
  if (!path || path->empty()) return false;
  if (path->find_first_of(kRefusedCharacters) != std::string::npos) return true;
  for (const std::string& component : path::components(*path)) {
    if (component.find(':') != std::string::npos) return true;
  }
  return false;
}

std::vector<std::string> InstallUtil::getAllProcess(const std::string& key) {
  return platform::processInformation(key);
}

bool InstallUtil::checkBundleIsRunning(const std::string& prefix, std::string* running) {
  return checkBundleIsRunning(prefix, platform::kBundleExecutableKey, running);
}

bool InstallUtil::checkBundleIsRunning(const std::string& prefix, const std::string& kCFBundleKey,
                                       std::string* running) {
  const std::string lowerPrefix = platform::lowercased(prefix);
  const std::vector<std::string> values = getAllProcess(kCFBundleKey);
  if (values.empty() && !platform::canListProcesses()) {
    platform::log(LogLevel::Warning, kNoProcessList);
    progress::warn(kNoProcessList);
  }
  for (const std::string& value : values) {
    platform::log(LogLevel::Info, kCurrentProcess, value.c_str());
    if (!hasPrefix(platform::lowercased(value), lowerPrefix)) continue;
    if (running != nullptr) *running = value;
    return true;
  }
  return false;
}

OptionalString InstallUtil::getBundlePath(const OptionalString& path) {
  if (!path) return std::nullopt;
  const size_t place = path->rfind(kBundleProgramFolder);
  if (place == std::string::npos) return std::nullopt;
  return path->substr(0, place + sizeof kBundleSuffix - 1);
}

std::string InstallUtil::getTargetNameBy(const OptionalString& path) {
  platform::log(LogLevel::Info, kPathToHome, textOrNull(path));
  std::string current = path.value_or("");
  std::string component = path::lastComponent(current);
  while (component != "/" && !component.empty() && !hasSuffix(component, kApplicationSuffix)) {
    current = path::deletingLastComponent(current);
    component = path::lastComponent(current);
  }
  if (hasSuffix(component, kApplicationSuffix)) {
    std::string name = component.substr(0, component.find('.'));
    platform::log(LogLevel::Info, kTargetName, name.c_str());
    return name;
  }
  platform::log(LogLevel::Error, kInvalidHome);
  return "/";  // also for a path that does not begin with "/"
}

OptionalString InstallUtil::getBundleID(const std::string& bundlePath) {
  return Properties(path::appending(bundlePath, "Contents/Info.plist")).getTextForKey(kBundleIdentifierKey);
}

std::string InstallUtil::getCurrentLocale() {
  std::optional<PropertyListValue> locale;
  {
    const platform::ScopedEffectiveUser user(platform::invokingUserName());
    locale = platform::globalDefault(kLocaleKey);
  }
  const std::string* text = locale ? locale->asString() : nullptr;
  return text != nullptr && isPlausibleLocale(*text) ? *text : kDefaultLocale;
}

// ----- Tracing and installer messages -----

bool InstallUtil::shouldWriteTraces() {
  {
    const platform::ScopedEffectiveUser user(platform::invokingUserName());
    const auto domain = platform::persistentDomain(kTraceDomain);
    const PropertyListValue* value = domain ? valueFor(*domain, kTraceKey) : nullptr;
    (void)platform::booleanValue(value != nullptr ? std::optional(*value) : std::nullopt);
  }
  return true;  // deliberately ignores the switch after reading it
}

int InstallUtil::setupTraceOutput() {
  if (!shouldWriteTraces()) return -1;
  const int file = platform::openTraceFile(platform::onDisk(platform::kTraceFile));
  if (file != -1) platform::addLogFile(file);
  return file;
}

void InstallUtil::initInternalPasteboard(bool reset) {
  platform::declarePasteboardType(kInstallerPasteboard, kErrorMessageType);
  if (!reset) return;
  sendErrorMessage(PropertyListValue(
      PropertyListValue::Dictionary{{kErrorCodeKey, PropertyListValue::integer(0)},
                                    {kErrorDetailsKey, PropertyListValue(PropertyListValue::Array())}}));
}

void InstallUtil::sendErrorMessage(const std::optional<PropertyListValue>& report) {
  if (report) platform::setPasteboardPropertyList(kInstallerPasteboard, kErrorMessageType, *report);
}

std::optional<PropertyListValue> InstallUtil::getErrorMessage() {
  return platform::pasteboardPropertyList(kInstallerPasteboard, kErrorMessageType);
}

// ----- File and package helpers -----

std::string InstallUtil::getPathToMPKGThrough(const std::string& path) {
  return path::deletingLastComponent(path::deletingLastComponent(path::deletingLastComponent(path)));
}

std::string InstallUtil::getInstallerRootThrough(const std::string& path) {
  return path::deletingLastComponent(getPathToMPKGThrough(path));
}

platform::RepairOutcome InstallUtil::changeAttributesForDirectory(const OptionalString& folder) {
  platform::RepairOutcome outcome;
  outcome.folder = folder.value_or("");
  if (!folder || !platform::exists(*folder)) return outcome;
  if (platform::isFolder(*folder)) {
    outcome = platform::setAttributesBelow(*folder, {platform::invokingUserName(), kInstallerGroup, kInstallerMode});
  } else {
    outcome.isTreated = true;  // a file has no entries below it
  }
  if (!outcome.refusal.empty()) {
    platform::log(LogLevel::Error, kRefusedFolder, folder->c_str(), outcome.refusal.c_str());
  }
  return outcome;
}

void InstallUtil::startProvisionWithArgs(const std::string& commandLine) { platform::runShellCommand(commandLine); }

bool InstallUtil::hasPrefixCaseInsensitive(const OptionalString& text, const OptionalString& prefix) {
  return text && prefix && platform::hasPrefixIgnoringCase(*text, *prefix);
}

void InstallUtil::replacePackageVariableWith(const OptionalString& package,
                                             PropertyListValue::Dictionary& inProperties) {
  if (!package) return;
  for (auto& [key, value] : inProperties) {
    const std::string* text = value.asString();
    if (text != nullptr) value = StringUtil::stringByReplacingOccurrencesOfString(*text, kPackageVariable, *package);
  }
}

void InstallUtil::copyFolderFrom(const OptionalString& source, const OptionalString& to) {
  std::vector<std::string> enclosing;
  if (source && to) copyOrMerge(*source, *to, enclosing);
}

StepResult InstallUtil::removeReceipt(const OptionalString& packageIdentifier) {
  if (!packageIdentifier) return {StepResult::Kind::NothingToDo, "no receipt is recorded"};
  const std::string program = platform::onDisk(platform::kPkgutil);
  return launchResult(program, platform::runAndWait(program, {"--forget", *packageIdentifier}));
}

}  // namespace hotfix
