// Text conversions and sizes outside Windows.

#include "tessel/platform/platform.h"

#include <iconv.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <cwchar>
#include <iterator>
#include <string>
#include <string_view>

namespace platform {
namespace {

/// Counts what is written, and writes it as long as there is room.
template <typename TUnit>
class CSink {
  public:
    CSink(TUnit* out, int capacity) noexcept : mOut(out), mCapacity(static_cast<std::size_t>(capacity)) {}

    void Put(std::uint32_t unit) noexcept {
        if (mCount < mCapacity) mOut[mCount] = static_cast<TUnit>(unit);
        ++mCount;
    }

    /// The result of the whole call; capacity 0 only asked for the size.
    int Result(unsigned* error) const noexcept {
        const bool tooLong = mCount > INT_MAX;
        const bool cut     = mCapacity != 0 && mCount > mCapacity;
        *error             = tooLong ? kErrorInvalidParameter : cut ? kErrorInsufficientBuffer : 0;
        return *error == 0 ? static_cast<int>(mCount) : 0;
    }

  private:
    TUnit*      mOut;
    std::size_t mCapacity;
    std::size_t mCount = 0;
};

int Fail(unsigned* error) noexcept {
    *error = kErrorInvalidParameter;
    return 0;
}

constexpr bool IsHighSurrogate(std::uint32_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
constexpr bool IsLowSurrogate(std::uint32_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}
constexpr bool IsSurrogate(std::uint32_t unit) {
    return unit >= 0xD800 && unit <= 0xDFFF;
}

// ---------------------------------------------------------------------------------------------
// UTF-8

struct CDecoded {
    std::uint32_t mCharacter;
    int           mLength;  ///< bytes; 0 when the first byte begins no well-formed character
};

/// The well-formed forms: a lead byte's own bits, and the least character that needs its length.
struct CUtf8Form {
    unsigned char mMask, mLead;
    int           mLength;
    std::uint32_t mLeast;
};
constexpr CUtf8Form kUtf8Forms[] = {
    {0xE0, 0xC0, 2, 0x80},
    {0xF0, 0xE0, 3, 0x800},
    {0xF8, 0xF0, 4, 0x10000},
};

CDecoded DecodeUtf8(const unsigned char* at, const unsigned char* end) noexcept {
    if (*at < 0x80) return {*at, 1};
    for (const CUtf8Form& form : kUtf8Forms) {
        if ((*at & form.mMask) != form.mLead) continue;
        if (end - at < form.mLength) break;
        std::uint32_t character = *at & static_cast<unsigned>(~form.mMask & 0xFF);
        for (int i = 1; i < form.mLength; ++i) {
            if ((at[i] & 0xC0) != 0x80) return {*at, 0};
            character = character << 6 | (at[i] & 0x3Fu);
        }
        if (character < form.mLeast || character > 0x10FFFF || IsSurrogate(character)) break;
        return {character, form.mLength};
    }
    return {*at, 0};
}

void Utf8ToUnits(const unsigned char* at, const unsigned char* end, std::uint32_t malformedBase,
                 CSink<wchar_t>& sink) noexcept {
    while (at != end) {
        const CDecoded decoded = DecodeUtf8(at, end);
        if (decoded.mLength == 0) {
            sink.Put(malformedBase + *at++);
            continue;
        }
        if (decoded.mCharacter > 0xFFFF) {
            sink.Put(0xD800 + ((decoded.mCharacter - 0x10000) >> 10));
            sink.Put(0xDC00 + (decoded.mCharacter & 0x3FF));
        } else {
            sink.Put(decoded.mCharacter);
        }
        at += decoded.mLength;
    }
}

void PutUtf8(std::uint32_t character, CSink<char>& sink) noexcept {
    if (character < 0x80) return sink.Put(character);
    if (character < 0x800) {
        sink.Put(0xC0 | character >> 6);
    } else {
        if (character < 0x10000) {
            sink.Put(0xE0 | character >> 12);
        } else {
            sink.Put(0xF0 | character >> 18);
            sink.Put(0x80 | (character >> 12 & 0x3F));
        }
        sink.Put(0x80 | (character >> 6 & 0x3F));
    }
    sink.Put(0x80 | (character & 0x3F));
}

void UnitsToUtf8(const wchar_t* at, const wchar_t* end, bool unescapeBytes, CSink<char>& sink) noexcept {
    constexpr std::uint32_t kReplacement = 0xFFFD;
    while (at != end) {
        auto character = static_cast<std::uint32_t>(*at++);
        if (IsHighSurrogate(character) && at != end && IsLowSurrogate(static_cast<std::uint32_t>(*at))) {
            const auto low = static_cast<std::uint32_t>(*at++);
            character      = 0x10000 + ((character - 0xD800) << 10) + (low - 0xDC00);
        } else if (unescapeBytes && character >= 0xDC80 && character <= 0xDCFF) {
            sink.Put(character - 0xDC00);
            continue;
        } else if (IsSurrogate(character) || character > 0x10FFFF) {
            character = kReplacement;
        }
        PutUtf8(character, sink);
    }
}

// ---------------------------------------------------------------------------------------------
// The other code pages

struct CCodePage {
    unsigned         mNumber;
    const char*      mName;        ///< as iconv knows it
    std::string_view mUnassigned;  ///< bytes that stand for nothing, and keep their value both ways
};
constexpr CCodePage kCodePages[] = {
    {kCodePageOem, "CP437", ""},
    {1252, "CP1252", "\x81\x8D\x8F\x90\x9D"},
    {932, "CP932", ""},
};

/// Null when nobody knows it.
const CCodePage* FindCodePage(unsigned number) noexcept {
    for (const CCodePage& page : kCodePages)
        if (page.mNumber == number) return &page;
    return nullptr;
}

class CConverter {
  public:
    CConverter(const char* to, const char* from) noexcept : mHandle(iconv_open(to, from)) {}
    ~CConverter() {
        if (IsOpen()) iconv_close(mHandle);
    }
    CConverter(const CConverter&)            = delete;
    CConverter& operator=(const CConverter&) = delete;

    // NOLINTNEXTLINE(performance-no-int-to-ptr): so iconv_open says that it failed.
    bool IsOpen() const noexcept { return mHandle != reinterpret_cast<iconv_t>(-1); }

    /// Converts until the input or the room ends, or something cannot be converted (false).
    /// @return bytes written.
    std::size_t Convert(char*& in, std::size_t& inLeft, char* out, std::size_t room, bool& good) noexcept {
        char* const start = out;
        good = iconv(mHandle, &in, &inLeft, &out, &room) != static_cast<std::size_t>(-1) || errno == E2BIG;
        return static_cast<std::size_t>(out - start);
    }

  private:
    iconv_t mHandle;
};

/// A byte that stands for nothing in the code page keeps its value.
bool CodePageToUnits(const CCodePage& page, const char* text, std::size_t length,
                     CSink<wchar_t>& sink) noexcept {
    CConverter converter("UTF-16LE", page.mName);
    if (!converter.IsOpen()) return false;
    char* in = const_cast<char*>(text);  // iconv never writes there
    while (length != 0) {
        std::array<unsigned char, 512> out;
        bool                           good = true;
        const std::size_t              written =
            converter.Convert(in, length, reinterpret_cast<char*>(out.data()), out.size(), good);
        for (std::size_t i = 0; i + 1 < written; i += 2)
            sink.Put(static_cast<std::uint32_t>(out[i] | out[i + 1] << 8));
        if (!good && length != 0) {
            sink.Put(static_cast<unsigned char>(*in++));
            --length;
        }
    }
    return true;
}

/// Unit by unit, so that each one that the code page lacks becomes one "?".
bool UnitsToCodePage(const CCodePage& page, const wchar_t* at, const wchar_t* end,
                     CSink<char>& sink) noexcept {
    CConverter converter(page.mName, "UTF-16LE");
    if (!converter.IsOpen()) return false;
    for (; at != end; ++at) {
        const auto  unit    = static_cast<std::uint32_t>(*at);
        char        bytes[] = {static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8 & 0xFF)};
        char*       in      = bytes;
        std::size_t inLeft  = sizeof bytes;
        char        out[8];
        bool        good    = unit <= 0xFFFF;
        std::size_t written = good ? converter.Convert(in, inLeft, out, sizeof out, good) : 0;
        if (!good || written == 0) {
            const bool unassigned = unit <= 0xFF && page.mUnassigned.find(bytes[0]) != std::string_view::npos;
            out[0]                = unassigned ? bytes[0] : '?';
            written               = 1;
        }
        for (std::size_t i = 0; i < written; ++i)
            sink.Put(static_cast<unsigned char>(out[i]));
    }
    return true;
}

}  // namespace

int MultiByteToWide(unsigned codePage, const char* text, int length, wchar_t* out, int capacity,
                    unsigned* error) noexcept {
    if (text == nullptr || length == 0 || capacity < 0) return Fail(error);
    const std::size_t bytes = length < 0 ? std::strlen(text) + 1 : static_cast<std::size_t>(length);
    CSink<wchar_t>    sink(out, capacity);
    if (codePage == kCodePageAnsi || codePage == kCodePageUtf8) {
        const auto* begin = reinterpret_cast<const unsigned char*>(text);
        Utf8ToUnits(begin, begin + bytes, codePage == kCodePageAnsi ? 0xDC00 : 0, sink);
    } else {
        const CCodePage* page = FindCodePage(codePage);
        if (page == nullptr || !CodePageToUnits(*page, text, bytes, sink)) return Fail(error);
    }
    return sink.Result(error);
}

int WideToMultiByte(unsigned codePage, const wchar_t* text, int length, char* out, int capacity,
                    unsigned* error) noexcept {
    if (text == nullptr || length == 0 || capacity < 0) return Fail(error);
    const std::size_t units = length < 0 ? std::wcslen(text) + 1 : static_cast<std::size_t>(length);
    CSink<char>       sink(out, capacity);
    if (codePage == kCodePageAnsi || codePage == kCodePageUtf8) {
        UnitsToUtf8(text, text + units, codePage == kCodePageAnsi, sink);
    } else {
        const CCodePage* page = FindCodePage(codePage);
        if (page == nullptr || !UnitsToCodePage(*page, text, text + units, sink)) return Fail(error);
    }
    return sink.Result(error);
}

bool FormatByteSize(std::uint64_t bytes, char* out, unsigned capacity) noexcept {
    std::string text;  // no longer than what a string keeps in itself
    if (bytes < 1024) {
        text = std::to_string(bytes) + " bytes";
    } else {
        constexpr const char* kUnits[] = {" KB", " MB", " GB", " TB", " PB", " EB"};
        unsigned              power    = 0;  // the first unit of which there are fewer than 1000
        while (power + 1 < std::size(kUnits) && bytes >> (10 * (power + 1)) >= 1000)
            ++power;
        const unsigned      shift = 10 * (power + 1);
        const std::uint64_t mask  = (std::uint64_t{1} << shift) - 1;
        const std::uint64_t whole = bytes >> shift;
        // Two decimal digits by long division: nothing overflows, nothing is rounded.
        const std::uint64_t tenths     = (bytes & mask) * 10;
        const std::uint64_t hundredths = (tenths & mask) * 10;
        text                           = std::to_string(whole);
        if (whole < 100) text += "." + std::to_string(tenths >> shift);
        if (whole < 10) text += std::to_string(hundredths >> shift);
        text += kUnits[power];
    }
    if (text.size() >= capacity) return false;
    out[text.copy(out, text.size())] = '\0';
    return true;
}

}  // namespace platform
