// Wide formatting outside Windows.
//
// The system's own `vswprintf` converts narrow arguments by the process's locale: it gives up at the
// first byte beyond ASCII in the "C" locale, and writes characters above 0xFFFF as one unit. So the
// format is walked here, texts are converted by the seam's rules, and only numbers are left to the
// C library, one at a time.

#include "tessel/platform/platform.h"

#include <locale.h>

#include <climits>
#include <cstring>
#include <cwchar>
#include <memory>
#include <new>

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

/// Keeps the process's decimal separator out of the numbers.
class CPlainNumbers {
  public:
    CPlainNumbers() noexcept : mPrevious(uselocale(newlocale(LC_ALL_MASK, "C", nullptr))) {}
    ~CPlainNumbers() { uselocale(mPrevious); }
    CPlainNumbers(const CPlainNumbers&)            = delete;
    CPlainNumbers& operator=(const CPlainNumbers&) = delete;

  private:
    locale_t mPrevious;
};

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
                Put(*format++);
                continue;
            }
            CDirective directive;
            format = CDirectiveReader(format + 1, &mArguments).Read(directive);
            Write(directive);
        }
        return mOverflow || mCount > INT_MAX ? -1 : static_cast<int>(mCount);
    }

  private:
    /// Whether so many units fit; remembers when they do not.
    bool HasRoom(std::size_t units) noexcept {
        mOverflow = mOverflow || units > mCapacity - mCount;
        return !mOverflow;
    }

    void Put(wchar_t unit) noexcept {
        if (HasRoom(1)) mOut[mCount++] = unit;
    }

    void Pad(const CDirective& directive, std::size_t length, bool left) noexcept {
        const auto width = static_cast<std::size_t>(directive.mWidth);
        if (width <= length || directive.mLeft != left || !HasRoom(width - length)) return;
        const wchar_t unit = directive.mZero && !left ? L'0' : L' ';
        std::wmemset(mOut + mCount, unit, width - length);
        mCount += width - length;
    }

    void Write(const CDirective& directive) noexcept {
        switch (directive.mKind) {
            case 0:
                return;
            case L'd':
            case L'i':
                return WriteNumber(directive, "jd", NextSigned(directive.mLength));
            case L'u':
                return WriteNumber(directive, "ju", NextUnsigned(directive.mLength));
            case L'o':
                return WriteNumber(directive, "jo", NextUnsigned(directive.mLength));
            case L'x':
                return WriteNumber(directive, "jx", NextUnsigned(directive.mLength));
            case L'X':
                return WriteNumber(directive, "jX", NextUnsigned(directive.mLength));
            case L'e':
            case L'E':
            case L'f':
            case L'F':
            case L'g':
            case L'G':
            case L'a':
            case L'A':
                return WriteReal(directive);
            case L'p':
                return WritePointer();
            case L's':
            case L'S':
                return IsNarrow(directive) ? WriteNarrow(directive) : WriteWide(directive);
            case L'c':
            case L'C':
                return WriteUnit(directive);
            default:
                return Put(directive.mKind);  // "%%", and what nobody knows
        }
    }

    void WriteWide(const CDirective& directive) noexcept {
        const wchar_t* text = va_arg(mArguments, const wchar_t*);
        if (text == nullptr) text = L"(null)";
        const std::size_t length = directive.mPrecision < 0
                                       ? std::wcslen(text)
                                       : wcsnlen(text, static_cast<std::size_t>(directive.mPrecision));
        Pad(directive, length, false);
        if (HasRoom(length)) std::wmemcpy(mOut + mCount, text, length);
        if (!mOverflow) mCount += length;
        Pad(directive, length, true);
    }

    void WriteNarrow(const CDirective& directive) noexcept {
        const char* text = va_arg(mArguments, const char*);
        if (text == nullptr) text = "(null)";
        const int  precision = directive.mPrecision < 0 ? INT_MAX : directive.mPrecision;
        const auto bytes     = static_cast<int>(strnlen(text, static_cast<std::size_t>(precision)));
        unsigned   error     = 0;
        const int  length    = MultiByteToWide(kCodePageAnsi, text, bytes, nullptr, 0, &error);
        const auto units     = static_cast<std::size_t>(length);
        Pad(directive, units, false);
        if (length != 0 && HasRoom(units)) {
            MultiByteToWide(kCodePageAnsi, text, bytes, mOut + mCount, length, &error);
            mCount += units;
        }
        Pad(directive, units, true);
    }

    void WriteUnit(const CDirective& directive) noexcept {
        const int value = va_arg(mArguments, int);
        Pad(directive, 1, false);
        Put(IsNarrow(directive) ? static_cast<unsigned char>(value) : static_cast<wchar_t>(value));
        Pad(directive, 1, true);
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

    void WriteReal(const CDirective& directive) noexcept {
        const CPlainNumbers plain;
        const char          kind[] = {'L', static_cast<char>(directive.mKind), '\0'};
        if (directive.mLength == ELength::kLongDouble)
            WriteNumber(directive, kind, va_arg(mArguments, long double));
        else
            WriteNumber(directive, kind + 1, va_arg(mArguments, double));
    }

    /// All digits, in capitals, as Windows does.
    void WritePointer() noexcept {
        CDirective digits;
        digits.mPrecision = 2 * static_cast<int>(sizeof(void*));
        WriteNumber(digits, "jX",
                    std::uintmax_t{reinterpret_cast<std::uintptr_t>(va_arg(mArguments, void*))});
    }

    /// @param kind length and conversion as `printf` takes them for this type of number
    template <typename TNumber>
    void WriteNumber(const CDirective& directive, const char* kind, TNumber value) noexcept {
        char format[16];
        std::snprintf(format, sizeof format, "%%%s%s%s%s%s*.*%s", directive.mLeft ? "-" : "",
                      directive.mZero ? "0" : "", directive.mPlus ? "+" : "", directive.mBlank ? " " : "",
                      directive.mAlternate ? "#" : "", kind);
        char      onStack[512];
        const int length =
            std::snprintf(onStack, sizeof onStack, format, directive.mWidth, directive.mPrecision, value);
        const auto size = static_cast<std::size_t>(length);
        if (length < 0 || !HasRoom(size)) {
            mOverflow = true;
            return;
        }
        std::unique_ptr<char[]> onHeap(size < sizeof onStack ? nullptr : new (std::nothrow) char[size + 1]);
        const char*             text = onStack;
        if (size >= sizeof onStack) {
            mOverflow = onHeap == nullptr;
            if (mOverflow) return;
            std::snprintf(onHeap.get(), size + 1, format, directive.mWidth, directive.mPrecision, value);
            text = onHeap.get();
        }
        for (std::size_t i = 0; i < size; ++i)
            mOut[mCount++] = static_cast<unsigned char>(text[i]);
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
