#ifndef MACINSTALLER_HOTIFX_UNINSTALL_LIBRARY_H_
#define MACINSTALLER_HOTIFX_UNINSTALL_LIBRARY_H_

/*
  C functions of the hotfix uninstaller, for installers that remove a hotfix in-process.

  Conventions:

  (1) Paths are zero-terminated UTF-8, and the caller keeps their ownership. NULL means an absent path. "~" is not
      expanded.
  (2) The result is 0 when the hotfix was removed, and 1 after any failure. RCPUninstallHotfixReason returns the reason.
      See the system log for details.
  (3) The calls block until every child process has exited: the platform's launcher (twice), the package tool, the Java
      runtime. They need the permissions to change the instance, normally those of root.
  (4) Lines for the user at the terminal go to standard output: the success or failure of the provisioning, or the
      manifest that is missing.
  (5) They can be called repeatedly in one process, and from any thread: a call waits until that of another thread has
      returned. For one short read in each call, the effective user id of the process is that of the user named by the
      environment variable USER. No signal handler, descriptor, locale or working folder of the caller is changed.
  (6) They throw no exception. They return 1 when there is not enough memory.
  (7) The library is position-independent and may be linked into a plug-in. All its other names are hidden.
*/

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#ifdef __GNUC__
#pragma GCC visibility push(default) /* the only names that are not hidden in the library */
#endif

/*
  Removes the hotfix that is installed in the instance with the home folder rcphome and the data folder (workspace)
  rcpdata. If rcpdata is NULL, the data folder is "systemdata" in the home folder.

  First checks, in this order, that the home folder exists, that its path contains none of the refused characters
  (! " ' ; \ # % | = ? and a colon), that an instance is installed there, that it is inside an application bundle, and
  that no process runs from that bundle. The last check is skipped if the hotfix recorded this. A failed check is silent
  and changes nothing that is installed. Then removes the hotfix. In any case, collects the log files of the operation,
  provided that the check for an instance was reached.
*/
int32_t RCPUninstallHotfixEx(const char* rcphome, const char* rcpdata);

/* RCPUninstallHotfixEx with the default data folder. */
int32_t RCPUninstallHotfix(const char* rcphome);

/*
  Copies the reason of this thread's last failure into buffer, as UTF-8 text for a user. It can follow "because" and has
  no capital letter and no full stop. It is empty after a success, and before this thread's first call. Control
  characters of its paths are not replaced. hotfixUninstall(8) lists the reasons.

  At most size bytes are written, including the zero byte at the end. A longer reason is cut at the end of a character.
  If buffer is NULL or size is 0, nothing is written. Returns the length of the whole reason in bytes, without the zero
  byte. The copy is complete if that is less than size. Does not wait for a call in another thread and changes nothing.
*/
size_t RCPUninstallHotfixReason(char* buffer, size_t size);

#ifdef __GNUC__
#pragma GCC visibility pop
#endif
#ifdef __cplusplus
}
#endif

#endif
