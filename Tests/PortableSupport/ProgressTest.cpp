#include <gmock/gmock.h>

#include "Support/Progress.h"

namespace hotfix {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Notes what it is told.
class Notes : public progress::Listener {
 public:
  void begin(const char* step) override { told.push_back("begin " + std::string(step)); }
  void end() override { told.emplace_back("end"); }
  void goOn() override { told.emplace_back("go on"); }
  void warn(const std::string& sentence) override { told.push_back("warn " + sentence); }
  void fail(const std::string& reason) override { told.push_back("fail " + reason); }

  std::vector<std::string> told;
};

class ProgressTest : public ::testing::Test {
 protected:
  ~ProgressTest() override { progress::setListener(nullptr); }

  Notes notes;
};

TEST_F(ProgressTest, NobodyListensAtFirst) {
  EXPECT_FALSE(progress::isHeard());
  const progress::Step step("one");
  progress::fail("no effect");
  progress::goOn();
  EXPECT_THAT(notes.told, IsEmpty());
}

TEST_F(ProgressTest, ListenerIsToldInOrder) {
  progress::setListener(&notes);
  EXPECT_TRUE(progress::isHeard());
  {
    const progress::Step step("one");
    progress::fail("first");
    progress::goOn();
    progress::fail("second");
    progress::warn("third");
  }
  progress::fail("between");
  { const progress::Step step("two"); }
  EXPECT_THAT(notes.told, ElementsAre("begin one", "fail first", "go on", "fail second", "warn third", "end",
                                      "fail between", "begin two", "end"));
}

TEST_F(ProgressTest, StepEndsWhenItIsLeftByAnException) {
  progress::setListener(&notes);
  try {
    const progress::Step step("one");
    throw 1;
  } catch (int) {
  }
  EXPECT_THAT(notes.told, ElementsAre("begin one", "end"));
}

TEST_F(ProgressTest, ListenerThatWasReplacedIsToldNoMore) {
  Notes other;
  progress::setListener(&notes);
  progress::setListener(&other);
  progress::fail("reason");
  progress::setListener(nullptr);
  progress::fail("another");
  EXPECT_FALSE(progress::isHeard());
  EXPECT_THAT(notes.told, IsEmpty());
  EXPECT_THAT(other.told, ElementsAre("fail reason"));
}

}  // namespace

}  // namespace hotfix
