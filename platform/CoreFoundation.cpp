// Reference counts, strings and dictionaries. The run loop is in RunLoop.cpp.
#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Object.h"

struct __CFString {
    Object object;
    size_t length;  // in bytes, without the NUL
    char* text;     // UTF-8, in the same block of memory
    const __CFString* nextConstant;
};

struct __CFDictionary {
    Object object;
    CFDictionaryKeyCallBacks keys;
    CFDictionaryValueCallBacks values;
    struct Entry {
        const void* key;
        const void* value;
    } * entries;
    CFIndex count, capacity;
};

namespace {

// Every CFSTR of the process, so that equal literals are one object.
const __CFString* g_constants;

}  // namespace

// ---- Reference counts

void* CreateObject(size_t size, void (*destroy)(void* object)) {
    auto* object = static_cast<Object*>(calloc(1, size));
    if (object != nullptr) *object = {1, destroy};
    return object;
}

namespace {

Object* MutableObject(CFTypeRef object) {
    return static_cast<Object*>(const_cast<void*>(object));
}

}  // namespace

CFTypeRef CFRetain(CFTypeRef object) {
    if (MutableObject(object)->references != kImmortal) ++MutableObject(object)->references;
    return object;
}

void CFRelease(CFTypeRef object) {
    if (object == nullptr) {
        fputs("*** CFRelease() called with NULL ***\n", stderr);
        abort();
    }
    Object* counted = MutableObject(object);
    if (counted->references != kImmortal && --counted->references == 0) counted->destroy(counted);
}

// ---- Strings

namespace {

// The upper half of MacRoman, from 0x80.
constexpr uint16_t kMacRoman[128] = {
    0x00C4, 0x00C5, 0x00C7, 0x00C9, 0x00D1, 0x00D6, 0x00DC, 0x00E1, 0x00E0, 0x00E2, 0x00E4, 0x00E3, 0x00E5,
    0x00E7, 0x00E9, 0x00E8, 0x00EA, 0x00EB, 0x00ED, 0x00EC, 0x00EE, 0x00EF, 0x00F1, 0x00F3, 0x00F2, 0x00F4,
    0x00F6, 0x00F5, 0x00FA, 0x00F9, 0x00FB, 0x00FC, 0x2020, 0x00B0, 0x00A2, 0x00A3, 0x00A7, 0x2022, 0x00B6,
    0x00DF, 0x00AE, 0x00A9, 0x2122, 0x00B4, 0x00A8, 0x2260, 0x00C6, 0x00D8, 0x221E, 0x00B1, 0x2264, 0x2265,
    0x00A5, 0x00B5, 0x2202, 0x2211, 0x220F, 0x03C0, 0x222B, 0x00AA, 0x00BA, 0x03A9, 0x00E6, 0x00F8, 0x00BF,
    0x00A1, 0x00AC, 0x221A, 0x0192, 0x2248, 0x2206, 0x00AB, 0x00BB, 0x2026, 0x00A0, 0x00C0, 0x00C3, 0x00D5,
    0x0152, 0x0153, 0x2013, 0x2014, 0x201C, 0x201D, 0x2018, 0x2019, 0x00F7, 0x25CA, 0x00FF, 0x0178, 0x2044,
    0x20AC, 0x2039, 0x203A, 0xFB01, 0xFB02, 0x2021, 0x00B7, 0x201A, 0x201E, 0x2030, 0x00C2, 0x00CA, 0x00C1,
    0x00CB, 0x00C8, 0x00CD, 0x00CE, 0x00CF, 0x00CC, 0x00D3, 0x00D4, 0xF8FF, 0x00D2, 0x00DA, 0x00DB, 0x00D9,
    0x0131, 0x02C6, 0x02DC, 0x00AF, 0x02D8, 0x02D9, 0x02DA, 0x00B8, 0x02DD, 0x02DB, 0x02C7};

// Reads the character at `text` and moves past it; false when that is not well-formed UTF-8.
bool DecodeUtf8(const char** text, uint32_t* character) {
    static constexpr uint32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};
    const auto lead = static_cast<unsigned char>(*(*text)++);
    const int more = lead < 0x80 ? 0 : lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
    if ((lead >= 0x80 && lead < 0xC2) || lead > 0xF4) return false;
    *character = more > 0 ? lead & (0x3Fu >> more) : lead;
    for (int i = 0; i < more; ++i) {
        const auto next = static_cast<unsigned char>(**text);
        if ((next & 0xC0) != 0x80) return false;
        *character = *character << 6 | (next & 0x3F);
        ++*text;
    }
    const bool isSurrogate = *character >= 0xD800 && *character <= 0xDFFF;
    return *character >= kSmallest[more] && *character <= 0x10FFFF && !isSurrogate;
}

