#include <grp.h>
#include <pwd.h>

#include <type_traits>

#include "MacInstaller/InstanceService.h"
#include "Tests/Support/InstanceFixture.h"

namespace hotfix {

namespace {

/// Whether updatePermissions can be called with this as its second argument.
template <typename Argument, typename = void>
struct TakesPermissionsOf : std::false_type {};
template <typename Argument>
struct TakesPermissionsOf<
    Argument, std::void_t<decltype(std::declval<InstanceService&>().updatePermissions(true, std::declval<Argument>()))>>
    : std::true_type {};

class InstanceServiceWorkspaceTest : public InstanceTest {
 protected:
  InstanceServiceWorkspaceTest() { clearLog(); }

  static constexpr char kShared[] = "Apps/Product.app/Contents/MacOS/shared";
  static constexpr char kLinks[] = "eclipse/links";
  std::string shared() const { return folder / kShared; }

  void removeFile(const std::string& relativePath) const {
    EXPECT_EQ(unlink((folder / relativePath).c_str()), 0) << relativePath;
  }

  InstanceService instance{home(), data()};
};

// ----- Links -----

TEST_F(InstanceServiceWorkspaceTest, LinksNameHomeAndSharedFolder) {
  Tree expected = homeTree();
  expected[kLinks] = "folder";
  expected["eclipse/links/rcp.link"] = "file: path=" + home() + "\n";
  expected["eclipse/links/shared.link"] = "file: path=" + shared() + "\n";
  EXPECT_TRUE(instance.generateLinks());
  EXPECT_EQ(homeTree(), expected);
  EXPECT_FALSE(folder.has(kShared)) << "it is only named";
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceServiceWorkspaceTest, LinksHoldTheHomeExactlyAsItIsEscapedAsAProperty) {
  const std::string odd = folder / "My #1=a:b!\\.app/Contents/MacOS/rcp \u00E9/";
  folder.makeFolder("My #1=a:b!\\.app/Contents/MacOS/rcp \u00E9/eclipse");
  InstanceService service(odd, kNone);
  EXPECT_TRUE(service.generateLinks());
  const std::string start = "file: path=" + folder.path() + "/My \\#1\\=a\\:b\\!\\\\.app/Contents/MacOS/";
  EXPECT_EQ(treeSnapshot(odd + "eclipse/links"),
            (Tree{{"rcp.link", start + "rcp \\u00e9/\n"}, {"shared.link", start + "shared\n"}}));
}

TEST_F(InstanceServiceWorkspaceTest, ExistingLinksAreUpdatedAndTheirOtherKeysKept) {
  folder.makeFile(inHome("eclipse/links/rcp.link"), "# note\npath=/old\nother=1\n");
  folder.makeFile(inHome("eclipse/links/shared.link"), "path=/old\nanother=2\n");
  folder.makeFile(inHome("eclipse/links/third.link"), "# kept\n");
  EXPECT_TRUE(instance.generateLinks());
  EXPECT_EQ(treeSnapshot(home() + "/eclipse/links"), (Tree{{"rcp.link", "file: other=1\npath=" + home() + "\n"},
                                                           {"shared.link", "file: another=2\npath=" + shared() + "\n"},
                                                           {"third.link", "file: # kept\n"}}));
}

TEST_F(InstanceServiceWorkspaceTest, NewLinksFolderIsOpenToTheGroupAndBelongsToTheProcessUserWhenNoUserIsNamed) {
  setEnvironment("USER", kNone);
  const mode_t before = umask(077);
  EXPECT_TRUE(instance.generateLinks());
  umask(before);
  EXPECT_EQ(folder.mode(inHome(kLinks)), 0775U);
  EXPECT_EQ(folder.attributes(inHome(kLinks)).st_uid, geteuid());
}

TEST_F(InstanceServiceWorkspaceTest, NewLinksFolderBelongsToTheInvokingUserAndTheAdministrators) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a folder away";
  const passwd* user = getpwnam("nobody");
  if (user == nullptr) GTEST_SKIP() << "there is no account nobody";
  const uid_t owner = user->pw_uid;
  const group* administrators = getgrnam("admin");
  const gid_t expectedGroup = administrators != nullptr ? administrators->gr_gid : folder.attributes(kHome).st_gid;
  setEnvironment("USER", "nobody");
  EXPECT_TRUE(instance.generateLinks());
  EXPECT_EQ(folder.attributes(inHome(kLinks)).st_uid, owner);
  EXPECT_EQ(folder.attributes(inHome(kLinks)).st_gid, expectedGroup);
}

TEST_F(InstanceServiceWorkspaceTest, ExistingLinksFolderKeepsItsAttributes) {
  folder.makeFolder(inHome(kLinks), 0700);
  const bool canGiveAway = geteuid() == 0;
  if (canGiveAway) {
    ASSERT_EQ(chown((folder / inHome(kLinks)).c_str(), 4711, 4712), 0);
  }
  EXPECT_TRUE(instance.generateLinks());
  EXPECT_EQ(folder.mode(inHome(kLinks)), 0700U);
  if (canGiveAway) {
    EXPECT_EQ(folder.attributes(inHome(kLinks)).st_uid, 4711U);
    EXPECT_EQ(folder.attributes(inHome(kLinks)).st_gid, 4712U);
  }
  EXPECT_EQ(folder.names(inHome(kLinks)), (std::vector<std::string>{"rcp.link", "shared.link"}));
}

TEST_F(InstanceServiceWorkspaceTest, LinksNeedAHomeWithAnEclipseFolder) {
  const std::string bare = folder.makeFolder("bare");
  InstanceService service(bare, kNone);
  InstanceService homeless(kNone, data());
  clearLog();
  EXPECT_FALSE(homeless.generateLinks());
  EXPECT_FALSE(service.generateLinks());
  EXPECT_EQ(treeSnapshot(bare), Tree());
  folder.makeFile("bare/eclipse", "a file");
  EXPECT_FALSE(service.generateLinks());
  EXPECT_EQ(treeSnapshot(bare), (Tree{{"eclipse", "file: a file"}}));
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceServiceWorkspaceTest, LinksFolderThatCannotBeMadeIsAWarning) {
  folder.makeLink(inHome(kLinks), folder / "missing");  // nothing exists there, and yet no folder can be made
  const Tree before = homeTree();
  EXPECT_FALSE(instance.generateLinks());
  EXPECT_EQ(homeTree(), before);
  EXPECT_FALSE(folder.has("missing"));
  EXPECT_EQ(log(), (LogLines{{4, "Not able to create links directory."}}));
}

TEST_F(InstanceServiceWorkspaceTest, LinksThatCannotBeSavedAreNotAnswered) {
  folder.makeFolder(inHome("eclipse/links/rcp.link"));
  Tree expected = homeTree();
  expected["eclipse/links/shared.link"] = "file: path=" + shared() + "\n";
  EXPECT_TRUE(instance.generateLinks());
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(log(), (LogLines{notSaved("eclipse/links/rcp.link")}));
}

TEST_F(InstanceServiceWorkspaceTest, FileInPlaceOfTheLinksFolderIsUsedAsItIs) {
  folder.makeFile(inHome(kLinks), "a file");
  const Tree before = homeTree();
  EXPECT_TRUE(instance.generateLinks());
  expectHome(before);
}

// ----- Permissions -----

class PermissionsTest : public InstanceServiceWorkspaceTest {
 protected:
  PermissionsTest() {
    folder.makeFile(std::string(kShared) + "/plugins/item", "", 0600);
    folder.makeFile("data/deep/item", "", 0600);
    folder.makeFile("other/deep/item", "", 0600);
    for (const char* const entry : {kHome, "Apps/Product.app/Contents/MacOS/shared", kData, "other"}) {
      EXPECT_EQ(chmod((folder / entry).c_str(), 0700), 0);
    }
    EXPECT_EQ(chmod((folder / inHome("deploy")).c_str(), 0700), 0);
    EXPECT_EQ(chmod((folder / inHome("deploy/install.xml")).c_str(), 0600), 0);
    EXPECT_EQ(chmod((folder / "data/deep").c_str(), 0700), 0);
    EXPECT_EQ(chmod((folder / "other/deep").c_str(), 0700), 0);
    clearLog();
  }

