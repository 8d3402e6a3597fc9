#include <grp.h>

#include "MacInstaller/InstanceService.h"
#include "Platform/FileManager.h"
#include "Platform/SystemPaths.h"
#include "Tests/Platform/Conditions.h"
#include "Tests/Support/InstanceFixture.h"

namespace hotfix {

namespace {

constexpr char kStamp[] = "1511262125";  // what the clock of the tests gives
constexpr char kLauncher[] = "rcplauncher.properties";
constexpr char kAgent[] = "osgiagent.properties";
constexpr char kJvm[] = "deploy/jvm.properties";
constexpr char kCustomization[] = "plugin_customization.ini";
constexpr char kBase[] = "eclipse/plugins/com.qor.rcp.base_6.2.1.20260101";
constexpr char kBaseCustomization[] = "eclipse/plugins/com.qor.rcp.base_6.2.1.20260101/plugin_customization.ini";

class InstanceServiceConfigurationTest : public InstanceTest {
 protected:
  void remove(const std::string& pathInHome) const { ASSERT_TRUE(platform::removeItem(folder / inHome(pathInHome))); }

  /// The identity and the base location that both launcher operations write, as lines of the file.
  static std::string identity() {
    return std::string("provisioning.manifest.version=") + kStamp +
           "\nrcp.base.location=${rcp.home}/rcp/eclipse/plugins/com.qor.rcp.base_6.2.1.20260101\n";
  }
  static std::string installID() { return std::string("rcp.install.id=") + kStamp + "\n"; }
  static std::string manifest() { return "provisioning.manifest=file\\:/${rcp.home}/rcp/deploy/install.xml\n"; }

  std::string defaultHome() const { return folder / outside(platform::kDefaultHome); }
  std::string launcher() const { return home() + "/" + kLauncher; }
};

// ----- Launcher properties from a template -----

class GenerateLauncherTest : public InstanceServiceConfigurationTest {
 protected:
  static LogLines done() { return {{6, "Update rcplauncher.properties. "}, {6, "Save rcplauncher.properties."}}; }

  /// The lines of a template that could not be copied, nor at the second try.
  static LogLines notCopied(const std::string& target) {
    return {{3, "Fail to copy rcplauncher.properties to " + target + ", try again..."},
            {3, "Fail to copy rcplauncher.properties to " + target + " again!"}};
  }

