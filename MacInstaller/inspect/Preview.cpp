#include "MacInstaller/inspect/Preview.h"

#include <sys/stat.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "MacInstaller/InstanceFiles.h"
#include "MacInstaller/inspect/Warnings.h"
#include "MacInstaller/tool/runTool.h"
#include "Platform/StandardStreams.h"
#include "Platform/SystemPaths.h"
#include "Platform/UserIdentity.h"
#include "Platform/preview/Layer.h"
#include "Platform/preview/Machine.h"
#include "Platform/preview/Preview.h"
#include "Support/Path.h"
#include "Support/Progress.h"

namespace hotfix {

using document::fromText;
using document::fromTexts;
using document::Json;
using platform::preview::Difference;
using platform::preview::Entry;
using platform::preview::recording;

namespace {

constexpr char kTool[] = "hotfixUninstall";
constexpr char kLauncher[] = "rcplauncher";
constexpr char kResultFile[] = ".provisioning_rc";
constexpr size_t kMostFiles = 1000;  // that a document lists
constexpr size_t kLongestContent = size_t{1} << 16;

/// Keeps what the tool reports while it runs.
class Listener : public ToolListener {
 public:
  Listener() { progress::setListener(this); }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;
  ~Listener() override { progress::setListener(nullptr); }

  void runBegins(const OptionalString&) override {}
  void begin(const char* step) override { steps.push_back({step, {}}); }
  void end(const StepResult& result) override { steps.back().result = result; }
  void warn(const std::string& sentence) override { warnings.push_back(sentence); }
  void showNote(const std::string&) override {}
  void showFailure(const std::string& sentence, const std::string& whereToReadOn) override {
    platform::writeToStandardError(sentence + "\n" + whereToReadOn + "\n");
  }
  void checked(const char* check, progress::CheckOutcome outcome) override { checks.emplace_back(check, outcome); }

  struct Step {
    const char* name;
    StepResult result;
  };
  std::vector<Step> steps;
  std::vector<std::string> warnings;
  std::vector<std::pair<const char*, progress::CheckOutcome>> checks;
};

const char* nameOf(progress::CheckOutcome outcome) {
  switch (outcome) {
    case progress::CheckOutcome::Passed:
      return "passed";
    case progress::CheckOutcome::Skipped:
      return "skipped";
    case progress::CheckOutcome::Failed:
      break;
  }
  return "failed";
}

const char* nameOf(platform::LogLevel level) {
  switch (level) {
    case platform::LogLevel::Error:
      return "error";
    case platform::LogLevel::Warning:
      return "warning";
    case platform::LogLevel::Notice:
      return "notice";
    case platform::LogLevel::Info:
      break;
  }
  return "info";
}

Json fromEntry(const Entry& entry) {
  Json json = document::fromStatus(entry.status);
  if (entry.isLink()) json["target"] = fromText(platform::preview::layer().linkText(entry));
  return json;
}

Json fromDifference(const Difference& difference, const std::map<std::string, std::string>& movedTo) {
  Json json = {{"path", fromText(difference.path)}, {"change", "changed"}, {"before", nullptr}, {"after", nullptr}};
  if (!difference.before) json["change"] = "made";
  if (!difference.after) json["change"] = "removed";
  if (difference.before) json["before"] = fromEntry(*difference.before);
  const auto moved = movedTo.find(difference.path);
  if (!difference.after && moved != movedTo.end()) json["movedTo"] = fromText(moved->second);
  if (!difference.after) return json;
  const Entry& after = *difference.after;
  json["after"] = fromEntry(after);
  if (difference.path == platform::onDisk(platform::kTraceFile)) {
    json["after"].erase("size");
    json["after"]["content"] = nullptr;  // the log lines, with the time of the run
  } else if (after.content && after.isFile() && after.content->size() <= kLongestContent) {
    json["after"]["content"] = fromText(*after.content);
  } else if (after.isFile() && !after.machinePath.empty() && after.machinePath != difference.path) {
    json["after"]["copyOf"] = fromText(after.machinePath);
  }
  return json;
}

/// The files in the document: the figures of all of them, and the first ones by path.
struct Files {
  size_t count = 0;
  std::uint64_t newBytes =
      0;  ///< of all files that are made or changed: they exist side by side until the last is written
  std::map<std::string, Difference> first;
  std::map<std::string, std::string> movedTo;  ///< by the old path: a copy whose source is gone

  Files() {
    const std::set<std::string> removed = platform::preview::layer().removedPaths();
    platform::preview::layer().visitDifferences([&](Difference difference) {
      ++count;
      if (difference.after) note(*difference.after, removed);
      if (first.size() == kMostFiles && std::prev(first.end())->first < difference.path) return;
      first[difference.path] = std::move(difference);
      if (first.size() > kMostFiles) first.erase(std::prev(first.end()));
    });
  }

  Json json() const {
    Json array = Json::array();
    for (const auto& [path, difference] : first) array.push_back(fromDifference(difference, movedTo));
    return array;
  }

