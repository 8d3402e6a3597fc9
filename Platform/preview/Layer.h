#ifndef PLATFORM_PREVIEW_LAYER_H_
#define PLATFORM_PREVIEW_LAYER_H_

#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Platform/posix/FileChanges.h"
#include "Platform/posix/WantedAttributes.h"
#include "Support/OptionalString.h"

namespace hotfix::platform::preview {

struct CopiedTree;

/// A file, folder or link as a run of the tool would find it now.
struct Entry {
  struct stat status = {};  ///< with all changes; an entry that exists only in the layer has a number of the layer
  std::string path;         ///< absolute, without links
  std::string machinePath;  ///< the path of its content on the machine; empty when it has none there
  std::shared_ptr<const std::string> content;  ///< of a file that was written, or the text of a new link

  // Only for a folder in a copied tree. In addition to its own entries, the folder contains copies of the entries of a
  // folder of the machine.
  std::shared_ptr<const CopiedTree> tree;
  std::string copySource;        ///< that folder of the machine
  struct stat whileCopied = {};  ///< the folder's own attributes during the copy; new entries get their group from them

  bool isFolder() const { return S_ISDIR(status.st_mode); }
  bool isFile() const { return S_ISREG(status.st_mode); }
  bool isLink() const { return S_ISLNK(status.st_mode); }
};

/// Identifies an entry of the machine, independently of its names.
using Id = std::pair<dev_t, ino_t>;

/// The copy of a whole tree of the machine. Its entries are looked up in the source, so that a large tree takes no
/// memory.
struct CopiedTree {
  ino_t number;      ///< given by the layer
  Id target;         ///< the folder that it was copied into; it is not copied into itself
  std::string stop;  ///< the entry of the source with which the copy ended; empty when the copy is complete
};

/// The place to which a path leads.
struct Place {
  std::optional<Entry> folder;  ///< the folder that contains the name; none when it does not exist
  std::string name;             ///< the name in that folder; not that of a link if links are followed
  std::optional<Entry> entry;   ///< the entry with that name; none when the name is free
};

/// The change of a name: its entry on the machine, and its entry after the run.
struct Difference {
  std::string path;
  std::optional<Entry> before;
  std::optional<Entry> after;
};

/// The machine's files, together with the changes that a run of the tool would have made to them, in memory. Nothing on
/// the machine is changed.
///
/// Operations return 0 or the number of the error that the system would give. They take permissions, read-only volumes
/// and sticky folders into account, but not access control lists, quotas and free space.
class Layer {
 public:
  Layer();

  /// Whether there is no change yet. The machine alone then has the answers, which takes fewer calls.
  bool isUntouched() const { return _folders.empty() && _repairs.empty(); }

  // ----- Reading -----

  /// Finds the entry at a path. \a place is filled as far as it is known, also when the result is ENOENT.
  int find(const std::string& path, Links links, Place* place) const;

  /// Finds a name in a folder. A link is not followed.
  int find(const Entry& folder, const std::string& name, Entry* found) const;

  /// Finds a folder, with the errors of opening it.
  int openFolder(const std::string& path, Entry* folder) const;

  /// Visits the names in a folder until \a visit returns false. Those of the machine are in the machine's order.
  /// \return false when the folder cannot be read.
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

  /// The error of removing a name from its folder.
  int removeError(const Entry& folder, const Entry& entry) const;

  /// Whether this user could change a file's mode.
  static bool mayChangeMode(const struct stat& file, uid_t user) { return user == 0 || file.st_uid == user; }

  /// Whether this user, if it is ours, could give a file this owner and group.
  static bool mayGive(const struct stat& file, uid_t owner, gid_t group, uid_t user = geteuid());

  /// Whether two entries have the same owner, group and mode.
  static bool haveSameAttributes(const struct stat& one, const struct stat& other);

  // ----- Changing -----

  /// The attributes of a new entry of a folder. The umask is removed from \a mode.
  struct stat newStatus(const Entry& folder, mode_t mode);

  /// Puts an entry into a folder. It replaces an entry with the same name. Its paths need not be set.
  void put(const Entry& folder, const std::string& name, Entry entry);

  /// Removes a name from a folder, with everything below it.
  void remove(const Entry& folder, const std::string& name);

  /// Makes \a copy the entry that results when \a source is copied to a free name in \a folder; for a folder, without
  /// its content. \a copy gets no path and no number. \return 0 or the number of the error.
  int copyOf(const Entry& source, const Entry& folder, Entry* copy) const;

  /// Gives a copy the attributes of its source, as far as permitted.
  void copyAttributes(const struct stat& source, Entry* copy) const;

  /// The description of a copy that has ended.
  std::shared_ptr<const CopiedTree> newTree(const Id& target, const std::string& stop);

  /// Whether nothing at or below a path was changed, not even by a repair.
  bool isUntouched(const std::string& path) const;

  /// Stores the copied trees at, below and above a folder entry by entry. This is necessary before a repair of the
  /// folder is added.
  void unfoldCopies(const std::string& folder);

  using Id = preview::Id;
  static Id id(const struct stat& status) { return {status.st_dev, status.st_ino}; }

  /// A change of everything below a folder. It is a rule, so that the changed entries take no memory.
  struct Repair {
    std::string folder;
    WantedAttributes attributes;
    /// The entries that it could not change. Missing rights and a read-only volume are not stored, because they can be
    /// determined again.
    std::vector<Id> failed;
    uid_t user = geteuid();  ///< who made it; asking again for each entry would take as long as examining it
  };

  /// Stores a repair. It applies to the entries that are below the folder now, not to later ones.
  void addRepair(Repair repair);

  /// Changes the attributes of an entry of the machine in \a folder to those that the repairs have given it.
  void applyRepairs(const std::string& folder, struct stat* status) const { applyRepairsFrom(0, folder, status); }

  /// Whether names of a folder were changed in the layer, and these names.
  bool hasChangesIn(const struct stat& folder) const { return _folders.count(id(folder)) != 0; }
  std::vector<std::string> changedNames(const struct stat& folder) const;

  bool hasRepairs() const { return !_repairs.empty(); }

  // ----- All changes -----

  /// Visits all names whose entries were changed. Entries that only repairs have changed are omitted.
  using DifferenceVisitor = std::function<void(Difference difference)>;
  void visitDifferences(const DifferenceVisitor& visit) const;

  /// The paths that were removed, without the entries below them.
  std::set<std::string> removedPaths() const;

  /// The number of stored names. Each one takes memory.
  size_t size() const;

 private:
  struct Node {
    std::shared_ptr<const Entry> entry;  // null: the name was removed
    size_t repairs = 0;                  // the number of repairs before the entry was made
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
  /// A device number of our own for each device of the source of a copied tree.
  mutable std::map<std::pair<ino_t, dev_t>, dev_t> _devices;
  mutable std::pair<std::string, bool> _askedFolder;  // the last folder checked, and whether its volume is read-only
  mode_t _umask;
  ino_t _nextNumber = 1;
};

/// The layer of this process's one preview.
Layer& layer();

}  // namespace hotfix::platform::preview

#endif
