#include "MacInstaller/Configuration.h"
#include "Platform/SystemPaths.h"
#include "Tests/Support/FakeHost.h"

namespace hotfix {

namespace {

constexpr uid_t kStranger = 12345;

class ConfigurationTest : public FakeHostTest {
 protected:
  const std::string file = outside(platform::kInternalConfigurationFile);

  void makeConfiguration(mode_t mode = 0644) const { folder.makeFile(file, "{ productName = P; }", mode); }

  /// Makes the file, owned by somebody who is neither root nor the user that runs the tests.
  void makeConfigurationOf(uid_t owner, mode_t mode = 0644) const {
    makeConfiguration(mode);
    ASSERT_EQ(chown((folder / file).c_str(), owner, owner), 0);
  }

  static OptionalString productName() {
    const auto value = Configuration().getPropertyValueForKey("productName");
    return value && value->asString() != nullptr ? OptionalString(*value->asString()) : std::nullopt;
  }

  /// Saves the settings of a new object with this "productName".
  static void save(const std::string& name) {
    Configuration configuration;
    EXPECT_TRUE(configuration.setProperty(name, "productName"));
    EXPECT_TRUE(configuration.saveConfiguration());
    clearLog();
  }

  /// The file counts as missing, and one line at level 4 says so.
  void expectDistrusted() const {
    clearLog();
    EXPECT_EQ(productName(), std::nullopt);
    EXPECT_EQ(log().size(), 1U);
    EXPECT_EQ(log(platform::LogLevel::Warning),
              (std::vector<std::string>{std::string("Ignored ") + platform::kInternalConfigurationFile +
                                        ": it counts only as a plain file with one name that root or this user owns, "
                                        "that cannot be executed and that not everybody can write to."}));
  }
};

// ----- Reading -----

TEST_F(ConfigurationTest, FileIsAtItsFixedPath) {
  EXPECT_STREQ(platform::kInternalConfigurationFile, "/tmp/com.qor.rcp.platform.internal.configuration");
  makeConfiguration();
  EXPECT_EQ(productName(), "P");
  EXPECT_TRUE(log().empty());
}

TEST_F(ConfigurationTest, MissingFileIsAnEmptySet) {
  EXPECT_EQ(productName(), std::nullopt);
  EXPECT_TRUE(log().empty());
}

TEST_F(ConfigurationTest, KeyThatIsNotThereIsNone) {
  makeConfiguration();
  EXPECT_EQ(Configuration().getPropertyValueForKey("newInstallLocation"), std::nullopt);
  EXPECT_EQ(Configuration().getPropertyValueForKey(std::nullopt), std::nullopt);
}

TEST_F(ConfigurationTest, EachObjectReadsTheFileAnew) {
  const Configuration before;
  makeConfiguration();
  EXPECT_EQ(before.getPropertyValueForKey("productName"), std::nullopt);
  EXPECT_EQ(productName(), "P");
  folder.makeFile(file, "{ productName = Q; }");
  EXPECT_EQ(productName(), "Q");
}

TEST_F(ConfigurationTest, FileThatIsNoDictionaryIsInert) {
  folder.makeFile(file, "( a )");
  Configuration configuration;
  EXPECT_EQ(configuration.getPropertyValueForKey("k"), std::nullopt);
  EXPECT_FALSE(configuration.setProperty("v", "k"));
  EXPECT_FALSE(configuration.saveConfiguration());
  EXPECT_EQ(folder.read(file), "( a )");
}

TEST_F(ConfigurationTest, FileThatCannotBeReadIsNeverSavedOver) {
  constexpr off_t kMoreThanIsRead = (off_t{1} << 30) + 1;
  makeConfiguration();
  ASSERT_EQ(truncate((folder / file).c_str(), kMoreThanIsRead), 0);
  Configuration configuration;
  EXPECT_FALSE(configuration.setProperty("v", "k"));
  EXPECT_FALSE(configuration.saveConfiguration());
  EXPECT_EQ(folder.attributes(file).st_size, kMoreThanIsRead);

  // Also when it has come to lie there since.
  ASSERT_EQ(unlink((folder / file).c_str()), 0);
  Configuration earlier;
  makeConfiguration();
  ASSERT_EQ(truncate((folder / file).c_str(), kMoreThanIsRead), 0);
  EXPECT_TRUE(earlier.saveConfiguration());
  EXPECT_TRUE(log().empty());
  EXPECT_EQ(folder.attributes(file).st_size, kMoreThanIsRead);
}

// What the repair of permissions gives to root, whoever wrote it, has such a mode.
TEST_F(ConfigurationTest, FileThatCanBeExecutedIsNotTrusted) {
  for (const mode_t mode : std::vector<mode_t>{0775, 0744, 0610, 0601}) {
    makeConfiguration(static_cast<mode_t>(mode));
    expectDistrusted();
  }
}

// ----- Trust: FileManagerTest has the other files that are not trusted -----

TEST_F(ConfigurationTest, FileThatEverybodyCanWriteToIsNotTrusted) {
  makeConfiguration(0666);
  expectDistrusted();
  makeConfiguration(0602);
  expectDistrusted();
}

TEST_F(ConfigurationTest, TrustedOwnerDoesNotMakeUpForAnOpenFile) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can have a file of somebody else";
  makeConfigurationOf(kStranger, 0666);
  setEnvironment("SUDO_UID", std::to_string(kStranger));
  expectDistrusted();
}

TEST_F(ConfigurationTest, SenselessUserIdFromSudoTrustsNobody) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can have a file of somebody else";
  makeConfigurationOf(kStranger);
  for (const char* text : {"", "12345x", "x", "-1", " ", "99999999999999999999"}) {
    setEnvironment("SUDO_UID", text);
    SCOPED_TRACE(text);
    expectDistrusted();
  }
}

