#pragma once

#include "tessel/platform/platform.h"

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

/// The code page of narrow text, in every conversion.
enum AStringEncoding {
    kAnsiEncoding   = 0,  ///< the system's ANSI code page; UTF-8 outside Windows
    kUtf8Encoding   = 1,
    kOemEncoding    = 2,  ///< the console's code page
    kCp1252Encoding = 3,
    kCp932Encoding  = 4,
};

/// The system's one text type: UTF-16 code units, one in each `wchar_t` on every platform, with
/// value semantics. Positions, counts and lengths are code units. A text may hold any units, NUL
/// included, and is never "null".
class AString {
  public:
    /// Longest system message that is expected, and the size of the first formatting buffer.
    static constexpr std::size_t kMaxFormatBufferSize = 4096;

    AString() = default;
    /// NUL-terminated; null raises an assertion and gives an empty text, here and below.
    AString(const wchar_t* text) { Set(text); }
    AString(const wchar_t* text, std::size_t count) { Set(text, count); }
    /// @param length bytes; -1 for NUL-terminated text. What cannot be converted gives empty text.
    AString(const char* text, AStringEncoding encoding = kAnsiEncoding, int length = -1) {
        Set(text, encoding, length);
    }
    explicit AString(std::wstring text) noexcept : mText(std::move(text)) {}

    AString& operator=(const wchar_t* text) { return Set(text); }
    AString& operator=(const char* text) { return Set(text); }
    AString& operator=(std::wstring text) noexcept {
        mText = std::move(text);
        return *this;
    }

    /// Replaces the text; the same shapes and rules as the constructors.
    AString& Set(const wchar_t* text);
    AString& Set(const wchar_t* text, std::size_t count);
    AString& Set(const char* text, AStringEncoding encoding = kAnsiEncoding, int length = -1);
    /// The lenient one: null text or count 0 clears, a negative count takes the text up to its NUL.
    void Assign(const wchar_t* text, int count);
    void Clear() noexcept { mText.clear(); }

    const std::wstring& Str() const noexcept { return mText; }
    const wchar_t*      CStr() const noexcept { return mText.c_str(); }
    std::size_t         Length() const noexcept { return mText.size(); }
    bool                IsEmpty() const noexcept { return mText.empty(); }

    AString& operator+=(const AString& other) {
        mText += other.mText;
        return *this;
    }
    AString& operator+=(const wchar_t* text);
    AString& operator+=(wchar_t unit) {
        mText += unit;
        return *this;
    }

    /// Exact; not seen by the observer.
    friend bool operator==(const AString& a, const AString& b) noexcept { return a.mText == b.mText; }
    friend bool operator==(const AString& a, const wchar_t* b) noexcept { return a.mText == b; }

    /// The text in a code page. Empty when it is empty or cannot be converted.
    std::string ToNarrow(AStringEncoding encoding = kAnsiEncoding) const;
    /// Bytes that `ToNarrow` would give, without converting; 0 for empty text.
    std::size_t        NarrowSize(AStringEncoding encoding = kAnsiEncoding) const;
    static std::size_t NarrowSize(const wchar_t* text, AStringEncoding encoding = kAnsiEncoding);

    /// Replaces the text by printf-style formatting. Write `%ls` and `%hs`. The arguments may point
    /// into this very text. Empty when the result would be absurdly long (2^26 units and more).
    void Format(const wchar_t* format, ...);
    void FormatV(const wchar_t* format, std::va_list arguments);

    /// By unit value; a prefix is less. Negative, 0 or positive.
    int Compare(const AString& other) const;
    /// Case-folding, up to this text's first NUL. Exactly -1, 0 or 1.
    int CompareNoCase(const AString& other) const;
    /// Compares at most `count` units from `pos` with the start of `other`. When `count` is 0 or
    /// `pos` is at the end or past it: 0 when `other` is empty, else -1.
    int CompareNoCase(std::size_t pos, std::size_t count, const AString& other) const;

    void    MakeUpper() noexcept;
    void    MakeLower() noexcept;
    AString Upper() const;

    /// Case mapping of one unit, with a fast path for ASCII.
    static wchar_t UpperChar(wchar_t unit) noexcept {
        if (IsAscii(unit)) return unit >= L'a' && unit <= L'z' ? static_cast<wchar_t>(unit - 32) : unit;
        return platform::ToUpper(unit);
    }
    static wchar_t LowerChar(wchar_t unit) noexcept {
        if (IsAscii(unit)) return unit >= L'A' && unit <= L'Z' ? static_cast<wchar_t>(unit + 32) : unit;
        return platform::ToLower(unit);
    }

    /// Slices. Arguments out of range give an empty or the whole text; a negative position counts as 0.
    AString Left(std::ptrdiff_t count) const;
    AString Right(std::ptrdiff_t count) const;
    AString Mid(std::ptrdiff_t pos, std::ptrdiff_t count) const;
    AString Mid(std::ptrdiff_t pos) const;

    /// Remove white space at one end or both.
    void TrimLeft();
    void TrimRight();
    void Trim();

    /// Numbers are read as `wcstod` and `wcstol` read them in the "C" locale, with a `long` of 32
    /// bits. Outputs stay untouched on failure.
    /// @param rest receives what follows the number; it may be this very text.
    bool ToDouble(double& value, AString& rest) const;
    /// Fails at -2147483648 and 2147483647 too: they stand for overflow.
    bool ToInt(std::int32_t& value, AString& rest, int base = 10) const;
    /// Whether the text is a number, with nothing but white space around it.
    bool IsDouble(double& value) const;
    bool IsInt(std::int32_t& value, int base = 10) const;
    /// Cuts the text in two behind a leading floating-point number.
    bool SplitNumber(AString& number, AString& rest) const;
    /// A letter or "_", then letters, digits and "_".
    bool IsIdentifier() const noexcept;

  private:
    // The negative units of a signed wchar_t are no ASCII either.
    static bool IsAscii(wchar_t unit) noexcept { return static_cast<std::uint32_t>(unit) < 128; }

    std::wstring mText;
};
