#include "MacInstaller/HotfixUninstall.h"
#include "Platform/SystemPaths.h"
#include "Tests/Support/InstanceFixture.h"

namespace hotfix {

namespace {

constexpr char kTerminated[] =
    " Provisioning process failed to launch or was terminated before status could be determined.";
constexpr char kUnexpected[] =
    "Unexpected results have occurred during the provisioning operation. For additional information, please refer to "
    "the logs.";
constexpr char kCompleted[] = "The provisioning operations have completed successfully.";
constexpr char kLaunching[] = "Launch platform to uninstall provisioned features...";

class HotfixUninstallTest : public InstanceTest {
 protected:
  std::string inDeploy(const std::string& name) const { return home() + "/deploy/" + name; }
  std::string launcher() const { return home() + "/rcplauncher"; }

  std::vector<std::string> launch(const std::string& dataFolder, const std::string& locale = "en_US") const {
    return InstanceTest::launch("update", dataFolder, locale);
  }
  std::vector<std::string> forget(const std::string& package = "com.qor.hotfix.pkg") const {
    return {folder / outside(platform::kPkgutil), "--forget", package};
  }

  /// The log lines of an uninstall up to its launches.
  LogLines linesUntilLaunch() const {
    LogLines lines = creationLines(home());
    lines.emplace_back(6, "Copy install manifest to " + inDeploy("install.update.xml") + ".");
    lines.emplace_back(6, kLaunching);
    return lines;
  }
  LogLines linesOfFailure() const {
    LogLines lines = linesUntilLaunch();
    lines.emplace_back(3, kUnexpected);
    return lines;
  }

  /// The home folder at the first launch of an uninstall that began with it as it is now.
  Tree treeAtFirstLaunch() const {
    Tree tree = homeTree();
    tree["deploy/install.update.xml"] = "file: " + uninstallManifest();
    tree.erase("deploy/uninstall.hotfix.xml");
    tree["deploy/install.0101260000.xml"] = "file: <install/>\n";
    tree["rcplauncher.properties"] =
        "file: provisioning.manifest.version=1511262125\nrcp.data=${env.HOME}/workspace\nrcp.install.id=0101260000\n";
    return tree;
  }

  /// The same home folder after the hotfix version was cleared, and after all records were.
  static Tree withoutHotfixVersion(Tree tree) {
    tree["installInfo.plist"] = "file: " + xmlRecords({{"SKIPRUNNINGCHECK", "false"},
                                                       {"installedHotfixBundleID", "com.qor.hotfix.pkg"},
                                                       {"version", "6.2.1"}});
    return tree;
  }
  static Tree withoutRecords(Tree tree) {
    tree["installInfo.plist"] = "file: " + xmlRecords({{"version", "6.2.1"}});
    return tree;
  }

  /// One uninstall with what it prints; made and destroyed as the library entry does it.
  struct Run {
    bool answer = false;
    std::string printed;
    std::string failure;
  };
  static Run uninstall(const OptionalString& homeFolder, const OptionalString& dataFolder) {
    Run run;
    testing::internal::CaptureStdout();
    {
      HotfixUninstall uninstall(homeFolder, dataFolder);
      EXPECT_EQ(uninstall.failure(), "");
      run.answer = uninstall.uninstallOldHotfix();
      run.failure = uninstall.failure();
    }
    run.printed = testing::internal::GetCapturedStdout();
    return run;
  }
  Run uninstall() const { return uninstall(home(), data()); }

