// Wide formatting, one code for every platform.
//
// The C libraries' own functions differ: the format's "%s" means wide text to one and narrow text to
// another; narrow text is converted by the process's locale, which gives up at the first byte beyond
// ASCII in the "C" locale; exponents have two or three digits; a host's `setlocale` puts commas into
// numbers; one crashes at widths beyond 510. So the format is walked here, by the Windows meaning.

#include "tessel/platform/platform.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstring>
#include <cwchar>
#include <string_view>

namespace platform {
namespace {

enum class ELength { kNone, kChar, kShort, kLong, kLongLong, kMax, kSize, kLongDouble };

/// One "%..." of the format.
struct CDirective {
    bool    mLeft      = false;
    bool    mZero      = false;
    bool    mPlus      = false;
    bool    mBlank     = false;
    bool    mAlternate = false;
    int     mWidth     = 0;
    int     mPrecision = -1;  ///< none
    ELength mLength    = ELength::kNone;
    wchar_t mKind      = 0;
};

/// In wide formats "%s" is wide and "%S" the other one; "h" and "l" decide first.
bool IsNarrow(const CDirective& directive) {
    if (directive.mLength == ELength::kShort) return true;
    if (directive.mLength == ELength::kLong) return false;
    return directive.mKind == L'S' || directive.mKind == L'C';
}

/// Reads directives off a format; "*" sizes come from the arguments.
class CDirectiveReader {
  public:
    CDirectiveReader(const wchar_t* at, va_list* arguments) noexcept : mAt(at), mArguments(arguments) {}

    /// @param[out] directive `mKind` is 0 when the format ends in the midst of it.
    /// @return behind the directive.
    const wchar_t* Read(CDirective& directive) noexcept {
        ReadFlags(directive);
        ReadSize(directive.mWidth);
        if (directive.mWidth < 0) {
            directive.mLeft  = true;
            directive.mWidth = directive.mWidth == INT_MIN ? INT_MAX : -directive.mWidth;
        }
        if (*mAt == L'.') {
            ++mAt;
            directive.mPrecision = 0;
            ReadSize(directive.mPrecision);
        }
        ReadLength(directive);
        directive.mKind = *mAt;
        return *mAt == 0 ? mAt : mAt + 1;
    }

  private:
    void ReadFlags(CDirective& directive) noexcept {
        for (;; ++mAt) {
            switch (*mAt) {
                case L'-':
                    directive.mLeft = true;
                    break;
                case L'0':
                    directive.mZero = true;
                    break;
                case L'+':
                    directive.mPlus = true;
                    break;
                case L' ':
                    directive.mBlank = true;
                    break;
                case L'#':
                    directive.mAlternate = true;
                    break;
                default:
                    return;
            }
        }
    }

    void ReadSize(int& size) noexcept {
        if (*mAt == L'*') {
            ++mAt;
            size = va_arg(*mArguments, int);
            return;
        }
        for (; *mAt >= L'0' && *mAt <= L'9'; ++mAt)
            size = size >= INT_MAX / 10 ? INT_MAX : size * 10 + static_cast<int>(*mAt - L'0');
    }

    void ReadLength(CDirective& directive) noexcept {
        struct CPrefix {
            const wchar_t* mText;
            ELength        mLength;
        };
        static constexpr CPrefix kPrefixes[] = {
            {L"hh", ELength::kChar}, {L"h", ELength::kShort},      {L"ll", ELength::kLongLong},
            {L"l", ELength::kLong},  {L"j", ELength::kMax},        {L"z", ELength::kSize},
            {L"t", ELength::kSize},  {L"L", ELength::kLongDouble},
        };
        for (const CPrefix& prefix : kPrefixes) {
            const std::size_t length = std::wcslen(prefix.mText);
            if (std::wcsncmp(mAt, prefix.mText, length) != 0) continue;
            directive.mLength = prefix.mLength;
            mAt += length;
            return;
        }
    }

    const wchar_t* mAt;
    va_list*       mArguments;
};

/// A number, ready to be padded.
struct CNumberText {
    const char*      mPrefix = "";  ///< sign or "0x"
    std::size_t      mZeros  = 0;   ///< between the prefix and the digits
    std::string_view mDigits;
    bool             mMayPadWithZeros = true;
};

class CFormatter {
  public:
    CFormatter(wchar_t* out, std::size_t capacity, va_list arguments) noexcept
        : mOut(out), mCapacity(capacity) {
        va_copy(mArguments, arguments);
    }
    ~CFormatter() { va_end(mArguments); }
    CFormatter(const CFormatter&)            = delete;
    CFormatter& operator=(const CFormatter&) = delete;

    /// @return units written; -1 when they do not fit.
    int Run(const wchar_t* format) noexcept {
        while (*format != 0 && !mOverflow) {
            if (*format != L'%') {
                Fill(*format++, 1);
                continue;
            }
            CDirective directive;
            format = CDirectiveReader(format + 1, &mArguments).Read(directive);
            Write(directive);
        }
        return mOverflow || mCount > INT_MAX ? -1 : static_cast<int>(mCount);
    }

