#ifndef TESTS_END_TO_END_ATTACKS_TEST_H_
#define TESTS_END_TO_END_ATTACKS_TEST_H_

#include <atomic>
#include <functional>
#include <string>

#include "Tests/EndToEnd/MachineTest.h"

namespace hotfix {

/// Whether the kernel's protections of links, FIFOs and files in sticky folders can apply to /tmp. They are settings of
/// the whole machine, which the tests do not change. "Off" means a /tmp without the sticky bit: none of the protections
/// applies there, and everybody can also remove and exchange the entries of others.
enum class Protections { On, Off };

/// "On", and "NameOfTheText_Off".
std::string nameOfProtections(const ::testing::TestParamInfo<Protections>& instance);
std::string nameWithoutProtections(const ::testing::TestParamInfo<NamedText>& instance);
std::ostream& operator<<(std::ostream& stream, Protections protections);

/// A process of another account that repeats one step during the lifetime of the object.
class Attacker {
 public:
  /// \param step returns whether it succeeded. Its paths are those in the root.
  Attacker(ThrowAwayRoot& root, uid_t user, const std::function<bool()>& step);
  Attacker(const Attacker&) = delete;
  Attacker& operator=(const Attacker&) = delete;
  ~Attacker();

  /// How often the step was done.
  unsigned rounds() const { return _shared->rounds; }

 private:
  struct Shared {
    std::atomic<unsigned> rounds;
    std::atomic<bool> isOver;
  };

  Shared* _shared;
  pid_t _process;
};

/// Exchanges two entries atomically. \return whether that was allowed.
bool exchangeEntries(const std::string& left, const std::string& right);

/// An attacker prepares the machine, or changes it while the tool runs as root, in order to reach root's files.
///
/// Everything in the instance belongs to root or alice. The attacker is bob; in the data folder it is alice.
class AttacksTest : public MachineTest {
 protected:
  void SetUp() override;
  virtual Protections protections() const = 0;
  bool isProtected() const { return protections() == Protections::On; }

  /// A file of root, and a folder of root with one file, which nobody else may read.
  static constexpr char kVictim[] = "/root/victim";
  static constexpr char kVictimFolder[] = "/root/folder";
  static constexpr char kSecret[] = "precious";
  /// The file that a text makes if it is executed.
  static constexpr char kOwned[] = "/tmp/owned";

  /// A race lasts for at least this many rounds of the attacker and runs of the tool.
  static constexpr unsigned kRounds = 4000;
  static constexpr int kRuns = 30;

  /// All entries outside the instance, the attacker's folder and the trace file, with the number of names of each file.
  Snapshot outside();

  /// Runs the tool, which must end before the time limit.
  Outcome attacked(const Call& call);
  /// Runs it and expects a successful run, with nothing outside changed.
  Outcome expectHeld(const Call& call);
  Outcome expectHeld() { return expectHeld(uninstall()); }
  void expectUnchanged(const Snapshot& before);

  /// Runs the tool repeatedly while the attacker works, then expects that nothing outside has changed.
  void race(uid_t user, const std::function<bool()>& step);

  /// Removes the install manifest, so that the tool refuses the instance and starts no children, but still repairs the
  /// data folder. So the tool spends most of its time in the attacked part.
  void hurry();
  void runHurriedly();

  /// Makes a link, a file or a socket as an account, or a second name of a file as if the attacker had made it.
  void plantLink(uid_t user, const std::string& path, const std::string& target);
  void plantFile(uid_t user, const std::string& path, const std::string& text, mode_t mode = 0644);
  void plantSecondName(const std::string& file, const std::string& path);
  /// Returns false, and marks the test as skipped, if devices cannot be made.
  bool plantDevice(const std::string& path);
  void plantSocket(uid_t user, const std::string& path);

  /// Whether a child, the trace or the output contains a text.
  bool isSeen(const Outcome& outcome, const std::string& text);

  /// The attacker's own folder, which contains the data folder.
  std::string attackersPlace;
};

class AttacksForEachProtection : public AttacksTest, public ::testing::WithParamInterface<Protections> {
 protected:
  Protections protections() const override { return GetParam(); }
};

/// Attacks that do not depend on links or sticky bits in /tmp, so that the kernel's protections have no effect on them.
class AttacksForEachText : public AttacksTest, public ForEachText {
 protected:
  Protections protections() const override { return Protections::Off; }
  const std::string& text() const { return GetParam().text; }
};

}  // namespace hotfix

#endif