 private:
  void note(const Entry& after, const std::set<std::string>& removed) {
    if (after.isFile()) newBytes += static_cast<std::uint64_t>(after.status.st_size);
    if (after.machinePath != after.path && removed.count(after.machinePath) != 0) {
      movedTo[after.machinePath] = after.path;
    }
  }
};

Json attributes(uid_t owner, gid_t group, mode_t mode) {
  struct stat status = {};
  status.st_uid = owner;
  status.st_gid = group;
  status.st_mode = mode;
  Json json = document::fromStatus(status);
  json.erase("kind");
  return json;
}

Json fromRepair(const platform::preview::RecordedRepair& repair) {
  Json changed = Json::array();
  for (const auto& entry : repair.firstChanged) {
    changed.push_back({{"path", fromText(entry.path)},
                       {"before", attributes(entry.oldOwner, entry.oldGroup, entry.oldMode)},
                       {"after", attributes(entry.newOwner, entry.newGroup, entry.newMode)}});
  }
  Json failed = Json::array();
  for (const auto& entry : repair.firstFailed) {
    failed.push_back({{"path", fromText(entry.path)}, {"reason", entry.reason}});
  }
  return {{"folder", fromText(repair.folder)},
          {"refused", !repair.refusal.empty()},
          {"refusal", repair.refusal.empty() ? Json(nullptr) : fromText(repair.refusal)},
          {"entries", repair.entries},
          {"changed", repair.changed},
          {"ownerOrGroupChanged", repair.ownersChanged},
          {"modeChanged", repair.modesChanged},
          {"failed", repair.failed},
          {"firstChanged", changed},
          {"firstFailed", failed}};
}

template <typename Items, typename Maker>
Json arrayOf(const Items& items, Maker make) {
  Json array = Json::array();
  for (const auto& item : items) array.push_back(make(item));
  return array;
}

}  // namespace

Json previewDocument(const PreviewArguments& arguments) {
  std::vector<std::string> command{kTool};
  if (arguments.home) command.insert(command.end(), {"-rcphome", *arguments.home});
  if (arguments.data) command.insert(command.end(), {"-rcpdata", *arguments.data});
  OptionalString home = arguments.home;
  if (home && !arguments.data) home = path::appending(*home, "rcp");  // as the tool does
  if (home) {
    platform::preview::setPlatformResult({path::appending(*home, kLauncher),
                                          path::appending(path::deletingLastComponent(*home), kResultFile),
                                          arguments.result});
  }

  Json document = document::newDocument("preview");
  Json warnings = previewWarnings(home, arguments.data);  // before: of the machine as it is
  Listener listener;
  const std::int32_t status = runTool(command, listener);

  Json checks = Json::array();
  Json firstFailed = nullptr;
  for (const auto& [check, outcome] : listener.checks) {
    checks.push_back({{"check", check}, {"outcome", nameOf(outcome)}});
    if (outcome == progress::CheckOutcome::Failed && firstFailed.is_null()) firstFailed = check;
  }
  document["command"] = fromTexts(command);
  document["platformResult"] = fromText(arguments.result);
  document["exitStatus"] = status;
  document["checks"] = checks;
  document["firstFailedCheck"] = firstFailed;
  document["reason"] = status != 0 ? fromText(reasonOfFailure()) : Json(nullptr);
  document["standardOutput"] = fromText(recording().standardOutput);
  document["standardError"] = fromText(recording().standardError);
  document["steps"] = arrayOf(listener.steps, [](const Listener::Step& step) {
    return Json{{"step", step.name}, {"result", wordFor(step.result.kind)}, {"detail", fromText(step.result.detail)}};
  });
  document["log"] = arrayOf(recording().log, [](const platform::preview::LoggedLine& line) {
    return Json{{"level", nameOf(line.level)}, {"text", fromText(line.text)}};
  });
  document["children"] = arrayOf(recording().children, [](const platform::preview::RecordedChild& child) {
    return Json{{"command", fromTexts(child.commandLine)}, {"error", fromText(child.error)}, {"asked", child.isAsked}};
  });
  const Files files;
  document["fileCount"] = files.count;
  document["files"] = files.json();
  document["repairs"] = arrayOf(recording().repairs, fromRepair);
  const OptionalString owner = platform::invokingUserName();
  document["newOwner"] = {
      {"user", fromText(owner)}, {"group", kInstallerGroup}, {"mode", document::octal(kInstallerMode)}};
  const auto warn = [&warnings](const char* name, const std::string& text) {
    warnings.push_back({{"warning", name}, {"text", fromText(text)}});
  };
  for (const auto& repair : recording().repairs) {
    if (!repair.refusal.empty()) {
      warn("data-folder-refused",
           "The owner below " + repair.folder + " will not be repaired: " + repair.refusal + ".");
    }
  }
  // The only warning that the tool itself gives.
  for (const std::string& sentence : listener.warnings) warn("no-process-list", sentence);
  const std::optional<std::uint64_t> free = home ? platform::preview::freeBytes(*home) : std::nullopt;
  if (free && *free < files.newBytes) {
    warn("no-space", "The new files take " + std::to_string(files.newBytes) + " bytes, and " + std::to_string(*free) +
                         " are free on the volume of " + *home + ".");
  }
  const auto isAboutJava = [](const auto& line) { return line.text.rfind("Can't find java home", 0) == 0; };
  if (std::any_of(recording().log.begin(), recording().log.end(), isAboutJava)) {
    warn("no-java", "There is no Java: no logs will be collected.");
  }
  document["warnings"] = warnings;
  return document;
}

}  // namespace hotfix
