#include <sys/resource.h>

#include "Tests/EndToEnd/WatchedTest.h"

namespace hotfix {

namespace {

/// What would make the tool wait without end, or die half-way.
class AttacksWaitingTest : public WatchedTest {};

// ----- The limit of a file's size -----

TEST_F(AttacksWaitingTest, LimitOfAFilesSizeLeavesTheOldFiles) {
  const Snapshot before = takeSnapshot(files() / inside(bundle));
  Call call = uninstall();
  call.prepare = [] {
    const struct rlimit none = {0, 0};
    setrlimit(RLIMIT_FSIZE, &none);
  };
  const Outcome outcome = run(call);
  EXPECT_EQ(outcome.ending, "exit 1");
  EXPECT_EQ(differences(before, takeSnapshot(files() / inside(bundle))), Lines());
}

}  // namespace

}  // namespace hotfix
