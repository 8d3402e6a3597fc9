#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "MacInstaller/InstanceService.h"
#include "Platform/FileManager.h"
#include "Platform/SystemPaths.h"
#include "Tests/Platform/Conditions.h"
#include "Tests/Support/InstanceFixture.h"

namespace hotfix {

namespace {

using ::testing::Contains;
using ::testing::IsEmpty;

constexpr char kStamp[] = "1511262125";  // what the clock of the tests gives
constexpr char kLauncher[] = "rcplauncher.properties";
constexpr char kAgent[] = "osgiagent.properties";
constexpr char kJvm[] = "deploy/jvm.properties";
constexpr char kCustomization[] = "plugin_customization.ini";
constexpr char kBase[] = "eclipse/plugins/com.qor.rcp.base_6.2.1.20260101";
constexpr char kBaseCustomization[] = "eclipse/plugins/com.qor.rcp.base_6.2.1.20260101/plugin_customization.ini";

class InstanceServiceConfigurationTest : public InstanceTest {
 protected:
  /// The whole test folder, but for the fixture's own history of log lines.
  Tree everything() const {
    Tree tree = treeSnapshot(folder.path());
    EXPECT_EQ(tree.erase("history"), 1U);
    return tree;
  }

  void remove(const std::string& pathInHome) const { ASSERT_TRUE(platform::removeItem(folder / inHome(pathInHome))); }

  /// An instance whose home has become a plain file since it was made.
  InstanceService fileHome() const { return InstanceService(folder.makeFile("file home", "text"), kNone); }

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
  static std::vector<LogLine> done() {
    return {{6, "Update rcplauncher.properties. "}, {6, "Save rcplauncher.properties."}};
  }

