#ifndef MACINSTALLER_HOTIFX_UNINSTALL_LIBRARY_H_
#define MACINSTALLER_HOTIFX_UNINSTALL_LIBRARY_H_

/*
  C entries of the hotfix uninstaller, for installers that remove a hotfix in-process.

  Conventions:

  (1) Paths are zero-terminated UTF-8 and stay the caller's. NULL is an absent path. "~" is not expanded.
  (2) The result is 0 when the hotfix was removed, 1 for any failure. RCPUninstallHotfixReason tells why; what was done
      is in the system log.
  (3) The calls block until every child process has exited: the platform's launcher (twice), the package tool, the Java
      runtime. They need the rights to change the instance; normally root.
  (4) Lines for the person at the terminal go to standard output: one that tells success or failure of the
      provisioning, or which manifest is missing.
  (5) They can be called again and again in one process, and from any thread: a call waits until that of another thread
      has returned. For one short read in each call the effective user id of the process is that of the user named by
      the environment variable USER. No signal handler, descriptor, locale or working folder of the caller is changed.
  (6) No exception leaves them. Running out of memory gives 1.
  (7) The library is position-independent and may go into a plug-in. These are its only names that are not hidden.
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
  Removes the hotfix that is installed in the instance whose home folder is rcphome and whose data folder (workspace) is
  rcpdata; with rcpdata NULL the data folder is "systemdata" in the home folder.

  First checks, in this order, that the home folder exists, that its path holds none of the refused characters
  (! " ' ; \ # % | = ? and a colon), that an instance is installed there, that it lies in an application bundle, and,
  unless the hotfix recorded that this is to be skipped, that no process runs from that bundle. A failed check is
  silent: it changes nothing that is installed. Then removes the hotfix, and in any case gathers the log files of the
  operation if an instance was looked for.
*/
int32_t RCPUninstallHotfixEx(const char* rcphome, const char* rcpdata);

/* RCPUninstallHotfixEx with the default data folder. */
int32_t RCPUninstallHotfix(const char* rcphome);

/*
  Copies the reason of this thread's last failure into buffer, for a person, in UTF-8: words that can follow "because",
  without a capital letter and a full stop. It is empty after a success, and before this thread's first call. Paths in
  it are as they are: control characters too. The list of reasons is in hotfixUninstall(8).

  At most size bytes are written, the zero byte at the end included; a reason that is longer is cut at the end of a
  character. With a NULL buffer or a size of 0 nothing is written. Returns the length of the whole reason in bytes,
  without the zero byte: what was copied is whole when that is less than size. Neither waits for a call in another
  thread nor changes anything.
*/
size_t RCPUninstallHotfixReason(char* buffer, size_t size);

#ifdef __GNUC__
#pragma GCC visibility pop
#endif
#ifdef __cplusplus
}
#endif

#endif
