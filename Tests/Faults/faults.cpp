// Runs the tool again and again, each time with one call to the file system that goes wrong, and looks whether the
// machine and the tool's answer are in order afterwards. For scripts/faults; to be started in a throw-away root.
//
//   faults SHARE SHARES EVERY [KIND:NUMBER]
//
// Takes each SHARES-th case from number SHARE on, and of the calls each EVERY-th; or just one case, which it shows.
// Prints lines "failed", "exception" and "count" with fields separated by tabs, and "done" at the end.

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "Tests/Faults/Machine.h"
#include "Tests/Support/Instance.h"

namespace hotfix {

namespace {

using machine::kData;
using machine::kHome;
using machine::kNow;
using machine::kOldStamp;

const std::string kDeploy = std::string(kHome) + "/deploy/";
const std::string kUninstallManifest = kDeploy + "uninstall.hotfix.xml";
const std::string kUpdateManifest = kDeploy + "install.update.xml";
const std::string kInstallManifest = kDeploy + "install.xml";
const std::string kBackup = kDeploy + "install." + kOldStamp + ".xml";
const std::string kSecondBackup = kDeploy + "install." + kNow + ".xml";
const std::string kBackupAsOld = kDeploy + "install.old.xml";
const std::string kProperties = std::string(kHome) + "/rcplauncher.properties";
const std::string kRecords = std::string(kHome) + "/installInfo.plist";
const std::string kResult = std::string(machine::kBundle) + "/Contents/MacOS/.provisioning_rc";
const std::string kTrace = "/tmp/install_trace.log";
const std::string kStagingFolder = "/tmp/zelcore2";

constexpr char kSucceeded[] = "The provisioning operations have completed successfully.\n";
constexpr char kUnexpected[] =
    "Unexpected results have occurred during the provisioning operation. For additional information, please refer to "
    "the logs.\n";
constexpr char kUsage[] = "Usage: [sudo hotfixUninstall -rcphome ${path to rcphome}] -rcpdata ${path to rcpdata}\n";

std::string notFound(const std::string& file) {
  return "File " + file +
         " was not found. Provisioning process failed to launch or was terminated before status could be determined.\n";
}

bool beginsWith(const std::string& text, const std::string& beginning) {
  return text.compare(0, beginning.size(), beginning) == 0;
}

bool isTemporary(const std::string& path) { return path.find("/.tmp.") != std::string::npos; }

std::string shortened(std::string text) {
  for (char& c : text) {
    if (c == '\n' || c == '\t') c = ' ';
  }
  return text.size() > 160 ? text.substr(0, 160) + "..." : text;
}

// ----- What a rewritten file may hold -----

std::string propertiesText(const std::string& version, const std::string& id) {
  return "provisioning.manifest.version=" + version + "\nrcp.data=${env.HOME}/workspace\nrcp.install.id=" + id + "\n";
}

/// The properties with each combination of the two stamps; as they were only when neither was written.
std::set<std::string> propertiesTexts(const Tree& original) {
  return {original.at(kProperties).text, propertiesText(kOldStamp, kNow), propertiesText(kNow, kOldStamp),
          propertiesText(kNow, kNow)};
}

/// The records without any of the three that the tool removes one after the other.
std::set<std::string> recordsTexts() {
  const std::map<std::string, std::string> removed = {
      {"SKIPRUNNINGCHECK", "false"}, {"hotfixVersion", "6.2.1.1"}, {"installedHotfixBundleID", "com.qor.hotfix.pkg"}};
  std::set<std::string> texts;
  for (unsigned left = 0; left < 8; ++left) {
    std::map<std::string, std::string> records = {{"version", "6.2.1"}};
    unsigned bit = 1;
    for (const auto& record : removed) {
      if ((left & bit) != 0) records.insert(record);
      bit <<= 1U;
    }
    texts.insert(instance::recordsText(records));
  }
  return texts;
}

// ----- Cases -----

/// What a fault does to the tool.
enum class Effect {
  None,      ///< it is to go on as if nothing had happened
  Failure,   ///< one call fails
  Shortage,  ///< from now on there is no room
  Outage,    ///< all calls fail from now on: nothing can be cleaned up
  Kill
};

struct Kind {
  const char* name;
  std::string how;
  std::function<bool(const NotedCall&)> concerns;
  Effect effect;
};

bool movesData(const NotedCall& call) {
  return call.name == "read" || beginsWith(call.name, "write") || beginsWith(call.name, "pwrite") ||
         call.name == "copy_file_range";
}

bool canBeInterrupted(const NotedCall& call) { return movesData(call) || beginsWith(call.name, "open"); }
bool needsRoom(const NotedCall& call) { return call.needsRoom; }
bool any(const NotedCall&) { return true; }

const std::vector<Kind>& kinds() {
  static const std::vector<Kind> kinds = {
      {"ENOSPC", std::to_string(ENOSPC), any, Effect::Failure},
      {"EIO", std::to_string(EIO), any, Effect::Failure},
      {"EACCES", std::to_string(EACCES), any, Effect::Failure},
      {"EINTR", std::to_string(EINTR), canBeInterrupted, Effect::None},
      {"short", "short", movesData, Effect::None},
      {"kill", "kill", any, Effect::Kill},
      {"ENOSPC-on", "room", needsRoom, Effect::Shortage},
      {"EIO-on", "all", any, Effect::Outage},
  };
  return kinds;
}

/// Checks that cannot hold after some faults, by the nature of these.
enum Exception {
  /// What could not be written to standard output is not there. (All else is as ever: it changes no exit status.)
  kOutputFailed,
  /// A tool that is killed, or that can call nothing any more, removes nothing; nor does a call that fails. A temporary
  /// file may stay, but one only.
  kTemporaryFileLeft,
  /// What was replaced or copied while its owner or mode could not be set, or a folder whose copy was cut short, is
  /// root's, or closed to more than before. A file stays so in later runs, which keep what they find. Nothing is ever
  /// open to more.
  kClosedToMore,
  /// The manifest was applied, but the call that removes it failed; or it was put back by hand. The next attempt backs
  /// up once more, under the version that the first one has written.
  kBackedUpAgain,
  /// A backup that cannot be made ends nothing, deliberately: an attempt that goes on without it is the only one that
  /// could have made it under the old version.
  kNoBackup,
  /// The same, made without the version, which is in a file that could not be read.
  kBackedUpAsOld,
  kExceptionCount
};
constexpr const char* kExceptionNames[kExceptionCount] = {"output failed",   "temporary file left", "closed to more",
                                                          "backed up again", "no backup",           "backed up as old"};

/// A fault as the checks see it.
struct Cause {
  Effect effect = Effect::None;
  NotedCall call;  ///< the one that it hit

