#ifndef PLATFORM_POSIX_WANTED_ATTRIBUTES_H_
#define PLATFORM_POSIX_WANTED_ATTRIBUTES_H_

#include <sys/stat.h>

#include <optional>

#include "Platform/Ownership.h"

namespace hotfix::platform {

/// Attributes with their names looked up, and what they mean for an entry. Decides only: nothing is read or changed.
class WantedAttributes {
 public:
  static constexpr uid_t kUnchangedOwner = static_cast<uid_t>(-1);
  static constexpr gid_t kUnchangedGroup = static_cast<gid_t>(-1);

  /// A name that the account database does not know leaves the attribute as it is.
  explicit WantedAttributes(const Attributes& attributes);

  uid_t owner() const { return _owner; }
  gid_t group() const { return _group; }
  const std::optional<mode_t>& mode() const { return _mode; }

  /// Never true for a link, whose mode means nothing.
  bool needsMode(const struct stat& status) const;
  bool needsOwner(const struct stat& status) const;
  bool isRight(const struct stat& status) const { return !needsMode(status) && !needsOwner(status); }

  /// Whether a change of the owner clears bits that are wanted, as it does in a file.
  bool losesSetIdBits(const struct stat& status) const;

  /// Somebody's file under a second name: its first one may be anywhere, and whoever made the second wants us to give
  /// it away.
  bool isRefused(const struct stat& status) const;

  /// What an entry's attributes are once it has them.
  void applyTo(struct stat* status) const;

 private:
  uid_t _owner = kUnchangedOwner;
  gid_t _group = kUnchangedGroup;
  std::optional<mode_t> _mode;
};

}  // namespace hotfix::platform

#endif