bool IsUtf8(const char* text) {
    for (uint32_t character; *text != '\0';)
        if (!DecodeUtf8(&text, &character)) return false;
    return true;
}

// Writes the UTF-8 of one byte of MacRoman, which is 1 to 3 bytes long, and returns its length.
size_t MacRomanToUtf8(unsigned char byte, char* out) {
    const uint32_t character = byte < 0x80 ? byte : kMacRoman[byte - 0x80];
    if (character < 0x80) {
        out[0] = static_cast<char>(character);
        return 1;
    }
    size_t length = 0;
    if (character < 0x800) {
        out[length++] = static_cast<char>(0xC0 | character >> 6);
    } else {
        out[length++] = static_cast<char>(0xE0 | character >> 12);
        out[length++] = static_cast<char>(0x80 | (character >> 6 & 0x3F));
    }
    out[length++] = static_cast<char>(0x80 | (character & 0x3F));
    return length;
}

// The byte that `character` has in MacRoman, or -1.
int MacRomanByte(uint32_t character) {
    if (character < 0x80) return static_cast<int>(character);
    for (int i = 0; i < 128; ++i)
        if (kMacRoman[i] == character) return 0x80 + i;
    return -1;
}

void DestroyString(void* object) {
    free(object);
}

__CFString* CreateString(size_t room) {
    auto* string = static_cast<__CFString*>(CreateObject(sizeof(__CFString) + room + 1, DestroyString));
    if (string == nullptr) return nullptr;
    string->text = reinterpret_cast<char*>(string + 1);
    return string;
}

__CFString* CreateFromUtf8(const char* text) {
    __CFString* string = CreateString(strlen(text));
    if (string == nullptr) return nullptr;
    string->length = strlen(text);
    memcpy(string->text, text, string->length);
    return string;
}

__CFString* CreateFromMacRoman(const char* text) {
    __CFString* string = CreateString(3 * strlen(text));
    if (string == nullptr) return nullptr;
    for (; *text != '\0'; ++text)
        string->length += MacRomanToUtf8(static_cast<unsigned char>(*text), string->text + string->length);
    return string;
}

}  // namespace

CFStringRef CFStringCreateWithCString(CFAllocatorRef /*allocator*/, const char* text,
                                      CFStringEncoding encoding) {
    if (text == nullptr) return nullptr;
    if (encoding == kCFStringEncodingMacRoman) return CreateFromMacRoman(text);
    return encoding == kCFStringEncodingUTF8 && IsUtf8(text) ? CreateFromUtf8(text) : nullptr;
}

namespace {

// The length of `string` in MacRoman, or -1; writes it to `buffer` unless that is null.
CFIndex WriteMacRoman(CFStringRef string, char* buffer) {
    CFIndex length = 0;
    uint32_t character;
    for (const char* text = string->text; *text != '\0' && DecodeUtf8(&text, &character); ++length) {
        const int byte = MacRomanByte(character);
        if (byte < 0) return -1;
        if (buffer != nullptr) buffer[length] = static_cast<char>(byte);
    }
    return length;
}

}  // namespace

Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex bufferSize, CFStringEncoding encoding) {
    const bool isMacRoman = encoding == kCFStringEncodingMacRoman;
    if (string == nullptr || buffer == nullptr || (!isMacRoman && encoding != kCFStringEncodingUTF8))
        return false;
    const CFIndex length = isMacRoman ? WriteMacRoman(string, nullptr) : static_cast<CFIndex>(string->length);
    if (length < 0 || length >= bufferSize) return false;
    if (isMacRoman)
        WriteMacRoman(string, buffer);
    else
        memcpy(buffer, string->text, string->length);
    buffer[length] = '\0';
    return true;
}

CFStringRef __CFStringMakeConstantString(const char* text) {
    for (const __CFString* known = g_constants; known != nullptr; known = known->nextConstant)
        if (strcmp(known->text, text) == 0) return known;
    __CFString* string = CreateFromUtf8(text);
    if (string == nullptr) return nullptr;
    string->object.references = kImmortal;
    string->nextConstant = g_constants;
    g_constants = string;
    return string;
}

