#include "MacInstaller/inspect/Status.h"

#include <algorithm>

#include "MacInstaller/inspect/ExitStatus.h"
#include "MacInstaller/inspect/Facts.h"
#include "Platform/FileManager.h"
#include "Platform/UserIdentity.h"
#include "Platform/preview/Machine.h"
#include "Support/Path.h"

namespace hotfix {

using document::field;
using document::fromText;
using document::fromTexts;
using document::Json;

namespace {

constexpr char kApplications[] = "/Applications";
constexpr char kProgramFolder[] = "Contents/MacOS";

struct StateName {
  const char* name;
  int exitStatus;
};
constexpr StateName kStates[] = {{"none", kNone},
                                 {"removable", kRemovable},
                                 {"removed", kRemoved},
                                 {"failed", kFailed},
                                 {"interrupted", kInterrupted},
                                 {"inconsistent", kInconsistent},
                                 {"no-instance", kNoInstance}};

/// A state and the facts behind it.
struct Judgement {
  const char* state = "none";
  std::vector<std::string> evidence;
};

Judgement judge(const Facts& facts) {
  Judgement judgement;
  const auto is = [&judgement](const char* state, const std::string& evidence) {
    judgement.state = state;
    if (!evidence.empty()) judgement.evidence.push_back(evidence);
    return judgement;
  };
  if (!facts.outOfReach.empty()) {
    judgement.state = facts.hasHome ? "inconsistent" : "no-instance";
    judgement.evidence = facts.outOfReach;
    return judgement;
  }
  if (!facts.hasHome) return is("no-instance", "there is no folder " + facts.home);
  if (!facts.hasInstallManifest) return is("no-instance", facts.inDeploy("install.xml") + " is missing");
  if (facts.areRecordsDamaged) {
    return is("inconsistent", facts.recordsFile + " is there and is no property list that can be read");
  }
  const bool isRecorded = facts.hotfixVersion.has_value();
  const bool areRecordsLeft = facts.bundleId.has_value() || facts.skipRunningCheck.has_value();
  if (facts.hasUninstallManifest) {
    if (isRecorded) return is("removable", "a hotfix is recorded and its uninstall manifest is there");
    return is("inconsistent",
              facts.inDeploy("uninstall.hotfix.xml") + " is there, and no hotfix is recorded in " + facts.recordsFile);
  }
  if (!facts.hasUpdateManifest) {
    if (!isRecorded && !areRecordsLeft) return is("none", "no hotfix is recorded, and there is no uninstall manifest");
    return is("inconsistent", "a hotfix is recorded in " + facts.recordsFile +
                                  ", and neither its uninstall manifest nor a copy of it is in " + facts.deploy);
  }
  if (isRecorded) {
    return is("interrupted",
              "the uninstall manifest is consumed, and the hotfix is still recorded in " + facts.recordsFile);
  }
  const bool isBadResult = facts.resultCode && !facts.isGoodResult;
  if (areRecordsLeft) {
    // Every completed run, also a failed one, gives the instance a new ID as its last step.
    if (facts.isIdOfLastRun) {
      is("failed", "the uninstall manifest is consumed, and the records that a removal clears last are still there");
      if (isBadResult) judgement.evidence.push_back("the platform's last result is " + *facts.resultCode);
      return judgement;
    }
    return is("interrupted",
              "the uninstall manifest is consumed, the records that a removal clears last are still "
              "there, and the instance's ID is older than the manifest's version");
  }
  if (facts.isUpdateOnly) return is("none", "no hotfix is recorded, and the last manifest uninstalls nothing");
  if (isBadResult) return is("failed", "the platform's last result is " + *facts.resultCode);
  if (!facts.isIdOfLastRun) {
    return is("interrupted",
              "the records are cleared, and the instance's ID is older than the manifest's version: "
              "the passes after the removal are missing");
  }
  return is("removed", "the uninstall manifest is consumed, and no hotfix is recorded");
}

/// The steps that a run completed, in the order in which it works.
Json progressOf(const Facts& facts) {
  const auto step = [](const char* name, bool isDone) { return Json{{"step", name}, {"done", isDone}}; };
  return Json::array({step("uninstall manifest consumed", !facts.hasUninstallManifest && facts.hasUpdateManifest),
                      step("platform left a result", facts.resultCode.has_value()),
                      step("hotfix version cleared", !facts.hotfixVersion),
                      step("running-check record cleared", !facts.skipRunningCheck),
                      step("package record cleared", !facts.bundleId), step("new install ID", facts.isIdOfLastRun)});
}

Json uninstallCommand(const Facts& facts) {
  std::vector<std::string> words{"sudo", "hotfixUninstall"};
  if (facts.data) {
    words.insert(words.end(), {"-rcphome", facts.home, "-rcpdata", *facts.data});
  } else if (path::lastComponent(facts.home) == "rcp") {
    words.insert(words.end(), {"-rcphome", path::deletingLastComponent(facts.home)});
  } else {
    words.insert(words.end(), {"-rcphome", facts.home, "-rcpdata", path::appending(facts.home, "systemdata")});
  }
  return fromTexts(words);
}

/// The commands for the recovery from a state, in order.
Json wayOut(const std::string& state, const Facts& facts) {
  Json commands = Json::array();
  const auto add = [&commands](const std::vector<std::string>& words) { commands.push_back(fromTexts(words)); };
  if (!facts.outOfReach.empty()) {
    // Nothing can be concluded as long as these entries cannot be examined.
    if (platform::hasRootRights()) return commands;
    std::vector<std::string> words{"sudo", "hotfixInspect", "status", facts.home};
    if (facts.data) words.push_back(*facts.data);
    add(words);
    return commands;
  }
  if (state != "none" && state != "removed") {
    for (const std::string& file : facts.temporaryFiles) add({"sudo", "rm", "--", file});
  }
  const bool isToBeRepeated = state == "failed" || state == "interrupted";
  if (isToBeRepeated) {
    add({"sudo", "cp", "--", facts.inDeploy("install.update.xml"), facts.inDeploy("uninstall.hotfix.xml")});
  }
  const bool isInstance = state != "no-instance";
  // The file is moved away, because the tool does not overwrite a file that it cannot read.
  if (isInstance && facts.areRecordsDamaged)
    add({"sudo", "mv", "--", facts.recordsFile, facts.recordsFile + ".damaged"});
  if (isToBeRepeated || (facts.hasUninstallManifest && isInstance)) commands.push_back(uninstallCommand(facts));
  return commands;
}

Json fileFacts(const std::string& path) {
  const std::optional<struct stat> status = platform::preview::statusOf(path);
  if (!status) return nullptr;
  Json json = {{"path", fromText(path)}};
  json.update(document::fromStatus(*status));
  json["modified"] = document::isoTime(status->st_mtime);
  return json;
}

}  // namespace

Json statusDocument(const std::string& home, const OptionalString& data) {
  const Facts facts = readFacts(home, data);
  const Judgement judgement = judge(facts);
  Json document = document::newDocument("status");
  document["home"] = fromText(facts.home);
  document["data"] = fromText(facts.data);
  document["bundle"] = fromText(facts.bundle);
  document["state"] = judgement.state;
  document["evidence"] = fromTexts(judgement.evidence);
  document["versions"] = {{"bundle", fromText(facts.bundleVersion)}, {"installed", fromText(facts.installedVersion)}};
  document["records"] = {{"file", fromText(facts.recordsFile)},
                         {"readable", facts.hasRecords && !facts.areRecordsDamaged},
                         {"hotfixVersion", fromText(facts.hotfixVersion)},
                         {"SKIPRUNNINGCHECK", fromText(facts.skipRunningCheck)},
                         {"installedHotfixBundleID", fromText(facts.bundleId)}};
  document["manifests"] = {{"install", fileFacts(facts.inDeploy("install.xml"))},
                           {"uninstall", fileFacts(facts.inDeploy("uninstall.hotfix.xml"))},
                           {"update", fileFacts(facts.inDeploy("install.update.xml"))}};
  Json features = Json::array();
  for (const Facts::Feature& feature : facts.features) {
    features.push_back({{"folder", fromText(feature.folder)}, {"present", feature.isPresent}});
  }
  document["features"] = features;
  document["stamps"] = {{"manifestVersion", fromText(facts.manifestVersion)}, {"installId", fromText(facts.installId)}};
  document["result"] = {{"file", fileFacts(facts.resultFile)}, {"code", fromText(facts.resultCode)}};
  document["receipt"] = {{"package", fromText(facts.bundleId)},
                         {"known", facts.isReceiptKnown ? Json(*facts.isReceiptKnown) : Json(nullptr)}};
  Json processes = Json::array();
  for (const platform::RunningProcess& process : facts.processes) {
    processes.push_back(
        {{"pid", process.id}, {"user", fromText(process.user)}, {"executable", fromText(process.executable)}});
  }
  document["processes"] = processes;
  document["temporaryFiles"] = fromTexts(facts.temporaryFiles);
  document["logs"] = {{"trace", fileFacts(facts.traceFile)}, {"history", fileFacts(facts.historyFolder)}};
  document["progress"] = progressOf(facts);
  document["wayOut"] = wayOut(judgement.state, facts);
  return document;
}

Json statusListDocument(const std::vector<std::string>& homes) {
  Json document = document::newDocument("statusList");
  document["instances"] = Json::array();
  for (const std::string& home : homes) document["instances"].push_back(statusDocument(home, std::nullopt));
  return document;
}

std::vector<std::string> foundInstances(const std::vector<std::string>& folders) {
  std::vector<std::string> homes;
  std::vector<std::string> all{platform::exists(kApplications) ? kApplications : ""};
  all.insert(all.end(), folders.begin(), folders.end());
  for (const std::string& folder : all) {
    auto names = platform::namesInFolder(folder).value_or(std::vector<std::string>());
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) {
      if (name.size() < 5 || name.compare(name.size() - 4, 4, ".app") != 0) continue;
      const std::string programs = path::appending(path::appending(folder, name), kProgramFolder);
      auto candidates = platform::namesInFolder(programs).value_or(std::vector<std::string>());
      std::sort(candidates.begin(), candidates.end());
      for (const std::string& candidate : candidates) {
        const std::string home = path::appending(programs, candidate);
        if (platform::exists(path::appending(home, "deploy/install.xml"))) homes.push_back(home);
      }
    }
  }
  return homes;
}

int exitStatusOf(const Json& status) {
  for (const StateName& state : kStates) {
    if (field(status, "state") == state.name) return state.exitStatus;
  }
  return kInconsistent;
}

}  // namespace hotfix
