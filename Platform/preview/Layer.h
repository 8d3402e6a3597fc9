#ifndef PLATFORM_PREVIEW_LAYER_H_
#define PLATFORM_PREVIEW_LAYER_H_

#include <sys/stat.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Platform/posix/WantedAttributes.h"
#include "Support/OptionalString.h"

namespace hotfix::platform::preview {

struct CopiedTree;

/// A file, folder or link as a run of the tool would find it now.
struct Entry {
  struct stat status = {};  ///< with all that was done to it; of one that only the layer has, a number of the layer's
  std::string path;         ///< absolute, without links
  std::string machinePath;  ///< where the machine has its content; empty when it has none
  std::shared_ptr<const std::string> content;  ///< of a file that was written, or the text of a new link

  // Of a folder in a tree that was copied: beside what it has itself, it has copies of what a folder of the machine
  // has.
  std::shared_ptr<const CopiedTree> tree;
  std::string copySource;        ///< that folder
  struct stat whileCopied = {};  ///< its own attributes then, of which new entries get their group

  bool isFolder() const { return S_ISDIR(status.st_mode); }
  bool isFile() const { return S_ISREG(status.st_mode); }
  bool isLink() const { return S_ISLNK(status.st_mode); }
};

/// Which entry of the machine, whatever its name.
using Id = std::pair<dev_t, ino_t>;

/// The copy of a whole tree of the machine. What it made is looked up in the source, so that a large tree takes no
/// memory.
struct CopiedTree {
  ino_t number;      ///< the layer's
  Id target;         ///< the folder that it was copied into, which is not copied into itself
  std::string stop;  ///< the entry of the source with which the copy ended; empty when it came to its end
};

/// Where a path leads to.
struct Place {
  std::optional<Entry> folder;  ///< that holds the name; none when there is no such folder
  std::string name;             ///< in that folder, and no link when links are followed
  std::optional<Entry> entry;   ///< what has the name; none when it is free
};

/// What became of a name: what the machine has under it, and what it would be.
struct Difference {
  std::string path;
  std::optional<Entry> before;
  std::optional<Entry> after;
};

/// The machine's files, and on top of them, in memory, what a run of the tool would have done to them. Nothing on the
/// machine is changed.
///
/// Operations answer 0 or the number of the error that the system would give. They know of permissions, read-only
/// volumes and sticky folders, not of access control lists, quotas and free space.
class Layer {
 public:
  Layer();

  /// Whether nothing was done yet: the machine itself tells all then, with fewer questions.
  bool isUntouched() const { return _folders.empty() && _repairs.empty(); }

  // ----- Reading -----

  enum class Links { Followed, Kept };

  /// Finds what is at a path; \a links says what a link as the last component is. \a place is filled as far as it is
  /// known, also when the answer is ENOENT.
  int find(const std::string& path, Links links, Place* place) const;

  /// Finds a name in a folder; a link is found itself.
  int find(const Entry& folder, const std::string& name, Entry* found) const;

  /// The names in a folder, those that the machine has in its order.
  std::optional<std::vector<std::string>> names(const Entry& folder) const;

  /// The same one by one, until \a visit answers false. \return false when the folder cannot be read.
  using NameVisitor = std::function<bool(const std::string& name)>;
  bool visitNames(const Entry& folder, const NameVisitor& visit) const;

  /// The bytes of a regular file; none when it cannot be read or is larger than \a limit.
  OptionalString contents(const Entry& file, std::uint64_t limit) const;

  /// The first bytes of a regular file; fewer when it cannot be read.
  std::string beginning(const Entry& file, size_t size) const;

  /// The text of a link.
  OptionalString linkText(const Entry& link) const;

  /// The error of opening a file or folder for reading.
  int readError(const Entry& entry) const;

  /// The error of opening a file for writing.
  int openError(const Entry& file) const;

  /// The error of adding a name to a folder.
  int writeError(const Entry& folder) const;

  /// The error of taking a name from its folder.
  int removeError(const Entry& folder, const Entry& entry) const;

  /// Whether we could change a file's mode.
  static bool mayChangeMode(const struct stat& file);

  /// Whether we could give a file this owner and group.
  bool mayGive(const struct stat& file, uid_t owner, gid_t group) const;