  void removeFile(const std::string& relativePath) const {
    EXPECT_EQ(unlink((folder / relativePath).c_str()), 0) << relativePath;
  }
};

// ----- Making one -----

TEST_F(HotfixUninstallTest, AbsentOrMissingHomeMakesAnEmptyObjectAndNoHome) {
  const Tree before = everything();
  for (const OptionalString& home : {kNone, OptionalString(folder / "missing/rcp")}) {
    const Run run = uninstall(home, data());
    EXPECT_FALSE(run.answer);
    EXPECT_EQ(run.failure, "the home folder went away, or cannot be reached any more");
    EXPECT_EQ(run.printed, "");
    expectEverything(before);
  }
}

TEST_F(HotfixUninstallTest, MakingOneOnlyMakesItsInstanceService) {
  const Tree before = homeTree();
  { const HotfixUninstall uninstall(home(), folder / "missing data"); }
  EXPECT_EQ(log(), creationLines(home()));
  EXPECT_EQ(homeTree(), before);
  EXPECT_FALSE(folder.has("missing data"));
  EXPECT_THAT(children(), IsEmpty());
}

TEST_F(HotfixUninstallTest, HomeThatIsAFileHasNoUninstallManifest) {
  const std::string file = folder.makeFile("file");
  const Run run = uninstall(file, kNone);
  EXPECT_FALSE(run.answer);
  EXPECT_EQ(run.printed, "File " + file + "/deploy/uninstall.hotfix.xml was not found." + kTerminated + "\n");
  EXPECT_THAT(children(), IsEmpty());
}

// ----- Preparing the manifest -----

TEST_F(HotfixUninstallTest, UninstallManifestBecomesTheUpdateManifestUnchanged) {
  folder.makeFile(inHome("deploy/install.update.xml"), "older");
  Tree expected = homeTree();
  expected["deploy/install.update.xml"] = "file: " + uninstallManifest();
  expected.erase("deploy/uninstall.hotfix.xml");
  HotfixUninstall uninstall(home(), data());
  clearLog();
  testing::internal::CaptureStdout();
  EXPECT_TRUE(uninstall.copyUninstallManifest());
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(log(), (LogLines{{6, "Copy install manifest to " + inDeploy("install.update.xml") + "."}}));
}

TEST_F(HotfixUninstallTest, MissingUninstallManifestIsToldInTwoWordings) {
  folder.makeFile(inHome("deploy/install.update.xml"), "older");
  removeFile(inHome("deploy/uninstall.hotfix.xml"));
  HotfixUninstall uninstall(home(), data());
  const std::string message = "File " + inDeploy("uninstall.hotfix.xml") + " was not found." + kTerminated;
  for (const bool hasLinkToNothing : {false, true}) {
    if (hasLinkToNothing) folder.makeLink(inHome("deploy/uninstall.hotfix.xml"), folder / "missing");
    const Tree before = homeTree();
    clearLog();
    testing::internal::CaptureStdout();
    EXPECT_FALSE(uninstall.copyUninstallManifest());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), message + "\n");
    EXPECT_EQ(log(), (LogLines{{3, message}}));
    EXPECT_EQ(homeTree(), before);
  }
}

TEST_F(HotfixUninstallTest, UninstallManifestThatCannotBeCopiedIsToldInTwoWordingsAndEndsTheSequence) {
  removeFile(inHome("deploy/uninstall.hotfix.xml"));
  folder.makeFifo(inHome("deploy/uninstall.hotfix.xml"));
  const Tree before = homeTree();
  const Run run = uninstall();
  EXPECT_FALSE(run.answer);
  EXPECT_EQ(run.printed, std::string("File install.update.xml was not found.") + kTerminated + "\n");
  EXPECT_EQ(run.failure, "the uninstall manifest could not be copied from " + inDeploy("uninstall.hotfix.xml") + ": " +
                             std::strerror(ENOTSUP));
  LogLines expected = creationLines(home());
  expected.emplace_back(6, "Copy install manifest to " + inDeploy("install.update.xml") + ".");
  expected.emplace_back(3, std::string("File install.update.xml not found.") + kTerminated);
  EXPECT_EQ(log(), expected);
  EXPECT_EQ(homeTree(), before) << "it is consumed only by a copy";
  EXPECT_THAT(children(), IsEmpty());
}

// ----- Provisioning -----

TEST_F(HotfixUninstallTest, SecondLaunchWaitsForTheFirst) {
  makeNotingProgram(inHome("rcplauncher"), "sleep 0.3; echo ended >> '" + (folder / "children") + "'");
  HotfixUninstall uninstall(home(), data());
  uninstall.startProvisioning();
  ASSERT_EQ(folder.lines("children").size(), 32U);  // of each launch its path, 13 arguments, a separator and the end
  EXPECT_EQ(folder.lines("children")[15], "ended");
  EXPECT_EQ(folder.lines("children")[31], "ended");
}