  bool isOutput() const { return effect == Effect::Failure && beginsWith(call.what, "standard output"); }
  bool isBackup() const {
    if (effect != Effect::Failure) return false;
    for (const std::string& path :
         {kProperties, kInstallManifest, kBackup, kDeploy + ".tmp.", kDeploy.substr(0, kDeploy.size() - 1) + " "}) {
      if (beginsWith(call.what, path)) return true;
    }
    return false;
  }
  bool isVersion() const { return effect == Effect::Failure && beginsWith(call.what, kProperties); }
  /// Whether the tool works on as ever, because the call is none of those on which the uninstall depends.
  bool isHarmless() const {
    if (effect != Effect::Failure) return false;
    for (const std::string& path : {kTrace, kStagingFolder, std::string(machine::kStaged), std::string(kData)}) {
      if (beginsWith(call.what, path)) return true;
    }
    return isOutput();
  }
  bool closesToMore() const {
    return effect == Effect::Kill || effect == Effect::Outage || effect == Effect::Shortage || call.name == "fchown" ||
           call.name == "fchmod";
  }
  bool leavesTemporaryFile() const {
    return effect == Effect::Kill || effect == Effect::Outage ||
           (beginsWith(call.name, "unlink") && isTemporary(call.what));
  }
};

/// Looks at all that a run has left behind.
class Check {
 public:
  /// All stages of a case are about the same \a cause, the first one alone with the tool under it.
  Check(const Tree& original, const Tree& honest, Cause cause = {})
      : _original(original), _honest(honest), _cause(std::move(cause)) {}

