#include <dirent.h>

#include <atomic>
#include <cstdlib>
#include <thread>

#include "MacInstaller/hotifxUninstallLibrary.h"
#include "Platform/SystemPaths.h"
#include "Tests/Platform/Conditions.h"
#include "Tests/Support/InstanceFixture.h"

namespace hotfix {

namespace {

constexpr char kCompletedLine[] = "The provisioning operations have completed successfully.\n";
constexpr char kUnexpectedLine[] =
    "Unexpected results have occurred during the provisioning operation. For additional information, please refer to "
    "the logs.\n";
constexpr char kTrace[] = "/tmp/install_trace.log";

class HotfixUninstallLibraryTest : public InstanceTest {
 protected:
  HotfixUninstallLibraryTest() { runProcess(getpid(), "/the/caller"); }

  /// What both entries return and print.
  struct Call {
    std::int32_t status = -1;
    std::string printed;
  };
  static Call callEx(const char* homeFolder, const char* dataFolder) {
    testing::internal::CaptureStdout();
    Call call;
    call.status = RCPUninstallHotfixEx(homeFolder, dataFolder);
    call.printed = testing::internal::GetCapturedStdout();
    return call;
  }
  Call callEx() const { return callEx(home().c_str(), data().c_str()); }
  static Call callShort(const char* homeFolder) {
    testing::internal::CaptureStdout();
    Call call;
    call.status = RCPUninstallHotfix(homeFolder);
    call.printed = testing::internal::GetCapturedStdout();
    return call;
  }

  // ----- Expected lines, in the order of the checks -----

  static void add(LogLines& lines, const LogLines& more) { lines.insert(lines.end(), more.begin(), more.end()); }

  static LogLines linesToCharacterCheck(const std::string& homeFolder) {
    return {{6, "RCP Home : " + homeFolder + " ."}, {6, "Check whether the unsupported characters are contained."}};
  }
  static LogLines linesToInstanceCheck(const std::string& homeFolder) {
    LogLines lines = linesToCharacterCheck(homeFolder);
    lines.emplace_back(6, "Check whether the target platform is installed.");
    add(lines, creationLines(homeFolder));
    return lines;
  }
  static LogLines linesToRunningCheck(const std::string& homeFolder) {
    LogLines lines = linesToInstanceCheck(homeFolder);
    lines.emplace_back(6, "Check whether platform is running.");
    return lines;
  }
  LogLines linesOfUninstall() const {
    LogLines lines{{6, "Remove hotfix."}};
    add(lines, creationLines(home()));
    lines.emplace_back(6, "Copy install manifest to " + home() + "/deploy/install.update.xml.");
    lines.emplace_back(6, "Launch platform to uninstall provisioned features...");
    return lines;
  }
  static LogLines linesOfTargetName(const std::string& homeFolder, const std::string& name) {
    LogLines lines{{6, "pathToRCPHome is " + homeFolder + "."}};
    if (name == "/") {
      lines.emplace_back(3, "Error path value, please provide a valid path value for rcp home.");
    } else {
      lines.emplace_back(6, "targetName is " + name + ".");
    }
    return lines;
  }
  static LogLines linesOfCollection(const std::string& homeFolder, const std::string& product,
                                    const std::string& version) {
    const std::string operation = "HOTFIX_UNINSTALL operaton of " + product + " project.";
    return {{5, "Begin to call collection utility to gather log files for the " + operation},
            {6, "_pathToRcphome is " + homeFolder + "."},
            {6, "productVersion is " + version + "."},
            {5, "Successfully collect the log files and place them under " + homeFolder +
                    "/deploy/installHistory for the " + operation}};
  }
  LogLines linesOfCollection() const {
    LogLines lines = linesOfTargetName(home(), "Product");
    add(lines, linesOfCollection(home(), "Product", "6.2.1"));
    return lines;
  }
  LogLines linesOfSuccess() const {
    LogLines lines = linesToRunningCheck(home());
    add(lines, linesOfUninstall());
    add(lines, linesOfCollection());
    return lines;
  }