// ----- Changing and saving -----

TEST_F(ConfigurationTest, SetChangesMemoryOnly) {
  makeConfiguration();
  Configuration configuration;
  EXPECT_TRUE(configuration.setProperty("Q", "productName"));
  EXPECT_EQ(configuration.getPropertyValueForKey("productName"), PropertyListValue("Q"));
  EXPECT_EQ(productName(), "P");
}

TEST_F(ConfigurationTest, SetPassesOnTheAnswersOfTheList) {
  Configuration configuration;
  EXPECT_TRUE(configuration.setProperty("v", "k"));
  EXPECT_FALSE(configuration.setProperty("v", std::nullopt));
  EXPECT_TRUE(configuration.setProperty(std::nullopt, "k"));
  EXPECT_TRUE(configuration.setProperty("v", "other"));
  EXPECT_TRUE(configuration.setProperty(std::nullopt, "other"));
  EXPECT_FALSE(configuration.getPropertyValueForKey("other"));
  EXPECT_EQ(configuration.getPropertyValueForKey("k"), std::nullopt);
}

TEST_F(ConfigurationTest, SaveCreatesAMissingFile) {
  Configuration configuration;
  configuration.setProperty("P", "productName");
  EXPECT_TRUE(configuration.saveConfiguration());
  EXPECT_EQ(productName(), "P");
}

TEST_F(ConfigurationTest, SaveWritesAllThatTheFileHeld) {
  folder.makeFile(file, "{ productName = P; other = ( 1, 2 ); }");
  Configuration configuration;
  configuration.setProperty("/x", "newInstallLocation");
  EXPECT_TRUE(configuration.saveConfiguration());
  const Configuration saved;
  EXPECT_EQ(saved.getPropertyValueForKey("productName"), PropertyListValue("P"));
  EXPECT_EQ(saved.getPropertyValueForKey("other"), PropertyListValue(PropertyListValue::Array{"1", "2"}));
  EXPECT_EQ(saved.getPropertyValueForKey("newInstallLocation"), PropertyListValue("/x"));
}

TEST_F(ConfigurationTest, FailedSaveIsNotTold) {
  folder.makeFolder(file + "/inside");
  EXPECT_TRUE(Configuration().saveConfiguration());
  EXPECT_EQ(folder.names(file), (std::vector<std::string>{"inside"}));
}

