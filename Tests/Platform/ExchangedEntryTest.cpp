// What others do between two steps of an operation, without luck: system calls of this program are stood in for, so
// that a test can act when one of them has been made. See the races of the other tests for what is not foreseen.

#include <dlfcn.h>

#include <cstdarg>

#include "Platform/FileManager.h"
#include "Platform/Ownership.h"
#include "Platform/SystemLog.h"
#include "Platform/posix/FolderWalk.h"
#include "Tests/Platform/Conditions.h"
#include "Tests/Support/FakeHost.h"

namespace hotfix {

namespace {

struct Action {
  std::string name;
  std::function<void()> action;

  void takeAt(const char* path) {
    const std::string text = path;
    if (!action || text.substr(text.rfind('/') + 1) != name) return;
    std::exchange(action, nullptr)();
  }
};

Action afterLooking, afterOpening, afterUnlinking;
std::pair<ino_t, std::function<void()>> beforeModeChange;

/// The C library's own function.
template <typename Function>
Function original(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

void actAfterLookingAt(const std::string& name, std::function<void()> action) {
  afterLooking = {name, std::move(action)};
}

void actAfterOpening(const std::string& name, std::function<void()> action) {
  afterOpening = {name, std::move(action)};
}

void actAfterUnlinking(const std::string& name, std::function<void()> action) {
  afterUnlinking = {name, std::move(action)};
}

void actBeforeModeChangeOf(ino_t entry, std::function<void()> action) { beforeModeChange = {entry, std::move(action)}; }

}  // namespace hotfix

// Declared like those of the headers, which may have another name for large files.

extern "C" int fstatat(int folder, const char* path, struct stat* status, int flags) {
  static const auto look = hotfix::original<decltype(&::fstatat)>(hotfix::host::kFstatat);
  const int result = look(folder, path, status, flags);
  hotfix::afterLooking.takeAt(path);
  return result;
}

extern "C" int openat(int folder, const char* path, int flags, ...) {
  static const auto open = hotfix::original<decltype(&::openat)>(hotfix::host::kOpenat);
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? static_cast<mode_t>(va_arg(arguments, int)) : 0;
  va_end(arguments);
  const int result = open(folder, path, flags, mode);
  hotfix::afterOpening.takeAt(path);
  return result;
}

extern "C" int unlink(const char* path) {
  static const auto remove = hotfix::original<decltype(&::unlink)>("unlink");
  const int result = remove(path);
  const int error = errno;
  hotfix::afterUnlinking.takeAt(path);
  errno = error;
  return result;
}

extern "C" int fchmod(int descriptor, mode_t mode) {
  static const auto change = hotfix::original<decltype(&::fchmod)>("fchmod");
  struct stat status;
  if (hotfix::beforeModeChange.second && fstat(descriptor, &status) == 0 &&
      status.st_ino == hotfix::beforeModeChange.first) {
    std::exchange(hotfix::beforeModeChange.second, nullptr)();
  }
  return change(descriptor, mode);
}

namespace hotfix {

namespace {

/// Somebody's place, with a file and a folder elsewhere that nothing may happen to.
class ExchangedEntryTest : public FakeHostTest {
 protected:
  ExchangedEntryTest() {
    folder.makeFile("elsewhere/file", "precious", 0600);
    folder.makeFolder("elsewhere", 0700);
  }
  ~ExchangedEntryTest() override {
    afterLooking = afterOpening = afterUnlinking = Action();
    beforeModeChange.second = nullptr;
  }

  /// Puts a link in the place of an entry.
  std::function<void()> exchangeForALink(const std::string& entry, const std::string& target) {
    return [=] {
      EXPECT_EQ(rename((folder / entry).c_str(), (folder / "away").c_str()), 0);
      folder.makeLink(entry, folder / target);
    };
  }

  void expectUntouched() {
    EXPECT_FALSE(afterLooking.action || afterOpening.action || afterUnlinking.action) << "nothing was exchanged";
    EXPECT_THAT(folder.names("elsewhere"), ::testing::ElementsAre("file"));
    EXPECT_EQ(folder.mode("elsewhere"), 0700U);
    EXPECT_EQ(folder.mode("elsewhere/file"), 0600U);
    EXPECT_EQ(folder.read("elsewhere/file"), "precious");
  }

