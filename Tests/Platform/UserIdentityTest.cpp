#include "Platform/UserIdentity.h"
#include "Tests/Platform/Conditions.h"
#include "Tests/Support/FakeHost.h"

namespace hotfix {

namespace {

using platform::environmentVariable;
using platform::expandingTilde;
using platform::homeFolder;
using platform::invokingUserName;
using platform::isTrustedOwner;
using platform::loginName;
using platform::ScopedEffectiveUser;

constexpr char kNoSuchName[] = "no such account";
constexpr uid_t kNobodysId = 54321;  // has no entry in the account database

class UserIdentityTest : public FakeHostTest {
 protected:
  /// The environment tells nothing about the caller.
  UserIdentityTest() {
    setEnvironment("USER", {});
    setEnvironment("SUDO_UID", {});
  }

  /// Entry of the user that the process works for.
  static const passwd* ownEntry() { return getpwuid(geteuid()); }

  /// Runs \a body in a child with these ids; for root.
  template <class Body>
  static void asUser(uid_t real, uid_t effective, Body body) {
    inChild([&] {
      ASSERT_TRUE(host::setUsers(real, effective));
      body();
    });
  }
};

TEST_F(UserIdentityTest, EnvironmentVariableTellsAbsentFromEmpty) {
  setEnvironment("HOTFIX_TEST", "a value");
  EXPECT_EQ(environmentVariable("HOTFIX_TEST"), "a value");
  setEnvironment("HOTFIX_TEST", "");
  EXPECT_EQ(environmentVariable("HOTFIX_TEST"), "");
  setEnvironment("HOTFIX_TEST", {});
  EXPECT_FALSE(environmentVariable("HOTFIX_TEST"));
}

// ----- Names and homes -----

TEST_F(UserIdentityTest, NameAndHomeAreTheAccountsAndNotThoseOfTheEnvironment) {
  const passwd* entry = ownEntry();
  if (entry == nullptr) GTEST_SKIP() << "needs a user with an account";
  setEnvironment("USER", "somebody");
  setEnvironment("HOME", "/somewhere/else");
  EXPECT_EQ(loginName(), entry->pw_name);
  EXPECT_EQ(homeFolder(), entry->pw_dir);
}

TEST_F(UserIdentityTest, InvokingUserIsThatOfTheEnvironmentFirst) {
  setEnvironment("USER", "somebody");
  EXPECT_EQ(invokingUserName(), "somebody");
  setEnvironment("USER", {});
  EXPECT_EQ(invokingUserName(), loginName());
}

TEST_F(UserIdentityTest, EffectiveUserCountsAndUnderRootTheRealOne) {
  const auto other = otherAccount();
  if (!isRoot() || !other) GTEST_SKIP() << "needs the rights to be somebody else";
  asUser(0, other->uid, [&] {
    EXPECT_EQ(loginName(), other->name);
    EXPECT_EQ(homeFolder(), other->home);
  });
  asUser(other->uid, 0, [&] {
    EXPECT_EQ(loginName(), other->name);
    EXPECT_EQ(homeFolder(), other->home);
    EXPECT_EQ(expandingTilde("~/x"), other->home + "/x");
  });
}

TEST_F(UserIdentityTest, EnvironmentIsTheLastResort) {
  if (!isRoot()) GTEST_SKIP() << "needs the rights to be somebody else";
  asUser(kNobodysId, kNobodysId, [&] {
    setEnvironment("USER", "somebody");
    setEnvironment("HOME", "/some/home");
    EXPECT_EQ(loginName(), "somebody");
    EXPECT_EQ(homeFolder(), "/some/home");
    setEnvironment("USER", {});
    setEnvironment("HOME", {});
    EXPECT_FALSE(loginName());
    EXPECT_FALSE(invokingUserName());
    EXPECT_FALSE(homeFolder());
    EXPECT_EQ(expandingTilde("~/x"), "~/x");
  });
}

// ----- Tilde -----

TEST_F(UserIdentityTest, TildeBecomesTheHomeFolder) {
  const OptionalString home = homeFolder();
  ASSERT_TRUE(home);
  setEnvironment("HOME", "/somewhere/else");
  EXPECT_EQ(expandingTilde("~"), *home);
  EXPECT_EQ(expandingTilde("~/"), *home);
  EXPECT_EQ(expandingTilde("~/x"), *home + "/x");
  EXPECT_EQ(expandingTilde("~/x/~"), *home + "/x/~");
}

TEST_F(UserIdentityTest, TildeWithANameBecomesThatUsersHomeFolder) {
  const passwd* entry = getpwuid(0);
  if (entry == nullptr) GTEST_SKIP() << "needs an account of root";
  const std::string name = entry->pw_name;
  const std::string home = entry->pw_dir;
  EXPECT_EQ(expandingTilde("~" + name), home);
  EXPECT_EQ(expandingTilde("~" + name + "/x"), home + "/x");
}

TEST_F(UserIdentityTest, OtherPathsAreAnsweredAsTheyAre) {
  for (const char* path : {"", "/", "/a/~/b", "x~", "x/~", "/~", "/a//b/", " ~"}) EXPECT_EQ(expandingTilde(path), path);
  EXPECT_EQ(expandingTilde(std::string("~") + kNoSuchName + "/x/"), std::string("~") + kNoSuchName + "/x/");
}

// ----- Trust -----

TEST_F(UserIdentityTest, RootAndTheEffectiveUserAreTrusted) {
  EXPECT_TRUE(isTrustedOwner(0));
  EXPECT_TRUE(isTrustedOwner(geteuid()));
  EXPECT_FALSE(isTrustedOwner(kNobodysId));
}

TEST_F(UserIdentityTest, RealUserIsTrustedUnderRootsRightsOnly) {
  if (!isRoot()) GTEST_SKIP() << "needs the rights to be somebody else";
  asUser(kNobodysId, 0, [] {
    EXPECT_TRUE(isTrustedOwner(kNobodysId));
    EXPECT_FALSE(isTrustedOwner(kNobodysId + 1));
  });
  asUser(kNobodysId, kNobodysId + 1, [] { EXPECT_FALSE(isTrustedOwner(kNobodysId)); });
}

TEST_F(UserIdentityTest, InvokingUserIsTrusted) {
  const auto other = otherAccount();
  if (!other) GTEST_SKIP() << "needs another account";
  EXPECT_FALSE(isTrustedOwner(other->uid));
  setEnvironment("USER", kNoSuchName);
  EXPECT_FALSE(isTrustedOwner(other->uid));
  setEnvironment("USER", other->name);
  EXPECT_TRUE(isTrustedOwner(other->uid));
  EXPECT_FALSE(isTrustedOwner(kNobodysId));
}

TEST_F(UserIdentityTest, InvokingUsersNumberIsTakenOnlyWhenItIsOne) {
  setEnvironment("SUDO_UID", std::to_string(kNobodysId));
  EXPECT_TRUE(isTrustedOwner(kNobodysId));
  EXPECT_FALSE(isTrustedOwner(kNobodysId + 1));
  for (const char* text : {"", " ", "54321x", "x54321", "-54321", "0xd431", "4295021617"}) {  // the last: 2^32 + 54321
    setEnvironment("SUDO_UID", text);
    EXPECT_FALSE(isTrustedOwner(kNobodysId)) << text;
  }
}

// ----- ScopedEffectiveUser -----

TEST_F(UserIdentityTest, EffectiveUserIsAnotherForAWhile) {
  const auto other = otherAccount();
  if (!isRoot() || !other) GTEST_SKIP() << "needs the rights to be somebody else";
  {
    const ScopedEffectiveUser user(other->name);
    EXPECT_EQ(geteuid(), other->uid);
    EXPECT_EQ(getuid(), 0U);
    EXPECT_EQ(homeFolder(), other->home);
  }
  EXPECT_EQ(geteuid(), 0U);
}

TEST_F(UserIdentityTest, NothingIsSwitchedWithoutANameOrTheRight) {
  const auto expectNotSwitched = [](const OptionalString& name) {
    const uid_t before = geteuid();
    {
      const ScopedEffectiveUser user(name);
      EXPECT_EQ(geteuid(), before);
    }
    EXPECT_EQ(geteuid(), before);
  };
  for (const OptionalString& name : {OptionalString(), OptionalString(""), OptionalString(kNoSuchName)}) {
    expectNotSwitched(name);
  }
  asUnprivileged([&] { expectNotSwitched("root"); });
}

}  // namespace

}  // namespace hotfix