  private:
    void Write(const CDirective& directive) noexcept {
        switch (directive.mKind) {
            case 0:
                return;
            case L'd':
            case L'i':
                return WriteSigned(directive);
            case L'u':
            case L'o':
            case L'x':
            case L'X':
                return WriteUnsigned(directive, NextUnsigned(directive.mLength));
            case L'p':
                return WritePointer(directive);
            case L'e':
            case L'E':
            case L'f':
            case L'F':
            case L'g':
            case L'G':
                return WriteReal(directive);
            case L's':
            case L'S':
                return IsNarrow(directive) ? WriteNarrow(directive) : WriteWide(directive);
            case L'c':
            case L'C':
                return WriteUnit(directive);
            default:
                return Fill(directive.mKind, 1);  // "%%", and what nobody knows
        }
    }

    // -----------------------------------------------------------------------------------------
    // The output

    /// Whether so many units fit; remembers when they do not.
    bool HasRoom(std::size_t units) noexcept {
        mOverflow = mOverflow || units > mCapacity - mCount;
        return !mOverflow;
    }

    void Fill(wchar_t unit, std::size_t count) noexcept {
        if (!HasRoom(count)) return;
        std::fill_n(mOut + mCount, count, unit);
        mCount += count;
    }

    template <typename TChar>
    void Copy(const TChar* text, std::size_t length) noexcept {
        if (!HasRoom(length)) return;
        std::copy_n(text, length, mOut + mCount);
        mCount += length;
    }

    static std::size_t Padding(const CDirective& directive, std::size_t length) noexcept {
        const auto width = static_cast<std::size_t>(directive.mWidth);
        return width > length ? width - length : 0;
    }

    void PadLeft(const CDirective& directive, std::size_t length) noexcept {
        if (!directive.mLeft) Fill(directive.mZero ? L'0' : L' ', Padding(directive, length));
    }
    void PadRight(const CDirective& directive, std::size_t length) noexcept {
        if (directive.mLeft) Fill(L' ', Padding(directive, length));
    }

    // -----------------------------------------------------------------------------------------
    // Texts

    void WriteWide(const CDirective& directive) noexcept {
        const wchar_t* text = va_arg(mArguments, const wchar_t*);
        if (text == nullptr) text = L"(null)";
        const auto  limit  = static_cast<std::size_t>(directive.mPrecision);  // none is beyond all
        std::size_t length = 0;
        while (length < limit && text[length] != 0)
            ++length;
        PadLeft(directive, length);
        Copy(text, length);
        PadRight(directive, length);
    }

    void WriteNarrow(const CDirective& directive) noexcept {
        const char* text = va_arg(mArguments, const char*);
        if (text == nullptr) text = "(null)";
        const int limit = directive.mPrecision < 0 ? INT_MAX : directive.mPrecision;
        int       bytes = 0;
        while (bytes < limit && text[bytes] != 0)
            ++bytes;
        unsigned   error  = 0;
        const int  units  = MultiByteToWide(kCodePageAnsi, text, bytes, nullptr, 0, &error);
        const auto length = static_cast<std::size_t>(units);
        PadLeft(directive, length);
        if (units != 0 && HasRoom(length)) {
            MultiByteToWide(kCodePageAnsi, text, bytes, mOut + mCount, units, &error);
            mCount += length;
        }
        PadRight(directive, length);
    }

    void WriteUnit(const CDirective& directive) noexcept {
        const int value = va_arg(mArguments, int);
        PadLeft(directive, 1);
        Fill(IsNarrow(directive) ? static_cast<unsigned char>(value) : static_cast<wchar_t>(value), 1);
        PadRight(directive, 1);
    }

    // -----------------------------------------------------------------------------------------
    // Numbers

    void WriteNumber(CDirective directive, const CNumberText& number) noexcept {
        directive.mZero          = directive.mZero && number.mMayPadWithZeros && !directive.mLeft;
        const std::size_t prefix = std::strlen(number.mPrefix);
        const std::size_t length = prefix + number.mZeros + number.mDigits.size();
        if (!directive.mZero) PadLeft(directive, length);
        Copy(number.mPrefix, prefix);
        if (directive.mZero) PadLeft(directive, length);
        Fill(L'0', number.mZeros);
        Copy(number.mDigits.data(), number.mDigits.size());
        PadRight(directive, length);
    }

    void WriteSigned(const CDirective& directive) noexcept {
        const std::intmax_t value     = NextSigned(directive.mLength);
        const bool          negative  = value < 0;
        const auto          magnitude = static_cast<std::uintmax_t>(value);
        WriteInteger(directive, SignOf(directive, negative), negative ? 0 - magnitude : magnitude, 10);
    }

