#include "Tests/EndToEnd/MachineTest.h"

namespace hotfix {

namespace {

class SuccessTest : public MachineTest {};

TEST_F(SuccessTest, EveryStepOfTheRunInItsOrder) {
  const Snapshot before = state();
  const Outcome outcome = run(uninstall());

  EXPECT_EQ(outcome.ending, "exit 0");
  EXPECT_EQ(outcome.output, "The provisioning operations have completed successfully.\n");
  EXPECT_EQ(outcome.errors, "");

  const std::string rcp = "/Applications/Product.app/Contents/MacOS/rcp";
  const CommandLine update = {rcp + "/rcplauncher",
                              "-rcpLauncherWait",
                              "-provManifest",
                              "-noSplash",
                              "-provisioningOperation",
                              "update",
                              "-nl",
                              "en_US",
                              "-vmargs",
                              "-Dfile.encoding=UTF-8",
                              "-Xms32m",
                              "-Xmx256m",
                              "-data",
                              "/Users/alice/Client Data"};
  CommandLine cleanUp = update;
  cleanUp[5] = "cleanup";
  EXPECT_EQ(outcome.commandLines(),
            (std::vector<CommandLine>{
                update,
                update,
                {"/usr/sbin/pkgutil", "--forget", "com.qor.hotfix.pkg"},
                {"/usr/libexec/java_home"},
                {"/Library/Java/Home 1/bin/java", "-jar", rcp + "/collectionutility.jar", "-productName", "Product",
                 "-productVersion", "6.2.1", "-action", "HOTFIX_UNINSTALL", "-workspace", "/Users/alice/Client Data",
                 "-logLocation", "/tmp/install_trace.log", "-s"},
                cleanUp,
                update,
            }));

  EXPECT_EQ(
      outcome.trace,
      (Lines{
          "<Info>: RCP Home : /Applications/Product.app/Contents/MacOS/rcp .",
          "<Info>: Check whether the unsupported characters are contained.",
          "<Info>: Check whether the target platform is installed.",
          "<Info>: The pathToRcphome is: /Applications/Product.app/Contents/MacOS/rcp.",
          "<Info>: newInstallLocation : (null).",
          "<Warning>: Can not copy to newInstallLocation because its nil!",
          "<Info>: Check whether platform is running.",
          "<Info>: >>>> current is /usr/sbin/firstProcess.",
          "<Info>: Remove hotfix.",
          "<Info>: The pathToRcphome is: /Applications/Product.app/Contents/MacOS/rcp.",
          "<Info>: newInstallLocation : (null).",
          "<Warning>: Can not copy to newInstallLocation because its nil!",
          "<Info>: Copy install manifest to "
          "/Applications/Product.app/Contents/MacOS/rcp/deploy/install.update.xml.",
          "<Info>: Launch platform to uninstall provisioned features...",
          "<Info>: pathToRCPHome is /Applications/Product.app/Contents/MacOS/rcp.",
          "<Info>: targetName is Product.",
          "<Notice>: Begin to call collection utility to gather log files for the HOTFIX_UNINSTALL operaton of Product "
          "project.",
          "<Info>: _pathToRcphome is /Applications/Product.app/Contents/MacOS/rcp.",
          "<Info>: productVersion is 6.2.1.",
          "<Notice>: Successfully collect the log files and place them under "
          "/Applications/Product.app/Contents/MacOS/rcp/deploy/installHistory for the HOTFIX_UNINSTALL operaton of "
          "Product project.",
          "<Info>: The pathToRcphome is: /Applications/Product.app/Contents/MacOS/rcp.",
          "<Info>: newInstallLocation : (null).",
          "<Warning>: Can not copy to newInstallLocation because its nil!",
      }));

  EXPECT_EQ(differences(before, state()), successChanges(before));
}

TEST_F(SuccessTest, EveryChildFindsTheStepsBeforeItDone) {
  // A result of an earlier run, which must not be taken for this one's.
  files().makeFile(inside(bundle + "/Contents/MacOS/.provisioning_rc"), "rc=1\n");
  makePatientJava();
  const std::string plain = " data=0644 " + owners("root:root"), repaired = " data=0775 " + owners("alice:admin");
  const std::string prepared = "uninstall=no update=yes backup=yes";
  const std::string records = " package=com.qor.hotfix.pkg skip=false";
  const std::string noRecords = " hotfix=none package=none skip=none";
  EXPECT_EQ(found(run(uninstall())),
            (Lines{
                // The two launches: with the new manifest version and without the old result.
                prepared + " result=none version=now id=old hotfix=6.2.1.1" + records + plain + " printed=0 traced=14",
                prepared + " result=rc=0 version=now id=old hotfix=6.2.1.1" + records + plain + " printed=0 traced=14",
                // pkgutil: the hotfix version is cleared, the result read, removed and told; nothing is repaired yet.
                prepared + " result=none version=now id=old hotfix=none" + records + plain + " printed=1 traced=14",
                // java_home and java: all is done but the passes.
                prepared + " result=none version=now id=old" + noRecords + repaired + " printed=1 traced=17",
                prepared + " result=none version=now id=old" + noRecords + repaired + " printed=1 traced=20",
                // The clean-up pass, then the update pass with the new install id.
                prepared + " result=none version=now id=old" + noRecords + repaired + " printed=1 traced=23",
                prepared + " result=rc=0 version=now id=now" + noRecords + repaired + " printed=1 traced=23",
            }));
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
  const Outcome outcome = run(call);
  EXPECT_EQ(outcome.ending, "exit 0");
  EXPECT_EQ(outcome.output, kSucceeded);
  EXPECT_EQ(outcome.commandLines(), allChildren());
  const Snapshot after = state();
  EXPECT_EQ(after.at(kTraceFile), "0644 alice:alice file:");
  // Group "admin" is not alice's to give; the mode is.
  EXPECT_EQ(after.at(data + "/logs"), "0775 alice:alice folder");
}

}  // namespace

}  // namespace hotfix
