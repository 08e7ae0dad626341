// Declarations of the CoreFoundation API we call, for the macOS compile
// check only (see ../README.md). Values and signatures follow Apple's
// CoreFoundation reference.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef unsigned char Boolean;
typedef uint8_t UInt8;
typedef uint32_t UInt32;
typedef int32_t SInt32;
typedef long CFIndex;
typedef unsigned long CFTypeID;
typedef unsigned long CFOptionFlags;
typedef double CFTimeInterval;
typedef CFTimeInterval CFAbsoluteTime;
typedef UInt32 CFStringEncoding;

typedef const void* CFTypeRef;
typedef const struct __CFAllocator* CFAllocatorRef;
typedef const struct __CFString* CFStringRef;
typedef struct __CFString* CFMutableStringRef;
typedef const struct __CFNumber* CFNumberRef;
typedef const struct __CFBoolean* CFBooleanRef;
typedef const struct __CFData* CFDataRef;
typedef const struct __CFDate* CFDateRef;
typedef const struct __CFArray* CFArrayRef;
typedef const struct __CFDictionary* CFDictionaryRef;
typedef struct __CFDictionary* CFMutableDictionaryRef;
typedef struct __CFError* CFErrorRef;
typedef CFTypeRef CFPropertyListRef;

typedef struct {
    CFIndex location;
    CFIndex length;
} CFRange;

extern const CFAllocatorRef kCFAllocatorDefault;

CFTypeRef CFRetain(CFTypeRef cf);
void CFRelease(CFTypeRef cf);
CFTypeID CFGetTypeID(CFTypeRef cf);

// Booleans
extern const CFBooleanRef kCFBooleanTrue;
extern const CFBooleanRef kCFBooleanFalse;
CFTypeID CFBooleanGetTypeID(void);
Boolean CFBooleanGetValue(CFBooleanRef boolean);

// Numbers
typedef CFIndex CFNumberType;
enum {
    kCFNumberSInt32Type = 3,
    kCFNumberSInt64Type = 4,
    kCFNumberDoubleType = 13,
    kCFNumberIntType = 9,
    kCFNumberLongLongType = 11,
};
CFTypeID CFNumberGetTypeID(void);
Boolean CFNumberIsFloatType(CFNumberRef number);
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType theType, void* valuePtr);
CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType theType, const void* valuePtr);

// Strings
enum { kCFStringEncodingUTF8 = 0x08000100 };
typedef CFOptionFlags CFStringCompareFlags;
enum {
    kCFCompareCaseInsensitive = 1,
    kCFCompareNumerically = 64,
    kCFCompareLocalized = 32,
};
typedef CFIndex CFComparisonResult;
enum { kCFCompareLessThan = -1, kCFCompareEqualTo = 0, kCFCompareGreaterThan = 1 };
CFTypeID CFStringGetTypeID(void);
const char* CFStringGetCStringPtr(CFStringRef theString, CFStringEncoding encoding);
CFIndex CFStringGetLength(CFStringRef theString);
CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);
Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize, CFStringEncoding encoding);
// Compile-time constant strings, as the SDK defines them for clang.
#define CFSTR(cStr) ((CFStringRef)__builtin___CFStringMakeConstantString("" cStr ""))
CFStringRef CFStringCreateWithCString(CFAllocatorRef alloc, const char* cStr, CFStringEncoding encoding);
CFComparisonResult CFStringCompare(CFStringRef theString1, CFStringRef theString2, CFStringCompareFlags compareOptions);

// Data
CFTypeID CFDataGetTypeID(void);
CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length);
const UInt8* CFDataGetBytePtr(CFDataRef theData);
CFIndex CFDataGetLength(CFDataRef theData);

// Dates
CFTypeID CFDateGetTypeID(void);
CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef theDate);

// Arrays
CFTypeID CFArrayGetTypeID(void);
CFIndex CFArrayGetCount(CFArrayRef theArray);
const void* CFArrayGetValueAtIndex(CFArrayRef theArray, CFIndex idx);