  std::string makeTemplate(const std::string& contents = "kept=1\n") const {
    return folder.makeFile("package/launcher.template", contents);
  }
};

TEST_F(GenerateLauncherTest, TemplateIsCopiedAndStamped) {
  remove(kLauncher);
  const std::string source = makeTemplate("# a comment\nz.kept=last\na.kept=first\nrcp.data=template's\n");
  InstanceService instance(home(), data());
  clearLog();
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
  InstanceService instance(home(), data());
  clearLog();
  Tree expected = homeTree();
  expected[kLauncher] = "file: own=1\n" + manifest() + identity() + "rcp.data=old\n" + installID();
  EXPECT_TRUE(instance.generateRcplauncherPropertiesWithTemplate(makeTemplate("own=template\nextra=1\n"), kNone));
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(log(), done());
}

TEST_F(GenerateLauncherTest, WorkspaceReplacesTheOneInTheFile) {
  InstanceService instance(home(), data());
  Tree expected = homeTree();
  expected[kLauncher] = "file: " + manifest() + identity() + "rcp.data=/work space/of=me\n" + installID();
  // "=" is escaped in a value.
  expected[kLauncher].insert(expected[kLauncher].find("=me"), "\\");
  EXPECT_TRUE(instance.generateRcplauncherPropertiesWithTemplate(makeTemplate(), "/work space/of=me"));
  EXPECT_EQ(homeTree(), expected);
}

TEST_F(GenerateLauncherTest, EmptyWorkspaceIsAWorkspace) {
  InstanceService instance(home(), data());
  EXPECT_TRUE(instance.generateRcplauncherPropertiesWithTemplate(makeTemplate(), ""));
  EXPECT_EQ(folder.read(inHome(kLauncher)), manifest() + identity() + "rcp.data=\n" + installID());
}

TEST_F(GenerateLauncherTest, DataFolderOfTheInstanceIsNotTheWorkspace) {
  remove(kLauncher);
  InstanceService instance(home(), data());
  EXPECT_TRUE(instance.generateRcplauncherPropertiesWithTemplate(makeTemplate(), kNone));
  EXPECT_EQ(folder.read(inHome(kLauncher)), "kept=1\n" + manifest() + identity() + installID());
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

TEST_F(GenerateLauncherTest, StampIsOfTheMoment) {
  InstanceService instance(home(), data());
  setClock({2031, 2, 3, 4, 5, 6});
  EXPECT_TRUE(instance.generateRcplauncherPropertiesWithTemplate(makeTemplate(), "w"));
  const std::vector<std::string> lines = folder.lines(inHome(kLauncher));
  EXPECT_THAT(lines, Contains("provisioning.manifest.version=0302310405"));
  EXPECT_THAT(lines, Contains("rcp.install.id=0302310405"));
}

TEST_F(GenerateLauncherTest, NothingIsMadeWithoutATemplate) {
  InstanceService instance(home(), data());
  InstanceService gone(folder / "gone", kNone);
  ASSERT_EQ(rmdir((folder / "gone").c_str()), 0);
  const Tree before = everything();
  const std::vector<LogLine> told = {{3, "Fail to locate the template for rcplauncher.properties."}};
  for (InstanceService* each : {&instance, &gone}) {
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
  std::vector<LogLine> expected = done();
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

TEST_F(GenerateLauncherTest, DefaultHomeDoesNotDependOnTheProductName) {
  folder.makeFile(outside(platform::kInternalConfigurationFile), "{ productName = Other; }");
  InstanceService instance(kNone, data());
  clearLog();
  EXPECT_TRUE(instance.generateRcplauncherPropertiesWithTemplate(makeTemplate(), kNone));
  std::vector<LogLine> expected = done();
  expected.insert(expected.begin(),
                  {{3, "The rcpHome is nil, manually setting rcpHome"}, {6, "The product name is: Other."}});
  EXPECT_EQ(log(), expected);
  EXPECT_EQ(instance.pathToRcphome(), defaultHome());
  EXPECT_TRUE(folder.has(outside(platform::kDefaultHome) + "/" + kLauncher));
}

TEST_F(GenerateLauncherTest, DefaultHomeIsKeptButNotMadeWithoutATemplate) {
  InstanceService instance(kNone, data());
  clearLog();
  EXPECT_FALSE(instance.generateRcplauncherPropertiesWithTemplate(folder / "missing", kNone));
  EXPECT_EQ(log(), (std::vector<LogLine>{{3, "The rcpHome is nil, manually setting rcpHome"},
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
  const std::string target = folder / "file home" + "/" + kLauncher;
  EXPECT_EQ(log(), (std::vector<LogLine>{{3, "Failed to create directory " + (folder / "file home")},
                                         {3, "Fail to copy rcplauncher.properties to " + target + ", try again..."},
                                         {3, "Fail to copy rcplauncher.properties to " + target + " again!"}}));
  EXPECT_EQ(everything(), before);
}

TEST_F(GenerateLauncherTest, TemplateThatCannotBeCopiedIsTriedTwice) {
  remove(kLauncher);
  InstanceService instance(home(), data());
  const Tree before = homeTree();
  clearLog();
  EXPECT_FALSE(instance.generateRcplauncherPropertiesWithTemplate(folder.makeFifo("fifo"), kNone));
  EXPECT_EQ(log(), (std::vector<LogLine>{{3, "Fail to copy rcplauncher.properties to " + launcher() + ", try again..."},
                                         {3, "Fail to copy rcplauncher.properties to " + launcher() + " again!"}}));
  EXPECT_EQ(homeTree(), before);
}

TEST_F(GenerateLauncherTest, ExistingFileFailsBothCopiesWhereThePolicyStopsThem) {
  InstanceService instance(home(), data());
  const Tree before = homeTree();
  platform::setCopyPolicy(nullptr);
  clearLog();
  EXPECT_FALSE(instance.generateRcplauncherPropertiesWithTemplate(makeTemplate(), kNone));
  EXPECT_EQ(log(), (std::vector<LogLine>{{3, "Fail to copy rcplauncher.properties to " + launcher() + ", try again..."},
                                         {3, "Fail to copy rcplauncher.properties to " + launcher() + " again!"}}));
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
  std::vector<LogLine> expected = done();
  expected.insert(expected.begin(), {3, "Fail to copy rcplauncher.properties to " + launcher() + ", try again..."});
  EXPECT_EQ(log(), expected);
  EXPECT_EQ(folder.read(inHome(kLauncher)), "kept=1\n" + manifest() + identity() + installID());
}

TEST_F(GenerateLauncherTest, SecondCopyThatSucceedsIsSpoiltByAHomeThatCouldNotBeMade) {
  InstanceService instance = fileHome();
  platform::setCopyPolicy(makeTargetsFolder);
  clearLog();
  EXPECT_FALSE(instance.generateRcplauncherPropertiesWithTemplate(makeTemplate(), "w"));
  const std::string target = folder / "file home" + "/" + kLauncher;
  EXPECT_EQ(log(), (std::vector<LogLine>{{3, "Failed to create directory " + (folder / "file home")},
                                         {3, "Fail to copy rcplauncher.properties to " + target + ", try again..."},
                                         {3, "Fail to copy rcplauncher.properties to " + target + " again!"}}));
  EXPECT_EQ(treeSnapshot(folder / "file home"), (Tree{{kLauncher, "file: kept=1\n"}})) << "copied, and not updated";
}

TEST_F(GenerateLauncherTest, FirstCopyThatSucceedsIsNotSpoiltByAHomeThatCouldNotBeMade) {
  InstanceService instance = fileHome();
  const std::string source = makeTemplate();
  const Tree before = everything();
  platform::setCopyPolicy(alwaysGoOn);
  clearLog();
  EXPECT_TRUE(instance.generateRcplauncherPropertiesWithTemplate(source, kNone));
  std::vector<LogLine> expected = done();
  expected.insert(expected.begin(), {3, "Failed to create directory " + (folder / "file home")});
  EXPECT_EQ(log(), expected);
  EXPECT_EQ(everything(), before) << "nothing could be saved";
}

TEST_F(GenerateLauncherTest, FailedSaveIsNotLookedAt) {
  remove(kLauncher);
  folder.makeFile("package/folder/file", "text");
  InstanceService instance(home(), data());
  clearLog();
  Tree expected = homeTree();
  expected[kLauncher] = "folder";
  expected[std::string(kLauncher) + "/file"] = "file: text";
  EXPECT_TRUE(instance.generateRcplauncherPropertiesWithTemplate(folder / "package/folder", "w"));
  EXPECT_EQ(homeTree(), expected);
  std::vector<LogLine> lines = done();
  lines.push_back(notSaved(kLauncher));
  EXPECT_EQ(log(), lines);
}

// ----- Update of the launcher properties -----

class UpdateLauncherTest : public InstanceServiceConfigurationTest {};

TEST_F(UpdateLauncherTest, IdentityAndBaseLocationAreSetAndTheRestIsKept) {
  folder.makeFile(inHome(kLauncher), "# comment\nz=1\nprovisioning.manifest=own\nrcp.data=own\nrcp.install.id=old\n");
  InstanceService instance(home(), data());
  clearLog();
  Tree expected = homeTree();
  expected[kLauncher] = "file: provisioning.manifest=own\n" + identity() + "rcp.data=own\n" + installID() + "z=1\n";
  EXPECT_TRUE(instance.updateRcpLauncherProperties());
  EXPECT_EQ(homeTree(), expected);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(UpdateLauncherTest, KeysThatTheFileDoesNotHaveAreAdded) {
  folder.makeFile(inHome(kLauncher));
  InstanceService instance(home(), data());
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
  InstanceService homeless(kNone, data());
  InstanceService file = fileHome();
  InstanceService gone(folder / "gone", kNone);
  ASSERT_EQ(rmdir((folder / "gone").c_str()), 0);
  InstanceService bare(folder.makeFolder("bare"), kNone);
  const Tree before = everything();
  clearLog();
  for (InstanceService* each : {&homeless, &file, &gone, &bare}) EXPECT_FALSE(each->updateRcpLauncherProperties());
  EXPECT_EQ(homeless.pathToRcphome(), kNone) << "the default home is not taken";
  EXPECT_EQ(everything(), before);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(UpdateLauncherTest, FailedSaveIsAnswered) {
  remove(kLauncher);
  folder.makeFile(inHome(kLauncher) + "/file", "text");
  InstanceService instance(home(), data());
  const Tree before = homeTree();
  clearLog();
  EXPECT_FALSE(instance.updateRcpLauncherProperties());
  EXPECT_EQ(homeTree(), before);
  EXPECT_EQ(log(), (std::vector<LogLine>{notSaved(kLauncher)}));
}

// ----- Agent properties -----

class AgentPropertiesTest : public InstanceServiceConfigurationTest {
 protected:
  std::string makeTemplate() const { return folder.makeFile("package/agent", "# kept\nb=2\na=1", 0640); }
  static std::vector<LogLine> noTemplate() { return {{3, "Not able to find template for osgiagent.properties."}}; }
};

TEST_F(AgentPropertiesTest, TemplateIsCopiedAsItIs) {
  InstanceService instance(home(), data());
  clearLog();
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
  EXPECT_EQ(homeTree(), before);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(AgentPropertiesTest, FailedCopyIsAnswered) {
  InstanceService instance(home(), data());
  const Tree before = homeTree();
  clearLog();
  EXPECT_FALSE(instance.copyOgsiAgentProperties(folder.makeFifo("fifo")));
  EXPECT_EQ(homeTree(), before);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(AgentPropertiesTest, MissingTemplateIsToldWhateverTheHomeIs) {
  InstanceService instance(home(), data());
  InstanceService file = fileHome();
  const Tree before = everything();
  for (InstanceService* each : {&instance, &file}) {
    for (const OptionalString& source : {kNone, OptionalString(folder / "missing")}) {
      clearLog();
      EXPECT_FALSE(each->copyOgsiAgentProperties(source));
      EXPECT_EQ(log(), noTemplate());
    }
  }
  EXPECT_EQ(everything(), before);
}

TEST_F(AgentPropertiesTest, HomeThatIsNoFolderIsRefusedSilently) {
  InstanceService file = fileHome();
  InstanceService gone(folder / "gone", kNone);
  ASSERT_EQ(rmdir((folder / "gone").c_str()), 0);
  const std::string source = makeTemplate();
  const Tree before = everything();
  clearLog();
  for (InstanceService* each : {&file, &gone}) {
    EXPECT_FALSE(each->copyOgsiAgentProperties(source));
    platform::setCopyPolicy(alwaysGoOn);  // nor is a copy tried
    EXPECT_FALSE(each->copyOgsiAgentProperties(source));
  }
  EXPECT_EQ(everything(), before);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(AgentPropertiesTest, NothingIsToldWithoutAHome) {
  InstanceService homeless(kNone, data());
  const std::string source = makeTemplate();
  const Tree before = everything();
  clearLog();
  EXPECT_FALSE(homeless.copyOgsiAgentProperties(source));
  EXPECT_FALSE(homeless.copyOgsiAgentProperties(kNone));
  EXPECT_EQ(homeless.pathToRcphome(), kNone);
  EXPECT_EQ(everything(), before);
  EXPECT_THAT(log(), IsEmpty());
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

TEST_F(JvmPropertiesTest, TemplateReplacesTheFile) {
  folder.makeFile(inHome(kJvm), "older");
  InstanceService instance(home(), data());
  clearLog();
  Tree expected = homeTree();
  expected[kJvm] = "file: -Xmx1g\n";
  EXPECT_TRUE(instance.generateJVMPropertiesWithTemplate(makeTemplate()));
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(folder.mode(inHome(kJvm)), 0640U) << "a copy keeps the template's attributes";
  remove(kJvm);
  EXPECT_TRUE(instance.generateJVMPropertiesWithTemplate(makeTemplate()));
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(folder.read("package/jvm"), "-Xmx1g\n");
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(JvmPropertiesTest, TemplateReplacesAWholeFolder) {
  folder.makeFile(inHome(kJvm) + "/a/file", "older");
  InstanceService instance(home(), data());
  EXPECT_TRUE(instance.generateJVMPropertiesWithTemplate(makeTemplate()));
  EXPECT_EQ(folder.read(inHome(kJvm)), "-Xmx1g\n");
}

TEST_F(JvmPropertiesTest, AbsentOrMissingTemplateEmptiesTheFile) {
  InstanceService instance(home(), data());
  clearLog();
  Tree expected = homeTree();
  expected[kJvm] = "file: ";
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
    EXPECT_EQ(log(), (std::vector<LogLine>{{3, "Not able to create the " + home() + "/deploy directory."}}));
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
  EXPECT_EQ(homeTree(), before);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(JvmPropertiesTest, FolderCannotBecomeAnEmptyFile) {
  folder.makeFile(inHome(kJvm) + "/file", "older");
  InstanceService instance(home(), data());
  const Tree before = homeTree();
  EXPECT_FALSE(instance.generateJVMPropertiesWithTemplate(kNone));
  EXPECT_EQ(homeTree(), before);
}

TEST_F(JvmPropertiesTest, OldFileIsLostWhenTheTemplateCannotBeCopied) {
  folder.makeFile(inHome(kJvm), "older");
  InstanceService instance(home(), data());
  clearLog();
  Tree expected = homeTree();
  expected.erase(kJvm);
  EXPECT_FALSE(instance.generateJVMPropertiesWithTemplate(folder.makeFifo("fifo")));
  EXPECT_EQ(homeTree(), expected);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(JvmPropertiesTest, NothingIsMadeWithoutAHomeFolder) {
  InstanceService homeless(kNone, data());
  InstanceService file = fileHome();
  InstanceService gone(folder / "gone", kNone);
  ASSERT_EQ(rmdir((folder / "gone").c_str()), 0);
  const std::string source = makeTemplate();
  const Tree before = everything();
  clearLog();
  for (InstanceService* each : {&homeless, &file, &gone}) {
    EXPECT_FALSE(each->generateJVMPropertiesWithTemplate(source));
    EXPECT_FALSE(each->generateJVMPropertiesWithTemplate(kNone));
  }
  EXPECT_EQ(homeless.pathToRcphome(), kNone);
  EXPECT_EQ(everything(), before);
  EXPECT_THAT(log(), IsEmpty());
}

// ----- Customization of the home folder -----

class MergeCustomizationTest : public InstanceServiceConfigurationTest {
 protected:
  MergeCustomizationTest() { folder.makeFile("package/custom.ini", "# new\nboth=given\ngiven=1\n"); }
  std::string given() const { return folder / "package/custom.ini"; }
};

TEST_F(MergeCustomizationTest, GivenValuesWinAndOwnKeysStay) {
  folder.makeFile(inHome(kCustomization), "# old\nown=1\nboth=own\n");
  InstanceService instance(home(), data());
  clearLog();
  Tree expected = homeTree();
  expected[kCustomization] = "file: both=given\ngiven=1\nown=1\n";
  EXPECT_TRUE(instance.mergePluginCustomizationWithRcphome(given()));
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(folder.read("package/custom.ini"), "# new\nboth=given\ngiven=1\n");
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(MergeCustomizationTest, FileIsCopiedAsItIsWhereThereIsNone) {
  InstanceService instance(home(), data());
  clearLog();
  Tree expected = homeTree();
  expected[kCustomization] = "file: # new\nboth=given\ngiven=1\n";
  EXPECT_TRUE(instance.mergePluginCustomizationWithRcphome(given()));
  EXPECT_EQ(homeTree(), expected);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(MergeCustomizationTest, MissingFileOnlyRewritesTheOwnOne) {
  folder.makeFile(inHome(kCustomization), "# old\nown=1\nboth=own\n");
  InstanceService instance(home(), data());
  clearLog();
  Tree expected = homeTree();
  expected[kCustomization] = "file: both=own\nown=1\n";
  EXPECT_TRUE(instance.mergePluginCustomizationWithRcphome(folder / "missing"));
  EXPECT_EQ(homeTree(), expected);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(MergeCustomizationTest, FailuresAreNotAnswered) {
  InstanceService instance(home(), data());
  clearLog();
  const Tree before = homeTree();
  EXPECT_TRUE(instance.mergePluginCustomizationWithRcphome(folder / "missing")) << "nothing to copy";
  EXPECT_EQ(homeTree(), before);

  folder.makeFile(inHome(kCustomization) + "/file", "a folder cannot be saved to");
  const Tree withFolder = homeTree();
  EXPECT_TRUE(instance.mergePluginCustomizationWithRcphome(given()));
  EXPECT_EQ(homeTree(), withFolder);
  EXPECT_EQ(log(), (std::vector<LogLine>{notSaved(kCustomization), notSaved(kCustomization)})) << "it is saved twice";
}

TEST_F(MergeCustomizationTest, NothingIsMergedWithoutAHomeFolderOrAPath) {
  folder.makeFile(inHome(kCustomization), "# old\nown=1\n");
  InstanceService instance(home(), data());
  InstanceService homeless(kNone, data());
  InstanceService file = fileHome();
  InstanceService gone(folder / "gone", kNone);
  ASSERT_EQ(rmdir((folder / "gone").c_str()), 0);
  const Tree before = everything();
  clearLog();
  EXPECT_FALSE(instance.mergePluginCustomizationWithRcphome(kNone));
  for (InstanceService* each : {&homeless, &file, &gone}) {
    EXPECT_FALSE(each->mergePluginCustomizationWithRcphome(given()));
  }
  EXPECT_EQ(homeless.pathToRcphome(), kNone);
  EXPECT_EQ(everything(), before);
  EXPECT_THAT(log(), IsEmpty());
}

// ----- Customization of the base plug-in -----

TEST_F(MergeCustomizationTest, BaseAndHomeHoldTheSameAfterwards) {
  folder.makeFile(inHome(kBaseCustomization), "# base\nbase=1\nboth=base\n");
  folder.makeFile(inHome(kCustomization), "home=lost\nboth=home\n");
  InstanceService instance(home(), data());
  clearLog();
  Tree expected = homeTree();
  expected[kBaseCustomization] = "file: base=1\nboth=given\ngiven=1\n";
  expected[kCustomization] = "file: base=1\nboth=given\ngiven=1\n";
  EXPECT_TRUE(instance.mergePluginCustomizationWithBase(given()));
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(folder.read("package/custom.ini"), "# new\nboth=given\ngiven=1\n");
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(MergeCustomizationTest, BaseMergeMakesTheHomesFile) {
  folder.makeFile(inHome(kBaseCustomization), "base=1\n");
  InstanceService instance(home(), data());
  Tree expected = homeTree();
  expected[kBaseCustomization] = expected[kCustomization] = "file: base=1\nboth=given\ngiven=1\n";
  EXPECT_TRUE(instance.mergePluginCustomizationWithBase(given()));
  EXPECT_EQ(homeTree(), expected);
}

TEST_F(MergeCustomizationTest, BaseWithoutAFileChangesNothing) {
  folder.makeFile(inHome(kCustomization), "# old\nown=1\n");
  InstanceService instance(home(), data());
  const Tree before = homeTree();
  clearLog();
  EXPECT_TRUE(instance.mergePluginCustomizationWithBase(given()));
  EXPECT_EQ(homeTree(), before);
  EXPECT_THAT(log(), IsEmpty());
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
  InstanceService instance(home(), data());
  clearLog();
  Tree expected = homeTree();
  expected[kBaseCustomization] = "file: base=1\nboth=given\ngiven=1\n";
  EXPECT_TRUE(instance.mergePluginCustomizationWithBase(given()));
  EXPECT_EQ(homeTree(), expected) << "the base plug-in's file is saved all the same";
  EXPECT_EQ(log(), (std::vector<LogLine>{notSaved(kCustomization)}));
}

TEST_F(MergeCustomizationTest, BaseMergeNeedsHomeFileAndBaseVersion) {
  folder.makeFile(inHome(kBaseCustomization), "# base\nbase=1\n");
  InstanceService instance(home(), data());
  InstanceService homeless(kNone, data());
  InstanceService file = fileHome();
  InstanceService bare(folder.makeFolder("bare"), kNone);
  const Tree before = everything();
  clearLog();
  EXPECT_FALSE(instance.mergePluginCustomizationWithBase(kNone));
  EXPECT_FALSE(instance.mergePluginCustomizationWithBase(folder / "missing"));
  for (InstanceService* each : {&homeless, &file, &bare}) {
    EXPECT_FALSE(each->mergePluginCustomizationWithBase(given()));
  }
  EXPECT_EQ(homeless.pathToRcphome(), kNone);
  EXPECT_EQ(everything(), before);
  EXPECT_THAT(log(), IsEmpty());
}

}  // namespace

}  // namespace hotfix
