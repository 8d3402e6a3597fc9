#include "Tests/EndToEnd/MachineTest.h"

namespace hotfix {

namespace {

/// Successful runs. The steps and their order are in SequenceDocumentTest.
class SuccessTest : public MachineTest {};

TEST_F(SuccessTest, HotfixIsRemovedAndNothingElseChanges) {
  const Snapshot before = state();
  expectSuccess(run(uninstall()), before);
}

TEST_F(SuccessTest, PermissionsAreRepairedAfterThePasses) {
  setLauncher("echo rc=0 > \"$result\"\nmkdir -p '" + data + "/made'; touch '" + data +
              "/made/by the pass'; chmod 0600 '" + data + "/made/by the pass'");
  run(uninstall());
  const Snapshot after = state();
  EXPECT_EQ(after.at(data + "/made"), "0775 " + owners("alice:admin") + " folder");
  EXPECT_EQ(after.at(data + "/made/by the pass"), "0775 " + owners("alice:admin") + " file: ");
}

TEST_F(SuccessTest, OrdinaryUserUninstallsFromAnInstanceOfTheirOwn) {
  if (!ThrowAwayRoot::hasAccounts()) GTEST_SKIP() << "a user namespace of one account";
  for (const auto& [path, entry] : state()) {
    if (path.compare(0, 13, "/Applications") == 0 || path.compare(0, 6, "/Users") == 0) {
      giveTo(ThrowAwayRoot::alice(), ThrowAwayRoot::alice(), path);
    }
  }
  Call call = uninstall();
  call.user = ThrowAwayRoot::alice();
  expectSucceeded(run(call), allChildren());
  const Snapshot after = state();
  EXPECT_EQ(after.at(kTraceFile), "0644 alice:alice file:");
  // Group "admin" is not alice's to give; the mode is.
  EXPECT_EQ(after.at(data + "/logs"), "0775 alice:alice folder");
}

TEST_F(SuccessTest, VolumeWhoseServerHasGoneDoesNotHinderTheRepair) {
  if (!root().mountDeadVolume("/mnt")) GTEST_SKIP() << "needs the rights to mount a file system of a process";
  struct stat status = {};
  ASSERT_EQ(stat((files() / inside("/mnt")).c_str(), &status), -1);
  ASSERT_EQ(errno, ENOTCONN);
  const Snapshot before = state();
  expectSuccess(run(uninstall()), before);
}

}  // namespace

}  // namespace hotfix
