#ifndef TESTS_END_TO_END_WATCHED_TEST_H_
#define TESTS_END_TO_END_WATCHED_TEST_H_

#include <functional>
#include <map>
#include <string>
#include <thread>

#include "Tests/EndToEnd/MachineTest.h"

namespace hotfix {

/// A pseudo-terminal, and everything that is written to it, byte by byte.
class Terminal {
 public:
  explicit Terminal(unsigned short columns = 80);
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;
  ~Terminal();

  /// The program's end.
  int descriptor() const { return _program; }

  /// Starts reading. Calls \a act, if any, once it has read \a text.
  void begin(
      const std::string& text = "", const std::function<void()>& act = [] {});

  /// Closes the terminal while the program uses it. For \a act.
  void hangUp();

  /// Waits until no process has the terminal open, and returns everything that was written to it.
  const std::string& text();

 private:
  int _program;
  int _person;
  std::thread _reader;
  std::string _text;
};

/// A machine on which the tool runs at a terminal.
class WatchedTest : public MachineTest {
 protected:
  /// A call of the tool with a terminal as standard error: `uninstall()` with TERM=xterm, or another call.
  Call watched(const Terminal& terminal) { return watched(terminal, uninstall()); }
  static Call watched(const Terminal& terminal, Call call);
  /// Runs `uninstall()` at a terminal of its own. \param[out] text everything that was written there.
  Outcome watch(std::string& text) { return watch(text, uninstall()); }
  Outcome watch(std::string& text, Call call);

  /// The lines that remain on the terminal: each in its last version, without colours and seconds.
  static Lines screen(const std::string& text);

  // ----- Ways to each failure, in the order of their rows in docs/troubleshooting.md -----

  struct Way {
    std::string name;
    std::function<void(WatchedTest&)> change;  ///< of the machine, before the uninstall
    /// The values of the words in capitals in the document, in addition to HOME, after the run.
    std::map<std::string, std::string> values = {};
    bool isByBob = false;  ///< an ordinary user runs the tool, so it needs several accounts
  };
  static const std::vector<Way>& ways();
  /// Prepares a way to a failure. \param[out] values the values of all words in capitals.
  Call prepare(const Way& way, std::map<std::string, std::string>& values);

  void removeFile(const std::string& pathInHome);
  /// Starts a program of the bundle as alice.
  void runPlatform();
  /// The ID of a process inside the root.
  static std::string idInside(pid_t process);

  std::string runningProcess;  ///< the process ID, for the way with a running process
};

}  // namespace hotfix

#endif