  // ----- Expected children -----

  std::vector<std::string> launch(const std::string& dataFolder) const {
    return InstanceTest::launch("update", dataFolder);
  }
  std::vector<std::string> forget() const {
    return {folder / outside(platform::kPkgutil), "--forget", "com.qor.hotfix.pkg"};
  }
  std::vector<std::string> collect(const std::string& homeFolder, const std::string& product,
                                   const std::string& version, const std::string& workspace) const {
    return {folder / "java/bin/java",
            "-jar",
            homeFolder + "/collectionutility.jar",
            "-productName",
            product,
            "-productVersion",
            version,
            "-action",
            "HOTFIX_UNINSTALL",
            "-workspace",
            workspace,
            "-logLocation",
            kTrace,
            "-s"};
  }
  std::vector<std::string> collect(const std::string& workspace) const {
    return collect(home(), "Product", "6.2.1", workspace);
  }

  void removeFile(const std::string& relativePath) const {
    EXPECT_EQ(unlink((folder / relativePath).c_str()), 0) << relativePath;
  }

  /// A failed check: status 1, nothing printed, nothing changed in the tree that holds the home.
  void expectRefusal(const Call& call, const LogLines& expectedLog) const {
    EXPECT_EQ(call.status, 1);
    EXPECT_EQ(call.printed, "");
    EXPECT_EQ(log(), expectedLog);
  }
};

std::string reason() {
  std::string text(RCPUninstallHotfixReason(nullptr, 0) + 1, 'x');
  const size_t length = RCPUninstallHotfixReason(&text[0], text.size());
  EXPECT_EQ(text.find('\0'), length);
  text.resize(length);
  return text;
}

// ----- Success -----

TEST_F(HotfixUninstallLibraryTest, HotfixIsRemovedAndLogsAreCollected) {
  Tree expected = homeTree();
  expected["deploy/install.update.xml"] = "file: " + uninstallManifest();
  expected.erase("deploy/uninstall.hotfix.xml");
  expected["deploy/install.0101260000.xml"] = "file: <install/>\n";
  expected["rcplauncher.properties"] =
      "file: provisioning.manifest.version=1511262125\nrcp.data=${env.HOME}/workspace\nrcp.install.id=0101260000\n";
  expected["installInfo.plist"] = "file: " + xmlRecords({{"version", "6.2.1"}});

  const Call call = callEx();

  EXPECT_EQ(call.status, 0);
  EXPECT_EQ(call.printed, kCompletedLine);
  EXPECT_EQ(log(), linesOfSuccess());
  EXPECT_EQ(children(), (Children{launch(data()), launch(data()), forget(), collect(data())}));
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(homeTreeAtStart(3), expected) << "logs are collected after the whole uninstall";
  for (const std::string& place : {std::string(kData), atStart(3, kData)}) {
    EXPECT_EQ(folder.mode(place + "/.config/rcpinstall.properties"), 0775U);
  }
}

TEST_F(HotfixUninstallLibraryTest, DefaultDataFolderIsTakenByTheShortEntryAndByTheLongOneWithoutOne) {
  setEnvironment("HOME", "/Users/me");
  const std::string data = home() + "/systemdata";
  Children expected;
  for (const bool isShort : {true, false}) {
    folder.makeFile(inHome("deploy/uninstall.hotfix.xml"), uninstallManifest());
    writeInstallInfo({{"SKIPRUNNINGCHECK", "false"}, {"installedHotfixBundleID", "com.qor.hotfix.pkg"}});
    folder.makeFile(inHome("systemdata/file"), "", 0600);
    clearLog();
    const Call call = isShort ? callShort(home().c_str()) : callEx(home().c_str(), nullptr);
    EXPECT_EQ(call.status, 0);
    EXPECT_EQ(call.printed, kCompletedLine);
    EXPECT_EQ(log(), linesOfSuccess());
    EXPECT_EQ(folder.mode(inHome("systemdata/file")), 0775U);
    // The service that collects the logs was made without a data folder: its workspace is that of the properties.
    expected.insert(expected.end(), {launch(data), launch(data), forget(), collect("/Users/me/workspace")});
    EXPECT_EQ(children(), expected);
  }
}

// ----- Failed checks -----

TEST_F(HotfixUninstallLibraryTest, AbsentOrMissingHomeIsRefusedAndNotMade) {
  const std::string missing = folder / "Other.app/Contents/MacOS/rcp";
  const std::string longerThanAPath(5000, 'd');
  const std::string tooLong = "/" + longerThanAPath + ".app/Contents/MacOS/rcp";
  const struct {
    const char *home, *targetName;
  } rows[] = {{tooLong.c_str(), longerThanAPath.c_str()},
              {nullptr, "/"},
              {"", "/"},
              {missing.c_str(), "Other"},
              {"no/such/home", "/"},
              {"no/such/Thing.app/rcp", "Thing"},
              {"~", "/"}};
  const ScopedWorkingFolder working(folder.makeFolder("empty"));
  const Tree before = everything();
  for (const auto& row : rows) {
    const std::string shown = row.home != nullptr ? row.home : "(null)";
    LogLines expected{{6, "RCP Home : " + shown + " ."}};
    add(expected, linesOfTargetName(shown, row.targetName));
    clearLog();
    expectRefusal(callEx(row.home, data().c_str()), expected);
    clearLog();
    expectRefusal(callShort(row.home), expected);
  }
  EXPECT_THAT(children(), IsEmpty()) << "nobody can collect logs without an instance service";
  EXPECT_EQ(everything(), before);
}

TEST_F(HotfixUninstallLibraryTest, HomeWithRefusedCharactersIsRefusedBeforeAnInstanceIsMade) {
  for (const std::string name : {"A=B", "A!", "A\"", "A'", "A;", "A\\", "A#", "A%", "A|", "A?", "A:B"}) {
    folder.makeFile(name + ".app/Contents/MacOS/rcp/deploy/install.xml");
    folder.makeFile(name + ".app/Contents/MacOS/rcp/collectionutility.jar");
    const std::string refused = folder / (name + ".app/Contents/MacOS/rcp");
    LogLines expected = linesToCharacterCheck(refused);
    add(expected, linesOfTargetName(refused, name));
    clearLog();
    expectRefusal(callEx(refused.c_str(), data().c_str()), expected);
  }
  EXPECT_THAT(children(), IsEmpty());
}

TEST_F(HotfixUninstallLibraryTest, RefusedCharactersInTheDataFolderDoNotMatter) {
  const std::string odd = folder / "a=b;c";
  EXPECT_EQ(callEx(home().c_str(), odd.c_str()).status, 0);
  ASSERT_FALSE(children().empty());
  EXPECT_EQ(children()[0], launch(odd));
}

TEST_F(HotfixUninstallLibraryTest, HomeWithoutAnInstanceIsRefusedAndLogsAreCollected) {
  removeFile(inHome("deploy/install.xml"));
  const Tree before = treeSnapshot(folder / "Apps");
  LogLines expected = linesToInstanceCheck(home());
  add(expected, linesOfCollection());
  expectRefusal(callEx(), expected);
  EXPECT_EQ(children(), (Children{collect(data())}));
  EXPECT_EQ(treeSnapshot(folder / "Apps"), before);
}

TEST_F(HotfixUninstallLibraryTest, EmptyHomeFolderIsRefusedAndHasNoUtility) {
  const std::string bare = folder.makeFolder("Bare.app/Contents/MacOS/rcp");
  LogLines expected = linesToInstanceCheck(bare);
  add(expected, linesOfTargetName(bare, "Bare"));
  add(expected,
      {{5, "Begin to call collection utility to gather log files for the HOTFIX_UNINSTALL operaton of Bare project."},
       {6, "_pathToRcphome is " + bare + "."},
       {6, "No log files are gathered as there is no collectionutility.jar under " + bare + ". "}});
  expectRefusal(callEx(bare.c_str(), nullptr), expected);
  EXPECT_THAT(children(), IsEmpty());
  EXPECT_EQ(treeSnapshot(bare), Tree());
}

TEST_F(HotfixUninstallLibraryTest, HomeOutsideABundleIsRefusedAndLogsAreCollected) {
  folder.makeFile("plain/rcp/deploy/install.xml");
  folder.makeFile("plain/rcp/deploy/uninstall.hotfix.xml");
  folder.makeFile("plain/rcp/collectionutility.jar");
  const std::string plain = folder / "plain/rcp";
  const Tree before = treeSnapshot(plain);
  LogLines expected = linesToRunningCheck(plain);
  add(expected, linesOfTargetName(plain, "/"));
  add(expected, linesOfCollection(plain, "/", "1511262125"));
  expectRefusal(callEx(plain.c_str(), data().c_str()), expected);
  EXPECT_EQ(children(), (Children{collect(plain, "/", "1511262125", data())}));
  EXPECT_EQ(treeSnapshot(plain), before);
}

TEST_F(HotfixUninstallLibraryTest, RunningPlatformIsRefusedAndLogsAreCollected) {
  const std::string running = folder / (std::string(kBundle) + "/Contents/MacOS/anything");
  runProcess(1, running);
  const Tree before = treeSnapshot(folder / "Apps");
  LogLines expected = linesToRunningCheck(home());
  expected.emplace_back(6, ">>>> current is " + running + ".");
  add(expected, linesOfCollection());
  expectRefusal(callEx(), expected);
  // The process is named too, if it can still be found.
  EXPECT_THAT(reason(), MatchesRegex("the platform is running: (process 1 of the user [^,]+, )?" + running));
  EXPECT_EQ(children(), (Children{collect(data())}));
  EXPECT_EQ(treeSnapshot(folder / "Apps"), before);
}

TEST_F(HotfixUninstallLibraryTest, OtherProgramsMayRun) {
  const std::string other = folder / "Apps/Other.app/Contents/MacOS/other";
  runProcess(1, other);
  LogLines expected = linesToRunningCheck(home());
  expected.emplace_back(6, ">>>> current is " + other + ".");
  add(expected, linesOfUninstall());
  add(expected, linesOfCollection());
  EXPECT_EQ(callEx().status, 0);
  EXPECT_EQ(log(), expected);
}

// InstanceServiceRecordsTest has when the check is skipped.
TEST_F(HotfixUninstallLibraryTest, RunningCheckIsNotMadeWhenTheHotfixRecordedSo) {
  runProcess(1, folder / (std::string(kBundle) + "/Contents/MacOS/anything"));
  writeInstallInfo(
      {{"version", "6.2.1"}, {"SKIPRUNNINGCHECK", "true"}, {"installedHotfixBundleID", "com.qor.hotfix.pkg"}});
  const Call call = callEx();
  EXPECT_EQ(call.status, 0);
  EXPECT_EQ(log(), linesOfSuccess()) << "no process is looked at";
  EXPECT_EQ(children(), (Children{launch(data()), launch(data()), forget(), collect(data())}));
}

TEST_F(HotfixUninstallLibraryTest, RunningCheckIsMadeWithoutAnyRecords) {
  runProcess(1, folder / (std::string(kBundle) + "/Contents/MacOS/anything"));
  removeFile(inHome("installInfo.plist"));
  EXPECT_EQ(callEx().status, 1);
  EXPECT_EQ(children(), (Children{collect(data())}));
}

// ----- Failed uninstall -----

TEST_F(HotfixUninstallLibraryTest, FailedProvisioningIsAFailureAndLogsAreCollected) {
  setLauncherResult("1");
  const Call call = callEx();
  EXPECT_EQ(call.status, 1);
  EXPECT_EQ(call.printed, kUnexpectedLine);
  EXPECT_EQ(children(), (Children{launch(data()), launch(data()), collect(data())}));
  LogLines expected = linesToRunningCheck(home());
  add(expected, linesOfUninstall());
  expected.emplace_back(3, std::string(kUnexpectedLine, std::strlen(kUnexpectedLine) - 1));
  add(expected, linesOfCollection());
  EXPECT_EQ(log(), expected);
  EXPECT_EQ(folder.read(kResultFile), "rc=1\n");
}

TEST_F(HotfixUninstallLibraryTest, SecondCallFailsForTheManifestIsConsumed) {
  ASSERT_EQ(callEx().status, 0);
  const size_t childrenBefore = children().size();
  const Call call = callEx();
  EXPECT_EQ(call.status, 1);
  EXPECT_THAT(call.printed, StartsWith("File " + home() + "/deploy/uninstall.hotfix.xml was not found."));
  ASSERT_EQ(children().size(), childrenBefore + 1);
  EXPECT_EQ(children().back(), collect(data()));
}

TEST_F(HotfixUninstallLibraryTest, HotfixCanBeRemovedAgainAndAgainInOneProcess) {
  for (int round = 0; round < 3; ++round) {
    folder.makeFile(inHome("deploy/uninstall.hotfix.xml"), uninstallManifest());
    setClock({2031, 2, 3, 4, round, 6});
    clearLog();
    EXPECT_EQ(callEx().status, 0);
    EXPECT_EQ(log(), linesOfSuccess());
    EXPECT_THAT(propertiesLines("rcplauncher.properties"),
                testing::Contains("provisioning.manifest.version=030231040" + std::to_string(round)));
    EXPECT_EQ(callShort(nullptr).status, 1);
  }
}

TEST_F(HotfixUninstallLibraryTest, JavaThatIsMissingDoesNotChangeTheStatus) {
  removeFile("java/bin/java");
  EXPECT_EQ(callEx().status, 0);
  EXPECT_THAT(log(), testing::Contains(Pair(3, HasSubstr(folder / "java/bin/java"))));
}

// ----- The reason -----

TEST_F(HotfixUninstallLibraryTest, ReasonIsThatOfTheLastFailureAndEmptyAfterASuccess) {
  EXPECT_EQ(callShort(nullptr).status, 1);
  EXPECT_EQ(reason(), "no home folder was given");
  EXPECT_EQ(callEx((folder / "missing").c_str(), nullptr).status, 1);
  EXPECT_EQ(reason(), "there is no " + (folder / "missing"));
  EXPECT_EQ(callEx().status, 0);
  EXPECT_EQ(reason(), "");
}

TEST_F(HotfixUninstallLibraryTest, ReasonBelongsToTheThread) {
  EXPECT_EQ(callEx().status, 0);
  std::thread([] {
    EXPECT_EQ(reason(), "");
    EXPECT_EQ(RCPUninstallHotfix(""), 1);
    EXPECT_EQ(reason(), "no home folder was given");
  }).join();
  EXPECT_EQ(reason(), "");
}

TEST_F(HotfixUninstallLibraryTest, ReasonIsCutAtTheEndOfACharacter) {
  RCPUninstallHotfix("/\xE2\x82\xAC");
  const std::string whole = "there is no /\xE2\x82\xAC";
  for (size_t size = 1; size <= whole.size() + 2; ++size) {
    std::string buffer(whole.size() + 3, 'x');
    EXPECT_EQ(RCPUninstallHotfixReason(&buffer[0], size), whole.size());
    const size_t copied = size > whole.size() ? whole.size() : std::min(size - 1, whole.size() - 3);
    EXPECT_EQ(buffer.substr(0, copied), whole.substr(0, copied)) << size;
    EXPECT_EQ(buffer.substr(copied), '\0' + std::string(buffer.size() - copied - 1, 'x')) << size;
  }
  char untouched = 'x';
  EXPECT_EQ(RCPUninstallHotfixReason(&untouched, 0), whole.size());
  EXPECT_EQ(untouched, 'x');
}

// ----- Threads -----

TEST_F(HotfixUninstallLibraryTest, CallsFromSeveralThreadsDoNotOverlapAndLeaveTheEffectiveUserAsItWas) {
  const uid_t userBefore = geteuid();
  if (const auto account = otherAccount()) setEnvironment("USER", account->name);
  removeFile("java/bin/java");
  // Two launches at a time would meet the folder of the other. It also leaves a manifest for the next call.
  makeNotingProgram(inHome("rcplauncher"), "mkdir '" + (folder / "running") + "' || echo >> '" + (folder / "overlap") +
                                               "'\nsleep 0.02\nrmdir '" + (folder / "running") + "'\necho rc=0 > '" +
                                               (folder / kResultFile) + "'\necho m > '" +
                                               (home() + "/deploy/uninstall.hotfix.xml") + "'");
  const std::string missing = folder / "missing";
  testing::internal::CaptureStdout();
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 8; ++thread) {
    threads.emplace_back([&] {
      for (int call = 0; call < 50; ++call) {
        const char* const homes[] = {nullptr, "", missing.c_str(), "/A=B"};
        const bool isWhole = call % 25 == 0;
        const std::int32_t status = isWhole ? RCPUninstallHotfixEx(home().c_str(), data().c_str())
                                            : RCPUninstallHotfixEx(homes[call % 4], nullptr);
        if (status != (isWhole ? 0 : 1) || reason().empty() != isWhole) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(wrong, 0);
  EXPECT_FALSE(folder.has("overlap"));
  EXPECT_EQ(geteuid(), userBefore);
}

// ----- The caller's process -----

TEST_F(HotfixUninstallLibraryTest, ProcessOfTheCallerIsLeftAsItWas) {
  const auto openDescriptors = [] {
    std::vector<std::string> names;
    DIR* stream = opendir("/proc/self/fd");
    if (stream == nullptr) return names;
    while (const dirent* entry = readdir(stream)) names.emplace_back(entry->d_name);
    closedir(stream);
    return names;
  };
  const std::vector<std::string> descriptorsBefore = openDescriptors();
  if (descriptorsBefore.empty()) GTEST_SKIP() << "open descriptors cannot be listed here";
  const auto handlers = [] {
    std::vector<void (*)(int)> result;
    for (const int number : {SIGPIPE, SIGCHLD, SIGINT, SIGQUIT, SIGTERM, SIGHUP}) {
      struct sigaction action = {};
      sigaction(number, nullptr, &action);
      result.push_back(action.sa_handler);
    }
    return result;
  };
  const auto handlersBefore = handlers();
  sigset_t maskBefore;
  sigprocmask(SIG_SETMASK, nullptr, &maskBefore);
  char* const folderBefore = getcwd(nullptr, 0);
  const uid_t userBefore = geteuid();

  EXPECT_EQ(callEx().status, 0);
  EXPECT_EQ(callShort(nullptr).status, 1);

  EXPECT_EQ(openDescriptors(), descriptorsBefore);
  EXPECT_EQ(handlers(), handlersBefore);
  sigset_t maskAfter;
  sigprocmask(SIG_SETMASK, nullptr, &maskAfter);
  for (int number = 1; number < 32; ++number) {
    EXPECT_EQ(sigismember(&maskAfter, number), sigismember(&maskBefore, number)) << number;
  }
  char* const folderAfter = getcwd(nullptr, 0);
  EXPECT_STREQ(folderAfter, folderBefore);
  free(folderAfter);
  free(folderBefore);
  EXPECT_EQ(geteuid(), userBefore);
}

}  // namespace

}  // namespace hotfix