  static platform::Attributes mode(mode_t bits) {
    platform::Attributes attributes;
    attributes.mode = bits;
    return attributes;
  }
};

// ----- Repairs -----

TEST_F(ExchangedEntryTest, FolderThatIsListedIsNotEnteredThroughALink) {
  folder.makeFile("tree/file", "", 0600);
  folder.makeFile("tree/sub/file", "", 0600);
  // The files of a folder come before its folders.
  actAfterLookingAt("file", exchangeForALink("tree/sub", "elsewhere"));
  EXPECT_FALSE(platform::setAttributesBelow(folder / "tree", mode(0775)));
  expectUntouched();
}

TEST_F(ExchangedEntryTest, FileThatIsLookedAtIsNotChangedThroughALink) {
  folder.makeFile("tree/file", "", 0644);
  folder.makeFolder("tree", 0777);
  actAfterLookingAt("file", exchangeForALink("tree/file", "elsewhere/file"));
  (void)platform::setAttributesBelow(folder / "tree", mode(0775));
  expectUntouched();
}

TEST_F(ExchangedEntryTest, FileThatIsLookedAtIsNotChangedForAnother) {
  folder.makeFile("tree/file", "", 0644);
  folder.makeFolder("tree", 0777);
  actAfterLookingAt("file", [&] {
    EXPECT_EQ(unlink((folder / "tree/file").c_str()), 0);
    EXPECT_EQ(link((folder / "elsewhere/file").c_str(), (folder / "tree/file").c_str()), 0);
  });
  EXPECT_FALSE(platform::setAttributesBelow(folder / "tree", mode(0775)));
  expectUntouched();
}

TEST_F(ExchangedEntryTest, FolderThatIsJudgedIsTheOneThatIsRepaired) {
  folder.makeFile("tree/file", "", 0600);
  actAfterLookingAt(".", exchangeForALink("tree", "elsewhere"));
  EXPECT_TRUE(platform::setAttributesBelow(folder / "tree", mode(0775)));
  EXPECT_EQ(folder.mode("away/file"), 0775U);
  expectUntouched();
}

TEST_F(ExchangedEntryTest, FolderThatIsMovedAwayDoesNotLeadTheWalkElsewhere) {
  // Too deep for all levels to stay open: those above the innermost ones are found again as its "..".
  std::string middle = "tree";
  for (int level = 0; level < 40; ++level) middle += "/d";
  folder.makeFile(middle + "/d/d/innermost", "", 0600);
  folder.makeFolder("elsewhere/refuge", 0700);
  actAfterLookingAt("innermost", [&] {
    EXPECT_EQ(rename((folder / (middle + "/d")).c_str(), (folder / "elsewhere/refuge/d").c_str()), 0);
  });
  EXPECT_FALSE(platform::setAttributesBelow(folder / "tree", mode(0775)));
  EXPECT_EQ(folder.mode("elsewhere/refuge"), 0700U);
  ASSERT_TRUE(platform::removeItem(folder / "elsewhere/refuge"));
  expectUntouched();
}

// ----- Removals -----

TEST_F(ExchangedEntryTest, FolderToBeRemovedIsNotEmptiedThroughALink) {
  folder.makeFile("tree/sub/inner", "");
  actAfterUnlinking("tree", exchangeForALink("tree", "elsewhere"));
  EXPECT_FALSE(platform::removeItem(folder / "tree"));
  expectUntouched();
}

// ----- Files that are read -----

TEST_F(ExchangedEntryTest, FileThatIsLookedAtIsNotWaitedForAsAFifo) {
  for (const bool isBelow : {true, false}) {
    folder.makeFile("tree/read", "text", 0600);
    actAfterLookingAt("read", [&] {
      EXPECT_EQ(unlink((folder / "tree/read").c_str()), 0);
      folder.makeFifo("tree/read");
    });
    bool isDistrusted = false;
    if (isBelow) {
      EXPECT_FALSE(platform::FileBelow(folder / "tree", "read").isThere());
    } else {
      EXPECT_FALSE(platform::readTrustedFile(folder / "tree/read", &isDistrusted));
    }
    EXPECT_EQ(isDistrusted, !isBelow);
    EXPECT_TRUE(S_ISFIFO(folder.attributes("tree/read").st_mode));
    ASSERT_EQ(unlink((folder / "tree/read").c_str()), 0);
    expectUntouched();
  }
}

// ----- Copies -----

TEST_F(ExchangedEntryTest, FileThatIsListedIsNotCopiedThroughALink) {
  // The one that comes first in the listing gives the time for the other.
  folder.makeFile("source/one", "1");
  folder.makeFile("source/two", "2");
  const std::vector<std::string> names = *platform::namesInFolder(folder / "source");
  actAfterOpening(names[0], exchangeForALink("source/" + names[1], "elsewhere/file"));
  EXPECT_FALSE(platform::copyItem(folder / "source", folder / "copy"));
  EXPECT_FALSE(folder.has("copy/" + names[1]));
  expectUntouched();
}

TEST_F(ExchangedEntryTest, FolderThatIsListedIsNotCopiedThroughALink) {
  folder.makeFolder("source/one");
  folder.makeFolder("source/two");
  const std::vector<std::string> names = *platform::namesInFolder(folder / "source");
  actAfterOpening(names[0], exchangeForALink("source/" + names[1], "elsewhere"));
  EXPECT_FALSE(platform::copyItem(folder / "source", folder / "copy"));
  EXPECT_FALSE(folder.has("copy/" + names[1]));
  expectUntouched();
}

TEST_F(ExchangedEntryTest, FolderThatIsMadeIsNotFilledThroughALink) {
  folder.makeFile("source/sub/file", "new");
  actAfterOpening("sub", [&] { folder.makeLink("copy/sub", folder / "elsewhere"); });
  platform::setCopyPolicy([](const platform::FileError&, const std::string&, const std::string&) { return true; });
  folder.makeFolder("copy");
  (void)platform::copyItem(folder / "source", folder / "copy");
  platform::setCopyPolicy(nullptr);
  expectUntouched();
}

TEST_F(ExchangedEntryTest, TrustedFolderIsTheOneThatIsCopied) {
  if (!isRoot()) GTEST_SKIP() << "needs a folder of another owner";
  folder.makeFile("planted/file");
  ASSERT_EQ(chown((folder / "planted").c_str(), 54321, 54321), 0);
  for (const bool isLink : {false, true}) {
    folder.makeFile("staging/file");
    actAfterLookingAt("staging", [&] {
      EXPECT_EQ(rename((folder / "staging").c_str(), (folder / "away").c_str()), 0);
      if (isLink) {
        folder.makeLink("staging", folder / "elsewhere");
      } else {
        EXPECT_EQ(rename((folder / "planted").c_str(), (folder / "staging").c_str()), 0);
      }
    });
    bool isDistrusted = false;
    EXPECT_FALSE(platform::copyTrustedFolder(folder / "staging", folder / "copy", &isDistrusted));
    EXPECT_FALSE(folder.has("copy"));
    for (const char* left : {"staging", "away"}) EXPECT_TRUE(platform::removeItem(folder / left));
  }
  expectUntouched();
}

// ----- Files in a shared folder -----

TEST_F(ExchangedEntryTest, OtherNameOfAFileCountsAlsoWhenItIsGoneByNow) {
  folder.makeFolder("shared", 0777);
  const auto plant = [&] {
    EXPECT_EQ(link((folder / "elsewhere/file").c_str(), (folder / "shared/planted").c_str()), 0);
    actAfterOpening("planted", [&] { EXPECT_EQ(unlink((folder / "shared/planted").c_str()), 0); });
  };
  bool isDistrusted = false;
  plant();
  EXPECT_FALSE(platform::readTrustedFile(folder / "shared/planted", &isDistrusted));
  EXPECT_TRUE(isDistrusted);
  plant();
  EXPECT_FALSE(platform::FileBelow(folder.path(), "shared/planted").isThere());
  plant();
  const int trace = platform::openTraceFile(folder / "shared/planted");
  EXPECT_NE(trace, -1);
  close(trace);
  expectUntouched();
}

TEST_F(ExchangedEntryTest, TraceFileIsNotMadeThroughALink) {
  for (const char* target : {"elsewhere/file", "elsewhere/new"}) {
    folder.makeFifo("shared/trace");
    actAfterUnlinking("trace", [&] { folder.makeLink("shared/trace", folder / target); });
    EXPECT_EQ(platform::openTraceFile(folder / "shared/trace"), -1);
    ASSERT_EQ(unlink((folder / "shared/trace").c_str()), 0);
  }
  expectUntouched();
}

}  // namespace

}  // namespace hotfix
