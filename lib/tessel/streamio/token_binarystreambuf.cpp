#include "tessel/streamio/token_binarystreambuf.h"

#include "tessel/baseutils/assertion.h"
#include "tessel/platform/platform.h"
#include "tessel/streamio/base_grammar.h"
#include "tessel/streamio/utf8.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

namespace io {

// The layout of a token:
//
//   type byte      payload
//   0              none: padding; also the first byte of a file in this form
//   10, 11         none: true, false
//   12..17         length, UTF-8 bytes: word, texts in quotes, CDATA, white space, comment
//   18             one byte below 128: a symbol
//   19, 20, 21     none: line end, end, error
//   61..68         1..8 bytes: an unsigned integer
//   70..77         1..8 bytes: a signed integer
//   79..86         1..8 bytes: the low-order bytes of a double; the missing high-order ones are 0
//   128 + 12..18   4-byte length, UTF-8 bytes: a text of 256 bytes and more
//
// A length without 128 is one byte. All multi-byte values are stored least significant byte first.

namespace {

constexpr unsigned    kLongLength     = 128;
constexpr unsigned    kUnsignedBase   = 60;
constexpr unsigned    kSignedBase     = 69;
constexpr unsigned    kFloatBase      = 78;
constexpr std::size_t kMaxShortLength = 255;
constexpr std::size_t kMaxScratch     = 0x80000;  // bytes kept from one text to the next

/// What the type bytes of numbers give: the width on the wire decides, not what the writer had.
constexpr struct {
    unsigned   mFirst;
    unsigned   mLast;
    unsigned   mBase;
    ETokenType mType;
} kNumberTypes[] = {
    {61, 62, kUnsignedBase, ETokenType::UnsignedShort},
    {63, 64, kUnsignedBase, ETokenType::UnsignedInt},
    {65, 68, kUnsignedBase, ETokenType::UnsignedLong},
    {70, 71, kSignedBase, ETokenType::Short},
    {72, 73, kSignedBase, ETokenType::Int},
    {74, 77, kSignedBase, ETokenType::Long},
    {79, 82, kFloatBase, ETokenType::Float},
    {83, 86, kFloatBase, ETokenType::Double},
};

constexpr unsigned TypeByte(ETokenType type) noexcept {
    return static_cast<unsigned>(type);
}

/// Bytes up to the last one that is not 0, at least one.
std::size_t SignificantBytes(std::uint64_t value) noexcept {
    return std::max<std::size_t>(1, (static_cast<std::size_t>(std::bit_width(value)) + 7) / 8);
}

double ValueOf(unsigned base, std::uint64_t bytes) noexcept {
    switch (base) {
        case kFloatBase:
            return std::bit_cast<double>(bytes);
        case kSignedBase:
            return static_cast<std::int32_t>(static_cast<std::uint32_t>(bytes));
        default:
            return static_cast<std::uint32_t>(bytes);
    }
}

bool IsIntegerBetween(double value, double low, double high) noexcept {
    const bool negativeZero = value == 0.0 && std::signbit(value);
    return low <= value && value <= high && value == std::trunc(value) && !negativeZero;
}

}  // namespace

// --- reading

void CToken_binarystreambuf::ReadToken(CToken& token) {
    for (;;) {
        token.Clear();
        MarkTokenStart();
        const LexChar unit = ReadByte();
        if (unit == kEndOfInput) {
            token = CToken(ETokenType::Eof);
            return;
        }
        const auto byte = static_cast<unsigned>(unit) & 0xFF;
        if (ReadTokenOf(byte & ~kLongLength, (byte & kLongLength) != 0, token)) return;
    }
}

bool CToken_binarystreambuf::ReadTokenOf(unsigned type, bool longLength, CToken& token) {
    const auto tokenType = static_cast<ETokenType>(type);
    bool       read      = true;
    switch (type) {
        case 0:
            return false;
        case TypeByte(ETokenType::Eol):
            CountLine();
            [[fallthrough]];
        case TypeByte(ETokenType::True):
        case TypeByte(ETokenType::False):
        case TypeByte(ETokenType::Eof):
        case TypeByte(ETokenType::Error):
            token = CToken(tokenType);
            return true;
        case TypeByte(ETokenType::Keyword):
        case TypeByte(ETokenType::SingleQuotedText):
        case TypeByte(ETokenType::DoubleQuotedText):
        case TypeByte(ETokenType::CData):
        case TypeByte(ETokenType::WhiteSpace):
        case TypeByte(ETokenType::Comment):
            read = ReadText(tokenType, longLength, token);
            break;
        case TypeByte(ETokenType::Symbol):
            // A symbol of 128 and more is written with a one-byte length and read with four: kept, since
            // files in this form exist.
            read = longLength ? ReadText(tokenType, true, token) : ReadSymbol(token);
            break;
        default:
            read = ReadNumber(type, token);
            break;
    }
    if (!read) token = CToken(ETokenType::Error);
    if (token.Type() == ETokenType::Comment) return ReturnsComments();
    if (token.Type() == ETokenType::WhiteSpace) return ReturnsWhiteSpace();
    return true;
}

bool CToken_binarystreambuf::ReadBytes(std::size_t count, std::uint64_t* value) {
    *value = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const LexChar unit = ReadByte();
        if (unit == kEndOfInput) return false;
        *value |= static_cast<std::uint64_t>(unit & 0xFF) << (8 * i);
    }
    return true;
}

