#include "MacInstaller/inspect/Warnings.h"

#include <sys/stat.h>
#include <sys/statvfs.h>

#include "MacInstaller/Properties.h"
#include "Platform/FileManager.h"
#include "Platform/UserIdentity.h"
#include "Support/Path.h"

namespace hotfix {

using document::Json;

namespace {

constexpr unsigned long long kLeastSpace = 1ULL << 20;

class Warnings {
 public:
  void add(const char* name, const std::string& text) {
    _json.push_back({{"warning", name}, {"text", document::fromText(text)}});
  }
  const Json& json() const { return _json; }

 private:
  Json _json = Json::array();
};

/// The innermost of an entry and the folders above it that somebody else than root and the account itself can change.
OptionalString writableByOthers(std::string path) {
  for (;;) {
    struct stat status;
    if (stat(path.c_str(), &status) == 0) {
      const bool isSticky = S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX) != 0;
      if ((status.st_mode & S_IWOTH) != 0 && !isSticky) return path;
      if (!platform::isTrustedOwner(status.st_uid)) return path;
    }
    const std::string parent = path::deletingLastComponent(path);
    if (parent == path || parent.empty()) return std::nullopt;
    path = parent;
  }
}

void warnOfUsers(Warnings& warnings) {
  if (!platform::hasRootRights())
    warnings.add("not-root", "Not run by root: what needs root's rights is shown as it would fail.");
  if (const OptionalString caller = platform::callerHiddenBySudo()) {
    warnings.add("user-is-root", "USER is root, so the workspace will belong to root. To give it to " + *caller +
                                     ": sudo USER=" + *caller + " hotfixUninstall ...");
  }
}

void warnOfInstance(Warnings& warnings, const std::string& home) {
  const std::string records = path::appending(home, "installInfo.plist");
  if (platform::exists(records)) {
    const auto skip = Properties(records).getPropertyForKey(OptionalString("SKIPRUNNINGCHECK"));
    if (!skip) {
      warnings.add("running-check-skipped", records + " has no SKIPRUNNINGCHECK: the running check is skipped.");
    } else if (*skip == PropertyListValue("true")) {
      warnings.add("running-check-skipped",
                   "SKIPRUNNINGCHECK is true in " + records + ": the running check is skipped.");
    }
  }
  if (!platform::exists(path::appending(home, "collectionutility.jar"))) {
    warnings.add("no-collection-utility", "There is no " + home + "/collectionutility.jar: no logs will be collected.");
  }
  const std::string launcher = path::appending(home, "rcplauncher");
  if (!platform::exists(launcher)) {
    warnings.add("no-launcher", "There is no " + launcher + ": the platform cannot be run.");
  } else if (const OptionalString writable = writableByOthers(launcher)) {
    warnings.add("launcher-writable",
                 *writable + " can be changed by somebody else: root would run what is put there.");
  }
  struct statvfs volume;
  if (statvfs(home.c_str(), &volume) == 0 &&
      static_cast<unsigned long long>(volume.f_bavail) * volume.f_frsize < kLeastSpace) {
    warnings.add("no-space", "There is less than 1 MiB free on the volume of " + home + ".");
  }
}

}  // namespace

Json previewWarnings(const OptionalString& home, const OptionalString& data) {
  Warnings warnings;
  warnOfUsers(warnings);
  if (home) warnOfInstance(warnings, *home);
  if (data && platform::isMissing(*data)) warnings.add("no-data-folder", "There is no " + *data + ".");
  return warnings.json();
}

}  // namespace hotfix