  std::string makeTemplate(const std::string& contents = "kept=1\n") const {
    return folder.makeFile("package/launcher.template", contents);
  }
};

TEST_F(GenerateLauncherTest, TemplateIsCopiedAndStamped) {
  remove(kLauncher);
  const std::string source = makeTemplate("# a comment\nz.kept=last\na.kept=first\nrcp.data=template's\n");
  QuietInstance instance(*this);
  Tree expected = homeTree();
  expected[kLauncher] =
      "file: a.kept=first\n" + manifest() + identity() + "rcp.data=template's\n" + installID() + "z.kept=last\n";
  EXPECT_TRUE(instance.generateRcplauncherPropertiesWithTemplate(source, kNone));
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(log(), done());
  EXPECT_EQ(folder.read("package/launcher.template"), "# a comment\nz.kept=last\na.kept=first\nrcp.data=template's\n");
}

TEST_F(GenerateLauncherTest, ExistingFileIsKeptAndOnlyItsOwnKeysAreSet) {
  folder.makeFile(inHome(kLauncher),
                  "own=1\nprovisioning.manifest=old\nprovisioning.manifest.version=old\nrcp.base.location=old\n"
                  "rcp.install.id=old\nrcp.data=old\n");
  QuietInstance instance(*this);
  Tree expected = homeTree();
  expected[kLauncher] = "file: own=1\n" + manifest() + identity() + "rcp.data=old\n" + installID();
  EXPECT_TRUE(instance.generateRcplauncherPropertiesWithTemplate(makeTemplate("own=template\nextra=1\n"), kNone));
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(log(), done());
}

TEST_F(GenerateLauncherTest, WorkspaceIsTheGivenOneAndNotTheDataFolderOfTheInstance) {
  remove(kLauncher);
  InstanceService instance(home(), data());
  for (const auto& [workspace, line] : std::vector<std::pair<OptionalString, std::string>>{
           {kNone, ""}, {"/work space/of=me", "rcp.data=/work space/of\\=me\n"}, {"", "rcp.data=\n"}}) {
    EXPECT_TRUE(instance.generateRcplauncherPropertiesWithTemplate(makeTemplate(), workspace));
    EXPECT_EQ(folder.read(inHome(kLauncher)), "kept=1\n" + manifest() + identity() + line + installID());
  }
}

TEST_F(GenerateLauncherTest, StampIsOfTheMoment) {
  InstanceService instance(home(), data());
  setClock({2031, 2, 3, 4, 5, 6});
  EXPECT_TRUE(instance.generateRcplauncherPropertiesWithTemplate(makeTemplate(), "w"));
  EXPECT_THAT(folder.lines(inHome(kLauncher)),
              testing::AllOf(testing::Contains("provisioning.manifest.version=0302310405"),
                             testing::Contains("rcp.install.id=0302310405")));
}

TEST_F(GenerateLauncherTest, BaseLocationIsLeftAloneWithoutABasePlugin) {
  remove(kBase);
  const std::string stamps = std::string("provisioning.manifest.version=") + kStamp + "\n";
  InstanceService instance(home(), data());
  folder.makeFile(inHome(kLauncher), "rcp.base.location=old\n");
  EXPECT_TRUE(instance.generateRcplauncherPropertiesWithTemplate(makeTemplate(), kNone));
  EXPECT_EQ(folder.read(inHome(kLauncher)), manifest() + stamps + "rcp.base.location=old\n" + installID());
  remove(kLauncher);
  EXPECT_TRUE(instance.generateRcplauncherPropertiesWithTemplate(makeTemplate(), kNone));
  EXPECT_EQ(folder.read(inHome(kLauncher)), "kept=1\n" + manifest() + stamps + installID());
}

TEST_F(GenerateLauncherTest, NothingIsMadeWithoutATemplate) {
  InstanceService instance(home(), data());
  GoneHome gone(folder);
  const Tree before = everything();
  const LogLines told = {{3, "Fail to locate the template for rcplauncher.properties."}};
  for (InstanceService* each : std::vector<InstanceService*>{&instance, &gone}) {
    for (const OptionalString& source : {kNone, OptionalString(folder / "missing"), OptionalString("")}) {
      clearLog();
      EXPECT_FALSE(each->generateRcplauncherPropertiesWithTemplate(source, "w"));
      EXPECT_EQ(log(), told);
    }
  }
  EXPECT_EQ(everything(), before);
}

TEST_F(GenerateLauncherTest, MissingHomeIsMadeWithItsParents) {
  const std::string home = folder.makeFolder("new/parents/rcp");
  InstanceService instance(home, kNone);
  ASSERT_TRUE(platform::removeItem(folder / "new"));
  clearLog();
  {
    const ScopedUmask mask(027);
    EXPECT_TRUE(instance.generateRcplauncherPropertiesWithTemplate(makeTemplate(), kNone));
  }
  EXPECT_EQ(folder.mode("new/parents"), 0750U);
  EXPECT_EQ(folder.mode("new/parents/rcp"), 0750U) << "no particular attributes";
  EXPECT_EQ(treeSnapshot(home), (Tree{{kLauncher, "file: kept=1\n" + manifest() + "provisioning.manifest.version=" +
                                                      kStamp + "\n" + installID()}}));
  EXPECT_EQ(log(), done());
}

TEST_F(GenerateLauncherTest, DefaultHomeIsTakenAndKept) {
  InstanceService instance(impossibleHome(), kNone);
  clearLog();
  EXPECT_FALSE(instance.updateRcpLauncherProperties());
  EXPECT_TRUE(instance.generateRcplauncherPropertiesWithTemplate(makeTemplate("kept=\n"), "w"));
  LogLines expected = done();
  expected.insert(expected.begin(),
                  {{3, "The rcpHome is nil, manually setting rcpHome"}, {3, "The productName is nil!"}});
  EXPECT_EQ(log(), expected);
  EXPECT_EQ(treeSnapshot(defaultHome()),
            (Tree{{kLauncher, "file: kept=\n" + manifest() + "provisioning.manifest.version=" + kStamp +
                                  "\nrcp.data=w\n" + installID()}}));
  EXPECT_EQ(instance.pathToRcphome(), defaultHome());

  clearLog();
  EXPECT_TRUE(instance.updateRcpLauncherProperties());
  EXPECT_TRUE(instance.generateRcplauncherPropertiesWithTemplate(makeTemplate(), kNone));
  EXPECT_EQ(log(), done()) << "the home is not looked for again";
}

TEST_F(GenerateLauncherTest, DefaultHomeIsKeptButNotMadeWithoutATemplate) {
  InstanceService instance(kNone, data());
  clearLog();
  EXPECT_FALSE(instance.generateRcplauncherPropertiesWithTemplate(folder / "missing", kNone));
  EXPECT_EQ(log(), (LogLines{{3, "The rcpHome is nil, manually setting rcpHome"},
                             {3, "The productName is nil!"},
                             {3, "Fail to locate the template for rcplauncher.properties."}}));
  EXPECT_EQ(instance.pathToRcphome(), defaultHome());
  EXPECT_FALSE(folder.has(outside("/Applications")));
}

TEST_F(GenerateLauncherTest, HomeThatIsAFileFailsBothCopies) {
  InstanceService instance = fileHome();
  const std::string source = makeTemplate();
  const Tree before = everything();
  clearLog();
  EXPECT_FALSE(instance.generateRcplauncherPropertiesWithTemplate(source, kNone));
  LogLines expected = notCopied(folder / "file home" + "/" + kLauncher);
  expected.insert(expected.begin(), {3, "Failed to create directory " + (folder / "file home")});
  EXPECT_EQ(log(), expected);
  EXPECT_EQ(everything(), before);
}

TEST_F(GenerateLauncherTest, TemplateThatCannotBeCopiedIsTriedTwice) {
  remove(kLauncher);
  InstanceService instance(home(), data());
  const Tree before = homeTree();
  clearLog();
  EXPECT_FALSE(instance.generateRcplauncherPropertiesWithTemplate(folder.makeFifo("fifo"), kNone));
  EXPECT_EQ(log(), notCopied(launcher()));
  EXPECT_EQ(homeTree(), before);
}

TEST_F(GenerateLauncherTest, ExistingFileFailsBothCopiesWhereThePolicyStopsThem) {
  InstanceService instance(home(), data());
  const Tree before = homeTree();
  platform::setCopyPolicy(nullptr);
  clearLog();
  EXPECT_FALSE(instance.generateRcplauncherPropertiesWithTemplate(makeTemplate(), kNone));
  EXPECT_EQ(log(), notCopied(launcher()));
  EXPECT_EQ(homeTree(), before);
}

/// Copy policies that put right what made a copy fail, then stop that copy: the next one succeeds.
bool removeTarget(const platform::FileError&, const std::string&, const std::string& target) {
  EXPECT_TRUE(platform::removeItem(target));
  return false;
}
bool makeTargetsFolder(const platform::FileError&, const std::string&, const std::string& target) {
  const std::string parent = target.substr(0, target.rfind('/'));
  EXPECT_TRUE(platform::removeItem(parent));
  EXPECT_TRUE(platform::createFolder(parent, platform::Parents::Required));
  return false;
}
bool alwaysGoOn(const platform::FileError&, const std::string&, const std::string&) { return true; }

TEST_F(GenerateLauncherTest, SecondCopyThatSucceedsGoesOn) {
  InstanceService instance(home(), data());
  platform::setCopyPolicy(removeTarget);
  clearLog();
  EXPECT_TRUE(instance.generateRcplauncherPropertiesWithTemplate(makeTemplate(), kNone));
  LogLines expected = done();
  expected.insert(expected.begin(), {3, "Fail to copy rcplauncher.properties to " + launcher() + ", try again..."});
  EXPECT_EQ(log(), expected);
  EXPECT_EQ(folder.read(inHome(kLauncher)), "kept=1\n" + manifest() + identity() + installID());
}

TEST_F(GenerateLauncherTest, SecondCopyThatSucceedsIsSpoiltByAHomeThatCouldNotBeMade) {
  InstanceService instance = fileHome();
  platform::setCopyPolicy(makeTargetsFolder);
  clearLog();
  EXPECT_FALSE(instance.generateRcplauncherPropertiesWithTemplate(makeTemplate(), "w"));
  LogLines expected = notCopied(folder / "file home" + "/" + kLauncher);
  expected.insert(expected.begin(), {3, "Failed to create directory " + (folder / "file home")});
  EXPECT_EQ(log(), expected);
  EXPECT_EQ(treeSnapshot(folder / "file home"), (Tree{{kLauncher, "file: kept=1\n"}})) << "copied, and not updated";
}

TEST_F(GenerateLauncherTest, FirstCopyThatSucceedsIsNotSpoiltByAHomeThatCouldNotBeMade) {
  InstanceService instance = fileHome();
  const std::string source = makeTemplate();
  const Tree before = everything();
  platform::setCopyPolicy(alwaysGoOn);
  clearLog();
  EXPECT_TRUE(instance.generateRcplauncherPropertiesWithTemplate(source, kNone));
  LogLines expected = done();
  expected.insert(expected.begin(), {3, "Failed to create directory " + (folder / "file home")});
  EXPECT_EQ(log(), expected);
  EXPECT_EQ(everything(), before) << "nothing could be saved";
}

TEST_F(GenerateLauncherTest, FailedSaveIsNotLookedAt) {
  remove(kLauncher);
  folder.makeFile("package/folder/file", "text");
  QuietInstance instance(*this);
  Tree expected = homeTree();
  expected[kLauncher] = "folder";
  expected[std::string(kLauncher) + "/file"] = "file: text";
  EXPECT_TRUE(instance.generateRcplauncherPropertiesWithTemplate(folder / "package/folder", "w"));
  EXPECT_EQ(homeTree(), expected);
  LogLines lines = done();
  lines.push_back(notSaved(kLauncher));
  EXPECT_EQ(log(), lines);
}

// ----- Update of the launcher properties -----

class UpdateLauncherTest : public InstanceServiceConfigurationTest {};

TEST_F(UpdateLauncherTest, IdentityAndBaseLocationAreSetAndTheRestIsKept) {
  folder.makeFile(inHome(kLauncher), "# comment\nz=1\nprovisioning.manifest=own\nrcp.data=own\nrcp.install.id=old\n");
  QuietInstance instance(*this);
  Tree expected = homeTree();
  expected[kLauncher] = "file: provisioning.manifest=own\n" + identity() + "rcp.data=own\n" + installID() + "z=1\n";
  EXPECT_TRUE(instance.updateRcpLauncherProperties());
  expectHome(expected);
  folder.makeFile(inHome(kLauncher));
  EXPECT_TRUE(instance.updateRcpLauncherProperties());
  EXPECT_EQ(folder.read(inHome(kLauncher)), identity() + installID());
}

TEST_F(UpdateLauncherTest, BaseLocationIsLeftAloneWithoutABasePlugin) {
  remove(kBase);
  const std::string stamps = std::string("provisioning.manifest.version=") + kStamp + "\n";
  InstanceService instance(home(), data());
  folder.makeFile(inHome(kLauncher), "rcp.base.location=old\n");
  EXPECT_TRUE(instance.updateRcpLauncherProperties());
  EXPECT_EQ(folder.read(inHome(kLauncher)), stamps + "rcp.base.location=old\n" + installID());
  folder.makeFile(inHome(kLauncher));
  EXPECT_TRUE(instance.updateRcpLauncherProperties());
  EXPECT_EQ(folder.read(inHome(kLauncher)), stamps + installID());
}

TEST_F(UpdateLauncherTest, NothingIsDoneWithoutAHomeFolderOrTheFile) {
  expectRefusedWithoutHome([](InstanceService& each) { return each.updateRcpLauncherProperties(); });
  InstanceService bare(folder.makeFolder("bare"), kNone);
  const Tree before = everything();
  clearLog();
  EXPECT_FALSE(bare.updateRcpLauncherProperties());
  expectEverything(before);
}

TEST_F(UpdateLauncherTest, FailedSaveIsAnswered) {
  remove(kLauncher);
  folder.makeFile(inHome(kLauncher) + "/file", "text");
  InstanceService instance(home(), data());
  const Tree before = homeTree();
  clearLog();
  EXPECT_FALSE(instance.updateRcpLauncherProperties());
  EXPECT_EQ(homeTree(), before);
  EXPECT_EQ(log(), (LogLines{notSaved(kLauncher)}));
}

// ----- Agent properties -----

class AgentPropertiesTest : public InstanceServiceConfigurationTest {
 protected:
  std::string makeTemplate() const { return folder.makeFile("package/agent", "# kept\nb=2\na=1", 0640); }
  static LogLines noTemplate() { return {{3, "Not able to find template for osgiagent.properties."}}; }
};

TEST_F(AgentPropertiesTest, TemplateIsCopiedAsItIs) {
  QuietInstance instance(*this);
  Tree expected = homeTree();
  expected[kAgent] = "file: # kept\nb=2\na=1";
  EXPECT_TRUE(instance.copyOgsiAgentProperties(makeTemplate()));
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(folder.mode(inHome(kAgent)), 0640U) << "no attributes of its own";
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(AgentPropertiesTest, ExistingFileStaysAndCountsAsASuccess) {
  folder.makeFile(inHome(kAgent), "older");
  InstanceService instance(home(), data());
  const Tree before = homeTree();
  clearLog();
  EXPECT_TRUE(instance.copyOgsiAgentProperties(makeTemplate()));
  EXPECT_EQ(homeTree(), before);

  platform::setCopyPolicy(nullptr);
  EXPECT_FALSE(instance.copyOgsiAgentProperties(makeTemplate())) << "it is the copy policy that makes it one";
  expectHome(before);
}

TEST_F(AgentPropertiesTest, FailedCopyIsAnswered) {
  InstanceService instance(home(), data());
  const Tree before = homeTree();
  clearLog();
  EXPECT_FALSE(instance.copyOgsiAgentProperties(folder.makeFifo("fifo")));
  expectHome(before);
}

TEST_F(AgentPropertiesTest, MissingTemplateIsToldWhateverTheHomeIs) {
  InstanceService instance(home(), data());
  InstanceService file = fileHome();
  const Tree before = everything();
  for (InstanceService* each : std::vector<InstanceService*>{&instance, &file}) {
    for (const OptionalString& source : {kNone, OptionalString(folder / "missing")}) {
      clearLog();
      EXPECT_FALSE(each->copyOgsiAgentProperties(source));
      EXPECT_EQ(log(), noTemplate());
    }
  }
  EXPECT_EQ(everything(), before);
}

TEST_F(AgentPropertiesTest, HomeThatIsNoFolderIsRefusedSilently) {
  const std::string source = makeTemplate();
  expectRefusedWithoutHome([&](InstanceService& each) { return each.copyOgsiAgentProperties(source); });
  EXPECT_FALSE(InstanceService(kNone, data()).copyOgsiAgentProperties(kNone));
  EXPECT_EQ(log().size(), 4U) << "of its creation only";
  platform::setCopyPolicy(alwaysGoOn);  // nor is a copy tried
  InstanceService file = fileHome();
  const Tree before = everything();
  clearLog();
  EXPECT_FALSE(file.copyOgsiAgentProperties(source));
  expectEverything(before);
}

// ----- JVM properties -----

class JvmPropertiesTest : public InstanceServiceConfigurationTest {
 protected:
  std::string makeTemplate() const { return folder.makeFile("package/jvm", "-Xmx1g\n", 0640); }

  /// The group that a new entry gets: "admin" where there is one, else that of its maker.
  static gid_t expectedGroup() {
    const group* administrators = getgrnam("admin");
    return administrators != nullptr ? administrators->gr_gid : getegid();
  }

  void expectOwnAttributes(const std::string& pathInHome) const {
    const struct stat attributes = folder.attributes(inHome(pathInHome));
    EXPECT_EQ(attributes.st_mode & 07777U, 0775U) << pathInHome;
    EXPECT_EQ(attributes.st_uid, geteuid()) << pathInHome;
    EXPECT_EQ(attributes.st_gid, expectedGroup()) << pathInHome;
  }
};

TEST_F(JvmPropertiesTest, TemplateReplacesTheFileOrAWholeFolder) {
  QuietInstance instance(*this);
  const Tree expected = homeWith(kJvm, "file: -Xmx1g\n");
  EXPECT_TRUE(instance.generateJVMPropertiesWithTemplate(makeTemplate()));
  EXPECT_EQ(homeTree(), expected);
  folder.makeFile(inHome(kJvm), "older");
  EXPECT_TRUE(instance.generateJVMPropertiesWithTemplate(makeTemplate()));
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(folder.mode(inHome(kJvm)), 0640U) << "a copy keeps the template's attributes";
  remove(kJvm);
  folder.makeFile(inHome(kJvm) + "/a/file", "older");
  EXPECT_TRUE(instance.generateJVMPropertiesWithTemplate(makeTemplate()));
  expectHome(expected);
  EXPECT_EQ(folder.read("package/jvm"), "-Xmx1g\n");
}

TEST_F(JvmPropertiesTest, AbsentOrMissingTemplateEmptiesTheFile) {
  QuietInstance instance(*this);
  const Tree expected = homeWith(kJvm, "file: ");
  for (const OptionalString& source : {kNone, OptionalString(folder / "missing"), OptionalString("")}) {
    folder.makeFile(inHome(kJvm), "older", 0600);
    EXPECT_TRUE(instance.generateJVMPropertiesWithTemplate(source));
    EXPECT_EQ(homeTree(), expected);
    expectOwnAttributes(kJvm);
  }
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(JvmPropertiesTest, DeployFolderAndEmptyFileAreMadeWithTheirAttributes) {
  InstanceService instance(folder / "new", kNone);
  clearLog();
  const ScopedUmask mask(077);
  EXPECT_TRUE(instance.generateJVMPropertiesWithTemplate(kNone));
  EXPECT_EQ(treeSnapshot(folder / "new"), (Tree{{"deploy", "folder"}, {kJvm, "file: "}}));
  for (const char* name : {"new/deploy", "new/deploy/jvm.properties"}) {
    EXPECT_EQ(folder.mode(name), 0775U) << name;
    EXPECT_EQ(folder.attributes(name).st_uid, geteuid()) << name;
    EXPECT_EQ(folder.attributes(name).st_gid, expectedGroup()) << name;
  }
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(JvmPropertiesTest, ExistingDeployFolderKeepsItsAttributes) {
  folder.makeFolder(inHome("deploy"), 0711);
  InstanceService instance(home(), data());
  EXPECT_TRUE(instance.generateJVMPropertiesWithTemplate(kNone));
  EXPECT_EQ(folder.mode(inHome("deploy")), 0711U);
}

TEST_F(JvmPropertiesTest, OwnerIsTheUserOfTheProcessWhateverTheEnvironmentSays) {
  const std::optional<Account> other = otherAccount();
  if (!isRoot() || !other) GTEST_SKIP() << "needs root and another account";
  remove("deploy");
  InstanceService instance(home(), data());
  setEnvironment("USER", other->name);
  EXPECT_TRUE(instance.generateJVMPropertiesWithTemplate(kNone));
  expectOwnAttributes("deploy");
  expectOwnAttributes(kJvm);

  const std::string file = home() + "/" + kJvm;
  ASSERT_EQ(chown(file.c_str(), other->uid, getegid()), 0);
  EXPECT_TRUE(instance.generateJVMPropertiesWithTemplate(kNone));
  expectOwnAttributes(kJvm);
}

TEST_F(JvmPropertiesTest, DeployFolderThatCannotBeMadeIsTold) {
  remove("deploy");
  folder.makeLink(inHome("deploy"), "nowhere");
  InstanceService instance(home(), data());
  const Tree before = homeTree();
  for (const OptionalString& source : {kNone, OptionalString(makeTemplate())}) {
    clearLog();
    EXPECT_FALSE(instance.generateJVMPropertiesWithTemplate(source));
    EXPECT_EQ(log(), (LogLines{{3, "Not able to create the " + home() + "/deploy directory."}}));
  }
  EXPECT_EQ(homeTree(), before);
}

TEST_F(JvmPropertiesTest, FailedWriteIsAnsweredSilently) {
  remove("deploy");
  folder.makeFile(inHome("deploy"), "a file");
  InstanceService instance(home(), data());
  const Tree before = homeTree();
  clearLog();
  EXPECT_FALSE(instance.generateJVMPropertiesWithTemplate(kNone));
  EXPECT_FALSE(instance.generateJVMPropertiesWithTemplate(makeTemplate()));
  expectHome(before);

  remove("deploy");
  folder.makeFile(inHome(kJvm) + "/file", "older");
  const Tree withFolder = homeTree();
  EXPECT_FALSE(instance.generateJVMPropertiesWithTemplate(kNone)) << "a folder cannot become an empty file";
  expectHome(withFolder);
}

TEST_F(JvmPropertiesTest, OldFileIsLostWhenTheTemplateCannotBeCopied) {
  folder.makeFile(inHome(kJvm), "older");
  QuietInstance instance(*this);
  Tree expected = homeTree();
  expected.erase(kJvm);
  EXPECT_FALSE(instance.generateJVMPropertiesWithTemplate(folder.makeFifo("fifo")));
  expectHome(expected);
}

TEST_F(JvmPropertiesTest, NothingIsMadeWithoutAHomeFolder) {
  for (const OptionalString& source : {kNone, OptionalString(makeTemplate())}) {
    expectRefusedWithoutHome([&](InstanceService& each) { return each.generateJVMPropertiesWithTemplate(source); });
  }
}

// ----- Customization of the home folder -----

class MergeCustomizationTest : public InstanceServiceConfigurationTest {
 protected:
  MergeCustomizationTest() { folder.makeFile("package/custom.ini", "# new\nboth=given\ngiven=1\n"); }
  std::string given() const { return folder / "package/custom.ini"; }
};

TEST_F(MergeCustomizationTest, GivenValuesWinAndOwnKeysStay) {
  folder.makeFile(inHome(kCustomization), "# old\nown=1\nboth=own\n");
  QuietInstance instance(*this);
  Tree expected = homeTree();
  expected[kCustomization] = "file: both=given\ngiven=1\nown=1\n";
  EXPECT_TRUE(instance.mergePluginCustomizationWithRcphome(given()));
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(folder.read("package/custom.ini"), "# new\nboth=given\ngiven=1\n");
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(MergeCustomizationTest, FileIsCopiedAsItIsWhereThereIsNone) {
  QuietInstance instance(*this);
  Tree expected = homeTree();
  expected[kCustomization] = "file: # new\nboth=given\ngiven=1\n";
  EXPECT_TRUE(instance.mergePluginCustomizationWithRcphome(given()));
  expectHome(expected);
}

TEST_F(MergeCustomizationTest, MissingFileOnlyRewritesTheOwnOne) {
  folder.makeFile(inHome(kCustomization), "# old\nown=1\nboth=own\n");
  QuietInstance instance(*this);
  Tree expected = homeTree();
  expected[kCustomization] = "file: both=own\nown=1\n";
  EXPECT_TRUE(instance.mergePluginCustomizationWithRcphome(folder / "missing"));
  expectHome(expected);
}

TEST_F(MergeCustomizationTest, FailuresAreNotAnswered) {
  QuietInstance instance(*this);
  const Tree before = homeTree();
  EXPECT_TRUE(instance.mergePluginCustomizationWithRcphome(folder / "missing")) << "nothing to copy";
  EXPECT_EQ(homeTree(), before);

  folder.makeFile(inHome(kCustomization) + "/file", "a folder cannot be saved to");
  const Tree withFolder = homeTree();
  EXPECT_TRUE(instance.mergePluginCustomizationWithRcphome(given()));
  EXPECT_EQ(homeTree(), withFolder);
  EXPECT_EQ(log(), (LogLines{notSaved(kCustomization), notSaved(kCustomization)})) << "it is saved twice";
}

TEST_F(MergeCustomizationTest, NothingIsMergedWithoutAHomeFolderOrAPath) {
  folder.makeFile(inHome(kCustomization), "# old\nown=1\n");
  expectRefusedWithoutHome([&](InstanceService& each) { return each.mergePluginCustomizationWithRcphome(given()); });
  QuietInstance instance(*this);
  const Tree before = homeTree();
  EXPECT_FALSE(instance.mergePluginCustomizationWithRcphome(kNone));
  expectHome(before);
}

// ----- Customization of the base plug-in -----

TEST_F(MergeCustomizationTest, BaseAndHomeHoldTheSameAfterwards) {
  folder.makeFile(inHome(kBaseCustomization), "# base\nbase=1\nboth=base\n");
  folder.makeFile(inHome(kCustomization), "home=lost\nboth=home\n");
  QuietInstance instance(*this);
  Tree expected = homeTree();
  expected[kBaseCustomization] = "file: base=1\nboth=given\ngiven=1\n";
  expected[kCustomization] = "file: base=1\nboth=given\ngiven=1\n";
  EXPECT_TRUE(instance.mergePluginCustomizationWithBase(given()));
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(folder.read("package/custom.ini"), "# new\nboth=given\ngiven=1\n");
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(MergeCustomizationTest, BaseWithoutAFileChangesNothing) {
  folder.makeFile(inHome(kCustomization), "# old\nown=1\n");
  InstanceService instance(home(), data());
  const Tree before = homeTree();
  clearLog();
  EXPECT_TRUE(instance.mergePluginCustomizationWithBase(given()));
  expectHome(before);
}

TEST_F(MergeCustomizationTest, BaseIsTheOneOfTheGreatestVersion) {
  folder.makeFile(inHome(kBaseCustomization), "old=1\n");
  folder.makeFile(inHome("eclipse/plugins/com.qor.rcp.base_6.2.2/plugin_customization.ini"), "new=1\n");
  InstanceService instance(home(), data());
  Tree expected = homeTree();
  expected["eclipse/plugins/com.qor.rcp.base_6.2.2/plugin_customization.ini"] = expected[kCustomization] =
      "file: both=given\ngiven=1\nnew=1\n";
  EXPECT_TRUE(instance.mergePluginCustomizationWithBase(given()));
  EXPECT_EQ(homeTree(), expected);
}

TEST_F(MergeCustomizationTest, FailedSavesOfABaseMergeAreNotAnswered) {
  folder.makeFile(inHome(kBaseCustomization), "base=1\n");
  folder.makeFile(inHome(kCustomization) + "/file", "a folder cannot be saved to");
  QuietInstance instance(*this);
  Tree expected = homeTree();
  expected[kBaseCustomization] = "file: base=1\nboth=given\ngiven=1\n";
  EXPECT_TRUE(instance.mergePluginCustomizationWithBase(given()));
  EXPECT_EQ(homeTree(), expected) << "the base plug-in's file is saved all the same";
  EXPECT_EQ(log(), (LogLines{notSaved(kCustomization)}));
}

TEST_F(MergeCustomizationTest, BaseMergeNeedsHomeFileAndBaseVersion) {
  folder.makeFile(inHome(kBaseCustomization), "# base\nbase=1\n");
  expectRefusedWithoutHome([&](InstanceService& each) { return each.mergePluginCustomizationWithBase(given()); });
  InstanceService bare(folder.makeFolder("bare"), kNone);
  QuietInstance instance(*this);
  const Tree before = everything();
  EXPECT_FALSE(instance.mergePluginCustomizationWithBase(kNone));
  EXPECT_FALSE(instance.mergePluginCustomizationWithBase(folder / "missing"));
  EXPECT_FALSE(bare.mergePluginCustomizationWithBase(given()));
  expectEverything(before);
}

}  // namespace

}  // namespace hotfix
