#include <sys/socket.h>

#include "Tests/EndToEnd/MachineTest.h"

namespace hotfix {

namespace {

class SystemLogTest : public MachineTest {
 protected:
  /// The messages as the trace has them. The facility must be that of user programs.
  Lines asInTrace() {
    static const std::map<std::string, std::string> levels = {
        {"<11>", "<Error>: "}, {"<12>", "<Warning>: "}, {"<13>", "<Notice>: "}, {"<14>", "<Info>: "}};
    Lines result;
    for (const std::string& message : systemLog) {
      // Priority, time ("Nov  3 09:05:07 "), sender with or without process id, text.
      const auto level = levels.find(message.substr(0, 4));
      const size_t sender = 4 + 16, text = message.find(": ", sender);
      const bool fits = level != levels.end() && message.compare(sender, 15, "hotfixUninstall") == 0;
      result.push_back(fits ? level->second + message.substr(text + 2) : "? " + message);
    }
    return result;
  }
};

TEST_F(SystemLogTest, HoldsTheSameMessagesAsTheTrace) {
  ASSERT_NO_FATAL_FAILURE(listenToSystemLog());
  const Snapshot before = state();
  const Outcome outcome = run(uninstall());
  EXPECT_EQ(asInTrace(), allTrace());
  expectSuccess(outcome, before);
}

TEST_F(SystemLogTest, HoldsTheMessagesAlsoWhereItIsAStream) {
  const int reader = makeSystemLog(SOCK_STREAM | SOCK_NONBLOCK);
  ASSERT_EQ(listen(reader, 100), 0);
  const Outcome outcome = run(uninstall());
  for (int connection; (connection = accept(reader, nullptr, nullptr)) >= 0; close(connection)) {
    char text[8192];
    const ssize_t size = recv(connection, text, sizeof text, 0);
    ASSERT_GT(size, 0);
    EXPECT_EQ(text[size - 1], '\0');
    systemLog.emplace_back(text, static_cast<size_t>(size) - 1);
  }
  close(reader);
  EXPECT_EQ(asInTrace(), outcome.trace);
  EXPECT_EQ(outcome.trace, allTrace());
}

TEST_F(SystemLogTest, TakesNoPartInClosedDescriptors) {
  // The connection must not become a standard descriptor of the children, nor standard output the connection.
  ASSERT_NO_FATAL_FAILURE(listenToSystemLog());
  Call call = uninstall();
  call.prepare = [] {
    for (int descriptor = 0; descriptor < 3; ++descriptor) close(descriptor);
  };
  const Outcome outcome = run(call);
  EXPECT_EQ(outcome.ending, "exit 0");
  EXPECT_EQ(asInTrace(), allTrace());
}

}  // namespace

}  // namespace hotfix