  const std::vector<std::string>& complaints() const { return _complaints; }
  const std::set<Exception>& exceptions() const { return _exceptions; }

  bool expect(bool holds, const std::string& what) {
    if (!holds) _complaints.push_back(_stage + what);
    return holds;
  }
  void begin(const std::string& stage) { _stage = stage + ": "; }

  /// The tool's answer. \a isFaulted: the cause came up in this run.
  void ending(const Run& run, bool isFaulted) {
    const bool isOutputFaulted = isFaulted && _cause.isOutput();
    if (!expect(!run.hasHung, "it did not end")) return;
    if (isFaulted && _cause.effect == Effect::Kill) {
      expect(WIFSIGNALED(run.status) && WTERMSIG(run.status) == SIGKILL, "it was not killed");
      errors(run.errors, true, true);
      return;
    }
    if (!expect(WIFEXITED(run.status), "it ended by signal " + std::to_string(WTERMSIG(run.status)))) return;
    const int status = WEXITSTATUS(run.status);
    errors(run.errors, status != 0, isFaulted && _cause.effect == Effect::Outage);
    std::vector<std::string> outputs = {kSucceeded};
    if (status != 0) {
      outputs.clear();
      for (const std::string& reason :
           {std::string(), notFound(kUninstallManifest), notFound("install.update.xml"), std::string(kUnexpected)}) {
        outputs.push_back(reason + kUsage);
        if (isOutputFaulted) outputs.push_back(reason);
      }
    }
    if (isOutputFaulted) {
      outputs.push_back(status == 0 ? "" : kUsage);
      _exceptions.insert(kOutputFailed);
    }
    bool isKnown = false;
    for (const std::string& output : outputs) isKnown = isKnown || run.output == output;
    expect(status == 0 || status == 1, "exit status " + std::to_string(status));
    if (isFaulted && _cause.isHarmless()) expect(status == 0, "it failed for something that it does not need");
    expect(isKnown, "exit status " + std::to_string(status) + " with the output \"" + shortened(run.output) + "\"");
    size_t launches = 0;
    for (const std::string& child : run.children) {
      if (child.find("rcplauncher") == 0 && child.find(" update ") != std::string::npos) ++launches;
    }
    // Of four starts one may have failed; one is not part of the uninstall.
    if (status == 0) expect(launches >= 2, "success without a launch");
  }

  /// Standard error has nothing after a success, and why it failed and where to read on after a failure.
  void errors(const std::string& text, bool hasFailed, bool mayBeMissing) {
    const bool isWhole = hasFailed && std::count(text.begin(), text.end(), '\n') == 2 &&
                         beginsWith(text, "The hotfix was not removed: ") &&
                         text.find(".\nSee ") != std::string::npos &&
                         text.find(" for details, and man hotfixUninstall.\n") != std::string::npos;
    expect(isWhole || (text.empty() && (!hasFailed || mayBeMissing)),
           std::string(hasFailed ? "a failure" : "a success") + " with standard error \"" + shortened(text) + "\"");
  }

  /// What could not be written or synced is not put in place, even where all its bytes happen to be there: a disk may
  /// have lost them. \a hit is the index of the call that failed.
  void discarded(const std::vector<NotedCall>& calls, size_t hit) {
    const NotedCall& call = calls[hit];
    if (_cause.effect != Effect::Failure && _cause.effect != Effect::Shortage) return;
    if (call.name != "fsync" && call.name != "write") return;
    std::string path = call.what;
    if (call.name == "write") path.erase(path.rfind(' ', path.rfind(' ') - 1));  // "file 10 bytes"
    const auto folder = _honest.find(path);
    // A folder need not be synced, deliberately: not every file system can.
    if (path == kTrace || _cause.isOutput() ||
        (folder != _honest.end() && folder->second.kind == Entry::Kind::Folder)) {
      return;
    }
    bool isRemoved = false;
    for (size_t at = hit + 1; at < calls.size(); ++at) {
      const NotedCall& later = calls[at];
      if (beginsWith(later.name, "unlink") && later.what == path) isRemoved = true;
      const bool isMove = beginsWith(later.name, "rename") || beginsWith(later.name, "link");
      expect(!isMove || !beginsWith(later.what, path + " "), path + " was put in place all the same");
    }
    expect(isRemoved, path + " was not removed");
  }

