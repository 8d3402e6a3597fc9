#include "MacInstaller/Reasons.h"

#include "Platform/UserIdentity.h"

namespace hotfix {

namespace {

std::string ownerAndGroup(const platform::RepairOutcome& outcome) {
  if (!outcome.owner && !outcome.group) return "owner and group as before";
  return "owner " + outcome.owner.value_or("as before") + ", group " + outcome.group.value_or("as before");
}

}  // namespace

std::string systemReason(const platform::FileError& error) {
  if (error.isProtected) {
    return error.reason +
           "; macOS protects the application, also from root: "
           "allow the change under Privacy & Security, App Management";
  }
  const bool isRefusal = error.code == platform::kNoReadPermission || error.code == platform::kNoWritePermission;
  return error.reason + (isRefusal && !platform::hasRootRights() ? "; run it with sudo" : "");
}

std::string absenceReason(const std::string& path, const std::string& ifMissing) {
  const std::optional<platform::FileError> error = platform::lookUpError(path);
  if (!error || error->code == platform::kNoSuchFileWhileReading) return ifMissing;
  return path + " cannot be reached: " + systemReason(*error);
}

std::string launchReason(const OptionalString& program, const std::string& error) {
  return program ? *program + " could not be started: " + error : "there is no program to start";
}

StepResult launchResult(const OptionalString& program, const OptionalString& error) {
  if (!error) return {};
  return {StepResult::Kind::Failed, launchReason(program, *error)};
}

StepResult repairResult(const std::optional<platform::RepairOutcome>& outcome) {
  using Kind = StepResult::Kind;
  if (!outcome) return {Kind::Skipped, "no workspace is known"};
  if (!outcome->refusal.empty()) return {Kind::Refused, outcome->refusal};
  if (!outcome->isTreated) return {Kind::Skipped, absenceReason(outcome->folder, "no such folder, " + outcome->folder)};
  if (outcome->failed > 0) {
    return {Kind::Incomplete, std::to_string(outcome->failed) + (outcome->failed == 1 ? " entry" : " entries") +
                                  " could not be changed, first " + outcome->firstFailed + "; " +
                                  ownerAndGroup(*outcome)};
  }
  return {outcome->changed > 0 ? Kind::Done : Kind::NothingToDo, ownerAndGroup(*outcome)};
}

}  // namespace hotfix
