/*
 * The functions of CoreFoundation that this project calls, by Apple's reference pages. For the cross build on Linux
 * only: on a Mac the SDK's own headers are used.
 *
 * One declaration a line between __BEGIN_DECLS and __END_DECLS: the stub for the linker is made of them.
 */
#ifndef CORE_FOUNDATION_H
#define CORE_FOUNDATION_H

#include <MacTypes.h>
#include <sys/cdefs.h>

typedef const void* CFTypeRef;
typedef CFTypeRef CFPropertyListRef;
typedef const struct __CFAllocator* CFAllocatorRef;
typedef const struct __CFString* CFStringRef;
typedef struct __CFString* CFMutableStringRef;
typedef const struct __CFData* CFDataRef;
typedef const struct __CFArray* CFArrayRef;
typedef const struct __CFDictionary* CFDictionaryRef;
typedef const struct __CFURL* CFURLRef;
typedef const struct __CFLocale* CFLocaleRef;
typedef const struct __CFCharacterSet* CFCharacterSetRef;
typedef struct __CFBundle* CFBundleRef;
typedef struct __CFCalendar* CFCalendarRef;
typedef struct __CFError* CFErrorRef;

typedef signed long CFIndex;
typedef unsigned long CFTypeID;
typedef unsigned long CFOptionFlags;
typedef double CFTimeInterval;
typedef CFTimeInterval CFAbsoluteTime;
typedef UInt32 CFStringEncoding;

typedef struct {
  CFIndex location;
  CFIndex length;
} CFRange;
static inline CFRange CFRangeMake(CFIndex location, CFIndex length) {
  CFRange range = {location, length};
  return range;
}

#define kCFStringEncodingInvalidId (0xffffffffU)
typedef CFOptionFlags CFStringCompareFlags;
enum { kCFCompareCaseInsensitive = 1 };
typedef CFIndex CFStringNormalizationForm;
enum { kCFStringNormalizationFormD = 0 };
typedef CFIndex CFCharacterSetPredefinedSet;
enum { kCFCharacterSetNonBase = 8 };
typedef CFIndex CFPropertyListFormat;
enum { kCFPropertyListBinaryFormat_v1_0 = 200 };

/* clang-format off */
__BEGIN_DECLS
extern const CFAllocatorRef kCFAllocatorDefault;
extern const CFStringRef kCFGregorianCalendar;
extern const CFStringRef kCFPreferencesAnyApplication;
extern const CFStringRef kCFPreferencesAnyHost;
extern const CFStringRef kCFPreferencesAnyUser;
extern const CFStringRef kCFPreferencesCurrentHost;
extern const CFStringRef kCFPreferencesCurrentUser;

void CFRelease(CFTypeRef object);
CFTypeID CFGetTypeID(CFTypeRef object);

CFBundleRef CFBundleCreate(CFAllocatorRef allocator, CFURLRef url);
CFStringRef CFBundleGetIdentifier(CFBundleRef bundle);

CFCalendarRef CFCalendarCopyCurrent(void);
CFCalendarRef CFCalendarCreateWithIdentifier(CFAllocatorRef allocator, CFStringRef identifier);
Boolean CFCalendarDecomposeAbsoluteTime(CFCalendarRef calendar, CFAbsoluteTime at, const char *components, ...);
CFAbsoluteTime CFAbsoluteTimeGetCurrent(void);

CFCharacterSetRef CFCharacterSetGetPredefined(CFCharacterSetPredefinedSet set);
Boolean CFCharacterSetIsLongCharacterMember(CFCharacterSetRef set, UTF32Char character);

CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8 *bytes, CFIndex length);
const UInt8 *CFDataGetBytePtr(CFDataRef data);
CFIndex CFDataGetLength(CFDataRef data);

CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary);
const void *CFDictionaryGetValue(CFDictionaryRef dictionary, const void *key);

CFDictionaryRef CFPreferencesCopyMultiple(CFArrayRef keys, CFStringRef application, CFStringRef user, CFStringRef host);
CFPropertyListRef CFPreferencesCopyValue(CFStringRef key, CFStringRef application, CFStringRef user, CFStringRef host);
Boolean CFPreferencesSynchronize(CFStringRef application, CFStringRef user, CFStringRef host);

CFDataRef CFPropertyListCreateData(CFAllocatorRef allocator, CFPropertyListRef list, CFPropertyListFormat format, CFOptionFlags options, CFErrorRef *error);

CFTypeID CFStringGetTypeID(void);
CFStringEncoding CFStringConvertIANACharSetNameToEncoding(CFStringRef name);
CFStringRef CFStringCreateWithBytes(CFAllocatorRef allocator, const UInt8 *bytes, CFIndex length, CFStringEncoding encoding, Boolean isExternal);
CFStringRef CFStringCreateWithCharacters(CFAllocatorRef allocator, const UniChar *characters, CFIndex length);
CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef allocator, CFIndex maxLength, CFStringRef string);
void CFStringFold(CFMutableStringRef string, CFStringCompareFlags flags, CFLocaleRef locale);
void CFStringGetCharacters(CFStringRef string, CFRange range, UniChar *buffer);
CFIndex CFStringGetLength(CFStringRef string);
void CFStringLowercase(CFMutableStringRef string, CFLocaleRef locale);
void CFStringNormalize(CFMutableStringRef string, CFStringNormalizationForm form);

CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator, const UInt8 *path, CFIndex length, Boolean isDirectory);
__END_DECLS
/* clang-format on */

#endif
