// Conversions keep what they can keep, and numbers are read as the C library reads them.
//
// Options: code page; base of whole numbers; then the text.

#include "fuzz_support.h"
#include "tessel/streamio/number_text.h"
#include "tessel/strings/astring_util.h"
#include "tessel/strings/astringwchar.h"

#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace {

using namespace fuzz_support;

const CStrictAssertions gStrict;

void CheckConversions(const std::string& bytes, AStringEncoding encoding) {
    const AString     text(bytes.data(), encoding, static_cast<int>(bytes.size()));
    const std::string narrow = text.ToNarrow(encoding);
    Require(text.NarrowSize(encoding) == narrow.size(), "the size is that of the conversion");
    if (encoding == kAnsiEncoding) RequireSame(narrow, bytes, "every file name can be carried");
    if (IsAscii(bytes) && encoding != kCp932Encoding)
        RequireSame(narrow, bytes, "ASCII is the same in the code pages");
    const AString again(narrow.data(), encoding, static_cast<int>(narrow.size()));
    // What does not fit becomes something that does: once.
    RequireSame(again.ToNarrow(encoding), narrow, "a text converted back stays as it is");
}

void CheckUnits(const std::wstring& units, AStringEncoding encoding) {
    const AString     text(units);
    const std::string narrow = text.ToNarrow(encoding);
    Require(text.NarrowSize(encoding) == narrow.size(), "the size is that of the conversion");
    bool surrogates = false;
    for (const wchar_t unit : units)
        surrogates = surrogates || (unit >= 0xD800 && unit < 0xE000);
    if (encoding == kUtf8Encoding && !surrogates)
        Require(AString(narrow.data(), encoding, static_cast<int>(narrow.size())) == text,
                "every character has a UTF-8 form");
}

void CheckPieces(const AString& text) {
    std::vector<AString> pieces;
    Tokenize(text.CStr(), L", =\t", pieces, true);
    AString joined;
    for (const AString& piece : pieces)
        joined += piece;
    const AString upToNul(text.CStr());
    Require(joined == upToNul, "pieces and delimiters make up the text");
    const auto cut = static_cast<std::ptrdiff_t>(text.Length() / 3);
    Require(text.Mid(0, cut).Str() + text.Mid(cut).Str() == text.Str(), "two parts make up the text");
    AString upper = text, lower = text;
    upper.MakeUpper();
    lower.MakeLower();
    Require(upper == text.Upper() && upper.CompareNoCase(text) == 0 && text.CompareNoCase(lower) == 0,
            "case makes no difference");
    AString formatted;
    formatted.Format(L"%ls|%d", text.CStr(), 7);
    Require(formatted.Str() == upToNul.Str() + L"|7", "a text is formatted as it is");
    AString trimmed = text;
    trimmed.Trim();
    Require(trimmed.Length() <= text.Length(), "trimming adds nothing");
}

bool SameNumber(double a, double b) {
    return (std::isnan(a) && std::isnan(b)) ||
           std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

/// ASCII without NUL is what both can be asked about.
void CheckReals(const std::string& bytes) {
    char*         end      = nullptr;
    const double  expected = std::strtod(bytes.c_str(), &end);
    const AString text(bytes.c_str());
    double        value = 0;
    AString       rest;
    const bool    read = text.ToDouble(value, rest);
    Require(read == (end != bytes.c_str()), "what is a number is one for strtod");
    if (!read) return;
    Require(SameNumber(value, expected), "a number has strtod's value");
    RequireSame(rest.ToNarrow(), end, "a number ends where strtod's ends");
    AString number;
    Require(text.SplitNumber(number, rest), "a number can be split off");
    Require(number.Str() + rest.Str() == text.Str(), "both parts make up the text");
    if (std::isnan(value)) return;
    double again = 0;
    Require(io::ParseDecimal(io::FormatExact(value).View(), &again), "a number that was written can be read");
    Require(SameNumber(again, value) || (value == 0 && again == 0), "a number is read as it was written");
}

void CheckDecimal(const std::string& bytes) {
    double value = 0;
    if (!io::ParseDecimal(Widen(bytes), &value)) return;
    char*        end      = nullptr;
    const double expected = std::strtod(bytes.c_str(), &end);
    Require(*end == '\0', "what is wholly a number is so for strtod");
    Require(SameNumber(value, expected), "a number has strtod's value");
    for (const int precision : {-1, 0, 3, 17, 40}) {
        CNumberFormat format;
        io::FormatNumber(value, precision, format);
        format.mFlags = std::ios_base::fixed;
        io::FormatNumber(static_cast<float>(value), precision, format);
    }
}

void CheckIntegers(const std::string& bytes, int base) {
    char*               end      = nullptr;
    const long long     expected = std::strtoll(bytes.c_str(), &end, base);
    constexpr long long kMost    = std::numeric_limits<std::int32_t>::max();
    const bool          fits     = expected < kMost && expected > -kMost - 1;
    const AString       text(bytes.c_str());
    std::int32_t        value = 0;
    AString             rest;
    const bool          read = text.ToInt(value, rest, base);
    Require(read == (end != bytes.c_str() && fits), "what is a whole number is one for strtol");
    if (!read) return;
    Require(value == expected, "a whole number has strtol's value");
    RequireSame(rest.ToNarrow(), end, "a whole number ends where strtol's ends");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    CInput         input(data, size);
    const auto     encoding = static_cast<AStringEncoding>(input.Byte() % 5);
    const unsigned byte     = input.Byte() % 37;
    const int      base     = byte == 1 ? 10 : static_cast<int>(byte);
    std::string    bytes(input.Rest());
    while (!bytes.empty() && bytes.back() == '\0')  // one would be taken for the end of the text
        bytes.pop_back();
    CheckConversions(bytes, encoding);
    if (!Units(bytes).ends_with(L'\0')) CheckUnits(Units(bytes), encoding);
    CheckPieces(AString(bytes.data(), encoding, static_cast<int>(bytes.size())));
    CheckPieces(AString(Units(bytes)));
    if (!IsAscii(bytes) || bytes.find('\0') != bytes.npos) return 0;
    CheckReals(bytes);
    CheckDecimal(bytes);
    CheckIntegers(bytes, base);
    return 0;
}
