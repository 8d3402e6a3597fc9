#ifndef MACINSTALLER_INSPECT_EXIT_STATUS_H_
#define MACINSTALLER_INSPECT_EXIT_STATUS_H_

namespace hotfix {

/// The exit statuses of hotfixInspect: a script needs no more.
enum ExitStatus {
  kGood = 0,         ///< preview: the hotfix would be removed; verify: it was; several instances: all were looked at
  kWouldFail = 1,    ///< preview: it would not be removed
  kNotVerified = 3,  ///< verify: a point contradicts a removal
  kUndecided = 4,    ///< verify: nothing contradicts it, but not every point could be decided

  // status of one instance, by its state
  kNone = 10,
  kRemovable = 11,
  kRemoved = 12,
  kFailed = 13,
  kInterrupted = 14,
  kInconsistent = 15,
  kNoInstance = 16,

  kWrongUsage = 64,  // as sysexits(3) has them
  kWrongInput = 65,  ///< verify: the earlier document cannot be used
  kNoMemory = 71,
  kNoOutput = 74
};

}  // namespace hotfix

#endif
