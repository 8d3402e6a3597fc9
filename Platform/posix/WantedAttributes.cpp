#include "Platform/posix/WantedAttributes.h"

#include "Platform/posix/Accounts.h"

namespace hotfix::platform {

WantedAttributes::WantedAttributes(const Attributes& attributes) : _mode(attributes.mode) {
  if (attributes.owner) {
    if (const std::optional<Account> account = accountNamed(*attributes.owner)) _owner = account->userId;
  }
  if (attributes.group) _group = groupNamed(*attributes.group).value_or(kUnchangedGroup);
}

bool WantedAttributes::needsMode(const struct stat& status) const {
  return _mode && !S_ISLNK(status.st_mode) && (status.st_mode & 07777U) != *_mode;
}

bool WantedAttributes::needsOwner(const struct stat& status) const {
  return (_owner != kUnchangedOwner && status.st_uid != _owner) ||
         (_group != kUnchangedGroup && status.st_gid != _group);
}

bool WantedAttributes::losesSetIdBits(const struct stat& status) const {
  return _mode && (*_mode & (S_ISUID | S_ISGID)) != 0 && S_ISREG(status.st_mode);
}

bool WantedAttributes::isRefused(const struct stat& status) const {
  return status.st_nlink > 1 && !S_ISDIR(status.st_mode) && status.st_uid != _owner;
}

void WantedAttributes::applyTo(struct stat* status) const {
  if (needsMode(*status)) status->st_mode = (status->st_mode & S_IFMT) | *_mode;
  if (_owner != kUnchangedOwner) status->st_uid = _owner;
  if (_group != kUnchangedGroup) status->st_gid = _group;
}

}  // namespace hotfix::platform
