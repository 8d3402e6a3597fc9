#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include "Tests/EndToEnd/WatchedTest.h"

namespace hotfix {

namespace {

/// What would make the tool wait without end, or die half-way.
class AttacksWaitingTest : public WatchedTest {};

// ----- The system log -----

TEST_F(AttacksWaitingTest, StoppedReaderOfTheSystemLogStopsNothing) {
  const int reader = makeSystemLog(SOCK_DGRAM), flooder = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  const struct sockaddr_un address = systemLogAddress();
  ASSERT_EQ(connect(flooder, reinterpret_cast<const struct sockaddr*>(&address), sizeof address), 0);
  while (send(flooder, "x", 1, 0) == 1) continue;
  EXPECT_EQ(errno, EAGAIN);
  const Snapshot before = state();
  expectSuccess(run(uninstall()), before);
  for (const int end : {reader, flooder}) close(end);
}

// ----- Children at the terminal -----

TEST_F(AttacksWaitingTest, LauncherAndItsChildrenAreNotStoppedByTheTerminal) {
  // Each after a child that ended: some shells have unblocked their signals by then.
  setLauncher(
      "read x; echo $? >> /tmp/seen\n/bin/true; read x < /dev/tty; echo $? >> /tmp/seen\n"
      "sh -c 'read x'; echo $? >> /tmp/seen\nsh -c 'stty -echo; echo $?' >> /tmp/seen\n"
      "echo rc=0 > \"$result\"");
  Terminal terminal;
  terminal.begin();
  Call call = uninstall();
  call.prepare = [&terminal] {
    dup2(terminal.descriptor(), STDIN_FILENO);
    ioctl(STDIN_FILENO, TIOCSCTTY, 0);
  };
  const Outcome outcome = run(call);
  EXPECT_EQ(outcome.ending, "exit 0");
  EXPECT_EQ(outcome.commandLines(), allChildren());
  const Lines each = {"1", "1", "1", "0"};
  EXPECT_EQ(files().lines(inside("/tmp/seen")), joined({each, each, each, each}));
}

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