// Dictionaries
CFTypeID CFDictionaryGetTypeID(void);
CFIndex CFDictionaryGetCount(CFDictionaryRef theDict);
void CFDictionaryGetKeysAndValues(CFDictionaryRef theDict, const void** keys, const void** values);
const void* CFDictionaryGetValue(CFDictionaryRef theDict, const void* key);
typedef const void* (*CFDictionaryRetainCallBack)(CFAllocatorRef allocator, const void* value);
typedef void (*CFDictionaryReleaseCallBack)(CFAllocatorRef allocator, const void* value);
typedef CFStringRef (*CFDictionaryCopyDescriptionCallBack)(const void* value);
typedef Boolean (*CFDictionaryEqualCallBack)(const void* value1, const void* value2);
typedef CFIndex (*CFDictionaryHashCallBack)(const void* value);
typedef struct {
    CFIndex version;
    CFDictionaryRetainCallBack retain;
    CFDictionaryReleaseCallBack release;
    CFDictionaryCopyDescriptionCallBack copyDescription;
    CFDictionaryEqualCallBack equal;
    CFDictionaryHashCallBack hash;
} CFDictionaryKeyCallBacks;
typedef struct {
    CFIndex version;
    CFDictionaryRetainCallBack retain;
    CFDictionaryReleaseCallBack release;
    CFDictionaryCopyDescriptionCallBack copyDescription;
    CFDictionaryEqualCallBack equal;
} CFDictionaryValueCallBacks;
extern const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;
extern const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;
CFDictionaryRef CFDictionaryCreate(CFAllocatorRef allocator, const void** keys, const void** values,
                                   CFIndex numValues, const CFDictionaryKeyCallBacks* keyCallBacks,
                                   const CFDictionaryValueCallBacks* valueCallBacks);

// Property lists
typedef CFOptionFlags CFPropertyListMutabilityOptions;
enum { kCFPropertyListImmutable = 0 };
typedef CFIndex CFPropertyListFormat;
CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef allocator, CFDataRef data, CFOptionFlags options,
                                               CFPropertyListFormat* format, CFErrorRef* error);

// ---- Volume URLs, resource values and name ordering (the disk sampler)
typedef const struct __CFURL* CFURLRef;
enum {
    kCFCompareWidthInsensitive = 256,
    kCFCompareForcedOrdering = 512,
};
typedef const void* (*CFArrayRetainCallBack)(CFAllocatorRef allocator, const void* value);
typedef void (*CFArrayReleaseCallBack)(CFAllocatorRef allocator, const void* value);
typedef CFStringRef (*CFArrayCopyDescriptionCallBack)(const void* value);
typedef Boolean (*CFArrayEqualCallBack)(const void* value1, const void* value2);
typedef struct {
    CFIndex version;
    CFArrayRetainCallBack retain;
    CFArrayReleaseCallBack release;
    CFArrayCopyDescriptionCallBack copyDescription;
    CFArrayEqualCallBack equal;
} CFArrayCallBacks;
extern const CFArrayCallBacks kCFTypeArrayCallBacks;
CFArrayRef CFArrayCreate(CFAllocatorRef allocator, const void** values, CFIndex numValues,
                         const CFArrayCallBacks* callBacks);
CFStringRef CFStringCreateWithBytes(CFAllocatorRef alloc, const UInt8* bytes, CFIndex numBytes,
                                    CFStringEncoding encoding, Boolean isExternalRepresentation);
CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator, const UInt8* buffer, CFIndex bufLen,
                                                 Boolean isDirectory);