bool CToken_binarystreambuf::ReadText(ETokenType type, bool longLength, CToken& token) {
    std::uint64_t length = 0;
    if (!ReadBytes(longLength ? 4 : 1, &length)) return false;
    // Grows with what is there: the length alone reserves nothing.
    mScratch.clear();
    for (std::uint64_t i = 0; i < length; ++i) {
        const LexChar unit = ReadByte();
        if (unit == kEndOfInput) return false;
        mScratch += static_cast<char>(unit & 0xFF);
    }
    token.SetText(type, FromUtf8(mScratch));
    if (mScratch.size() > kMaxScratch) std::string().swap(mScratch);
    return true;
}

bool CToken_binarystreambuf::ReadSymbol(CToken& token) {
    std::uint64_t byte = 0;
    if (!ReadBytes(1, &byte)) return false;
    const wchar_t symbol = static_cast<wchar_t>(byte);
    token.SetText(ETokenType::Symbol, {&symbol, 1});
    return true;
}

bool CToken_binarystreambuf::ReadNumber(unsigned type, CToken& token) {
    const auto row = std::find_if(std::begin(kNumberTypes), std::end(kNumberTypes),
                                  [&](const auto& r) { return r.mFirst <= type && type <= r.mLast; });
    if (row == std::end(kNumberTypes)) return false;
    const std::size_t l     = type - row->mBase;
    std::uint64_t     bytes = 0;
    if (!ReadBytes(l, &bytes)) return false;
    if (row->mBase != kFloatBase) {
        // Wider integers have a type byte but no reader; they are passed over.
        [[maybe_unused]] std::uint32_t n = 0;
        TESSEL_ASSERT(l <= sizeof(n));
        if (l > sizeof(n)) bytes = 0;
    }
    token.SetNumber(row->mType, ValueOf(row->mBase, bytes));
    return true;
}

void CToken_binarystreambuf::SkipToEol() {
    DropPushedBackTokens();
    for (;;) {
        ReadCurrentToken();
        const ETokenType type = CurrentToken().Type();
        if (type == ETokenType::Eof) break;
        if (type != ETokenType::Eol) continue;
        ReadCurrentToken();
        break;
    }
    StartLine();
}

void CToken_binarystreambuf::NewLine(AString&) {
    TESSEL_ASSERT_TEXT(false, "!\"CToken_binarystreambuf::NewLine(AString& line) not implemented\"");
}

// --- writing

void CToken_binarystreambuf::PutBytes(std::uint64_t value, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        PutByte(value >> (8 * i));
}

void CToken_binarystreambuf::PutText(ETokenType type, std::wstring_view text) {
    const std::string bytes      = ToUtf8Units(text);
    const bool        longLength = bytes.size() > kMaxShortLength;
    PutByte(TypeByte(type) | (longLength ? kLongLength : 0));
    PutBytes(bytes.size(), longLength ? 4 : 1);
    for (const char byte : bytes)
        PutByte(static_cast<unsigned char>(byte));
    SetLastType(type);
}

void CToken_binarystreambuf::WriteComment(std::wstring_view text) {
    PutText(ETokenType::Comment, text);
    WriteEol(true);
}
void CToken_binarystreambuf::WriteQuotedText(std::wstring_view text) {
    PutText(ETokenType::SingleQuotedText, text);
}
void CToken_binarystreambuf::WriteKeyword(std::wstring_view text) {
    PutText(ETokenType::Keyword, text);
}
void CToken_binarystreambuf::WriteCData(std::wstring_view text) {
    PutText(ETokenType::CData, text);
}
void CToken_binarystreambuf::WriteWhiteSpace(std::wstring_view text) {
    if (ReturnsWhiteSpace()) PutText(ETokenType::WhiteSpace, text);
}