  /// Of each of the four trees its top must have kept its mode; what lies in it has it, or was opened.
  void expectOpened(bool homeAndShared, bool dataFolder, bool otherFolder) const {
    expectTree(kHome, {"deploy", "deploy/install.xml"}, homeAndShared);
    expectTree(kShared, {"plugins/item"}, homeAndShared);
    expectTree(kData, {"deep", "deep/item"}, dataFolder);
    expectTree("other", {"deep", "deep/item"}, otherFolder);
    EXPECT_EQ(folder.mode("Apps/Product.app/Contents/Info.plist"), 0644U);
    EXPECT_THAT(log(), IsEmpty());
  }

 private:
  void expectTree(const std::string& top, const std::vector<std::string>& entries, bool opened) const {
    EXPECT_EQ(folder.mode(top), 0700U) << top;
    for (const std::string& entry : entries) {
      const std::string path = top + "/" + entry;
      const bool isFolder = S_ISDIR(folder.attributes(path).st_mode);
      EXPECT_EQ(folder.mode(path), opened ? 0775U : isFolder ? 0700U : 0600U) << path;
    }
  }
};

/// What is asked for: home and shared folder; the own workspace, or "other".
struct Request {
  std::string name;
  bool home, own, other;
};
class PermissionsRequestTest : public PermissionsTest, public ::testing::WithParamInterface<Request> {};

TEST_P(PermissionsRequestTest, IsWhatIsTreated) {
  const auto& [name, isHome, isOwn, isOther] = GetParam();
  if (!isOwn) instance.updatePermissions(isHome, isOther ? OptionalString(folder / "other") : kNone);
  if (!isOther) instance.updatePermissions(isHome, isOwn);
  expectOpened(isHome, isOwn, isOther);
}

INSTANTIATE_TEST_SUITE_P(Requests, PermissionsRequestTest,
                         ::testing::Values(Request{"Nothing", false, false, false}, Request{"Home", true, false, false},
                                           Request{"OwnWorkspace", false, true, false},
                                           Request{"HomeAndOwnWorkspace", true, true, false},
                                           Request{"GivenWorkspace", false, false, true},
                                           Request{"HomeAndGivenWorkspace", true, false, true}),
                         [](const auto& tested) { return tested.param.name; });

TEST_F(PermissionsTest, OwnWorkspaceIsFoundThroughTheLauncherProperties) {
  folder.makeFile(inHome("rcplauncher.properties"), "rcp.data=${env.HOME}/other\n");
  setEnvironment("HOME", folder.path());
  InstanceService dataless(home());
  clearLog();
  dataless.updatePermissions(false, true);
  expectOpened(false, false, true);
}

TEST_F(PermissionsTest, InstanceWithoutAWorkspaceIsLeftAlone) {
  removeFile(inHome("rcplauncher.properties"));
  InstanceService dataless(home());
  clearLog();
  dataless.updatePermissions(false, true);
  expectOpened(false, false, false);
}

TEST_F(PermissionsTest, MissingFoldersAreLeftAlone) {
  const std::string lonely = folder.makeFolder("lonely/rcp");
  InstanceService service(lonely, kNone);
  clearLog();
  service.updatePermissions(true, OptionalString(folder / "missing"));
  EXPECT_FALSE(folder.has("missing"));
  EXPECT_EQ(treeSnapshot(folder / "lonely"), (Tree{{"rcp", "folder"}}));
  expectOpened(false, false, false);
}

TEST_F(PermissionsTest, OnlyTheWorkspaceIsTreatedWithoutAHome) {
  InstanceService homeless(kNone, data());
  clearLog();
  homeless.updatePermissions(true, OptionalString(folder / "other"));
  expectOpened(false, false, true);
  homeless.updatePermissions(true, true);
  expectOpened(false, false, true);
}

TEST_F(PermissionsTest, ContentsGetTheInvokingUserAsOwnerAndTheFolderKeepsIts) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  const passwd* user = getpwnam("nobody");
  if (user == nullptr) GTEST_SKIP() << "there is no account nobody";
  const uid_t owner = user->pw_uid;
  setEnvironment("USER", "nobody");
  instance.updatePermissions(false, true);
  EXPECT_EQ(folder.attributes("data/deep").st_uid, owner);
  EXPECT_EQ(folder.attributes("data/deep/item").st_uid, owner);
  EXPECT_EQ(folder.attributes("data/.config/rcpinstall.properties").st_uid, owner);
  EXPECT_EQ(folder.attributes(kData).st_uid, geteuid());
}

