#include "MacInstaller/inspect/Warnings.h"

#include "MacInstaller/InstanceFiles.h"
#include "MacInstaller/Properties.h"
#include "MacInstaller/tool/runTool.h"
#include "Platform/FileManager.h"
#include "Platform/UserIdentity.h"
#include "Platform/preview/Machine.h"
#include "Support/Path.h"

namespace hotfix {

using document::Json;

namespace {

class Warnings {
 public:
  void add(const char* name, const std::string& text) {
    _json.push_back({{"warning", name}, {"text", document::fromText(text)}});
  }
  const Json& json() const { return _json; }

 private:
  Json _json = Json::array();
};

void warnOfUsers(Warnings& warnings) {
  if (!platform::hasRootRights())
    warnings.add("not-root", "Not run by root: what needs root's rights is shown as it would fail.");
  if (const OptionalString note = noteOnSudo()) warnings.add("user-is-root", *note);
}

void warnOfInstance(Warnings& warnings, const std::string& home) {
  const std::string records = path::appending(home, "installInfo.plist");
  if (platform::exists(records)) {
    const auto skip = Properties(records).getPropertyForKey("SKIPRUNNINGCHECK");
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
  } else if (const OptionalString writable = platform::preview::changeableByOthers(launcher, kInstallerGroup)) {
    warnings.add("launcher-writable",
                 *writable + " can be changed by somebody else: root would run what is put there.");
  }
}

}  // namespace

Json previewWarnings(const OptionalString& home, const OptionalString& data) {
  Warnings warnings;
  warnOfUsers(warnings);
  if (home) warnOfInstance(warnings, *home);
  if (data && platform::isKnownMissing(*data)) warnings.add("no-data-folder", "There is no " + *data + ".");
  return warnings.json();
}

}  // namespace hotfix
