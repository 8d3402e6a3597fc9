// The platform that changes nothing: its services answer as if the work had been done, and the disk stays as it was.

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "Platform/ChildProcess.h"
#include "Platform/FileManager.h"
#include "Platform/Ownership.h"
#include "Platform/Pasteboard.h"
#include "Platform/StandardStreams.h"
#include "Platform/SystemLog.h"
#include "Platform/SystemPaths.h"
#include "Platform/preview/Layer.h"
#include "Platform/preview/Machine.h"
#include "Platform/preview/Preview.h"
#include "Tests/Support/FakeHost.h"
#include "Tests/Support/TreeSnapshot.h"

namespace hotfix {

namespace {

using platform::Attributes;
using platform::FileBelow;
using platform::FileError;
using platform::RepairOutcome;
using platform::preview::Difference;
using platform::preview::recording;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

class PreviewTest : public FakeHostTest {
 protected:
  PreviewTest() {
    platform::preview::layer() = platform::preview::Layer();
    recording() = platform::preview::Recording();
    platform::setCopyPolicy(nullptr);
  }

  /// Call it when the test has made its files, and compare at the end.
  std::map<std::string, std::string> disk() const { return treeSnapshot(folder.path()); }

  std::string path(const std::string& relativePath) const { return folder / relativePath; }

  /// All that would be different, by path.
  static std::vector<Difference> allDifferences() {
    std::vector<Difference> all;
    platform::preview::layer().visitDifferences(
        [&all](Difference difference) { all.push_back(std::move(difference)); });
    std::sort(all.begin(), all.end(), [](const auto& left, const auto& right) { return left.path < right.path; });
    return all;
  }

  /// What would be different, a line each: "made", "changed" or "removed" and the path below the folder.
  std::vector<std::string> differences() const {
    std::vector<std::string> lines;
    for (const Difference& difference : allDifferences()) {
      const char* change = !difference.before ? "made " : difference.after ? "changed " : "removed ";
      lines.push_back(change + difference.path.substr(folder.path().size() + 1));
    }
    return lines;
  }