TEST_F(HotfixUninstallTest, LocaleIsReadOnceForBothLaunches) {
  setUserDefaults(".GlobalPreferences", "{ AppleLocale = \"de_DE\"; }");
  const std::string preferences = folder.makeFile("changed", "{ AppleLocale = \"fr_FR\"; }");
  makeNotingProgram(
      inHome("rcplauncher"),
      "find '" + (folder / "outside") + "' -name .GlobalPreferences.plist -exec cp '" + preferences + "' {} ';'");
  HotfixUninstall uninstall(home(), data());
  uninstall.startProvisioning();
  EXPECT_EQ(children(), (Children{launch(data(), "de_DE"), launch(data(), "de_DE")}));
  uninstall.startProvisioning();
  ASSERT_EQ(children().size(), 4U);
  EXPECT_EQ(children()[2], launch(data(), "fr_FR"));
}

TEST_F(HotfixUninstallTest, OutputAndExitStatusOfTheLauncherAreDropped) {
  makeNotingProgram(inHome("rcplauncher"), "echo out; echo err >&2; exit 7");
  HotfixUninstall uninstall(home(), data());
  clearLog();
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  uninstall.startProvisioning();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(children().size(), 2U);
  EXPECT_EQ(log(), (LogLines{{6, kLaunching}}));
}

// ----- The whole sequence -----

TEST_F(HotfixUninstallTest, SequenceRemovesTheHotfix) {
  folder.makeFile(kResultFile, "rc=1\n");
  folder.makeFile("data/deep/file", "", 0600);
  const Tree atFirstLaunch = treeAtFirstLaunch();
  const Tree dataBefore = treeSnapshot(data());
  const mode_t dataMode = folder.mode(kData);

  const Run run = uninstall();

  EXPECT_TRUE(run.answer);
  EXPECT_EQ(run.printed, std::string(kCompleted) + "\n");
  EXPECT_EQ(log(), linesUntilLaunch());
  ASSERT_EQ(children(), (Children{launch(data()), launch(data()), forget()}));

  EXPECT_EQ(homeTreeAtStart(0), atFirstLaunch);
  EXPECT_FALSE(folder.has(atStart(0, kResultFile)));
  EXPECT_EQ(homeTreeAtStart(1), atFirstLaunch);
  EXPECT_TRUE(folder.has(atStart(1, kResultFile)));

  EXPECT_EQ(homeTreeAtStart(2), withoutHotfixVersion(atFirstLaunch)) << "the other records are still needed";
  EXPECT_FALSE(folder.has(atStart(2, kResultFile)));
  EXPECT_EQ(folder.mode(atStart(2, "data/deep/file")), 0600U);

  EXPECT_EQ(homeTree(), withoutRecords(atFirstLaunch));
  EXPECT_FALSE(folder.has(kResultFile));
  EXPECT_EQ(treeSnapshot(data()), dataBefore);
  for (const char* const opened :
       {"data/deep", "data/deep/file", "data/.config", "data/.config/rcpinstall.properties"}) {
    EXPECT_EQ(folder.mode(opened), 0775U) << opened;
  }
  EXPECT_EQ(folder.mode(kData), dataMode);
  EXPECT_EQ(folder.mode(inHome("deploy/install.xml")), 0644U) << "the home folder is not opened";
}

TEST_F(HotfixUninstallTest, SequenceGoesStepByStep) {
  {
    const PrintsToHistory printing(*this);
    HotfixUninstall uninstall(home(), data());
    EXPECT_TRUE(uninstall.uninstallOldHotfix());
  }
  EXPECT_EQ(history(), (std::vector<std::string>{
                           "Info: " + creationLines(home())[0].second, "Info: " + creationLines(home())[1].second,
                           "Warning: " + creationLines(home())[2].second,
                           "Info: Copy install manifest to " + inDeploy("install.update.xml") + ".",
                           std::string("Info: ") + kLaunching, "started rcplauncher", "started rcplauncher",
                           std::string("printed ") + kCompleted, "started pkgutil"}));
}

