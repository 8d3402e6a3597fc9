#ifndef PLATFORM_FILE_MANAGER_H_
#define PLATFORM_FILE_MANAGER_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Ownership.h"
#include "Support/OptionalString.h"

/// Files and folders, with the outcomes of the platform's file manager.
///
/// No operation throws or logs. A path is passed to the system unchanged: "~" is an ordinary character. Every
/// descriptor is closed on exec. A file that is neither regular nor a folder is never opened, unless it appears between
/// the check and the opening; then it is closed again, unread. Opening never waits.
namespace hotfix::platform {

/// Why a file operation failed.
struct FileError {
  int code = 0;              ///< one of the numbers below, which the platform uses too
  std::string description;   ///< a sentence for a log line: the operation, the path and the system's reason
  std::string reason;        ///< only the system's reason
  bool isProtected = false;  ///< whether the system may protect the application
};

inline constexpr int kNoSuchFileWhileWriting = 4;
inline constexpr int kNoSuchFileWhileReading = 260;
inline constexpr int kOtherReadingFailure = 256;
inline constexpr int kNoReadPermission = 257;
inline constexpr int kOtherWritingFailure = 512;
inline constexpr int kNoWritePermission = 513;
inline constexpr int kFileExists = 516;

/// Whether an entry exists at \a path. Links are followed: false for a broken link and for the empty path.
bool exists(const std::string& path);

/// Why `exists` finds no entry at \a path; none when there is one.
std::optional<FileError> lookUpError(const std::string& path);

/// Whether it is certain that no entry exists at \a path: false also when the system cannot decide.
bool isKnownMissing(const std::string& path);

/// Whether the name \a path is unused, even by a broken link. False also when the system cannot decide.
bool isUnused(const std::string& path);

/// Whether \a path is a folder, or a link to one.
bool isFolder(const std::string& path);

/// The absolute path of the entry at \a path, with all links followed; none when there is no entry.
OptionalString resolvedPath(const std::string& path);

/// The names in a folder, including hidden ones but not "." and "..", in the order of the file system.
///
/// \return none when there is no such folder or it cannot be read.
std::optional<std::vector<std::string>> namesInFolder(const std::string& path);

enum class Parents { Required, Created };

/// Creates the folder \a path with mode 0777 less the umask.
///
/// With Parents::Created, missing parents are created too, and an existing folder (or a link to one) is a success and
/// stays unchanged. With Parents::Required, an existing folder is the failure kFileExists. Anything else at the path,
/// or a file in the middle of it, is a failure. Every newly created folder gets \a attributes; if the system refuses
/// them, that is not a failure.
/// \return true on success. On false \a error, when given, holds the reason; created parents remain.
bool createFolder(const std::string& path, Parents parents, const Attributes& attributes = {},
                  FileError* error = nullptr);

/// Makes \a path a regular file with exactly these bytes, replacing any file there, then sets its \a attributes (if the
/// system refuses them, that is not a failure). Atomic, like writeFileAtomically.
bool createFile(const std::string& path, const std::string& contents, const Attributes& attributes);

/// Removes \a path: a file, a link (never its target), or a folder with all its content.
///
/// Nothing below a link is changed, even if other processes replace entries during the removal. The first failure stops
/// the removal; entries removed before it stay removed. Removing a missing entry is a failure.
/// \return true when nothing is left at the path. On false \a error, when given, holds the reason.
bool removeItem(const std::string& path, FileError* error = nullptr);

/// Decides whether a copy continues after an item that failed with \a error. Called with the paths of that item.
using CopyPolicy = bool (*)(const FileError& error, const std::string& source, const std::string& target);

/// Sets the policy for every copy in the process. Until then (or with nullptr) every error stops a copy. The policy
/// stays set, and may be set repeatedly and from any thread.
void setCopyPolicy(CopyPolicy policy);

/// Copies \a source to \a target: a file, a link (as a link), or a folder with all its content.
///
/// - A missing source is kNoSuchFileWhileReading; the policy is not called.
/// - To an unused path: data, mode, times, extended attributes; owner and group if permitted.
/// - Into a missing folder: kNoSuchFileWhileWriting; the policy is called.
/// - A file or link to an existing entry, even a broken link: kFileExists; the target stays unchanged.
/// - A folder to a folder: kFileExists. If the policy continues, a merge: missing entries are copied, existing files
///   are kept, sub-folders are merged in the same way, and the existing folder gets the mode and times of the source.
/// - A folder to a file: kFileExists; if the policy continues, kOtherWritingFailure.
/// - A folder to a link to a folder: as to that folder if the link is the requested target. At a deeper level
///   kOtherWritingFailure, because a copy never leaves the target through a link inside it.
/// - A device, FIFO or socket is kOtherWritingFailure; it is never opened.
///
/// The copy policy is called for each failure. If it continues, the next item follows, and the whole copy is a success.
/// If it stops, the copy ends, and the copied items remain, new folders with the attributes of their sources. Each file
/// appears complete, from a temporary file of random name in the same folder; a folder's copy may end with a part of
/// its files. The copy of a single file is durable (synced) on return, so that its source may be deleted. A copied file
/// loses its set-id bits if users other than root and the effective user can put files in its source folder.
/// \return true on success. On false \a error, when given, holds the failure that stopped the copy.
bool copyItem(const std::string& source, const std::string& target, FileError* error = nullptr);

/// Copies a folder from a place that others can write to, if it is trusted: a folder, not a link to one, that not
/// everybody can write to, with an owner that readTrustedFile accepts. The check is made on the folder that is copied,
/// even if another entry replaces it at the path. Otherwise like copyItem.
///
/// \param[out] isDistrusted set to whether there is an entry that must not be trusted. Nothing is copied then, the
///     policy is not called, and \a error, when given, holds kNoReadPermission.
bool copyTrustedFolder(const std::string& source, const std::string& target, bool* isDistrusted,
                       FileError* error = nullptr);

/// Larger files are not read.
inline constexpr std::uint64_t kLargestFile = std::uint64_t{1} << 30;

/// The bytes of a regular file; links are followed. Opening never blocks.
///
/// \return none when it is missing, cannot be read, is not a regular file, or is larger than \a mostBytes. The size is
///     checked before anything is read.
OptionalString readFile(const std::string& path, std::uint64_t mostBytes = kLargestFile);

/// The bytes of a file in a folder that others can write to, if it is trusted: a regular file, not a link, with one
/// name, not writable by everybody, not executable (setAttributesBelow may have given an executable file to its owner,
/// whoever wrote it), with an owner that isTrustedOwner (UserIdentity.h) accepts.
///
/// \param[out] isDistrusted set to whether there is an entry that must not be trusted.
/// \return none when it is missing, unreadable or not trusted.
OptionalString readTrustedFile(const std::string& path, bool* isDistrusted);

/// Makes \a path a regular file with exactly these bytes.
///
/// Atomic and durable: the bytes are written to a temporary file of random name in the target's own folder. The file is
/// synced and renamed over the target, and the folder is synced. Owner, group and mode of the replaced file are kept if
/// permitted; a new file gets 0666 less the umask. A link at the path is replaced by the file, which gets the
/// attributes of the link's target.
/// \return true on success. On false the target is unchanged and no temporary file is left.
bool writeFileAtomically(const std::string& path, const std::string& contents);

/// Writes the next bytes of a file. \return false when they cannot be written.
using PartWriter = std::function<bool(std::string_view part)>;

/// The same for contents in parts: \a produce passes them in order. If it returns false or throws, the write is given
/// up, which is a failure.
bool writeFileAtomically(const std::string& path, const std::function<bool(const PartWriter& write)>& produce);

/// A larger FileBelow is not read: everybody who can write there controls its size.
inline constexpr std::uint64_t kLargestFileBelow = std::uint64_t{64} << 20;

/// A regular file below a folder in which others can replace entries at any time. It is opened once, without following
/// a link below the folder. That opened file is read and replaced, even if another entry is at its path by then.
class FileBelow {
 public:
  /// Opens \a relativePath below \a folder, which may be a link itself.
  FileBelow(const std::string& folder, const std::string& relativePath);
  FileBelow(FileBelow&& other) noexcept;
  ~FileBelow();

  /// Whether the file exists. False for a link, and for a file with a second name, which may belong to anybody.
  bool isThere() const;

  /// The path of the file, whether it exists or not.
  const std::string& path() const;

  /// Like readFile, up to kLargestFileBelow bytes.
  OptionalString read() const;

  /// Like writeFileAtomically, in the folder where the file was found, with the owner, group and mode that it had then.
  /// Replaces any entry that has its name by now. \return false also when the file did not exist.
  bool replace(const std::function<bool(const PartWriter& write)>& produce) const;

 private:
  struct Place;
  std::unique_ptr<Place> _place;
};

/// Makes \a path a regular file with exactly these bytes, in a folder that others can write to. Like
/// writeFileAtomically, but keeps owner, group and mode only of a file that readTrustedFile would trust. Anything else,
/// even a link, is replaced by a new file, which gets 0664 less the umask; a folder is a failure.
bool writeTrustedFile(const std::string& path, const std::string& contents);

}  // namespace hotfix::platform

#endif
