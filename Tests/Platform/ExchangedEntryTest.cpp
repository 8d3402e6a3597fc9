// What others do between two steps of an operation, without luck: system calls of this program are stood in for, so
// that a test can act when one of them has been made. See the races of the other tests for what is not foreseen.

#include <dlfcn.h>

#include <cstdarg>

#include "Platform/FileManager.h"
#include "Platform/Ownership.h"
#include "Platform/SystemLog.h"
#include "Platform/posix/FolderWalk.h"
#include "Tests/Platform/PlatformTest.h"

namespace hotfix {

namespace {

struct Action {
  std::string name;
  std::function<void()> action;

  /// Takes the action at the next call with this name, the last component of a path.
  void at(const std::string& component, std::function<void()> once) {
    name = component;
    action = std::move(once);
  }

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
class ExchangedEntryTest : public PlatformTest {
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
      move(entry, "away");
      folder.makeLink(entry, folder / target);
    };
  }

  /// Copies a folder of two entries. Opening the first gives the time to exchange the second for a link.
  void expectNotCopiedFrom(const std::string& target) {
    const std::vector<std::string> names = *platform::namesInFolder(folder / "source");
    afterOpening.at(names[0], exchangeForALink("source/" + names[1], target));
    EXPECT_FALSE(platform::copyItem(folder / "source", folder / "copy"));
    EXPECT_FALSE(folder.has("copy/" + names[1]));
    expectUntouched();
  }

  void expectUntouched() {
    EXPECT_FALSE(afterLooking.action || afterOpening.action || afterUnlinking.action) << "nothing was exchanged";
    EXPECT_THAT(folder.names("elsewhere"), ::testing::ElementsAre("file"));
    EXPECT_EQ(folder.mode("elsewhere"), 0700U);
    EXPECT_EQ(folder.mode("elsewhere/file"), 0600U);
    EXPECT_EQ(folder.read("elsewhere/file"), "precious");
  }
};

// ----- Repairs -----

TEST_F(ExchangedEntryTest, FolderThatIsListedIsNotEnteredThroughALink) {
  folder.makeFile("tree/file", "", 0600);
  folder.makeFile("tree/sub/file", "", 0600);
  // The files of a folder come before its folders.
  afterLooking.at("file", exchangeForALink("tree/sub", "elsewhere"));
  EXPECT_FALSE(platform::setAttributesBelow(folder / "tree", modeOnly(0775)));
  expectUntouched();
}

TEST_F(ExchangedEntryTest, FileThatIsLookedAtIsNotChangedThroughALink) {
  folder.makeFile("tree/file", "", 0644);
  folder.makeFolder("tree", 0777);
  afterLooking.at("file", exchangeForALink("tree/file", "elsewhere/file"));
  (void)platform::setAttributesBelow(folder / "tree", modeOnly(0775));
  expectUntouched();
}

TEST_F(ExchangedEntryTest, FileThatIsLookedAtIsNotChangedForAnother) {
  folder.makeFile("tree/file", "", 0644);
  folder.makeFolder("tree", 0777);
  afterLooking.at("file", [&] {
    unlinkFile("tree/file");
    linkTo("elsewhere/file", "tree/file");
  });
  EXPECT_FALSE(platform::setAttributesBelow(folder / "tree", modeOnly(0775)));
  expectUntouched();
}

TEST_F(ExchangedEntryTest, FolderThatIsJudgedIsTheOneThatIsRepaired) {
  folder.makeFile("tree/file", "", 0600);
  afterLooking.at(".", exchangeForALink("tree", "elsewhere"));
  EXPECT_TRUE(platform::setAttributesBelow(folder / "tree", modeOnly(0775)));
  EXPECT_EQ(folder.mode("away/file"), 0775U);
  expectUntouched();
}

TEST_F(ExchangedEntryTest, FolderThatIsMovedAwayDoesNotLeadTheWalkElsewhere) {
  // Too deep for all levels to stay open: those above the innermost ones are found again as its "..".
  std::string middle = "tree";
  for (int level = 0; level < 40; ++level) middle += "/d";
  folder.makeFile(middle + "/d/d/innermost", "", 0600);
  folder.makeFolder("elsewhere/refuge", 0700);
  afterLooking.at("innermost", [&] { move(middle + "/d", "elsewhere/refuge/d"); });
  EXPECT_FALSE(platform::setAttributesBelow(folder / "tree", modeOnly(0775)));
  EXPECT_EQ(folder.mode("elsewhere/refuge"), 0700U);
  ASSERT_TRUE(platform::removeItem(folder / "elsewhere/refuge"));
  expectUntouched();
}

// ----- Removals -----

TEST_F(ExchangedEntryTest, FolderToBeRemovedIsNotEmptiedThroughALink) {
  folder.makeFile("tree/sub/inner", "");
  afterUnlinking.at("tree", exchangeForALink("tree", "elsewhere"));
  EXPECT_FALSE(platform::removeItem(folder / "tree"));
  expectUntouched();
}

// ----- Files that are read -----

TEST_F(ExchangedEntryTest, FileThatIsLookedAtIsNotWaitedForAsAFifo) {
  for (const bool isBelow : {true, false}) {
    folder.makeFile("tree/read", "text", 0600);
    afterLooking.at("read", [&] {
      unlinkFile("tree/read");
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
    unlinkFile("tree/read");
    expectUntouched();
  }
}

// ----- Copies -----

TEST_F(ExchangedEntryTest, FileThatIsListedIsNotCopiedThroughALink) {
  folder.makeFile("source/one", "1");
  folder.makeFile("source/two", "2");
  expectNotCopiedFrom("elsewhere/file");
}

TEST_F(ExchangedEntryTest, FolderThatIsListedIsNotCopiedThroughALink) {
  folder.makeFolder("source/one");
  folder.makeFolder("source/two");
  expectNotCopiedFrom("elsewhere");
}

TEST_F(ExchangedEntryTest, FolderThatIsMadeIsNotFilledThroughALink) {
  folder.makeFile("source/sub/file", "new");
  afterOpening.at("sub", [&] { folder.makeLink("copy/sub", folder / "elsewhere"); });
  platform::setCopyPolicy([](const platform::FileError&, const std::string&, const std::string&) { return true; });
  folder.makeFolder("copy");
  (void)platform::copyItem(folder / "source", folder / "copy");
  platform::setCopyPolicy(nullptr);
  expectUntouched();
}

TEST_F(ExchangedEntryTest, TrustedFolderIsTheOneThatIsCopied) {
  if (!isRoot()) GTEST_SKIP() << "needs a folder of another owner";
  folder.makeFile("planted/file");
  own("planted", 54321, 54321);
  for (const bool isLink : {false, true}) {
    folder.makeFile("staging/file");
    afterLooking.at("staging", [&] {
      move("staging", "away");
      if (isLink) {
        folder.makeLink("staging", folder / "elsewhere");
      } else {
        move("planted", "staging");
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
    linkTo("elsewhere/file", "shared/planted");
    afterOpening.at("planted", [&] { unlinkFile("shared/planted"); });
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
    afterUnlinking.at("trace", [&] { folder.makeLink("shared/trace", folder / target); });
    EXPECT_EQ(platform::openTraceFile(folder / "shared/trace"), -1);
    unlinkFile("shared/trace");
  }
  expectUntouched();
}

}  // namespace

}  // namespace hotfix
