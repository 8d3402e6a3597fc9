#ifndef TESTS_FAULTS_MACHINE_H_
#define TESTS_FAULTS_MACHINE_H_

#include <sys/types.h>

#include <ctime>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace hotfix {

/// What lies at a path.
struct Entry {
  enum class Kind { File, Folder, Link };
  Kind kind = Kind::Folder;
  std::string text;  ///< of a file; where a link leads
  mode_t mode = 0755;
  uid_t owner = 0;
  gid_t group = 0;
};

using Tree = std::map<std::string, Entry>;

/// A fault, as the preloaded library is told of it.
struct Fault {
  std::string how;  ///< empty: none, the tool runs as it does for its user
  long at = 0;
};

/// A call that the library has noted.
struct NotedCall {
  long number = 0;
  std::string name;
  std::string what;
  bool needsRoom = false;
};

/// What came of a run of the tool.
struct Run {
  bool hasHung = false;
  int status = 0;  ///< as waitpid answers it
  std::string output;
  std::string errors;
  std::vector<std::string> children;  ///< name and arguments, in the order of their starts
  std::vector<NotedCall> calls;       ///< of a run with a fault
};

/// The machine on which the tool runs: this process's own root, which therefore must be a throw-away one.
///
/// An instance, its data folder and what the tool reads in /Users and /tmp. It is small, so that it is put back quickly
/// and a run makes few calls; but every kind of call that the tool makes is among them.
namespace machine {

constexpr char kBundle[] = "/Applications/Product.app";
constexpr char kHome[] = "/Applications/Product.app/Contents/MacOS/rcp";
constexpr char kUserHome[] = "/Users/alice";
constexpr char kData[] = "/Users/alice/Client Data";
/// Where the tool is started: a folder that looks like a home and is not the one that is meant. There is also a folder
/// at the place that the tool takes for a home when it knows none.
constexpr char kElsewhere[] = "/Applications/Elsewhere";
constexpr char kStaged[] = "/Applications/Staged";
constexpr char kOldStamp[] = "0101010000";
constexpr char kNow[] = "<now>";
/// Takes the room of a file system; no part of what is looked at.
constexpr char kFiller[] = "filler";

/// Puts in place what stays for all runs: accounts, programs, file systems of its own for what changes, so that the
/// process should be in a mount namespace of its own. \return what hinders it, or nothing.
std::string setUp();

uid_t alice();  ///< root's, where the machine knows only one account
gid_t admin();

/// The machine before the first run.
Tree original();
/// The records of the instance as the tool writes them.
std::string recordsText(const std::map<std::string, std::string>& records);

/// Makes the machine hold this and nothing else.
void restore(const Tree& tree);
/// Puts one entry in place.
void make(const std::string& path, const Entry& entry);
/// What it holds, with the version stamps of all runs until now written as kNow, in names too.
Tree look();
/// Removes what is below a folder, and it too unless something is mounted there.
void removeAll(const std::string& folder);

/// Runs the tool on the instance. \a whenStopped is called when the fault has stopped it.
Run run(const Fault& fault, const std::function<void()>& whenStopped = nullptr, const std::string& data = kData);

}  // namespace machine

}  // namespace hotfix

#endif