  /// Whether two entries have the same owner, group and mode.
  static bool haveSameAttributes(const struct stat& one, const struct stat& other);

  // ----- Changing -----

  /// The attributes of a new entry of a folder; \a mode is taken less the umask.
  struct stat newStatus(const Entry& folder, mode_t mode);

  /// Puts an entry into a folder, in place of what has the name. Its paths need not be set.
  void put(const Entry& folder, const std::string& name, Entry entry);

  /// Takes a name from a folder, with all below it.
  void remove(const Entry& folder, const std::string& name);

  /// What becomes of \a source when it is copied to a free name in \a folder; of a folder without its content. \a copy
  /// gets no path and no number. \return 0 or the number of the error.
  int copyOf(const Entry& source, const Entry& folder, Entry* copy) const;

  /// Gives a copy the attributes of its source, as far as permitted.
  void copyAttributes(const struct stat& source, Entry* copy) const;

  /// What is said of a copy once it has ended.
  std::shared_ptr<const CopiedTree> newTree(const Id& target, const std::string& stop);

  /// Whether nothing at or below a path was changed, by a repair neither.
  bool isUntouched(const std::string& path) const;

  /// Remembers what trees that were copied have at, below or around a folder entry by entry, as a rule for all below
  /// it comes to hold.
  void unfoldCopies(const std::string& folder);

  using Id = preview::Id;
  static Id id(const struct stat& status) { return {status.st_dev, status.st_ino}; }

  /// A change of everything below a folder: a rule, so that it takes no memory for what it treats.
  struct Repair {
    std::string folder;
    WantedAttributes attributes;
    /// What it could not treat, but for what can be seen again: missing rights, and a volume that is read-only.
    std::vector<Id> failed;
  };

  /// Remembers a repair. It holds for what is below the folder now, not for what comes to be there.
  void addRepair(Repair repair);

  /// Gives the attributes of an entry of the machine in \a folder those that the repairs have given it.
  void applyRepairs(const std::string& folder, struct stat* status) const { applyRepairsFrom(0, folder, status); }

  /// Whether names of a folder were changed here, and the names that were.
  bool hasChangesIn(const struct stat& folder) const { return _folders.count(id(folder)) != 0; }
  std::vector<std::string> changedNames(const struct stat& folder) const;

  bool hasRepairs() const { return !_repairs.empty(); }

  // ----- All that was done -----

  /// Visits all names of which something became. Entries that repairs alone have changed are left out.
  using DifferenceVisitor = std::function<void(Difference difference)>;
  void visitDifferences(const DifferenceVisitor& visit) const;

  /// The paths that are gone, without what was below them.
  std::set<std::string> removedPaths() const;

  /// How many names are remembered, each of which takes memory.
  size_t size() const;

 private:
  struct Node {
    std::shared_ptr<const Entry> entry;  // null: the name is gone
    size_t repairs = 0;                  // how many were done before it came to be
  };
  struct Folder {
    Entry folder;
    std::map<std::string, Node> names;
  };

  const Node* nodeOf(const Entry& folder, const std::string& name) const;
  struct stat statusOfNew(const Entry& folder, mode_t mode) const;
  int findOnMachine(const Entry& folder, const std::string& name, Entry* found) const;
  int findCopied(const Entry& folder, const std::string& name, Entry* found) const;
  void applyRepairsFrom(size_t first, const std::string& folder, struct stat* status) const;
  bool isReadOnly(const std::string& folder) const;

  using CopyVisitor = std::function<void(const Entry& folder, const std::string& name, const Entry& entry)>;
  void visitCopies(const Entry& folder, const CopyVisitor& visit) const;

  std::map<Id, Folder> _folders;
  std::vector<Repair> _repairs;
  /// A device number of our own for each device that the source of a copied tree lies on.
  mutable std::map<std::pair<ino_t, dev_t>, dev_t> _devices;
  mutable std::pair<std::string, bool> _askedFolder;  // and whether its volume is read-only
  mode_t _umask;
  ino_t _nextNumber = 1;
};

/// The layer of this process's one preview.
Layer& layer();

}  // namespace hotfix::platform::preview

#endif