  /// Every file is the old or the new one.
  void files(const Tree& now) {
    size_t temporaryFiles = 0;
    for (const auto& [path, entry] : now) {
      if (isTemporary(path))
        ++temporaryFiles;
      else
        file(path, entry);
    }
    for (const auto& [path, entry] : _original) {
      if (now.count(path) == 0 && path != kUninstallManifest && path != kUpdateManifest && path != kResult &&
          path != kTrace) {
        expect(false, path + " is gone");
      }
    }
    const bool isUpdateWhole = now.count(kUpdateManifest) != 0 && now.at(kUpdateManifest).text == manifest();
    expect(now.count(kUninstallManifest) != 0 || isUpdateWhole, "the uninstall manifest is gone without a copy");
    const size_t tolerated = _cause.leavesTemporaryFile() ? 1 : 0;
    expect(temporaryFiles <= tolerated, std::to_string(temporaryFiles) + " temporary files");
    if (temporaryFiles != 0 && tolerated != 0) _exceptions.insert(kTemporaryFileLeft);
  }

  /// The machine is as after one honest run. \a isSecond: after an attempt that has consumed the manifest.
  void honestEnd(const Tree& now, bool isSecond) {
    for (const auto& [path, entry] : now) {
      const auto honest = _honest.find(path);
      if (isTemporary(path) && _cause.leavesTemporaryFile()) continue;
      if (path == kSecondBackup || path == kBackupAsOld) {
        file(path, entry);
        continue;
      }
      if (!expect(honest != _honest.end(), path + " is too much")) continue;
      if (path == kTrace) continue;
      expect(entry.kind == honest->second.kind && entry.text == honest->second.text,
             path + " is not as after an honest run: \"" + shortened(entry.text) + "\"");
      attributes(path, entry, honest->second, honest->second);
    }
    for (const auto& [path, entry] : _honest) {
      if (now.count(path) != 0) continue;
      if (expect(path == kBackup && isSecond && _cause.isBackup(), path + " is missing")) _exceptions.insert(kNoBackup);
    }
  }

  const std::string& manifest() const { return _original.at(kUninstallManifest).text; }

 private:
  void file(const std::string& path, const Entry& entry) {
    static const std::set<std::string> properties = propertiesTexts(_original);
    static const std::set<std::string> records = recordsTexts();
    const auto found = _original.find(path);
    const auto oldText = [&] { return found != _original.end() ? found->second.text : "<none>"; };
    const auto isText = [&](bool isKnown) {
      expect(isKnown && entry.kind == Entry::Kind::File,
             path + " is neither the old nor the new one: " + std::to_string(entry.text.size()) + " bytes \"" +
                 shortened(entry.text) + "\"");
    };
    if (path == kTrace) return isText(true);
    if (path == kProperties) {
      isText(properties.count(entry.text) != 0);
    } else if (path == kRecords) {
      isText(records.count(entry.text) != 0);
    } else if (path == kUpdateManifest) {
      isText(entry.text == oldText() || entry.text == manifest());
    } else if (path == kBackup || path == kSecondBackup || path == kBackupAsOld) {
      isText(entry.text == _original.at(kInstallManifest).text);
      if (path == kSecondBackup) _exceptions.insert(kBackedUpAgain);
      if (path == kBackupAsOld && expect(_cause.isVersion(), path + " is too much")) _exceptions.insert(kBackedUpAsOld);
    } else if (path == kResult) {
      isText(entry.text == oldText() || entry.text == "rc=0\n");
    } else if (beginsWith(path, machine::kStaged)) {
      const auto source = _original.find(kStagingFolder + path.substr(std::strlen(machine::kStaged)));
      if (expect(source != _original.end(), path + " is too much")) {
        expect(entry.kind == source->second.kind && entry.text == source->second.text,
               path + " is not a whole copy: " + std::to_string(entry.text.size()) + " bytes");
      }
    } else if (expect(found != _original.end(), path + " is too much")) {
      expect(entry.kind == found->second.kind && entry.text == found->second.text,
             path + " has changed: \"" + shortened(entry.text) + "\"");
    }
    const auto honest = _honest.find(path);
    if (honest != _honest.end()) {
      attributes(path, entry, found != _original.end() ? found->second : honest->second, honest->second);
    }
  }