TEST_F(HotfixUninstallTest, FailureIsLoggedAndPrintedAfterTheLaunches) {
  setLauncherResult("1");
  {
    const PrintsToHistory printing(*this);
    HotfixUninstall uninstall(home(), data());
    EXPECT_FALSE(uninstall.uninstallOldHotfix());
  }
  EXPECT_THAT(history(), ElementsAre(testing::_, testing::_, testing::_, testing::_, std::string("Info: ") + kLaunching,
                                     "started rcplauncher", "started rcplauncher", std::string("Error: ") + kUnexpected,
                                     std::string("printed ") + kUnexpected));
}

TEST_F(HotfixUninstallTest, DefaultDataFolderIsSystemdataInTheHomeAndNeedNotExist) {
  const struct {
    std::string home;
    OptionalString data;
    std::string launchedData;
  } rows[] = {{home(), kNone, home() + "/systemdata"}, {home() + "/", kNone, home() + "/systemdata"}, {home(), "", ""}};
  Children expected;
  for (const auto& row : rows) {
    folder.makeFile(inHome("deploy/uninstall.hotfix.xml"), uninstallManifest());
    writeInstallInfo({{"installedHotfixBundleID", "com.qor.hotfix.pkg"}});
    EXPECT_TRUE(uninstall(row.home, row.data).answer);
    expected.insert(expected.end(), {launch(row.launchedData), launch(row.launchedData), forget()});
    EXPECT_EQ(children(), expected);
    EXPECT_FALSE(folder.has(inHome("systemdata")));
  }
}

TEST_F(HotfixUninstallTest, DefaultDataFolderIsTheOneWhosePermissionsAreRepaired) {
  folder.makeFile(inHome("systemdata/file"), "", 0600);
  EXPECT_TRUE(uninstall(home(), kNone).answer);
  EXPECT_EQ(folder.mode(inHome("systemdata/file")), 0775U);
  EXPECT_EQ(folder.mode("data/.config/rcpinstall.properties"), 0644U);
}

TEST_F(HotfixUninstallTest, LastLaunchDecides) {
  const std::string result = folder / kResultFile;
  makeNotingProgram(inHome("rcplauncher"), "if [ -e '" + result + "' ]; then echo rc=1 > '" + result +
                                               "'; else echo rc=0 > '" + result + "'; fi");
  EXPECT_FALSE(uninstall().answer);
  EXPECT_EQ(folder.read(kResultFile), "rc=1\n");
}

TEST_F(HotfixUninstallTest, SequenceWithoutARecordedPackageForgetsNoReceipt) {
  writeInstallInfo({{"version", "6.2.1"}, {"other", "kept"}});
  const Run run = uninstall();
  EXPECT_TRUE(run.answer);
  EXPECT_EQ(children(), (Children{launch(data()), launch(data())}));
  EXPECT_EQ(folder.read(inHome("installInfo.plist")), xmlRecords({{"other", "kept"}, {"version", "6.2.1"}}));
}

TEST_F(HotfixUninstallTest, FailureOfThePackageToolDoesNotMatter) {
  makeNotingProgram(outside(platform::kPkgutil), "echo out; echo err >&2; exit 1");
  const Tree atFirstLaunch = treeAtFirstLaunch();
  const Run run = uninstall();
  EXPECT_TRUE(run.answer);
  EXPECT_EQ(run.printed, std::string(kCompleted) + "\n");
  EXPECT_EQ(homeTree(), withoutRecords(atFirstLaunch));
}

// ----- Provisioning that failed -----

struct FailedRun {
  std::string name;
  OptionalString resultFile;
};

class FailedProvisioningTest : public HotfixUninstallTest, public testing::WithParamInterface<FailedRun> {};

