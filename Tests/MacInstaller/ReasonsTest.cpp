#include "MacInstaller/Reasons.h"
#include "Tests/Platform/Conditions.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Support/Test.h"

namespace hotfix {

namespace {

using Kind = StepResult::Kind;

std::string text(const StepResult& result) {
  static constexpr const char* kKinds[] = {"done", "nothing to do", "incomplete", "skipped", "refused", "failed"};
  return kKinds[static_cast<int>(result.kind)] + (": " + result.detail);
}

platform::RepairOutcome treated(size_t changed, size_t failed = 0) {
  platform::RepairOutcome outcome;
  outcome.folder = "/D";
  outcome.isTreated = true;
  outcome.changed = changed;
  outcome.failed = failed;
  outcome.firstFailed = "/D/x";
  outcome.owner = "alice";
  outcome.group = "admin";
  return outcome;
}

TEST(ReasonsTest, RepairEndsAsWhatHappened) {
  EXPECT_EQ(text(repairResult(treated(3))), "done: owner alice, group admin");
  EXPECT_EQ(text(repairResult(treated(0))), "nothing to do: owner alice, group admin");
  EXPECT_EQ(text(repairResult(treated(3, 1))),
            "incomplete: 1 entry could not be changed, first /D/x; owner alice, group admin");
  EXPECT_EQ(text(repairResult(treated(0, 2))),
            "incomplete: 2 entries could not be changed, first /D/x; owner alice, group admin");
  platform::RepairOutcome refused;
  refused.refusal = "why";
  EXPECT_EQ(text(repairResult(refused)), "refused: why");
  EXPECT_EQ(text(repairResult(std::nullopt)), "skipped: no workspace is known");
}

TEST(ReasonsTest, OwnerAndGroupThatTheSystemDoesNotKnowStayAsBefore) {
  platform::RepairOutcome outcome = treated(1);
  outcome.group = std::nullopt;
  EXPECT_EQ(text(repairResult(outcome)), "done: owner alice, group as before");
  outcome.owner = std::nullopt;
  EXPECT_EQ(text(repairResult(outcome)), "done: owner and group as before");
}

TEST(ReasonsTest, MissingFolderAndOneOutOfReachAreToldApart) {
  const TemporaryFolder folder;
  platform::RepairOutcome outcome;
  outcome.folder = folder / "missing";
  EXPECT_EQ(text(repairResult(outcome)), "skipped: no such folder, " + outcome.folder);
  outcome.folder = folder.makeFile("file") + "/below";
  EXPECT_EQ(text(repairResult(outcome)),
            "skipped: " + outcome.folder + " cannot be reached: " + std::strerror(ENOTDIR));
}

TEST(ReasonsTest, SudoIsNamedOnlyWhereRootsRightsAreMissing) {
  const TemporaryFolder folder;
  const std::string path = folder.makeFile("closed/file");
  folder.makeFolder("closed", 0);
  EXPECT_EQ(absenceReason(folder / "nowhere", "nothing is there"), "nothing is there");
  asUnprivileged([&] {
    EXPECT_EQ(absenceReason(path, ""), path + " cannot be reached: " + std::strerror(EACCES) + "; run it with sudo");
  });
  const platform::FileError refusal{platform::kNoWritePermission, "", "words"};
  const platform::FileError other{platform::kOtherWritingFailure, "", "words"};
  const platform::FileError protection{platform::kNoWritePermission, "", "words", true};
  EXPECT_EQ(systemReason(refusal), isRoot() ? "words" : "words; run it with sudo");
  EXPECT_EQ(systemReason(other), "words");
  EXPECT_EQ(systemReason(protection),
            "words; macOS protects the application, also from root: allow the change under Privacy & Security, App "
            "Management");
  folder.makeFolder("closed", 0755);
}

TEST(ReasonsTest, ProgramThatCouldNotBeStartedIsNamed) {
  EXPECT_EQ(text(launchResult(OptionalString("/p"), std::nullopt)), "done: ");
  EXPECT_EQ(text(launchResult(OptionalString("/p"), "words")), "failed: /p could not be started: words");
  EXPECT_EQ(text(launchResult(std::nullopt, "words")), "failed: there is no program to start");
}

}  // namespace

}  // namespace hotfix