  /// Owner and mode are the old or the new ones.
  void attributes(const std::string& path, const Entry& entry, const Entry& before, const Entry& after) {
    const bool isRight = (entry.mode == before.mode || entry.mode == after.mode) &&
                         (entry.owner == before.owner || entry.owner == after.owner) &&
                         (entry.group == before.group || entry.group == after.group);
    if (isRight || path == kTrace || path == kResult) return;
    const bool isNewFile = path == kProperties || path == kRecords || path == kUpdateManifest || path == kBackup ||
                           beginsWith(path, machine::kStaged);
    const bool isClosed = _cause.closesToMore() && (entry.mode & ~(before.mode | after.mode)) == 0 &&
                          (entry.owner == before.owner || entry.owner == after.owner || entry.owner == 0) &&
                          (entry.group == before.group || entry.group == after.group || entry.group == 0);
    char text[64];
    std::snprintf(text, sizeof text, " has mode %04o owner %u:%u", static_cast<unsigned>(entry.mode), entry.owner,
                  entry.group);
    if (expect(isNewFile && isClosed, path + text)) _exceptions.insert(kClosedToMore);
  }

  const Tree& _original;
  const Tree& _honest;
  const Cause _cause;
  std::string _stage;
  std::vector<std::string> _complaints;
  std::set<Exception> _exceptions;
};

/// All cases, one after the other, and their results.
class Faults {
 public:
  Faults(long share, long shares, long every, std::string only)
      : _share(share), _shares(shares), _every(every), _only(std::move(only)) {}

  int run() {
    if (!hasOwnMounts()) return hindered("a mount namespace cannot be had");
    const std::string obstacle = machine::setUp();
    if (!obstacle.empty()) return hindered(obstacle);
    _original = machine::original();
    machine::restore(_original);
    _original = machine::look();  // with the attributes of the folders
    if (!runHonestly()) return 1;

    machine::restore(_original);
    const std::vector<NotedCall> calls = machine::run({"list", 0}).calls;
    if (!seesAll(calls)) return 1;
    for (const Kind& kind : kinds()) {
      for (const NotedCall& call : calls) {
        if (!kind.concerns(call) || (_only.empty() && (call.number - 1) % _every != 0)) continue;
        if (isMine(kind.name, call.number)) callFails(kind, call);
      }
    }
    homeAsData();
    for (const Place& place : kPlaces) {
      if (isMine("full", ++_counts["full"].planned)) full(place);
    }
    for (const Place& place : kPlaces) {
      if (isMine("read-only", ++_counts["read-only"].planned)) readOnly(place);
    }
    for (long part = 0; part < kVanishings; ++part) {
      if (isMine("vanishing", part + 1)) vanishing(part);
    }
    report();
    return 0;
  }

 private:
  struct Count {
    long planned = 0;
    long cases = 0;
    long held = 0;
  };
  struct Place {
    const char* name;
    const char* path;
  };
  static constexpr Place kPlaces[] = {{"instance", "/Applications"}, {"data folder", kData}, {"/tmp", "/tmp"}};
  static constexpr long kVanishings = 6;

  static int hindered(const std::string& what) {
    std::fprintf(stderr, "faults: %s\n", what.c_str());
    return 1;
  }

  /// Takes care that what is mounted here is seen nowhere else.
  static bool hasOwnMounts() {
    if (unshare(CLONE_NEWNS) != 0) return false;
    std::ifstream mounts("/proc/self/mountinfo");
    std::string text;
    for (std::string line; std::getline(mounts, line);) text += line;
    return !text.empty() && text.find(" shared:") == std::string::npos;
  }

  bool isMine(const std::string& kind, long number) {
    if (!_only.empty()) return kind + ":" + std::to_string(number) == _only;
    return _next++ % _shares == _share;
  }

