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
/// No operation throws or logs. A path goes to the system as it is: "~" is an ordinary character. Every descriptor
/// is closed on exec, and a file that is neither regular nor a folder is never opened, unless somebody puts it there
/// between the look and the opening: then it is closed again, unread. Opening never waits.
namespace hotfix::platform {

/// Why a file operation failed.
struct FileError {
  int code = 0;              ///< the platform's error number; the ones that matter here have names below
  std::string description;   ///< a sentence for a log line: the operation, the path and the system's reason
  std::string reason;        ///< the system's reason alone
  bool isProtected = false;  ///< whether the system may protect the application
};

inline constexpr int kNoSuchFileWhileWriting = 4;
inline constexpr int kNoSuchFileWhileReading = 260;
inline constexpr int kOtherReadingFailure = 256;
inline constexpr int kNoReadPermission = 257;
inline constexpr int kOtherWritingFailure = 512;
inline constexpr int kNoWritePermission = 513;
inline constexpr int kInvalidNameWhileWriting = 514;
inline constexpr int kFileExists = 516;
inline constexpr int kOutOfSpace = 640;
inline constexpr int kReadOnlyVolume = 642;

/// Whether anything is at \a path. Links are followed: a broken one counts as nothing, and so does the empty path.
bool exists(const std::string& path);

/// Why `exists` finds nothing at \a path; none when something is there.
std::optional<FileError> lookUpError(const std::string& path);

/// Whether nothing is at \a path, for certain: false also when the system cannot tell.
bool isKnownMissing(const std::string& path);

/// Whether the name \a path is free: not even a broken link has it. False also when the system cannot tell.
bool isUnused(const std::string& path);

/// Whether \a path is a folder, or a link to one.
bool isFolder(const std::string& path);

/// The absolute path of what is at \a path, with all links followed; none when nothing is there.
OptionalString resolvedPath(const std::string& path);

/// The names in a folder, hidden ones included, "." and ".." not, in the file system's own order.
///
/// \return none when there is no such folder or it cannot be read.
std::optional<std::vector<std::string>> namesInFolder(const std::string& path);

enum class Parents { Required, Created };

/// Makes the folder \a path with mode 0777 less the umask.
///
/// With Parents::Created missing parents are made too, and a folder (or a link to one) that is already there is a
/// success and stays as it is; with Parents::Required it is the failure kFileExists. Anything else at the path, or a
/// file in the middle of it, is a failure. \a attributes are given to every folder that was newly made; a refusal
/// of them is no failure.
/// \return true on success. On false \a error, when given, holds the reason; parents that were made stay.
bool createFolder(const std::string& path, Parents parents, const Attributes& attributes = {},
                  FileError* error = nullptr);

/// Makes \a path a regular file of just these bytes, replacing any file there, then gives it \a attributes (a refusal
/// of them is no failure). Atomic, as writeFileAtomically.
bool createFile(const std::string& path, const std::string& contents, const Attributes& attributes);

/// Removes \a path: a file, a link (never what it points to), or a folder with all it holds.
///
/// Nothing below a link is touched, also when somebody exchanges entries meanwhile. The first failure stops the
/// removal; what was removed until then stays removed. Removing what is not there is a failure.
/// \return true when nothing is left at the path. On false \a error, when given, holds the reason.
bool removeItem(const std::string& path, FileError* error = nullptr);

/// Answers whether a copy goes on past an item that failed with \a error. Called with the paths of that item.
using CopyPolicy = bool (*)(const FileError& error, const std::string& source, const std::string& target);

/// Sets the answer for every copy in the process, whoever makes it. Until then (or with nullptr) every error stops a
/// copy. The setting is never withdrawn and may be made again and again, from any thread.
void setCopyPolicy(CopyPolicy policy);

/// Copies \a source to \a target: a file, a link (as a link), or a folder with all it holds.
///
/// - A missing source is kNoSuchFileWhileReading; the policy is not asked.
/// - Onto nothing: data, mode, times, extended attributes; owner and group where permitted.
/// - Into a folder that is missing: kNoSuchFileWhileWriting, the policy is asked.
/// - A file or link onto anything, a broken link too: kFileExists; the target stays as it is.
/// - A folder onto a folder: kFileExists; if the policy goes on, a merge: missing entries are copied, existing files
///   stay, sub-folders are merged alike, and the existing folder gets the mode and times of the source.
/// - A folder onto a file: kFileExists; if the policy goes on, kOtherWritingFailure.
/// - A folder onto a link to a folder: as onto that folder for the target that was asked for; deeper down
///   kOtherWritingFailure, for a copy never leaves the target through a link that lies in it.
/// - A device, FIFO or socket is kOtherWritingFailure; it is never opened.
///
/// Each failure asks the copy policy. "Go on" continues with the next item and the whole copy counts as a success;
/// "stop" ends it, and the items copied until then stay, new folders with the attributes of their sources. Each file
/// appears whole, from a temporary one of random name beside it; a folder's copy may end with a part of its files. The
/// copy of a single file is durable (synced) when this returns, so that its source may be deleted. A file comes without
/// its set-id bits out of a folder in which others than root and the effective user can put files.
/// \return true on success. On false \a error, when given, holds the failure that stopped the copy.
bool copyItem(const std::string& source, const std::string& target, FileError* error = nullptr);

/// Copies a folder that lies where others can write, if it can be trusted: a folder, not a link to one, that not
/// everyone can write to and whose owner is one of those that readTrustedFile accepts. It is the folder that is copied
/// which is judged, whatever comes to lie at the path meanwhile. Otherwise as copyItem.
///
/// \param[out] isDistrusted set to whether something is there that must not be trusted. Nothing is copied then, the
///     policy is not asked, and \a error, when given, holds kNoReadPermission.
bool copyTrustedFolder(const std::string& source, const std::string& target, bool* isDistrusted,
                       FileError* error = nullptr);

/// Files of more bytes are not read.
inline constexpr std::uint64_t kLargestFile = std::uint64_t{1} << 30;

/// The bytes of a regular file; links are followed. Opening never blocks.
///
/// \return none when it is missing, cannot be read, is no regular file, or is larger than \a mostBytes; by its size
///     alone, before anything is read.
OptionalString readFile(const std::string& path, std::uint64_t mostBytes = kLargestFile);

/// The bytes of a file that lies where others can write, if it can be trusted: a regular file, reached without a
/// link as its last component and without a second name, not writable by everyone, not executable (a file that
/// setAttributesBelow gave to its owner, whoever wrote it, may be), and of an owner whom isTrustedOwner
/// (UserIdentity.h) accepts.
///
/// \param[out] isDistrusted set to whether something is there that must not be trusted.
/// \return none when it is missing, unreadable or not trusted.
OptionalString readTrustedFile(const std::string& path, bool* isDistrusted);

/// Makes \a path a regular file of just these bytes.
///
/// Atomic and durable: the bytes are written to a temporary file of random name in the target's own folder, which is
/// synced, renamed over the target, and the folder synced. Owner, group and mode of the file that is replaced are
/// kept where permitted; a new file gets 0666 less the umask. A link at the path is replaced by the file, which gets
/// the attributes of the file that the link pointed to.
/// \return true on success. On false the target is as it was and no temporary file is left.
bool writeFileAtomically(const std::string& path, const std::string& contents);

/// Takes the next bytes of a file. \return false when they cannot be written.
using PartWriter = std::function<bool(std::string_view part)>;

/// The same for contents that come part by part: \a produce hands them over in order, and answers false, or throws, to
/// give up, which is a failure.
bool writeFileAtomically(const std::string& path, const std::function<bool(const PartWriter& write)>& produce);

/// Of a FileBelow more bytes are not read: everybody who can write there decides how many there are.
inline constexpr std::uint64_t kLargestFileBelow = std::uint64_t{64} << 20;

/// A regular file below a folder where others can put anything meanwhile. It is opened once, without following a link
/// below the folder; whatever comes to lie at its path, the file that was opened is the one that is read and replaced.
class FileBelow {
 public:
  /// Opens \a relativePath below \a folder, which may be a link itself.
  FileBelow(const std::string& folder, const std::string& relativePath);
  FileBelow(FileBelow&& other) noexcept;
  ~FileBelow();

  /// Whether the file is there. A link is not, nor is a file with a second name, which may be anybody's.
  bool isThere() const;

  /// Where it was looked for.
  const std::string& path() const;

  /// As readFile, up to kLargestFileBelow bytes.
  OptionalString read() const;

  /// As writeFileAtomically, in the folder where the file was found, with the owner, group and mode that it had then.
  /// What lies at its name by now is replaced. \return false when it was not there, too.
  bool replace(const std::function<bool(const PartWriter& write)>& produce) const;

 private:
  struct Place;
  std::unique_ptr<Place> _place;
};

/// Makes \a path a regular file of just these bytes, where others can write. As writeFileAtomically, but owner, group
/// and mode are kept only of a file that readTrustedFile would trust. Anything else, a link too, is replaced by a new
/// file, which gets 0664 less the umask; a folder is a failure.
bool writeTrustedFile(const std::string& path, const std::string& contents);

}  // namespace hotfix::platform

#endif
