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

/// The entry at a path.
struct Entry {
  enum class Kind { File, Folder, Link };
  Kind kind = Kind::Folder;
  std::string text;  ///< the content of a file, or the target of a link
  mode_t mode = 0755;
  uid_t owner = 0;
  gid_t group = 0;
};

using Tree = std::map<std::string, Entry>;

/// A fault, as it is passed to the preloaded library.
struct Fault {
  std::string how;  ///< empty: no fault, the tool runs as usual
  long at = 0;
};

/// A call that the library noted.
struct NotedCall {
  long number = 0;
  std::string name;
  std::string what;
  bool needsRoom = false;
};

/// The results of a run of the tool.
struct Run {
  bool hasHung = false;
  int status = 0;  ///< as waitpid returns it
  std::string output;
  std::string errors;
  std::vector<std::string> children;  ///< name and arguments, in the order of their starts
  std::vector<NotedCall> calls;       ///< of a run with a fault
};

/// The machine on which the tool runs: the root of this process, which therefore must be a throw-away root.
///
/// It contains the ordinary instance, its data folder and the files that the tool reads in /Users and /tmp. It is
/// small, so that it is restored quickly and a run makes few calls. Still, a run makes every kind of call that the tool
/// can make.
namespace machine {

constexpr char kBundle[] = "/Applications/Product.app";
constexpr char kHome[] = "/Applications/Product.app/Contents/MacOS/rcp";
constexpr char kUserHome[] = "/Users/alice";
constexpr char kData[] = "/Users/alice/Client Data";
/// The folder in which the tool is started. It looks like a home folder, but is not the one of the instance. There is
/// also a folder at the path that the tool uses as home folder when none is given.
constexpr char kElsewhere[] = "/Applications/Elsewhere";
constexpr char kStaged[] = "/Applications/Staged";
constexpr char kOldStamp[] = "0101260000";
constexpr char kNow[] = "<now>";
/// A file that fills a file system. It is not part of the examined tree.
constexpr char kFiller[] = "filler";

/// Makes everything that all runs share: accounts, programs, and separate file systems for the entries that change. So
/// the process should be in a mount namespace of its own. \return the obstacle, or an empty text.
std::string setUp();

uid_t alice();  ///< root's ID, if the machine has only one account
gid_t admin();

/// The machine before the first run.
Tree original();
/// Changes the machine so that it contains exactly this tree.
void restore(const Tree& tree);
/// Makes one entry.
void make(const std::string& path, const Entry& entry);
/// The present tree, with the version stamps of all runs so far replaced by kNow, also in names.
Tree look();
/// Removes everything below a folder, and the folder itself unless it is a mount point.
void removeAll(const std::string& folder);

/// Runs the tool on the instance. \a whenStopped is called when the fault has stopped it.
Run run(const Fault& fault, const std::function<void()>& whenStopped = nullptr, const std::string& data = kData);

}  // namespace machine

}  // namespace hotfix

#endif
