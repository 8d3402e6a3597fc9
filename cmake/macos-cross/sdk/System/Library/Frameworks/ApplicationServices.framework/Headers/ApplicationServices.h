/*
 * The functions of Process Manager and Pasteboard Manager that this project calls, by Apple's reference pages. For the
 * cross build on Linux only: on a Mac the SDK's own headers are used.
 *
 * One declaration a line between __BEGIN_DECLS and __END_DECLS: the stub for the linker is made of them.
 */
#ifndef APPLICATION_SERVICES_H
#define APPLICATION_SERVICES_H

#include <CoreFoundation/CoreFoundation.h>
#include <sys/types.h>

enum { kNoProcess = 0 };
enum { procNotFound = -600 };
enum { kProcessDictionaryIncludeAllInformationMask = (int)0xFFFFFFFF };

typedef struct OpaquePasteboardRef* PasteboardRef;
typedef void* PasteboardItemID;
typedef UInt32 PasteboardSyncFlags;
typedef UInt32 PasteboardFlavorFlags;
enum { kPasteboardClientIsOwner = 2 };
enum { kPasteboardFlavorNoFlags = 0 };

#define DEPRECATED_IN_10_9 __attribute__((availability(macosx, introduced = 10.0, deprecated = 10.9)))

/* clang-format off */
__BEGIN_DECLS
OSErr GetNextProcess(ProcessSerialNumber *process) DEPRECATED_IN_10_9;
OSStatus GetProcessPID(const ProcessSerialNumber *process, pid_t *pid) DEPRECATED_IN_10_9;
CFDictionaryRef ProcessInformationCopyDictionary(const ProcessSerialNumber *process, UInt32 information) DEPRECATED_IN_10_9;

OSStatus PasteboardClear(PasteboardRef pasteboard);
OSStatus PasteboardCopyItemFlavorData(PasteboardRef pasteboard, PasteboardItemID item, CFStringRef flavor, CFDataRef *data);
OSStatus PasteboardCreate(CFStringRef name, PasteboardRef *pasteboard);
OSStatus PasteboardGetItemIdentifier(PasteboardRef pasteboard, CFIndex index, PasteboardItemID *item);
OSStatus PasteboardPutItemFlavor(PasteboardRef pasteboard, PasteboardItemID item, CFStringRef flavor, CFDataRef data, PasteboardFlavorFlags flags);
PasteboardSyncFlags PasteboardSynchronize(PasteboardRef pasteboard);
__END_DECLS
/* clang-format on */

#endif
