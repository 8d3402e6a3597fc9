#include "Platform/posix/WantedAttributes.h"

#include <cerrno>

#include "Platform/posix/Accounts.h"
#include "Platform/posix/EntryAttributes.h"

namespace hotfix::platform {

WantedAttributes::WantedAttributes(const Attributes& attributes) : _mode(attributes.mode) {
  // An unknown name stays -1, which does not change the attribute.
  if (attributes.owner) {
    if (const std::optional<Account> account = accountNamed(*attributes.owner)) _owner = account->userId;
  }
  if (attributes.group) _group = groupNamed(*attributes.group).value_or(kUnchangedGroup);
}

RepairOutcome WantedAttributes::outcomeFor(const std::string& folder, const Attributes& attributes) const {
  RepairOutcome outcome;
  outcome.folder = folder;
  if (hasOwner()) outcome.owner = attributes.owner;
  if (hasGroup()) outcome.group = attributes.group;
  return outcome;
}

bool WantedAttributes::needsMode(const struct stat& status) const {
  return _mode && !S_ISLNK(status.st_mode) && (status.st_mode & 07777U) != *_mode;
}

bool WantedAttributes::needsOwner(const struct stat& status) const {
  return (_owner != kUnchangedOwner && status.st_uid != _owner) ||
         (_group != kUnchangedGroup && status.st_gid != _group);
}

void WantedAttributes::applyTo(struct stat* status) const {
  applyModeTo(status);
  if (_owner != kUnchangedOwner) status->st_uid = _owner;
  if (_group != kUnchangedGroup) status->st_gid = _group;
}

void WantedAttributes::applyModeTo(struct stat* status) const {
  if (needsMode(*status)) status->st_mode = (status->st_mode & S_IFMT) | *_mode;
}

// ----- Entries with several names -----

/// Only this user, root, and the members of the requested group: they are administrators, and may write to every
/// changed folder.
bool SecondNames::isOwnersName(const WalkedFolder& folder, uid_t owner) {
  const mode_t mode = folder.status.st_mode;
  return (folder.status.st_uid == owner || folder.status.st_uid == 0) && (mode & S_IWOTH) == 0 &&
         ((mode & S_IWGRP) == 0 || isGroupAlone(folder.status.st_gid, owner)) &&
         !hasHiddenAccessList(folder.descriptor, mode);
}

/// Also true for the private group of a user. On systems with group-writable folders by default, all folders of the
/// user have it. They also keep it if the requested group does not exist.
bool SecondNames::isGroupAlone(gid_t group, uid_t user) {
  if (group == _wanted.group()) return true;
  const auto [known, isNew] = _onlyMembers.try_emplace(group);
  if (isNew) known->second = onlyMember(group);
  return known->second && (*known->second == user || *known->second == 0);
}

bool SecondNames::isNewOwnersAlone(const WalkedFolder& folder) {
  return isOwnersName(folder, _wanted.hasOwner() ? _wanted.owner() : folder.status.st_uid);
}

void SecondNames::remember(const struct stat& before) {
  if (areIn(before) && _wanted.needsOwner(before)) _formerOwners[{before.st_dev, before.st_ino}] = before.st_uid;
}

uid_t SecondNames::formerOwner(const struct stat& status) const {
  const auto former = _formerOwners.find({status.st_dev, status.st_ino});
  return former != _formerOwners.end() && _wanted.isRight(status) ? former->second : status.st_uid;
}

bool SecondNames::areOthersIn(const WalkedFolder& folder, ScopedFolder& entries, const Look& look) {
  bool areOthers = false;
  const bool isRead = visitEntries(entries, [&](const char* name, mode_t type) {
    struct stat status;
    if (S_ISDIR(type)) return true;
    const int error = look(name, &status);
    areOthers = error != 0 ? error != ENOENT : areIn(status) && !isOwnersName(folder, formerOwner(status));
    return !areOthers;
  });
  return !isRead || areOthers;
}

}  // namespace hotfix::platform
