#include <unistd.h>

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

TEST_F(SuccessTest, LauncherGetsTheUninstallManifestUnchanged) {
  const std::string manifest = "<?xml version='1.0'?>\r\n<a><!-- \xC3\xA9 --> ${installer.root}</a>\n\n";
  files().makeFile(inHome("deploy/uninstall.hotfix.xml"), manifest, 0600);
  files().makeFile(inHome("deploy/install.update.xml"), "of an earlier update", 0600);
  const Outcome outcome = run(uninstall());
  ASSERT_EQ(outcome.commandLines(), allChildren());
  EXPECT_EQ(files().read(outcome.children[0].seen + "/Product.app/Contents/MacOS/rcp/deploy/install.update.xml"),
            manifest);
  EXPECT_EQ(files().read(inHome("deploy/install.update.xml")), manifest);
}

TEST_F(SuccessTest, SecondLaunchCountsWhenTheFirstFailed) {
  setLauncher(
      "if [ -e \"$result\" ]; then echo rc=0; else echo rc=1; fi > \"$result.new\"; mv \"$result.new\" \"$result\"");
  const Snapshot before = state();
  expectSuccess(run(uninstall()), before);
}

TEST_F(SuccessTest, OlderBackupOfTheSameVersionStays) {
  const std::string backup = "deploy/install." + std::string(kOldStamp) + ".xml";
  files().makeFile(inHome(backup), "older");
  const Outcome outcome = run(uninstall());
  EXPECT_EQ(outcome.ending, "exit 0");
  EXPECT_EQ(files().read(inHome(backup)), "older");
}

TEST_F(SuccessTest, BackupWithoutManifestVersionIsOld) {
  files().makeFile(inHome("rcplauncher.properties"), "vm=/opt/java\n");
  EXPECT_EQ(run(uninstall()).ending, "exit 0");
  EXPECT_EQ(files().read(inHome("deploy/install.old.xml")), kInstallManifest);
}

TEST_F(SuccessTest, InstanceWithoutLauncherPropertiesGetsNone) {
  unlink((files() / inHome("rcplauncher.properties")).c_str());
  const Outcome outcome = run(uninstall());
  EXPECT_EQ(outcome.ending, "exit 0");
  EXPECT_EQ(outcome.commandLines(), allChildren());
  EXPECT_EQ(files().names(inHome("deploy")), (Lines{"install.update.xml", "install.xml"}));  // no backup either
  EXPECT_FALSE(files().has(inHome("rcplauncher.properties")));
}

TEST_F(SuccessTest, OtherRecordsAreKeptAsTheyAre) {
  files().makeFile(inHome("installInfo.plist"),
                   "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict>"
                   "<key>version</key><string>6 &amp; more</string>"
                   "<key>hotfixVersion</key><string>6.2.1.1</string>"
                   "<key>installedHotfixBundleID</key><string>com.qor.hotfix.pkg</string>"
                   "<key>count</key><integer>-7</integer><key>flag</key><true/><key>part</key><real>0.5</real>"
                   "<key>day</key><date>2026-11-15T21:25:00Z</date><key>bytes</key><data>AAEC</data>"
                   "<key>list</key><array><string>a</string><dict/></array>"
                   "</dict></plist>");
  EXPECT_EQ(run(uninstall()).ending, "exit 0");
  EXPECT_EQ(files().read(inHome("installInfo.plist")),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
            "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
            "<plist version=\"1.0\">\n"
            "<dict>\n"
            "\t<key>bytes</key>\n\t<data>\n\tAAEC\n\t</data>\n"
            "\t<key>count</key>\n\t<integer>-7</integer>\n"
            "\t<key>day</key>\n\t<date>2026-11-15T21:25:00Z</date>\n"
            "\t<key>flag</key>\n\t<true/>\n"
            "\t<key>list</key>\n\t<array>\n\t\t<string>a</string>\n\t\t<dict/>\n\t</array>\n"
            "\t<key>part</key>\n\t<real>0.5</real>\n"
            "\t<key>version</key>\n\t<string>6 &amp; more</string>\n"
            "</dict>\n"
            "</plist>\n");
}

TEST_F(SuccessTest, RecordsThatAreNoPropertyListStayAndSkipTheRunningCheck) {
  files().makeFile(inHome("installInfo.plist"), "<plist><dict><key>version", 0600);
  const Outcome outcome = run(uninstall());
  EXPECT_EQ(outcome.ending, "exit 0");
  EXPECT_EQ(outcome.output, kSucceeded);
  // No package identifier: nothing to forget.
  std::vector<CommandLine> children = allChildren();
  children.erase(children.begin() + 2);
  EXPECT_EQ(outcome.commandLines(), children);
  EXPECT_EQ(files().read(inHome("installInfo.plist")), "<plist><dict><key>version");
}

TEST_F(SuccessTest, MissingRecordsBecomeAnEmptyList) {
  unlink((files() / inHome("installInfo.plist")).c_str());
  const Outcome outcome = run(uninstall());
  EXPECT_EQ(outcome.ending, "exit 0");
  std::vector<CommandLine> children = allChildren();
  children.erase(children.begin() + 2);
  EXPECT_EQ(outcome.commandLines(), children);
  EXPECT_EQ(files().read(inHome("installInfo.plist")), recordsText({}));
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