  /// Without a fault. All other runs are compared with this one, so that it is looked at by itself.
  bool runHonestly() {
    const Run run = machine::run({});
    _honest = machine::look();
    Check check(_original, _honest);
    check.begin("without a fault");
    check.ending(run, false);
    check.files(_honest);
    const auto has = [this](const std::string& path, const std::string& text) {
      return _honest.count(path) != 0 && _honest.at(path).text == text;
    };
    check.expect(WIFEXITED(run.status) && WEXITSTATUS(run.status) == 0, "it failed");
    check.expect(run.children.size() == 7, std::to_string(run.children.size()) + " children");
    check.expect(_honest.count(kUninstallManifest) == 0 && has(kUpdateManifest, check.manifest()), "manifests");
    check.expect(has(kBackup, _original.at(kInstallManifest).text), "backup");
    check.expect(has(kProperties, propertiesText(kNow, kNow)), "properties");
    check.expect(has(kRecords, instance::recordsText({{"version", "6.2.1"}})), "records");
    check.expect(has(std::string(machine::kStaged) + "/staged", _original.at(kStagingFolder + "/staged").text),
                 "staged");
    const auto isLike = [this](const std::string& path, const std::string& model) {
      const Entry &entry = _honest.at(path), &like = _original.at(model);
      return entry.mode == like.mode && entry.owner == like.owner && entry.group == like.group;
    };
    check.expect(isLike(kProperties, kProperties) && isLike(kRecords, kRecords) &&
                     isLike(kUpdateManifest, kUninstallManifest) && isLike(kBackup, kInstallManifest),
                 "attributes of rewritten files");
    for (const auto& [path, entry] : _honest) {
      if (!beginsWith(path, std::string(kData) + "/") || entry.kind == Entry::Kind::Link) continue;
      check.expect(entry.mode == 0775 && entry.owner == machine::alice() && entry.group == machine::admin(), path);
    }
    for (const std::string& complaint : check.complaints()) std::fprintf(stderr, "faults: %s\n", complaint.c_str());
    return check.complaints().empty();
  }

  /// A library that sees nothing would let every case hold.
  static bool seesAll(const std::vector<NotedCall>& calls) {
    std::string names;
    for (const NotedCall& call : calls) names += " " + call.name;
    for (const char* name :
         {"open",      "openat",   "read",       "write",  "copy_file_range", "fsync",      "ftruncate", "renameat",
          "renameat2", "unlink",   "mkdir",      "stat",   "fstat",           "lstat",      "fstatat",   "fchmod",
          "chmod",     "fchmodat", "fchownat",   "fchown", "readlink",        "readlinkat", "symlinkat", "fdopendir",
          "readdir",   "futimens", "flistxattr", "pipe",   "posix_spawn",     "getpwnam_r", "realpath"}) {
      if (names.find(" " + std::string(name)) != std::string::npos) continue;
      std::fprintf(stderr, "faults: no call of %s is seen in a run\n", name);
      return false;
    }
    return true;
  }

  void callFails(const Kind& kind, const NotedCall& call) {
    Check check(_original, _honest, {kind.effect, call});
    machine::restore(_original);
    check.begin("the run with the fault");
    const Run run = machine::run({kind.how, call.number});
    show(run);
    const auto at = static_cast<size_t>(call.number);
    if (check.expect(run.calls.size() >= at && run.calls[at - 1].name == call.name, "the call did not come")) {
      check.discarded(run.calls, at - 1);
    }
    check.ending(run, true);
    const Tree now = machine::look();
    check.files(now);
    if (kind.effect == Effect::None) {
      check.expect(run.output == kSucceeded, "output \"" + shortened(run.output) + "\"");
      check.honestEnd(now, false);
    }
    goOn(check);
    conclude(kind.name, call.number, call.name + " " + call.what, check);
  }