void CToken_binarystreambuf::WriteSymbol(wchar_t ch) {
    if (static_cast<std::uint32_t>(ch) < 128) {
        PutByte(TypeByte(ETokenType::Symbol));
        PutByte(static_cast<std::uint32_t>(ch));
    } else {
        const std::string bytes = ToUtf8Units({&ch, 1});
        PutByte(TypeByte(ETokenType::Symbol) | kLongLength);
        PutByte(bytes.size());
        for (const char byte : bytes)
            PutByte(static_cast<unsigned char>(byte));
    }
    SetLastType(ETokenType::Symbol);
}

void CToken_binarystreambuf::WriteText(std::wstring_view text) {
    const bool blank = std::all_of(text.begin(), text.end(), platform::IsSpace);
    if (blank) {
        WriteWhiteSpace(text);
    } else {
        PutText(ETokenType::SingleQuotedText, text);
    }
}

void CToken_binarystreambuf::WriteBool(bool value) {
    const ETokenType type = value ? ETokenType::True : ETokenType::False;
    PutByte(TypeByte(type));
    SetLastType(type);
}

void CToken_binarystreambuf::WriteEol(bool force) {
    if (!force && LastType() == ETokenType::Eol) return;
    PutByte(TypeByte(ETokenType::Eol));
    CountLine();
    SetLastType(ETokenType::Eol);
}

void CToken_binarystreambuf::PutInteger(unsigned base, std::uint32_t value) {
    const std::size_t length = mSmallestIntegers ? SignificantBytes(value) : sizeof(value);
    TESSEL_ASSERT(length > 0 && length <= 8);
    PutByte(base + length);
    PutBytes(value, length);
    SetLastType(ETokenType::Double);  // whatever the integer's own kind: other programs go by it
}

void CToken_binarystreambuf::WriteSigned(std::int32_t value) {
    PutInteger(kSignedBase, static_cast<std::uint32_t>(value));
}
void CToken_binarystreambuf::WriteUnsigned(std::uint32_t value) {
    PutInteger(kUnsignedBase, value);
}

void CToken_binarystreambuf::WriteDouble(double value, int) {
    const auto        bytes  = std::bit_cast<std::uint64_t>(value);
    const std::size_t length = SignificantBytes(bytes);
    PutByte(kFloatBase + length);
    PutBytes(bytes, length);
    SetLastType(ETokenType::Double);
}

void CToken_binarystreambuf::WriteFloat(float value, int precision) {
    WriteDouble(static_cast<double>(value), precision);
}

// --- for the block model

void CToken_binarystreambuf::PutExactNumber(const CToken& token) {
    const double value    = token.Number();
    const bool   floating = token.Type() == ETokenType::Double || token.Type() == ETokenType::Float;
    if (!floating &&
        IsIntegerBetween(value, std::numeric_limits<std::int32_t>::min(),
                         std::numeric_limits<std::int32_t>::max()) &&
        (token.Type() < ETokenType::UnsignedShort || value < 0)) {
        WriteSigned(static_cast<std::int32_t>(value));
    } else if (!floating && IsIntegerBetween(value, 0, std::numeric_limits<std::uint32_t>::max())) {
        WriteUnsigned(static_cast<std::uint32_t>(value));
    } else {
        WriteDouble(value, -1);
    }
}

void CToken_binarystreambuf::WriteValueToken(const CToken& token) {
    if (token.IsNumeric()) {
        PutExactNumber(token);
    } else if (token.IsBoolean()) {
        WriteBool(token.Type() == ETokenType::True);
    } else if (token.IsQuoted() ||
               (token.Type() == ETokenType::Keyword && token.Length() != 0 && !IsFrame(token))) {
        PutText(token.Type(), token.View());
    } else {
        PutText(ETokenType::SingleQuotedText, token.View());
    }
}

/// Whether a reader that passes over blocks would take a word for one's begin or end. Without case: it may
/// compare so.
bool CToken_binarystreambuf::IsFrame(const CToken& word) const noexcept {
    return CBase_grammar::SameWord(word.View(), BlockBegin().Str()) ||
           CBase_grammar::SameWord(word.View(), BlockEnd().Str());
}

void CToken_binarystreambuf::WriteNameToken(const CToken& token) {
    if (!token.IsText() || token.Type() == ETokenType::Keyword) {
        WriteValueToken(token);
    } else {
        PutText(ETokenType::SingleQuotedText, token.View());
    }
}

void CToken_binarystreambuf::WriteBlockName(const CToken& token) {
    PutText(ETokenType::SingleQuotedText, token.View());
}

}  // namespace io
