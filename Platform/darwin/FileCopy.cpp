#include "Platform/posix/FileCopy.h"

#include <copyfile.h>
#include <sys/attr.h>
#include <unistd.h>

#include "Platform/posix/EntryAttributes.h"

namespace platform {

namespace {

/// With their nanoseconds, and for a link as well: setattrlist(2). utimensat(2) and futimens(2) are not in every macOS
/// that we run on.
void copyTimes(int to, const struct stat& source) {
  struct attrlist attributes = {};
  attributes.bitmapcount = ATTR_BIT_MAP_COUNT;
  attributes.commonattr = ATTR_CMN_MODTIME | ATTR_CMN_ACCTIME;
  struct timespec times[] = {source.st_mtimespec, source.st_atimespec};  // in the order of their bits
  (void)fsetattrlist(to, &attributes, times, sizeof times, 0);
}

}  // namespace

int copyFileAndAttributes(int from, int to, const struct stat& source) {
  if (fcopyfile(from, to, nullptr, COPYFILE_DATA) != 0) return errno;
  copyAttributes(from, to, source);
  return 0;
}

void copyAttributes(int from, int to, const struct stat& source) {
  // fcopyfile(3) takes the mode over whatever became of the owner: so the owner first, and no set-id bits without it.
  const bool isOwnerKept = fchown(to, source.st_uid, source.st_gid) == 0;
  if (isOwnerKept || (source.st_mode & (S_ISUID | S_ISGID)) == 0) {
    (void)fcopyfile(from, to, nullptr, COPYFILE_METADATA);
  } else {
    (void)fchown(to, static_cast<uid_t>(-1), source.st_gid);
    (void)fcopyfile(from, to, nullptr, COPYFILE_ACL | COPYFILE_XATTR);
    (void)fchmod(to, source.st_mode & 0777U);
  }
  copyTimes(to, source);  // again: the data has been read since, which counts as a use of the source
}

void copyLinkAttributes(int folder, const char* name, const struct stat& source) {
  // Held, and looked at again: in a shared folder somebody may have put another entry in its place.
  const ScopedFd held = holdEntry(folder, name);
  struct stat status;
  if (!held || fstat(held.get(), &status) != 0 || !S_ISLNK(status.st_mode) || status.st_nlink != 1) return;
  (void)changeHeldOwner(held.get(), source.st_uid, source.st_gid);
  copyTimes(held.get(), source);
}

}  // namespace platform