  /// Runs without a fault after one with a fault.
  void goOn(Check& check) {
    const bool isManifestLeft = machine::look().count(kUninstallManifest) != 0;
    check.begin(isManifestLeft ? "the next run" : "the next run, without a manifest");
    const Run next = machine::run({});
    show(next);
    const int status = WIFEXITED(next.status) ? WEXITSTATUS(next.status) : -1;
    check.ending(next, false);
    check.expect(status == (isManifestLeft ? 0 : 1), "exit status " + std::to_string(status));
    if (isManifestLeft) return check.honestEnd(machine::look(), false);

    check.expect(next.output == notFound(kUninstallManifest) + kUsage, "output \"" + shortened(next.output) + "\"");
    check.files(machine::look());
    check.begin("the run with the manifest restored");
    machine::make(kUninstallManifest, _original.at(kUninstallManifest));
    const Run last = machine::run({});
    show(last);
    check.ending(last, false);
    check.expect(last.output == kSucceeded, "output \"" + shortened(last.output) + "\"");
    check.honestEnd(machine::look(), true);
  }

  /// A user's home that is given as the data folder is left alone, also when it cannot be looked at.
  void homeAsData() {
    const std::string home = machine::kUserHome;
    machine::restore(_original);
    for (const NotedCall& call : machine::run({"list", 0}, nullptr, home).calls) {
      if (_only.empty() && (call.number - 1) % _every != 0) continue;
      if (!isMine("EIO-home", call.number)) continue;
      Check check(_original, _honest, {Effect::Failure, call});
      machine::restore(_original);
      check.begin("the run with the fault");
      const Run run = machine::run({std::to_string(EIO), call.number}, nullptr, home);
      show(run);
      check.ending(run, true);
      const Tree now = machine::look();
      check.files(now);
      for (const auto& [path, entry] : _original) {
        const auto found = now.find(path);
        if (!beginsWith(path, home) || found == now.end()) continue;
        check.expect(found->second.mode == entry.mode && found->second.owner == entry.owner &&
                         found->second.group == entry.group,
                     path + " has other attributes");
      }
      goOn(check);
      conclude("EIO-home", call.number, call.name + " " + call.what, check);
    }
  }

  // ----- File systems -----

  /// Mounts a file system in memory and puts the machine in place.
  static bool mountAt(const Place& place, Check& check) {
    const bool isMounted = mount("tmpfs", place.path, "tmpfs", 0, "size=1m,mode=0755") == 0;
    return check.expect(isMounted, std::string("mount: ") + std::strerror(errno));
  }

