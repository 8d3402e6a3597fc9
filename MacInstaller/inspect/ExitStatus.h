#ifndef MACINSTALLER_INSPECT_EXIT_STATUS_H_
#define MACINSTALLER_INSPECT_EXIT_STATUS_H_

namespace hotfix {

/// The exit statuses of hotfixInspect. They are sufficient for a script.
enum ExitStatus {
  kGood = 0,         ///< preview: the hotfix would be removed; verify: it was removed; several instances: all examined
  kWouldFail = 1,    ///< preview: the hotfix would not be removed
  kNotVerified = 3,  ///< verify: a point contradicts a removal
  kUndecided = 4,    ///< verify: nothing contradicts a removal, but not every point could be decided

  // the status of one instance, for each state
  kNone = 10,
  kRemovable = 11,
  kRemoved = 12,
  kFailed = 13,
  kInterrupted = 14,
  kInconsistent = 15,
  kNoInstance = 16,

  kWrongUsage = 64,  // this value and those below are those of sysexits(3)
  kWrongInput = 65,  ///< verify: the earlier document cannot be used
  kNoMemory = 71,
  kNoOutput = 74
};

}  // namespace hotfix

#endif
