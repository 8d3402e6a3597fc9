#include "Tests/EndToEnd/AttacksTest.h"

#include <grp.h>
#include <linux/fs.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <chrono>
#include <new>

namespace hotfix {

namespace {

constexpr std::chrono::seconds kInTime{20};  // a run takes a fraction of a second, under sanitizers too

bool isBelow(const std::string& path, const std::string& folder) {
  return path == folder || path.compare(0, folder.size() + 1, folder + "/") == 0;
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, Protections protections) {
  return stream << (protections == Protections::On ? "On" : "Off");
}

std::string nameOfProtections(const ::testing::TestParamInfo<Protections>& instance) {
  return ::testing::PrintToString(instance.param);
}

std::string nameWithoutProtections(const ::testing::TestParamInfo<NamedText>& instance) {
  return instance.param.name + "_Off";
}

// ----- Attacker -----

Attacker::Attacker(ThrowAwayRoot& root, uid_t user, const std::function<bool()>& step) {
  void* memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::bad_alloc();
  _shared = new (memory) Shared();
  _process = root.start([this, user, &step] {
    if (setgroups(0, nullptr) != 0 || setgid(user) != 0 || setuid(user) != 0) _exit(1);
    while (!_shared->isOver) {
      if (step()) ++_shared->rounds;
    }
    _exit(0);
  });
}

Attacker::~Attacker() {
  _shared->isOver = true;
  int status = 0;
  EXPECT_EQ(waitpid(_process, &status, 0), _process);
  EXPECT_EQ(status, 0) << "the attacker could not do anything";
  munmap(_shared, sizeof(Shared));
}

bool exchangeEntries(const std::string& left, const std::string& right) {
  return syscall(SYS_renameat2, AT_FDCWD, left.c_str(), AT_FDCWD, right.c_str(), RENAME_EXCHANGE) == 0;
}

// ----- The machine -----

void AttacksTest::SetUp() {
  notesCallsOnly = true;
  MachineTest::SetUp();
  if (IsSkipped()) return;
  if (!ThrowAwayRoot::hasAccounts()) GTEST_SKIP() << "a user namespace of one account";
  attackersPlace = data;
  files().makeFile(inside(kVictim), std::string(kSecret) + "\n", 0600);
  files().makeFile(inside(std::string(kVictimFolder) + "/file"), std::string(kSecret) + "\n", 0600);
  files().makeFile(inside(std::string(kVictimFolder) + "/sub/file"), std::string(kSecret) + "\n", 0640);
  files().makeFolder(inside(std::string(kVictimFolder) + "/sub"), 0750);
  // Reachable for everybody, so that nothing but the tool's own care keeps it from harm.
  files().makeFolder(inside("/root"), 0755);
  files().makeFolder(inside("/tmp"), isProtected() ? 01777 : 0777);
  for (const auto& [path, entry] : state()) {
    if (isBelow(path, data)) giveTo(ThrowAwayRoot::alice(), ThrowAwayRoot::alice(), path);
  }
}

Snapshot AttacksTest::outside() {
  Snapshot result = state();
  for (auto entry = result.begin(); entry != result.end();) {
    const std::string& path = entry->first;
    if (isBelow(path, bundle) || isBelow(path, attackersPlace) || isBelow(path, kTraceFile)) {
      entry = result.erase(entry);
      continue;
    }
    struct stat status = {};
    if (lstat((files() / inside(path)).c_str(), &status) == 0 && !S_ISDIR(status.st_mode)) {
      entry->second += ", names: " + std::to_string(status.st_nlink);
    }
    ++entry;
  }
  return result;
}

void AttacksTest::expectUnchanged(const Snapshot& before) { EXPECT_EQ(differences(before, outside()), Lines()); }

Outcome AttacksTest::attacked(const Call& call) {
  const auto begin = std::chrono::steady_clock::now();
  Outcome outcome = run(call);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, kInTime);
  return outcome;
}

Outcome AttacksTest::expectHeld(const Call& call) {
  const Snapshot before = outside();
  Outcome outcome = attacked(call);
  expectSucceeded(outcome, allChildren());
  expectUnchanged(before);
  return outcome;
}

void AttacksTest::hurry() {
  for (const std::string& path : {inHome("rcplauncher"), inHome("deploy/install.xml"), inside(kJavaHomeFinder)}) {
    EXPECT_EQ(unlink((files() / path).c_str()), 0) << path;
  }
}

void AttacksTest::runHurriedly() {
  // Not the attacker's to remove where the folder is sticky.
  unlink((files() / inside(kTraceFile)).c_str());
  const Outcome outcome = attacked(uninstall());
  expectFailed(outcome);
}

void AttacksTest::race(uid_t user, const std::function<bool()>& step) {
  hurry();
  const Snapshot before = outside();
  {
    // The data folder is left to the attacker from here on: through a link of his in the place of one of its folders we
    // would write outside the root.
    const Attacker attacker(root(), user, step);
    for (int times = 0; times < kRuns || (attacker.rounds() < kRounds && times < 10 * kRuns); ++times) runHurriedly();
    EXPECT_GE(attacker.rounds(), kRounds);
  }
  expectUnchanged(before);
}

// ----- What is planted -----

void AttacksTest::plantLink(uid_t user, const std::string& path, const std::string& target) {
  files().makeLink(inside(path), target);
  giveTo(user, user, path);
}

void AttacksTest::plantFile(uid_t user, const std::string& path, const std::string& text, mode_t mode) {
  files().makeFile(inside(path), text, mode);
  giveTo(user, user, path);
}

void AttacksTest::plantSecondName(const std::string& file, const std::string& path) {
  ASSERT_EQ(link((files() / inside(file)).c_str(), (files() / inside(path)).c_str()), 0) << std::strerror(errno);
}

bool AttacksTest::plantDevice(const std::string& path) {
  // What a mount refuses to open would prove nothing. This is the root's own, and of this test alone.
  const std::string folder = files() / inside("/tmp");
  if (::mount("", folder.c_str(), "", MS_BIND | MS_REMOUNT | MS_NOSUID, "") != 0) {
    ADD_FAILURE() << "remount: " << std::strerror(errno);
  }
  // "full", so that whatever is written to it fails.
  return mknod((files() / inside(path)).c_str(), S_IFCHR | 0666, makedev(1, 7)) == 0;
}

void AttacksTest::plantSocket(uid_t user, const std::string& path) {
  const int made = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  struct sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  const std::string place = files() / inside(path);
  ASSERT_LT(place.size(), sizeof address.sun_path);
  place.copy(address.sun_path, place.size());
  EXPECT_EQ(bind(made, reinterpret_cast<const struct sockaddr*>(&address), sizeof address), 0) << std::strerror(errno);
  close(made);
  giveTo(user, user, path);
}

bool AttacksTest::isSeen(const Outcome& outcome, const std::string& text) {
  bool result = outcome.output.find(text) != std::string::npos || outcome.errors.find(text) != std::string::npos;
  for (const std::string& line : outcome.trace) result = result || line.find(text) != std::string::npos;
  for (const CommandLine& line : outcome.commandLines()) {
    for (const std::string& argument : line) result = result || argument.find(text) != std::string::npos;
  }
  return result;
}

}  // namespace hotfix