  void full(const Place& place) {
    Check check(_original, _honest, {Effect::Shortage, {}});
    machine::restore(_original);
    if (mountAt(place, check)) {
      machine::restore(_original);
      unlink(kUpdateManifest.c_str());  // its removal by the tool would make room
      const std::string filler = std::string(place.path) + "/" + machine::kFiller;
      const int file = open(filler.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
      const std::string page(4096, 'f');
      while (write(file, page.data(), page.size()) > 0) continue;
      close(file);
      check.begin("the run on the full file system");
      const Run run = machine::run({});
      show(run);
      check.ending(run, false);
      check.files(machine::look());
      expectOutcome(place, run, check);
      unlink(filler.c_str());
      goOn(check);
      umount2(place.path, MNT_DETACH);
    }
    conclude("full", _counts["full"].planned, place.name, check);
  }

  void readOnly(const Place& place) {
    Check check(_original, _honest);
    machine::restore(_original);
    if (mountAt(place, check)) {
      machine::restore(_original);
      const auto remount = [&](unsigned long flags) {
        check.expect(mount("", place.path, "", MS_REMOUNT | flags, "size=1m,mode=0755") == 0,
                     std::string("remount: ") + std::strerror(errno));
      };
      const Tree before = machine::look();
      remount(MS_RDONLY);
      check.begin("the run on the read-only file system");
      const Run run = machine::run({});
      show(run);
      check.ending(run, false);
      check.files(machine::look());
      expectOutcome(place, run, check);
      remount(0);
      goOn(check);
      umount2(place.path, MNT_DETACH);
    }
    conclude("read-only", _counts["read-only"].planned, place.name, check);
  }

  /// An instance that takes no change refuses; the other places only lose what would have been written there.
  static void expectOutcome(const Place& place, const Run& run, Check& check) {
    const bool isInstance = std::strcmp(place.name, "instance") == 0;
    check.expect(run.output == (isInstance ? notFound("install.update.xml") + kUsage : std::string(kSucceeded)),
                 "output \"" + shortened(run.output) + "\"");
  }

  /// A large folder of the data folder goes while the tool is in it.
  void vanishing(long part) {
    Check check(_original, _honest);
    const std::string many = std::string(kData) + "/many";
    const auto makeMany = [&] {
      machine::restore(_original);
      machine::make(many, {});
      for (int folder = 0; folder < 40; ++folder) {
        const std::string name = many + "/" + std::to_string(folder);
        machine::make(name, {});
        for (int file = 0; file < 100; ++file) {
          machine::make(name + "/" + std::to_string(file), {Entry::Kind::File, "", 0600, 0, 0});
        }
      }
    };
    makeMany();
    std::vector<NotedCall> calls;
    for (const NotedCall& call : machine::run({"list", 0}).calls) {
      if (beginsWith(call.what, many)) calls.push_back(call);
    }
    check.expect(calls.size() > 8000, "no walk through the folder");
    makeMany();
    pid_t remover = -1;
    const auto startRemover = [&] {
      remover = fork();
      if (remover == 0) {
        machine::removeAll(many);
        _exit(0);
      }
      // In the last case it is through before the tool goes on; else both are at it.
      if (part == kVanishings - 1) waitpid(remover, nullptr, 0);
    };
    const long at = calls.empty() ? 1 : calls[calls.size() * static_cast<size_t>(part) / kVanishings].number;
    check.begin("the run with the vanishing folder");
    const Run run = machine::run({"stop", at}, startRemover);
    show(run);
    check.expect(remover != -1, "it was not stopped");
    check.ending(run, false);
    check.expect(run.output == kSucceeded, "output \"" + shortened(run.output) + "\"");
    check.files(machine::look());
    goOn(check);
    conclude("vanishing", part + 1, "call " + std::to_string(at), check);
  }

  // ----- Results -----

  void show(const Run& run) const {
    if (_only.empty()) return;
    std::printf("show\tstatus %d%s\n", run.status, run.hasHung ? ", hung" : "");
    if (!run.output.empty()) std::printf("show\t%s\n", run.output.c_str());
    for (const std::string& child : run.children) std::printf("show\tchild %s\n", child.c_str());
    for (const NotedCall& call : run.calls) {
      std::printf("show\tcall %ld %s %s\n", call.number, call.name.c_str(), call.what.c_str());
    }
  }

  void conclude(const std::string& kind, long number, const std::string& what, const Check& check) {
    Count& count = _counts[kind];
    ++count.cases;
    if (check.complaints().empty()) {
      ++count.held;
      for (const Exception exception : check.exceptions()) ++_exceptions[kExceptionNames[exception]];
    }
    constexpr size_t kMost = 8;
    for (size_t at = 0; at < check.complaints().size() && at <= kMost; ++at) {
      const std::string complaint = at < kMost ? check.complaints()[at] : "and more";
      std::printf("failed\t%s:%ld\t%s\t%s\n", kind.c_str(), number, what.c_str(), complaint.c_str());
    }
    std::fflush(stdout);
  }

  void report() const {
    const auto print = [this](const std::string& kind) {
      const auto count = _counts.find(kind);
      if (count == _counts.end()) return;
      std::printf("count\t%s\t%ld\t%ld\n", kind.c_str(), count->second.cases, count->second.held);
    };
    for (const Kind& kind : kinds()) print(kind.name);
    for (const char* kind : {"EIO-home", "full", "read-only", "vanishing"}) print(kind);
    for (const auto& [name, count] : _exceptions) std::printf("exception\t%s\t%ld\n", name.c_str(), count);
    std::printf("done\n");
  }

  const long _share;
  const long _shares;
  const long _every;
  const std::string _only;
  long _next = 0;
  Tree _original;
  Tree _honest;
  std::map<std::string, Count> _counts;
  std::map<std::string, long> _exceptions;
};

int run(int argc, char* argv[]) {
  if (argc < 4 || argc > 5) return 2;
  const auto number = [argv](int index) { return std::strtol(argv[index], nullptr, 10); };
  if (number(1) < 0 || number(2) < 1 || number(3) < 1) return 2;
  return Faults(number(1), number(2), number(3), argc == 5 ? argv[4] : "").run();
}

}  // namespace

}  // namespace hotfix

int main(int argc, char* argv[]) { return hotfix::run(argc, argv); }