  static Attributes mode(mode_t bits) {
    Attributes attributes;
    attributes.mode = bits;
    return attributes;
  }
};

// ----- Files -----

TEST_F(PreviewTest, WrittenFileIsReadAgainAndTheDiskKeepsItsOwn) {
  folder.makeFile("file", "old");
  const auto before = disk();
  EXPECT_TRUE(platform::writeFileAtomically(path("file"), "new"));
  EXPECT_EQ(platform::readFile(path("file")), OptionalString("new"));
  EXPECT_TRUE(platform::writeFileAtomically(path("other"), "text"));
  EXPECT_TRUE(platform::exists(path("other")));
  EXPECT_THAT(*platform::namesInFolder(folder.path()), UnorderedElementsAre("file", "other", "outside"));
  EXPECT_THAT(differences(), ElementsAre("changed file", "made other"));
  EXPECT_EQ(disk(), before);
}

TEST_F(PreviewTest, ReplacedFileKeepsItsModeAndANewOneHasTheUsualOne) {
  folder.makeFile("file", "old", 0640);
  ASSERT_TRUE(platform::writeFileAtomically(path("file"), "new"));
  ASSERT_TRUE(platform::writeFileAtomically(path("other"), "new"));
  const std::vector<Difference> all = allDifferences();
  ASSERT_EQ(all.size(), 2U);
  EXPECT_EQ(all[0].after->status.st_mode & 07777U, 0640U);
  const mode_t mask = umask(0);
  umask(mask);
  EXPECT_EQ(all[1].after->status.st_mode & 07777U, 0666U & ~mask);
}

TEST_F(PreviewTest, LinkIsReplacedByTheFileAndItsTargetStays) {
  folder.makeFile("target", "old");
  folder.makeLink("link", "target");
  ASSERT_TRUE(platform::writeFileAtomically(path("link"), "new"));
  EXPECT_EQ(platform::readFile(path("link")), OptionalString("new"));
  EXPECT_EQ(platform::readFile(path("target")), OptionalString("old"));
}

TEST_F(PreviewTest, WritingFailsWithoutAFolderAndOntoAFolder) {
  folder.makeFolder("folder");
  folder.makeFile("file");
  EXPECT_FALSE(platform::writeFileAtomically(path("none/file"), ""));
  EXPECT_FALSE(platform::writeFileAtomically(path("folder"), ""));
  EXPECT_FALSE(platform::writeFileAtomically(path("file/file"), ""));
  EXPECT_FALSE(platform::writeFileAtomically(path("given up"), [](const platform::PartWriter&) { return false; }));
  EXPECT_THAT(differences(), ElementsAre());
}

TEST_F(PreviewTest, RemovedEntriesAreGoneWithAllBelowThem) {
  folder.makeFile("file");
  folder.makeFile("tree/sub/file");
  folder.makeLink("link", "tree");
  const auto before = disk();
  EXPECT_TRUE(platform::removeItem(path("file")));
  EXPECT_TRUE(platform::removeItem(path("link")));
  EXPECT_TRUE(platform::exists(path("tree/sub/file")));
  EXPECT_TRUE(platform::removeItem(path("tree/")));
  EXPECT_FALSE(platform::exists(path("tree/sub/file")));
  EXPECT_TRUE(platform::isKnownMissing(path("file")));
  EXPECT_TRUE(platform::isUnused(path("link")));
  FileError error;
  EXPECT_FALSE(platform::removeItem(path("file"), &error));
  EXPECT_EQ(error.reason, "No such file or directory");
  EXPECT_EQ(disk(), before);
}

TEST_F(PreviewTest, NewFolderInPlaceOfARemovedOneIsEmpty) {
  folder.makeFile("tree/file");
  ASSERT_TRUE(platform::removeItem(path("tree")));
  ASSERT_TRUE(platform::createFolder(path("tree/sub"), platform::Parents::Created));
  EXPECT_THAT(*platform::namesInFolder(path("tree")), ElementsAre("sub"));
  EXPECT_TRUE(platform::writeFileAtomically(path("tree/sub/file"), "text"));
  EXPECT_EQ(platform::resolvedPath(path("tree/sub/../sub/file")), platform::resolvedPath(path("tree/sub/file")));
}

TEST_F(PreviewTest, LinksLeadWhereTheyWouldLead) {
  folder.makeFile("a/file", "text");
  folder.makeLink("to a", "a");
  folder.makeLink("loop", "loop");
  folder.makeLink("up", "a/../to a/file");
  EXPECT_EQ(platform::readFile(path("up")), OptionalString("text"));
  EXPECT_EQ(platform::resolvedPath(path("to a")), platform::resolvedPath(path("a")));
  EXPECT_FALSE(platform::exists(path("loop")));
  ASSERT_TRUE(platform::writeFileAtomically(path("to a/new"), "n"));
  EXPECT_EQ(platform::readFile(path("a/new")), OptionalString("n"));
  EXPECT_EQ(platform::lookUpError(path("loop"))->reason, "Too many levels of symbolic links");
  EXPECT_FALSE(platform::exists(path("a/file/")));
  EXPECT_FALSE(platform::exists(""));
}

TEST_F(PreviewTest, CopyIsReadFromTheLayerAndMergesUnderThePolicy) {
  folder.makeFile("from/one", "1", 0600);
  folder.makeFile("from/sub/two", "2");
  folder.makeLink("from/link", "one");
  folder.makeFile("to/one", "old");
  const auto before = disk();
  ASSERT_TRUE(platform::writeFileAtomically(path("from/three"), "3"));
  FileError error;
  EXPECT_FALSE(platform::copyItem(path("from"), path("to"), &error));
  EXPECT_EQ(error.code, platform::kFileExists);
  platform::setCopyPolicy([](const FileError& failure, const std::string&, const std::string&) {
    return failure.code == platform::kFileExists;
  });
  EXPECT_TRUE(platform::copyItem(path("from"), path("to")));
  EXPECT_EQ(platform::readFile(path("to/one")), OptionalString("old"));
  EXPECT_EQ(platform::readFile(path("to/sub/two")), OptionalString("2"));
  EXPECT_EQ(platform::readFile(path("to/three")), OptionalString("3"));
  EXPECT_EQ(disk(), before);
}

TEST_F(PreviewTest, CopyGoesOnBeingReadableWhenItsSourceIsRemoved) {
  folder.makeFile("from", "text");
  ASSERT_TRUE(platform::copyItem(path("from"), path("to")));
  ASSERT_TRUE(platform::removeItem(path("from")));
  EXPECT_EQ(platform::readFile(path("to")), OptionalString("text"));
}

TEST_F(PreviewTest, CopyOfATreeTakesNoMemoryForWhatIsInIt) {
  for (int number = 0; number < 300; ++number) folder.makeFile("from/sub/" + std::to_string(number), "text", 0640);
  folder.makeFile("from/sub/deep/one", "1", 0640);
  folder.makeFile("to/sub/0", "old");
  folder.makeFolder("from/sub", 0751);
  const auto before = disk();
  platform::setCopyPolicy([](const FileError&, const std::string&, const std::string&) { return true; });
  for (int run = 0; run < 2; ++run) {  // the second one finds all there
    ASSERT_TRUE(platform::copyItem(path("from"), path("to")));
    ASSERT_TRUE(platform::copyItem(path("from"), path("new")));
    EXPECT_EQ(platform::preview::layer().size(), 2U);
  }
  EXPECT_EQ(platform::readFile(path("to/sub/0")), OptionalString("old"));
  EXPECT_EQ(platform::readFile(path("to/sub/299")), OptionalString("text"));
  EXPECT_EQ(platform::readFile(path("new/sub/deep/one")), OptionalString("1"));
  EXPECT_EQ(platform::namesInFolder(path("to/sub"))->size(), 301U);
  EXPECT_EQ(platform::namesInFolder(path("new/sub"))->size(), 301U);
  EXPECT_EQ(allDifferences().size(), (1U + 1U + 301U) + (1U + 1U + 302U));  // top, sub, and what is in it
  std::map<std::string, mode_t> modes;
  for (const Difference& difference : allDifferences())
    modes[difference.path] = difference.after->status.st_mode & 07777U;
  EXPECT_EQ(modes[path("to/sub")], 0751U);
  EXPECT_EQ(modes[path("new/sub")], 0751U);
  EXPECT_EQ(modes[path("new/sub/7")], 0640U);
  EXPECT_EQ(disk(), before);
}

TEST_F(PreviewTest, CopiedTreeIsChangedLikeAnyOther) {
  folder.makeFile("from/sub/one", "1");
  folder.makeFile("from/sub/two", "2");
  folder.makeFile("from/gone/one", "1");
  ASSERT_TRUE(platform::copyItem(path("from"), path("to")));
  ASSERT_TRUE(platform::writeFileAtomically(path("to/sub/one"), "new"));
  ASSERT_TRUE(platform::writeFileAtomically(path("to/sub/three"), "3"));
  ASSERT_TRUE(platform::removeItem(path("to/sub/two")));
  ASSERT_TRUE(platform::writeFileAtomically(path("to/gone/two"), "2"));
  ASSERT_TRUE(platform::removeItem(path("to/gone")));
  ASSERT_TRUE(platform::removeItem(path("from")));
  EXPECT_EQ(platform::readFile(path("to/sub/one")), OptionalString("new"));
  EXPECT_THAT(*platform::namesInFolder(path("to/sub")), UnorderedElementsAre("one", "three"));
  EXPECT_FALSE(platform::exists(path("to/sub/two")));
  EXPECT_FALSE(platform::exists(path("to/gone/one")));
  EXPECT_THAT(differences(),
              ElementsAre("removed from", "made to", "made to/sub", "made to/sub/one", "made to/sub/three"));
  EXPECT_EQ(platform::setAttributesBelow(path("to"), mode(0770)).changed, 3U);
  EXPECT_EQ(platform::setAttributesBelow(path("to"), mode(0770)).changed, 0U);
}

TEST_F(PreviewTest, CopyIsThereAsFarAsItCame) {
  for (const char* name : {"1", "2", "3", "4", "5", "6"}) folder.makeFile(std::string("from/sub/") + name);
  const std::vector<std::string> order = *platform::namesInFolder(path("from/sub"));
  ASSERT_EQ(unlink(path("from/sub/" + order[3]).c_str()), 0);
  ASSERT_EQ(mkfifo(path("from/sub/" + order[3]).c_str(), 0600), 0);
  const std::vector<std::string> now = *platform::namesInFolder(path("from/sub"));
  const std::vector<std::string> copied(now.begin(), std::find(now.begin(), now.end(), order[3]));
  EXPECT_FALSE(platform::copyItem(path("from"), path("to")));
  EXPECT_EQ(platform::namesInFolder(path("to/sub")), copied);
  for (const std::string& name : now) {
    const bool isCopied = std::find(copied.begin(), copied.end(), name) != copied.end();
    EXPECT_EQ(platform::exists(path("to/sub/" + name)), isCopied) << name;
  }
  EXPECT_EQ(allDifferences().size(), 2U + copied.size());
}

TEST_F(PreviewTest, FileBelowIsNoLinkAndHasNoSecondName) {
  folder.makeFile("data/.config/file", "text", 0640);
  folder.makeFile("data/two", "two");
  ASSERT_EQ(link(path("data/two").c_str(), path("data/name").c_str()), 0);
  folder.makeLink("data/to", ".config");
  folder.makeLink("link", "data");
  EXPECT_FALSE(FileBelow(path("data"), "to/file").isThere());
  EXPECT_FALSE(FileBelow(path("data"), "two").isThere());
  EXPECT_FALSE(FileBelow(path("data"), ".config").isThere());
  const FileBelow file(path("link"), ".config/file");
  ASSERT_TRUE(file.isThere());
  EXPECT_EQ(file.read(), OptionalString("text"));
  EXPECT_TRUE(file.replace([](const platform::PartWriter& write) { return write("new"); }));
  EXPECT_EQ(file.read(), OptionalString("text")) << "it is the file that was opened";
  EXPECT_EQ(platform::readFile(path("data/.config/file")), OptionalString("new"));
  EXPECT_EQ(folder.read("data/.config/file"), "text");
}

TEST_F(PreviewTest, TrustIsThatOfTheTool) {
  folder.makeFile("good", "text");
  folder.makeFile("open", "text", 0666);
  folder.makeLink("link", "good");
  bool isDistrusted = true;
  EXPECT_EQ(platform::readTrustedFile(path("good"), &isDistrusted), OptionalString("text"));
  EXPECT_FALSE(isDistrusted);
  for (const char* name : {"open", "link"}) {
    EXPECT_EQ(platform::readTrustedFile(path(name), &isDistrusted), std::nullopt) << name;
    EXPECT_TRUE(isDistrusted) << name;
  }
  EXPECT_EQ(platform::readTrustedFile(path("none"), &isDistrusted), std::nullopt);
  EXPECT_FALSE(isDistrusted);
}

// ----- Repairs -----

TEST_F(PreviewTest, RepairIsForeseenOnceAndTheSecondOneFindsNothingToDo) {
  for (int number = 0; number < 25; ++number) folder.makeFile("data/sub/" + std::to_string(number), "", 0600);
  folder.makeFile("data/right", "", 0775);
  folder.makeLink("data/link", "right");
  const auto before = disk();
  const RepairOutcome first = platform::setAttributesBelow(path("data"), mode(0775));
  EXPECT_TRUE(first);
  EXPECT_EQ(first.changed, 26U);
  const RepairOutcome second = platform::setAttributesBelow(path("data"), mode(0775));
  EXPECT_EQ(second.changed, 0U);
  ASSERT_EQ(recording().repairs.size(), 2U);
  EXPECT_EQ(recording().repairs[0].entries, 28U);
  EXPECT_EQ(recording().repairs[0].modesChanged, 26U);
  EXPECT_EQ(recording().repairs[0].firstChanged.size(), 20U);
  EXPECT_EQ(disk(), before);
}

TEST_F(PreviewTest, RepairTreatsWhatOnlyTheLayerHas) {
  folder.makeFile("data/file", "", 0775);
  ASSERT_TRUE(platform::writeFileAtomically(path("data/file"), "new"));
  ASSERT_TRUE(platform::createFolder(path("data/made"), platform::Parents::Required));
  ASSERT_TRUE(platform::writeFileAtomically(path("data/made/file"), "new"));
  const RepairOutcome outcome = platform::setAttributesBelow(path("data"), mode(0770));
  EXPECT_EQ(outcome.changed, 3U);
  for (const Difference& difference : allDifferences()) {
    EXPECT_EQ(difference.after->status.st_mode & 07777U, 0770U) << difference.path;
  }
  ASSERT_TRUE(platform::writeFileAtomically(path("data/later"), "new"));
  EXPECT_EQ(platform::setAttributesBelow(path("data"), mode(0770)).changed, 1U) << "what came after the first repair";
}

TEST_F(PreviewTest, EntryWithTwoNamesIsListedUnderBothAndCountedOnce) {
  folder.makeFile("data/one", "", 0600);
  folder.makeFolder("data", 0755);
  ASSERT_EQ(link(path("data/one").c_str(), path("data/two").c_str()), 0);
  EXPECT_EQ(platform::setAttributesBelow(path("data"), mode(0775)).changed, 1U);
  const platform::preview::RecordedRepair& repair = recording().repairs.back();
  std::vector<std::string> listed;
  for (const auto& entry : repair.firstChanged) listed.push_back(entry.path);
  const std::string top = *platform::resolvedPath(path("data"));
  EXPECT_THAT(listed, UnorderedElementsAre(top + "/one", top + "/two"));
}

TEST_F(PreviewTest, SecondNameThatAnybodyCanHavePutThereIsRefusedWithItsFolder) {
  folder.makeFile("data/sub/one", "", 0600);
  ASSERT_EQ(link(path("data/sub/one").c_str(), path("elsewhere").c_str()), 0);
  folder.makeFolder("data/sub", 0777);
  const RepairOutcome outcome = platform::setAttributesBelow(path("data"), mode(0775));
  EXPECT_EQ(outcome.failed, 2U);
  EXPECT_EQ(outcome.firstFailed, path("data/sub/one"));
  const platform::preview::RecordedRepair& repair = recording().repairs.back();
  ASSERT_EQ(repair.firstFailed.size(), 2U);
  EXPECT_THAT(repair.firstFailed[0].reason, ::testing::HasSubstr("several names"));
  EXPECT_THAT(repair.firstFailed[1].reason, ::testing::HasSubstr("it holds an entry"));
}

TEST_F(PreviewTest, FolderOfTheSystemIsRefusedWithTheReason) {
  const RepairOutcome outcome = platform::setAttributesBelow("/usr", mode(0775));
  EXPECT_FALSE(outcome.isTreated);
  EXPECT_EQ(outcome.refusal, "it is a folder of the system or of a user");
  ASSERT_EQ(recording().repairs.size(), 1U);
  EXPECT_EQ(recording().repairs[0].refusal, outcome.refusal);
  EXPECT_FALSE(platform::setAttributesBelow(path("none"), mode(0775)).isTreated);
  EXPECT_EQ(recording().repairs.size(), 1U) << "there is no folder to be repaired";
}

TEST_F(PreviewTest, SingleEntryGetsItsAttributesUnlessItHasASecondName) {
  folder.makeFile("one", "", 0600);
  folder.makeFile("two", "", 0600);
  ASSERT_EQ(link(path("two").c_str(), path("name").c_str()), 0);
  EXPECT_TRUE(platform::setAttributes(path("one"), mode(0775)));
  EXPECT_FALSE(platform::setAttributes(path("two"), mode(0775)));
  EXPECT_FALSE(platform::setAttributes(path("none"), mode(0775)));
  EXPECT_EQ(folder.mode("one"), 0600U);
  EXPECT_THAT(differences(), ElementsAre("changed one"));
}

// ----- Children -----

TEST_F(PreviewTest, ChildIsRecordedAndNotStarted) {
  const std::string script = folder.makeScript("launcher", "touch started");
  EXPECT_EQ(platform::runAndWait(OptionalString(script), {"a", "b c"}), std::nullopt);
  ASSERT_EQ(recording().children.size(), 1U);
  EXPECT_THAT(recording().children[0].commandLine, ElementsAre(script, "a", "b c"));
  EXPECT_FALSE(folder.has("started"));
}

TEST_F(PreviewTest, WhatCannotBeStartedFailsWithTheSystemsReason) {
  folder.makeFolder("folder");
  folder.makeFile("closed", "#!/bin/sh\n", 0644);
  folder.makeFile("text", "no program\n", 0755);
  folder.makeFile("lost", "#!/nowhere/sh\n", 0755);
  const std::vector<std::pair<OptionalString, std::string>> cases = {
      {std::nullopt, "no path given"},
      {OptionalString(path("none")), "No such file or directory"},
      {OptionalString(path("folder")), "Permission denied"},
      {OptionalString(path("closed")), "Permission denied"},
      {OptionalString(path("text")), "Exec format error"},
      {OptionalString(path("lost")), "No such file or directory"},
  };
  for (const auto& [program, reason] : cases) {
    EXPECT_EQ(platform::runAndWait(program, {}), OptionalString(reason)) << program.value_or("none");
  }
  EXPECT_EQ(recording().log.size(), cases.size());
}

TEST_F(PreviewTest, UpdateLeavesTheGivenResult) {
  const std::string launcher = folder.makeScript("home/rcplauncher", "");
  platform::preview::setPlatformResult({launcher, path(".provisioning_rc"), OptionalString("7")});
  platform::runAndWait(OptionalString(launcher), {"-provisioningOperation", "cleanup"});
  EXPECT_FALSE(platform::exists(path(".provisioning_rc")));
  platform::runAndWait(OptionalString(launcher), {"-provisioningOperation", "update"});
  EXPECT_EQ(platform::readFile(path(".provisioning_rc")), OptionalString("rc=7\n"));
  EXPECT_FALSE(folder.has(".provisioning_rc"));
}

TEST_F(PreviewTest, OnlyTheQuestionForJavaIsAsked) {
  folder.makeScript(outside(platform::kJavaHomeFinder), "echo /a/java; echo more");
  EXPECT_EQ(platform::firstLineOfShellCommand(platform::onDisk(platform::kJavaHomeFinder), 100),
            OptionalString("/a/java"));
  EXPECT_EQ(platform::firstLineOfShellCommand("echo other", 100), std::nullopt);
  platform::runShellCommand("touch " + path("started"));
  EXPECT_FALSE(folder.has("started"));
  ASSERT_EQ(recording().children.size(), 3U);
  EXPECT_TRUE(recording().children[0].isAsked);
  EXPECT_FALSE(recording().children[1].isAsked);
}

// ----- The rest -----

TEST_F(PreviewTest, OutputAndLogAreKept) {
  platform::printLine("out");
  platform::writeToStandardError("error\n");
  platform::log(platform::LogLevel::Warning, "line %d of %s", 1, "two");
  EXPECT_EQ(recording().standardOutput, "out\n");
  EXPECT_EQ(recording().standardError, "error\n");
  ASSERT_EQ(recording().log.size(), 1U);
  EXPECT_EQ(recording().log[0].text, "line 1 of two");
}

TEST_F(PreviewTest, TraceFileIsEmptiedInTheLayerAlone) {
  folder.makeFile("trace", "old");
  const int descriptor = platform::openTraceFile(path("trace"));
  EXPECT_GE(descriptor, 0);
  close(descriptor);
  EXPECT_EQ(platform::readFile(path("trace")), OptionalString(""));
  EXPECT_EQ(folder.read("trace"), "old");
  folder.makeFolder("in the way");
  EXPECT_EQ(platform::openTraceFile(path("in the way")), -1);
}

TEST_F(PreviewTest, PasteboardIsKeptInMemory) {
  platform::declarePasteboardType("board", "type");
  platform::setPasteboardPropertyList("board", "type", PropertyListValue("text"));
  EXPECT_EQ(platform::pasteboardPropertyList("board", "type"), PropertyListValue("text"));
  EXPECT_EQ(platform::pasteboardPropertyList("board", "other"), std::nullopt);
}

TEST_F(PreviewTest, ProgramThatOthersCanChangeIsFound) {
  const auto changeableByOthers = [](const std::string& program) {
    return platform::preview::changeableByOthers(program, "no such group");
  };
  folder.makeFile("safe/program", "", 0755);
  EXPECT_EQ(changeableByOthers(path("safe/program")), std::nullopt);
  folder.makeFolder("safe", 0777);
  EXPECT_EQ(changeableByOthers(path("safe/program")), OptionalString(path("safe")));
  folder.makeFolder("safe", 01777);
  EXPECT_EQ(changeableByOthers(path("safe/program")), std::nullopt);
  if (geteuid() == 0) {
    constexpr gid_t kStrangers = 54321;
    folder.makeFolder("safe", 0775);
    ASSERT_EQ(chown(path("safe").c_str(), 0, kStrangers), 0);
    EXPECT_EQ(changeableByOthers(path("safe/program")), OptionalString(path("safe")));
    folder.makeFolder("safe", 0755);
  }
  folder.makeFile("safe/program", "", 0757);
  EXPECT_EQ(changeableByOthers(path("safe/program")), OptionalString(path("safe/program")));
}

}  // namespace

}  // namespace hotfix