namespace {

bool IsString(CFTypeRef object) {
    return static_cast<const Object*>(object)->destroy == DestroyString;
}

}  // namespace

Boolean CFEqual(CFTypeRef object1, CFTypeRef object2) {
    if (object1 == object2) return true;
    if (!IsString(object1) || !IsString(object2)) return false;
    return strcmp(static_cast<CFStringRef>(object1)->text, static_cast<CFStringRef>(object2)->text) == 0;
}

// ---- Dictionaries

namespace {

const void* RetainEntry(CFAllocatorRef /*allocator*/, const void* value) {
    return CFRetain(value);
}

void ReleaseEntry(CFAllocatorRef /*allocator*/, const void* value) {
    CFRelease(value);
}

void DestroyDictionary(void* object) {
    auto* dictionary = static_cast<CFMutableDictionaryRef>(object);
    for (CFIndex i = 0; i < dictionary->count; ++i) {
        if (dictionary->keys.release != nullptr)
            dictionary->keys.release(nullptr, dictionary->entries[i].key);
        if (dictionary->values.release != nullptr)
            dictionary->values.release(nullptr, dictionary->entries[i].value);
    }
    free(dictionary->entries);
    free(dictionary);
}

}  // namespace

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef /*allocator*/, CFIndex /*capacity*/,
                                                 const CFDictionaryKeyCallBacks* keyCallBacks,
                                                 const CFDictionaryValueCallBacks* valueCallBacks) {
    auto* dictionary =
        static_cast<CFMutableDictionaryRef>(CreateObject(sizeof(__CFDictionary), DestroyDictionary));
    if (dictionary == nullptr) return nullptr;
    if (keyCallBacks != nullptr) dictionary->keys = *keyCallBacks;
    if (valueCallBacks != nullptr) dictionary->values = *valueCallBacks;
    return dictionary;
}

namespace {

__CFDictionary::Entry* FindEntry(CFDictionaryRef dictionary, const void* key) {
    for (CFIndex i = 0; i < dictionary->count; ++i) {
        const void* known = dictionary->entries[i].key;
        if (known == key || (dictionary->keys.equal != nullptr && dictionary->keys.equal(known, key) != 0))
            return &dictionary->entries[i];
    }
    return nullptr;
}

bool MakeRoom(CFMutableDictionaryRef dictionary) {
    if (dictionary->count < dictionary->capacity) return true;
    const CFIndex capacity = dictionary->capacity + 8;
    void* memory =
        realloc(dictionary->entries, static_cast<size_t>(capacity) * sizeof(__CFDictionary::Entry));
    if (memory == nullptr) return false;
    dictionary->entries = static_cast<__CFDictionary::Entry*>(memory);
    dictionary->capacity = capacity;
    return true;
}

}  // namespace

void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value) {
    __CFDictionary::Entry* entry = FindEntry(dictionary, key);
    if (entry == nullptr && !MakeRoom(dictionary)) return;
    if (dictionary->values.retain != nullptr) value = dictionary->values.retain(nullptr, value);
    if (entry != nullptr) {
        if (dictionary->values.release != nullptr) dictionary->values.release(nullptr, entry->value);
        entry->value = value;
        return;
    }
    if (dictionary->keys.retain != nullptr) key = dictionary->keys.retain(nullptr, key);
    dictionary->entries[dictionary->count++] = {key, value};
}

CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary) {
    return dictionary->count;
}

const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key) {
    const __CFDictionary::Entry* entry = FindEntry(dictionary, key);
    return entry != nullptr ? entry->value : nullptr;
}

// ---- Constants (the run loop's too, so that a program may bring a run loop of its own)

const CFAllocatorRef kCFAllocatorDefault = nullptr;
// NOLINTNEXTLINE(cert-err58-cpp): nothing here throws
const CFRunLoopMode kCFRunLoopDefaultMode = CFSTR("kCFRunLoopDefaultMode");
const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks = {0,       RetainEntry, ReleaseEntry,
                                                                nullptr, CFEqual,     nullptr};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks = {0, RetainEntry, ReleaseEntry, nullptr,
                                                                    CFEqual};
