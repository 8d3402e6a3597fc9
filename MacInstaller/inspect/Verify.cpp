#include "MacInstaller/inspect/Verify.h"

#include "MacInstaller/InstallUtil.h"
#include "MacInstaller/inspect/ExitStatus.h"
#include "MacInstaller/inspect/Facts.h"
#include "Platform/FileManager.h"
#include "Platform/SystemPaths.h"
#include "Platform/UserIdentity.h"
#include "Platform/preview/Preview.h"

namespace hotfix {

using document::field;
using document::fromText;
using document::Json;
using document::toText;

namespace {

class Points {
 public:
  void add(const char* point, bool isRight, const std::string& text) { add(point, isRight ? "yes" : "no", text); }
  void addUnknown(const char* point, const std::string& text) { add(point, "unknown", text); }
  const Json& json() const { return _json; }

 private:
  void add(const char* point, const char* answer, const std::string& text) {
    _json.push_back({{"point", point}, {"answer", answer}, {"text", fromText(text)}});
  }
  Json _json = Json::array();
};

void addFeatures(Points& points, const Json& before) {
  const Json& features = field(before, "features");
  size_t left = 0;
  OptionalString first;
  for (const Json& feature : features) {
    const OptionalString folder = toText(field(feature, "folder"));
    if (!folder || platform::isKnownMissing(*folder)) continue;
    if (left++ == 0) first = folder;
  }
  if (!features.is_array() || features.empty()) {
    points.addUnknown("features removed", "the manifest named none that it removes");
  } else {
    points.add("features removed", left == 0,
               left == 0 ? std::to_string(features.size()) + (features.size() == 1 ? " is gone" : " are gone")
                         : std::to_string(left) + " are still there, the first one is " + first.value_or(""));
  }
}

void addReceipt(Points& points, const Json& before) {
  constexpr char kPoint[] = "receipt forgotten";
  const OptionalString package = toText(field(field(before, "records"), "installedHotfixBundleID"));
  if (!package) return points.addUnknown(kPoint, "no package was recorded");
  const std::optional<bool> isKnown = isReceiptKnown(*package);
  if (!isKnown) return points.addUnknown(kPoint, std::string(platform::kPkgutil) + " cannot be asked");
  points.add(kPoint, !*isKnown, *package + (*isKnown ? " is still known" : " is forgotten"));
}

void addWorkspace(Points& points, const OptionalString& data) {
  constexpr char kPoint[] = "workspace owned";
  if (!data) return points.addUnknown(kPoint, "the data folder is not known");
  (void)InstallUtil::changeAttributesForDirectory(data);  // the preview platform only records what is left to do
  const auto& repairs = platform::preview::recording().repairs;
  if (repairs.empty()) return points.addUnknown(kPoint, "there is no folder " + *data);
  const auto& repair = repairs.back();
  if (!repair.refusal.empty()) return points.addUnknown(kPoint, *data + " is not repaired: " + repair.refusal);
  const std::uint64_t wrong = repair.changed + repair.failed;
  points.add(kPoint, wrong == 0,
             wrong == 0 ? "all " + std::to_string(repair.entries) + " entries of " + *data
                        : std::to_string(wrong) + " of " + std::to_string(repair.entries) + " entries of " + *data +
                              " have another owner, group or mode");
}

}  // namespace

std::string objectionTo(const Json& before) {
  if (!before.is_object()) return "is no JSON object";
  if (field(before, "document") != "status") return "is no document of \"hotfixInspect status --json\"";
  const auto* version = field(before, "schemaVersion").get_ptr<const std::string*>();
  if (version == nullptr || version->rfind("1.", 0) != 0) return "is of a version of the schema that is not known";
  const OptionalString home = toText(field(before, "home"));
  if (!home || home->empty()) return "has no home folder";
  return "";
}

Json verifyDocument(const Json& before) {
  const Facts now = readFacts(toText(field(before, "home")).value_or(""), toText(field(before, "data")));
  Points points;
  points.add("instance", now.hasInstallManifest,
             now.inDeploy("install.xml") + (now.hasInstallManifest ? " is there" : " is missing"));
  points.add("manifest consumed", now.hasHome && !now.hasUninstallManifest && now.hasUpdateManifest,
             now.hasUninstallManifest ? now.inDeploy("uninstall.hotfix.xml") + " is still there"
             : now.hasUpdateManifest  ? now.inDeploy("install.update.xml") + " was made of it"
                                      : "there is no install.update.xml");
  if (now.resultCode) {
    points.add("platform's result", now.isGoodResult, "the last result is " + *now.resultCode);
  } else {
    points.addUnknown("platform's result", "there is no " + now.resultFile);
  }
  addFeatures(points, before);
  addReceipt(points, before);
  const bool areCleared =
      now.hasRecords && !now.areRecordsDamaged && !now.hotfixVersion && !now.skipRunningCheck && !now.bundleId;
  points.add("records cleared", areCleared,
             now.areRecordsDamaged ? now.recordsFile + " cannot be read"
             : !now.hasRecords     ? "there is no " + now.recordsFile
             : areCleared          ? "no hotfix is recorded in " + now.recordsFile
                                   : "a hotfix is still recorded in " + now.recordsFile);
  addWorkspace(points, now.data);

  Json document = document::newDocument("verify");
  document["home"] = fromText(now.home);
  document["data"] = fromText(now.data);
  document["before"] = {{"time", field(before, "time").is_string() ? field(before, "time") : Json(nullptr)},
                        {"state", field(before, "state").is_string() ? field(before, "state") : Json(nullptr)}};
  bool isWrong = false;
  bool isUnknown = false;
  for (const Json& point : points.json()) {
    isWrong = isWrong || field(point, "answer") == "no";
    isUnknown = isUnknown || field(point, "answer") == "unknown";
  }
  document["removed"] = isWrong ? "no" : isUnknown ? "undecided" : "yes";
  document["points"] = points.json();
  return document;
}

int exitStatusOfVerify(const Json& verify) {
  if (field(verify, "removed") == "no") return kNotVerified;
  return field(verify, "removed") == "yes" ? kGood : kUndecided;
}

}  // namespace hotfix