TEST_P(FailedProvisioningTest, NothingIsRolledBackAndTheResultFileStays) {
  folder.makeFile(kResultFile, "rc=0\n");  // of an older run
  folder.makeFile("data/file", "", 0600);
  const OptionalString& result = GetParam().resultFile;
  const std::string prepared = folder.makeFile("prepared", result.value_or(""));
  makeNotingProgram(inHome("rcplauncher"), result ? "cp '" + prepared + "' '" + (folder / kResultFile) + "'" : "");
  const Tree atFirstLaunch = treeAtFirstLaunch();

  const Run run = uninstall();

  EXPECT_FALSE(run.answer);
  EXPECT_EQ(run.printed, std::string(kUnexpected) + "\n");
  EXPECT_EQ(log(), linesOfFailure());
  EXPECT_EQ(children(), (Children{launch(data()), launch(data())}));
  EXPECT_EQ(homeTree(), withoutHotfixVersion(atFirstLaunch));
  EXPECT_EQ(folder.has(kResultFile), result.has_value());
  if (result) {
    EXPECT_EQ(folder.read(kResultFile), *result);
  }
  EXPECT_EQ(folder.mode("data/file"), 0600U);
}

INSTANTIATE_TEST_SUITE_P(Results, FailedProvisioningTest,
                         testing::Values(FailedRun{"Code", "rc=1\n"}, FailedRun{"NoCode", ""},
                                         FailedRun{"NoFile", kNone}),
                         [](const testing::TestParamInfo<FailedRun>& tested) { return tested.param.name; });

TEST_F(HotfixUninstallTest, LauncherThatCannotBeStartedIsOneLineALaunchAndAFailure) {
  folder.makeFile(kResultFile, "rc=0\n");  // of an older run: must not count
  removeFile(inHome("rcplauncher"));
  const Tree atFirstLaunch = treeAtFirstLaunch();
  const Run run = uninstall();
  EXPECT_FALSE(run.answer);
  EXPECT_EQ(run.printed, std::string(kUnexpected) + "\n");
  EXPECT_EQ(run.failure, launcher() + " could not be started: " + std::strerror(ENOENT));
  const auto launchFailure = Pair(3, AllOf(HasSubstr(launcher()), HasSubstr(std::strerror(ENOENT))));
  const LogLines lines = linesUntilLaunch();
  EXPECT_THAT(log(), ElementsAre(lines[0], lines[1], lines[2], lines[3], lines[4], launchFailure, launchFailure,
                                 Pair(3, kUnexpected)));
  EXPECT_EQ(homeTree(), withoutHotfixVersion(atFirstLaunch));
  EXPECT_FALSE(folder.has(kResultFile));
}

// ----- Damaged files -----

TEST_F(HotfixUninstallTest, DamagedRecordsStayAndDoNotStopTheSequence) {
  folder.makeFile(inHome("installInfo.plist"), "<plist><dict><key>installedHotfixBundleID");
  const Tree atFirstLaunch = treeAtFirstLaunch();
  const Run run = uninstall();
  EXPECT_TRUE(run.answer);
  EXPECT_EQ(children(), (Children{launch(data()), launch(data())}));
  EXPECT_EQ(homeTree(), atFirstLaunch);
  EXPECT_EQ(log(), linesUntilLaunch());
}

TEST_F(HotfixUninstallTest, MissingRecordsAreMadeEmpty) {
  removeFile(inHome("installInfo.plist"));
  Tree expected = treeAtFirstLaunch();
  const Run run = uninstall();
  EXPECT_TRUE(run.answer);
  EXPECT_EQ(homeTreeAtStart(0), expected);
  expected["installInfo.plist"] = "file: " + xmlRecords({});
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(children(), (Children{launch(data()), launch(data())}));
}

TEST_F(HotfixUninstallTest, MissingLauncherPropertiesAreNotMadeAndNoBackupIsNamedByThem) {
  removeFile(inHome("rcplauncher.properties"));
  Tree expected = homeTree();
  expected["deploy/install.update.xml"] = "file: " + uninstallManifest();
  expected.erase("deploy/uninstall.hotfix.xml");
  const Run run = uninstall();
  EXPECT_TRUE(run.answer);
  EXPECT_EQ(homeTree(), withoutRecords(expected));
  EXPECT_EQ(log(), linesUntilLaunch());
}

}  // namespace

}  // namespace hotfix