    void WriteUnsigned(const CDirective& directive, std::uintmax_t value) noexcept {
        switch (directive.mKind) {
            case L'u':
                return WriteInteger(directive, "", value, 10);
            case L'o':
                return WriteInteger(directive, directive.mAlternate && value != 0 ? "0" : "", value, 8);
            case L'x':
                return WriteInteger(directive, directive.mAlternate && value != 0 ? "0x" : "", value, 16);
            default:
                return WriteInteger(directive, directive.mAlternate && value != 0 ? "0X" : "", value, 16);
        }
    }

    /// All digits, in capitals, as Windows does.
    void WritePointer(CDirective directive) noexcept {
        directive.mPrecision = 2 * static_cast<int>(sizeof(void*));
        WriteInteger(directive, "", reinterpret_cast<std::uintptr_t>(va_arg(mArguments, void*)), 16);
    }

    void WriteInteger(const CDirective& directive, const char* prefix, std::uintmax_t value,
                      int base) noexcept {
        std::array<char, 24> digits;
        char* end = std::to_chars(digits.data(), digits.data() + digits.size(), value, base).ptr;
        if (directive.mKind != L'x') ToCapitals(digits.data(), end);
        CNumberText number;
        number.mPrefix = prefix;
        if (value != 0 || directive.mPrecision != 0) number.mDigits = {digits.data(), end};
        number.mMayPadWithZeros = directive.mPrecision < 0;
        const auto least        = static_cast<std::size_t>(std::max(directive.mPrecision, 0));
        if (least > number.mDigits.size()) number.mZeros = least - number.mDigits.size();
        WriteNumber(directive, number);
    }

    /// As `printf` does in the "C" locale; "#" is ignored.
    void WriteReal(const CDirective& directive) noexcept {
        const double value = directive.mLength == ELength::kLongDouble
                                 ? static_cast<double>(va_arg(mArguments, long double))
                                 : va_arg(mArguments, double);
        // A double has at most 309 digits before the point, and none that matter so far behind it.
        constexpr int          kMostDigits = 400;
        std::array<char, 1000> digits;
        const int   precision = directive.mPrecision < 0 ? 6 : std::min(directive.mPrecision, kMostDigits);
        char* const end       = std::to_chars(digits.data(), digits.data() + digits.size(), std::fabs(value),
                                              RealFormat(directive.mKind), precision)
                              .ptr;
        if (directive.mKind < L'a') ToCapitals(digits.data(), end);
        CNumberText number;
        number.mPrefix          = SignOf(directive, std::signbit(value));
        number.mDigits          = {digits.data(), end};
        number.mMayPadWithZeros = std::isfinite(value);
        WriteNumber(directive, number);
    }

    static std::chars_format RealFormat(wchar_t kind) noexcept {
        switch (kind) {
            case L'e':
            case L'E':
                return std::chars_format::scientific;
            case L'f':
            case L'F':
                return std::chars_format::fixed;
            default:
                return std::chars_format::general;
        }
    }

    static const char* SignOf(const CDirective& directive, bool negative) noexcept {
        return negative ? "-" : directive.mPlus ? "+" : directive.mBlank ? " " : "";
    }

    static void ToCapitals(char* begin, char* end) noexcept {
        std::transform(begin, end, begin,
                       [](char ch) { return ch >= 'a' ? static_cast<char>(ch - 32) : ch; });
    }

    std::intmax_t NextSigned(ELength length) noexcept {
        switch (length) {
            case ELength::kChar:
                return static_cast<signed char>(va_arg(mArguments, int));
            case ELength::kShort:
                return static_cast<short>(va_arg(mArguments, int));
            case ELength::kLong:
                return va_arg(mArguments, long);
            case ELength::kLongLong:
                return va_arg(mArguments, long long);
            case ELength::kMax:
                return va_arg(mArguments, std::intmax_t);
            case ELength::kSize:
                return va_arg(mArguments, std::ptrdiff_t);
            default:
                return va_arg(mArguments, int);
        }
    }

    std::uintmax_t NextUnsigned(ELength length) noexcept {
        switch (length) {
            case ELength::kChar:
                return static_cast<unsigned char>(va_arg(mArguments, int));
            case ELength::kShort:
                return static_cast<unsigned short>(va_arg(mArguments, int));
            case ELength::kLong:
                return va_arg(mArguments, unsigned long);
            case ELength::kLongLong:
                return va_arg(mArguments, unsigned long long);
            case ELength::kMax:
                return va_arg(mArguments, std::uintmax_t);
            case ELength::kSize:
                return va_arg(mArguments, std::size_t);
            default:
                return va_arg(mArguments, unsigned);
        }
    }

    wchar_t*          mOut;
    const std::size_t mCapacity;
    std::size_t       mCount    = 0;
    bool              mOverflow = false;
    va_list           mArguments;
};

}  // namespace

int FormatWide(wchar_t* out, std::size_t capacity, const wchar_t* format, va_list arguments) noexcept {
    return CFormatter(out, capacity, arguments).Run(format);
}

}  // namespace platform