TEST_F(ConfigurationTest, SaveInPlaceOfALinkLeavesItsTargetAlone) {
  folder.makeFile("elsewhere", "{ productName = P; }", 0602);
  folder.makeLink(file, folder / "elsewhere");
  save("Q");
  EXPECT_EQ(folder.read("elsewhere"), "{ productName = P; }");
  EXPECT_EQ(folder.mode("elsewhere"), 0602U);
  EXPECT_TRUE(S_ISREG(folder.attributes(file).st_mode));
  EXPECT_EQ(productName(), "Q");
}

TEST_F(ConfigurationTest, SaveInPlaceOfASecondNameLeavesTheOtherAlone) {
  folder.makeFile("elsewhere", "{ productName = P; }", 0640);
  folder.makeFolder(outside("/tmp"));
  ASSERT_EQ(link((folder / "elsewhere").c_str(), (folder / file).c_str()), 0);
  save("Q");
  EXPECT_EQ(folder.read("elsewhere"), "{ productName = P; }");
  EXPECT_EQ(productName(), "Q");
}

TEST_F(ConfigurationTest, SaveKeepsOwnerAndModeOfATrustedFile) {
  makeConfiguration(0640);
  if (geteuid() == 0) {
    makeConfigurationOf(kStranger, 0640);
    setEnvironment("SUDO_UID", std::to_string(kStranger));
  }
  save("Q");
  EXPECT_EQ(folder.attributes(file).st_uid, geteuid() == 0 ? kStranger : geteuid());
  EXPECT_EQ(folder.mode(file), 0640U);
  EXPECT_EQ(productName(), "Q");
}

TEST_F(ConfigurationTest, SaveTakesNothingOverFromAFileOfAStranger) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can have a file of somebody else";
  setEnvironment("SUDO_UID", std::nullopt);
  makeConfigurationOf(kStranger, 0660);
  save("Q");
  EXPECT_EQ(folder.attributes(file).st_uid, 0U);
  EXPECT_NE(folder.attributes(file).st_gid, kStranger);
  EXPECT_EQ(productName(), "Q");
  EXPECT_TRUE(log().empty());
}

TEST_F(ConfigurationTest, SaveLooksAtTheFileThatIsThereThen) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can have a file of somebody else";
  setEnvironment("SUDO_UID", std::nullopt);
  makeConfiguration();
  Configuration configuration;
  makeConfigurationOf(kStranger);
  EXPECT_TRUE(configuration.saveConfiguration());
  EXPECT_EQ(folder.attributes(file).st_uid, 0U);
  EXPECT_EQ(productName(), "P");
}

TEST_F(ConfigurationTest, SaveClosesAFileThatEverybodyCanWriteTo) {
  makeConfiguration(0666);
  save("Q");
  EXPECT_EQ(folder.mode(file) & S_IWOTH, 0U);
  EXPECT_EQ(productName(), "Q");
}

// ----- Cleaning up -----

TEST_F(ConfigurationTest, CleanupDeletesTheFileAndEmptiesTheSettings) {
  makeConfiguration();
  Configuration configuration;
  configuration.cleanupConfiguration();
  EXPECT_FALSE(folder.has(file));
  EXPECT_EQ(configuration.getPropertyValueForKey("productName"), std::nullopt);
}

TEST_F(ConfigurationTest, CleanupWithoutAFileEmptiesTheSettings) {
  Configuration configuration;
  configuration.setProperty("v", "k");
  configuration.cleanupConfiguration();
  EXPECT_EQ(configuration.getPropertyValueForKey("k"), std::nullopt);
  EXPECT_FALSE(folder.has(file));
  EXPECT_TRUE(log().empty());
}

TEST_F(ConfigurationTest, SettingsCanBeUsedAfterACleanup) {
  makeConfiguration();
  Configuration configuration;
  configuration.cleanupConfiguration();
  EXPECT_TRUE(configuration.setProperty("Q", "productName"));
  EXPECT_TRUE(configuration.saveConfiguration());
  EXPECT_EQ(productName(), "Q");
}

TEST_F(ConfigurationTest, CleanupOfALinkLeavesItsTargetAlone) {
  folder.makeFile("elsewhere", "{ productName = P; }");
  folder.makeLink(file, folder / "elsewhere");
  Configuration().cleanupConfiguration();
  EXPECT_FALSE(folder.has(file));
  EXPECT_EQ(folder.read("elsewhere"), "{ productName = P; }");
}

}  // namespace

}  // namespace hotfix
