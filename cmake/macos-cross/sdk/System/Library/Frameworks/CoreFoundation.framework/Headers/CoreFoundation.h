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
typedef struct __CFArray* CFMutableArrayRef;
typedef const struct __CFDictionary* CFDictionaryRef;
typedef struct __CFDictionary* CFMutableDictionaryRef;
typedef const struct __CFBoolean* CFBooleanRef;
typedef const struct __CFNumber* CFNumberRef;
typedef const struct __CFDate* CFDateRef;
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

enum { kCFStringEncodingUTF8 = 0x08000100 };
#define kCFStringEncodingInvalidId (0xffffffffU)
typedef CFOptionFlags CFStringCompareFlags;
enum { kCFCompareCaseInsensitive = 1 };
typedef CFIndex CFStringNormalizationForm;
enum { kCFStringNormalizationFormD = 0 };
typedef CFIndex CFCharacterSetPredefinedSet;
enum { kCFCharacterSetNonBase = 8 };
typedef CFIndex CFNumberType;
enum { kCFNumberSInt64Type = 4, kCFNumberDoubleType = 13 };
typedef CFIndex CFPropertyListFormat;
enum { kCFPropertyListXMLFormat_v1_0 = 100 };
enum { kCFPropertyListImmutable = 0 };

typedef struct CFArrayCallBacks CFArrayCallBacks;
typedef struct CFDictionaryKeyCallBacks CFDictionaryKeyCallBacks;
typedef struct CFDictionaryValueCallBacks CFDictionaryValueCallBacks;

/* clang-format off */
__BEGIN_DECLS
extern const CFAllocatorRef kCFAllocatorDefault;
extern const CFAllocatorRef kCFAllocatorNull;
extern const CFArrayCallBacks kCFTypeArrayCallBacks;
extern const CFBooleanRef kCFBooleanFalse;
extern const CFBooleanRef kCFBooleanTrue;
extern const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;
extern const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;
extern const CFStringRef kCFGregorianCalendar;
extern const CFStringRef kCFPreferencesAnyApplication;
extern const CFStringRef kCFPreferencesAnyHost;
extern const CFStringRef kCFPreferencesCurrentUser;

void CFRelease(CFTypeRef object);
CFTypeRef CFRetain(CFTypeRef object);
CFTypeID CFGetTypeID(CFTypeRef object);

CFTypeID CFArrayGetTypeID(void);
void CFArrayAppendValue(CFMutableArrayRef array, const void *value);
CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef allocator, CFIndex capacity, const CFArrayCallBacks *callBacks);
CFIndex CFArrayGetCount(CFArrayRef array);
const void *CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);

CFTypeID CFBooleanGetTypeID(void);
Boolean CFBooleanGetValue(CFBooleanRef boolean);

CFBundleRef CFBundleCreate(CFAllocatorRef allocator, CFURLRef url);
CFStringRef CFBundleGetIdentifier(CFBundleRef bundle);

CFCalendarRef CFCalendarCopyCurrent(void);
CFCalendarRef CFCalendarCreateWithIdentifier(CFAllocatorRef allocator, CFStringRef identifier);
Boolean CFCalendarDecomposeAbsoluteTime(CFCalendarRef calendar, CFAbsoluteTime at, const char *components, ...);
CFAbsoluteTime CFAbsoluteTimeGetCurrent(void);

CFCharacterSetRef CFCharacterSetGetPredefined(CFCharacterSetPredefinedSet set);
Boolean CFCharacterSetIsLongCharacterMember(CFCharacterSetRef set, UTF32Char character);

CFTypeID CFDataGetTypeID(void);
CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8 *bytes, CFIndex length);
CFDataRef CFDataCreateWithBytesNoCopy(CFAllocatorRef allocator, const UInt8 *bytes, CFIndex length, CFAllocatorRef deallocator);
const UInt8 *CFDataGetBytePtr(CFDataRef data);
CFIndex CFDataGetLength(CFDataRef data);

CFTypeID CFDateGetTypeID(void);
CFDateRef CFDateCreate(CFAllocatorRef allocator, CFAbsoluteTime at);
CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef date);

CFTypeID CFDictionaryGetTypeID(void);
CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef allocator, CFIndex capacity, const CFDictionaryKeyCallBacks *keys, const CFDictionaryValueCallBacks *values);
CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary);
void CFDictionaryGetKeysAndValues(CFDictionaryRef dictionary, const void **keys, const void **values);
const void *CFDictionaryGetValue(CFDictionaryRef dictionary, const void *key);
void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void *key, const void *value);

CFTypeID CFNumberGetTypeID(void);
CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType type, const void *value);
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void *value);
Boolean CFNumberIsFloatType(CFNumberRef number);

CFDictionaryRef CFPreferencesCopyMultiple(CFArrayRef keys, CFStringRef application, CFStringRef user, CFStringRef host);
CFPropertyListRef CFPreferencesCopyValue(CFStringRef key, CFStringRef application, CFStringRef user, CFStringRef host);
Boolean CFPreferencesSynchronize(CFStringRef application, CFStringRef user, CFStringRef host);

CFDataRef CFPropertyListCreateData(CFAllocatorRef allocator, CFPropertyListRef list, CFPropertyListFormat format, CFOptionFlags options, CFErrorRef *error);
CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef allocator, CFDataRef data, CFOptionFlags options, CFPropertyListFormat *format, CFErrorRef *error);

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
