#ifndef TESTS_END_TO_END_WATCHED_TEST_H_
#define TESTS_END_TO_END_WATCHED_TEST_H_

#include <functional>
#include <map>
#include <string>
#include <thread>

#include "Tests/EndToEnd/MachineTest.h"

namespace hotfix {

/// A pseudo-terminal, and all that reaches it, byte by byte.
class Terminal {
 public:
  explicit Terminal(unsigned short columns = 80);
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;
  ~Terminal();

  /// The end that a program gets.
  int descriptor() const { return _program; }

  /// Begins to read. Once it has read \a text it calls \a act, if there is one.
  void begin(
      const std::string& text = "", const std::function<void()>& act = [] {});

  /// Takes the terminal away from the program. For \a act.
  void hangUp();

  /// What came, when nobody has it open any more.
  const std::string& text();

 private:
  int _program;
  int _person;
  std::thread _reader;
  std::string _text;
};

/// A machine where a person watches the tool at a terminal.
class WatchedTest : public MachineTest {
 protected:
  /// The tool with a terminal as standard error: `uninstall()` with TERM=xterm, or another call.
  Call watched(const Terminal& terminal) { return watched(terminal, uninstall()); }
  static Call watched(const Terminal& terminal, Call call);
  /// Runs `uninstall()` at a terminal of its own. \param[out] text what came there.
  Outcome watch(std::string& text) { return watch(text, uninstall()); }
  Outcome watch(std::string& text, Call call);

  /// The lines that a person is left with: each as it was written last, without colours and seconds.
  static Lines screen(const std::string& text);

  // ----- Ways to each failure, in the order of their rows in docs/troubleshooting.md -----

  struct Way {
    std::string name;
    std::function<Call(WatchedTest&)> prepare;
    /// What capitals in the document stand for, beside HOME, after the run.
    std::map<std::string, std::string> values;
    bool needsAccounts = false;
  };
  static const std::vector<Way>& ways();
  /// Prepares one. \param[out] values all that capitals stand for.
  Call prepare(const Way& way, std::map<std::string, std::string>& values);

  /// `uninstall()` by an ordinary user.
  Call byBob();
  void removeFile(const std::string& pathInHome);
  /// A process's id as those in the root see it.
  static std::string idInside(pid_t process);

  std::string runningProcess;  ///< its id, of the way with a process
};

}  // namespace hotfix

#endif
