#ifndef TESTS_END_TO_END_ATTACKS_TEST_H_
#define TESTS_END_TO_END_ATTACKS_TEST_H_

#include <atomic>
#include <functional>
#include <string>

#include "Tests/EndToEnd/MachineTest.h"

namespace hotfix {

/// Whether the kernel's protections of links, FIFOs and files in sticky folders can apply to /tmp. They are settings of
/// the whole machine and stay as they are: "off" is a /tmp without the sticky bit, where none of them counts, and
/// where everybody can also remove and exchange what is others'.
enum class Protections { On, Off };

/// "On", and "NameOfTheText_Off".
std::string nameOfProtections(const ::testing::TestParamInfo<Protections>& instance);
std::string nameWithoutProtections(const ::testing::TestParamInfo<NamedText>& instance);
std::ostream& operator<<(std::ostream& stream, Protections protections);

/// A process of another account that repeats one step for as long as the object lives.
class Attacker {
 public:
  /// \param step answers whether it could be done. Its paths are those of the root.
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

/// Puts each of two entries in the other's place in one step. \return whether that was allowed.
bool exchangeEntries(const std::string& left, const std::string& right);

/// Somebody who prepares the machine, or works on it while the tool runs as root, to get at what is root's.
///
/// Nothing of the instance is anybody's but root's and alice's. The attacker is bob, in the data folder alice.
class AttacksTest : public MachineTest {
 protected:
  void SetUp() override;
  virtual Protections protections() const = 0;
  bool isProtected() const { return protections() == Protections::On; }

  /// A file of root's and a folder of root's with one file, which nobody else may read.
  static constexpr char kVictim[] = "/root/victim";
  static constexpr char kVictimFolder[] = "/root/folder";
  static constexpr char kSecret[] = "precious";
  /// What executed texts make.
  static constexpr char kOwned[] = "/tmp/owned";

  /// A race is not left before this many rounds of the attacker's and runs of the tool.
  static constexpr unsigned kRounds = 4000;
  static constexpr int kRuns = 30;

  /// Everything outside the instance, the attacker's place and the trace file, with the number of names of each file.
  Snapshot outside();

  /// Runs the tool, which must end in time.
  Outcome attacked(const Call& call);
  /// Runs it and expects a successful run, with nothing outside changed.
  Outcome expectHeld(const Call& call);
  Outcome expectHeld() { return expectHeld(uninstall()); }
  void expectUnchanged(const Snapshot& before);

  /// Runs the tool again and again while the attacker is at work, then expects nothing outside to have changed.
  ///
  /// \param[out] rounds the attacker's.
  void race(uid_t user, const std::function<bool()>& step, unsigned* rounds);

  /// From now on the tool starts no children, so that little time passes outside what is attacked: it refuses an
  /// instance without an install manifest, and repairs the data folder all the same.
  void hurry();
  void runHurriedly();

  /// Makes a link, a file, a second name of a file (as if its maker was the attacker) in the name of an account.
  void plantLink(uid_t user, const std::string& path, const std::string& target);
  void plantFile(uid_t user, const std::string& path, const std::string& text, mode_t mode = 0644);
  void plantSecondName(const std::string& file, const std::string& path);
  /// False, with the test marked as skipped, where devices cannot be made.
  bool plantDevice(const std::string& path);
  void plantSocket(uid_t user, const std::string& path);

  /// Whether a text reached a child, the trace or the output.
  bool isSeen(const Outcome& outcome, const std::string& text);

  /// The folder that is the attacker's own, with the data folder in it.
  std::string attackersPlace;
};

class AttacksForEachProtection : public AttacksTest, public ::testing::WithParamInterface<Protections> {
 protected:
  Protections protections() const override { return GetParam(); }
};

/// Attacks that do not turn on links or sticky bits in /tmp: the kernel does nothing about them either way.
class AttacksForEachText : public AttacksTest, public ForEachText {
 protected:
  Protections protections() const override { return Protections::Off; }
  const std::string& text() const { return GetParam().text; }
};

}  // namespace hotfix

#endif
