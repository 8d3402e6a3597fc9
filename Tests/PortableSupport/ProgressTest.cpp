#include "Support/Progress.h"
#include "Tests/Support/Test.h"

namespace hotfix {

namespace {

/// Notes what is reported.
class Notes : public progress::Listener {
 public:
  void begin(const char* step) override { reported.push_back("begin " + std::string(step)); }
  void end(const StepResult& result) override {
    reported.push_back(result.kind == StepResult::Kind::Failed ? "failed" : "end " + result.detail);
  }
  void childStarted(const std::string& program, long process) override {
    reported.push_back(program + " " + std::to_string(process));
  }
  void childEnded() override { reported.emplace_back("child ended"); }
  void hotfixRemoved() override { reported.emplace_back("removed"); }
  void warn(const std::string& sentence) override { reported.push_back("warn " + sentence); }
  bool wantsTicks() const override { return true; }
  void tick() override { reported.emplace_back("tick"); }

  std::vector<std::string> reported;
};

class ProgressTest : public ::testing::Test {
 protected:
  ~ProgressTest() override { progress::setListener(nullptr); }

  Notes notes;
};

TEST_F(ProgressTest, NobodyListensAtFirst) {
  progress::Step step("one");
  progress::childStarted("program", 1);
  EXPECT_FALSE(progress::wantsTicks());
  progress::tick();
  progress::childEnded();
  step.end();
  EXPECT_THAT(notes.reported, IsEmpty());
}

TEST_F(ProgressTest, ListenerIsToldInOrder) {
  progress::setListener(&notes);
  EXPECT_TRUE(progress::wantsTicks());
  {
    progress::Step step("one");
    progress::childStarted("program", 7);
    progress::tick();
    progress::childEnded();
    step.end({StepResult::Kind::Done, "well"});
  }
  progress::hotfixRemoved();
  progress::warn("note");
  EXPECT_THAT(notes.reported,
              ElementsAre("begin one", "program 7", "tick", "child ended", "end well", "removed", "warn note"));
}

TEST_F(ProgressTest, StepWithoutAResultHasFailed) {
  progress::setListener(&notes);
  try {
    const progress::Step step("one");
    throw 1;
  } catch (int) {
  }
  EXPECT_THAT(notes.reported, ElementsAre("begin one", "failed"));
}

TEST_F(ProgressTest, ListenerThatWasReplacedIsToldNoMore) {
  Notes other;
  progress::setListener(&notes);
  progress::setListener(&other);
  progress::tick();
  progress::setListener(nullptr);
  progress::tick();
  EXPECT_THAT(notes.reported, IsEmpty());
  EXPECT_THAT(other.reported, ElementsAre("tick"));
}

}  // namespace

}  // namespace hotfix