TEST(UpdatePermissions, RefusesToTakeALiteralForABoolean) {
  EXPECT_TRUE(TakesPermissionsOf<bool>::value);
  EXPECT_TRUE(TakesPermissionsOf<OptionalString>::value);
  EXPECT_FALSE(TakesPermissionsOf<const char*>::value);
  EXPECT_FALSE(TakesPermissionsOf<const char(&)[5]>::value);
}

// ----- Workspace -----

TEST_F(InstanceServiceWorkspaceTest, WorkspaceIsTheDataFolderAsItIs) {
  EXPECT_EQ(instance.getWorkspace(), data());
  const InstanceService literal(home(), "~/no such ${env.HOME}/folder/");
  EXPECT_EQ(literal.getWorkspace(), "~/no such ${env.HOME}/folder/");
  EXPECT_EQ(InstanceService(home(), "").getWorkspace(), "");
}

TEST_F(InstanceServiceWorkspaceTest, WorkspaceIsReadFromTheLauncherPropertiesWithTheHomeOfTheEnvironment) {
  const struct {
    OptionalString home;
    const char *property, *workspace;
  } rows[] = {
      {"/Users/me", "${env.HOME}/Library/Data", "/Users/me/Library/Data"},
      {"/h", "${env.HOME}${env.HOME}/${env.home}/$HOME/~/${env.HOME}", "/h/h/${env.home}/$HOME/~//h"},
      {kNone, "${env.HOME}/Data", "${env.HOME}/Data"},
      {"", "${env.HOME}/Data", "/Data"},
      {"/h", "", ""},
  };
  const InstanceService dataless(home());
  clearLog();
  for (const auto& row : rows) {
    setEnvironment("HOME", row.home);
    folder.makeFile(inHome("rcplauncher.properties"), std::string("rcp.data=") + row.property + "\n");
    EXPECT_EQ(dataless.getWorkspace(), row.workspace) << row.property;
  }
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceServiceWorkspaceTest, ThereIsNoWorkspaceWithoutItsKey) {
  folder.makeFile(inHome("rcplauncher.properties"), "RCP.data=/x\nrcp.data.old=/y\n");
  const InstanceService dataless(home());
  clearLog();
  EXPECT_EQ(dataless.getWorkspace(), kNone);
  removeFile(inHome("rcplauncher.properties"));
  EXPECT_EQ(dataless.getWorkspace(), kNone);
  folder.makeFolder(inHome("rcplauncher.properties"));
  EXPECT_EQ(dataless.getWorkspace(), kNone);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceServiceWorkspaceTest, ThereIsNoWorkspaceWithoutAHome) {
  const InstanceService homeless(kNone, data());
  clearLog();
  EXPECT_EQ(homeless.getWorkspace(), kNone);
  EXPECT_THAT(log(), IsEmpty());
}

}  // namespace

}  // namespace hotfix