void CFURLClearResourcePropertyCache(CFURLRef url);
CFDictionaryRef CFURLCopyResourcePropertiesForKeys(CFURLRef url, CFArrayRef keys, CFErrorRef* error);
extern const CFStringRef kCFURLVolumeIsLocalKey;
extern const CFStringRef kCFURLVolumeNameKey;
extern const CFStringRef kCFURLVolumeUUIDStringKey;
extern const CFStringRef kCFURLVolumeTotalCapacityKey;
extern const CFStringRef kCFURLVolumeAvailableCapacityKey;
extern const CFStringRef kCFURLVolumeAvailableCapacityForImportantUsageKey;

// ---- Composed characters, character sets and the main bundle (the helper's
// team identifier check and its Info.plist)
typedef const struct __CFCharacterSet* CFCharacterSetRef;
typedef CFIndex CFCharacterSetPredefinedSet;
enum { kCFCharacterSetAlphaNumeric = 10 };
CFRange CFStringGetRangeOfComposedCharactersAtIndex(CFStringRef theString, CFIndex theIndex);
CFCharacterSetRef CFCharacterSetGetPredefined(CFCharacterSetPredefinedSet theSetIdentifier);
CFCharacterSetRef CFCharacterSetCreateInvertedSet(CFAllocatorRef alloc, CFCharacterSetRef theSet);
Boolean CFStringFindCharacterFromSet(CFStringRef theString, CFCharacterSetRef theSet, CFRange rangeToSearch,
                                     CFStringCompareFlags searchOptions, CFRange* result);
typedef struct __CFBundle* CFBundleRef;
CFBundleRef CFBundleGetMainBundle(void);
CFDictionaryRef CFBundleGetInfoDictionary(CFBundleRef bundle);

// ---- Locales, number formatting, time zones and calendars (the formatters
// and the quiet-hours test)
typedef const struct __CFLocale* CFLocaleRef;
typedef struct __CFNumberFormatter* CFNumberFormatterRef;
typedef const struct __CFTimeZone* CFTimeZoneRef;
typedef struct __CFCalendar* CFCalendarRef;
typedef CFIndex CFNumberFormatterStyle;
enum { kCFNumberFormatterDecimalStyle = 1 };
typedef CFIndex CFNumberFormatterRoundingMode;
enum { kCFNumberFormatterRoundHalfUp = 6 };
CFLocaleRef CFLocaleCopyCurrent(void);
CFLocaleRef CFLocaleCreate(CFAllocatorRef allocator, CFStringRef localeIdentifier);
CFTypeRef CFLocaleGetValue(CFLocaleRef locale, CFStringRef key);
CFStringRef CFLocaleGetIdentifier(CFLocaleRef locale);
extern const CFStringRef kCFLocaleMeasurementSystem;
CFNumberFormatterRef CFNumberFormatterCreate(CFAllocatorRef allocator, CFLocaleRef locale,
                                             CFNumberFormatterStyle style);
void CFNumberFormatterSetProperty(CFNumberFormatterRef formatter, CFStringRef key, CFTypeRef value);
CFStringRef CFNumberFormatterCreateStringWithValue(CFAllocatorRef allocator, CFNumberFormatterRef formatter,
                                                   CFNumberType numberType, const void* valuePtr);
extern const CFStringRef kCFNumberFormatterMinFractionDigits;
extern const CFStringRef kCFNumberFormatterMaxFractionDigits;
extern const CFStringRef kCFNumberFormatterRoundingMode;
CFTimeZoneRef CFTimeZoneCopyDefault(void);
CFTimeZoneRef CFTimeZoneCreateWithName(CFAllocatorRef allocator, CFStringRef name, Boolean tryAbbrev);
CFStringRef CFTimeZoneGetName(CFTimeZoneRef tz);
extern const CFStringRef kCFGregorianCalendar;
CFCalendarRef CFCalendarCreateWithIdentifier(CFAllocatorRef allocator, CFStringRef identifier);
void CFCalendarSetTimeZone(CFCalendarRef calendar, CFTimeZoneRef tz);
Boolean CFCalendarDecomposeAbsoluteTime(CFCalendarRef calendar, CFAbsoluteTime at, const char* componentDesc, ...);

#ifdef __cplusplus
}
#endif
