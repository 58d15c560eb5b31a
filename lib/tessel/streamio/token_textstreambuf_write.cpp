#include "tessel/platform/platform.h"
#include "tessel/streamio/number_text.h"
#include "tessel/streamio/token_textstreambuf.h"

#include <algorithm>
#include <cmath>

namespace io {

namespace {

constexpr wchar_t kEscape = L'\\';
constexpr wchar_t kSingle = L'\'';
constexpr wchar_t kDouble = L'"';

/// How many characters at the start stand for themselves between quotes, as far as that is seen at once.
std::size_t PlainRun(std::wstring_view text, wchar_t quote) noexcept {
    const auto special = [quote](wchar_t ch) {
        return ch < L' ' || ch > L'~' || ch == quote || ch == kEscape;
    };
    return static_cast<std::size_t>(std::find_if(text.begin(), text.end(), special) - text.begin());
}

bool IsSign(wchar_t ch) noexcept {
    return ch == L'+' || ch == L'-';
}

/// What separators go by: the kind of a text that ends with this character.
ETokenType TypeOfEnd(wchar_t last) noexcept {
    if (last == L'\n' || last == L'\r') return ETokenType::Eol;
    return platform::IsSpace(last) ? ETokenType::WhiteSpace : ETokenType::Keyword;
}

/// Whether a reader that looks for `tag` behind `text` finds it there and not before. It gives up a
/// match at the first character that differs, without looking back.
bool TagEndsText(std::wstring_view text, std::wstring_view tag) {
    const std::wstring all     = std::wstring(text) + std::wstring(tag);
    std::size_t        matched = 0;
    for (std::size_t i = 0; i < all.size(); ++i) {
        const bool inTag = matched != 0 || all[i] == tag[0];
        if (!inTag) continue;
        matched = AString::LowerChar(all[i]) == tag[matched] ? matched + 1 : 0;
        if (matched == tag.size()) return i + 1 == all.size();
    }
    return false;
}

}  // namespace

// --- separators

// What stands between two tokens, so that they stay two: a space or nothing, by the new token's kind and
// first character, and the last one's kind and last character.
bool CToken_textstreambuf::NeedsSpace(ETokenType type, wchar_t first) const {
    const bool afterSymbol = LastType() == ETokenType::Symbol;
    if (type == ETokenType::Symbol) {
        if (IsNumericType(LastType())) return first == L'.';
        return LastType() == ETokenType::Keyword && mGrammar.HasFlags(first, kFlagKeywordChar);
    }
    if (type == ETokenType::Comment) return true;
    if (!afterSymbol) return true;
    if (type == ETokenType::Hex) return IsSign(LastChar()) || LastChar() == L'.';
    if (IsNumericType(type)) {
        if (LastChar() == L'.') return first != L'.';
        if (IsSign(LastChar())) return !IsSign(first);
    }
    return false;
}

void CToken_textstreambuf::Separate(ETokenType type, wchar_t first) {
    if (type == ETokenType::Eol) return;
    // Most tokens follow a symbol that belongs to no number.
    if (LastType() == ETokenType::Symbol && type != ETokenType::Comment && !IsSign(LastChar()) &&
        LastChar() != L'.')
        return;
    if (LastType() == ETokenType::Eol) {
        PutText(mIndentation);
        return;
    }
    if (LastType() == ETokenType::WhiteSpace || type == ETokenType::WhiteSpace || !IsFormatting()) return;
    if (NeedsSpace(type, first)) PutChar(L' ');
}

// --- putting

void CToken_textstreambuf::PutToken(ETokenType type, std::wstring_view text) {
    Separate(type, text.empty() ? L'\0' : text[0]);
    PutText(text);
    SetLastType(type);
}

void CToken_textstreambuf::PutQuoted(ETokenType type, std::wstring_view text, wchar_t quote, bool exact) {
    Separate(type, quote);
    SetLastType(type);
    if (!IsFormatting()) {
        PutText(text);
        return;
    }
    PutChar(quote);
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::size_t run = PlainRun(text.substr(i), quote);
        PutText(text.substr(i, run));
        i += run;
        if (i == text.size()) break;
        const wchar_t ch = text[i];
        if (ch == L'\r') {
            // A raw CR behind a backslash reads as LF.
            const bool pair = i + 1 < text.size() && text[i + 1] == L'\n';
            if (!pair || exact) PutText(L"\\r");
            continue;
        }
        if (ch == quote || ch == kEscape || platform::IsControl(ch)) PutChar(kEscape);
        PutChar(ch);
    }
    PutChar(quote);
}

void CToken_textstreambuf::PutLineEnd() {
    if (mCrLf) PutChar(L'\r');
    PutChar(L'\n');
    CountLine();
    SetLastType(ETokenType::Eol);
}

// --- by hand

void CToken_textstreambuf::WriteComment(std::wstring_view text) {
    const wchar_t mark = mGrammar.CommentChar();
    Separate(ETokenType::Comment, mark);
    if (mark != 0) PutChar(mark);
    PutChar(L' ');
    PutText(text);
    SetLastType(ETokenType::Comment);
    WriteEol(true);
}

ETokenType CToken_textstreambuf::ScanWhole(std::wstring_view text) const {
    const std::wstring terminated(text);
    std::size_t        length = 0;
    const ETokenType   type   = mGrammar.ScanType(terminated.c_str(), &length);
    if (length != text.size() || text.empty()) return ETokenType::Error;
    // Quotes that are not closed take in what follows them.
    if (IsQuotedType(type)) mGrammar.ScanType((terminated + L' ').c_str(), &length);
    // The tables count what the lexer gives back: "1e", "0x", "+.".
    double     number    = 0.0;
    const bool givesBack = type == ETokenType::Symbol ? length != 1
                                                      : IsNumericType(type) && type != ETokenType::Hex &&
                                                            !ParseDecimal(text, &number);
    return length == text.size() && !givesBack ? type : ETokenType::Error;
}

void CToken_textstreambuf::WriteQuotedText(std::wstring_view text) {
    const ETokenType type = ScanWhole(text);
    if (IsQuotedType(type)) {
        PutToken(type, text);
    } else {
        PutQuoted(ETokenType::SingleQuotedText, text, kSingle, false);
    }
}

void CToken_textstreambuf::WriteKeyword(std::wstring_view text) {
    if (IsWordByTable(text) || ScanWhole(text) == ETokenType::Keyword) {
        PutToken(ETokenType::Keyword, text);
    } else {
        PutQuoted(ETokenType::SingleQuotedText, text, kSingle, false);
    }
}

void CToken_textstreambuf::WriteSymbol(wchar_t ch) {
    if (CLexTable::Has(ch) && mTable->Next(kStart, ch) == kOneCharacter) {
        Separate(ETokenType::Symbol, ch);
        PutChar(ch);
        SetLastType(ETokenType::Symbol);
        return;
    }
    const wchar_t    text[] = {ch, 0};
    const ETokenType type   = mGrammar.ScanType(text);
    if (type == ETokenType::Symbol || type == ETokenType::Keyword) {
        PutToken(ETokenType::Symbol, {text, 1});
    } else {
        PutQuoted(ETokenType::SingleQuotedText, {text, 1}, kSingle, false);
    }
}

void CToken_textstreambuf::WriteText(std::wstring_view text) {
    const ETokenType type = ScanWhole(text);
    if (type != ETokenType::Error) {
        PutToken(type, text);
    } else {
        PutQuoted(ETokenType::SingleQuotedText, text, kSingle, false);
    }
}

void CToken_textstreambuf::PutNumber(ETokenType type, double value, std::wstring_view digits) {
    if (std::isnan(value)) {
        PutToken(ETokenType::Keyword, mGrammar.NanSpelling());
    } else if (std::isinf(value)) {
        PutToken(ETokenType::Keyword, mGrammar.InfinitySpelling());  // of either sign: the form has no other
    } else {
        PutToken(type, digits);
    }
}

void CToken_textstreambuf::WriteDouble(double value, int precision) {
    PutNumber(ETokenType::Double, value, FormatNumber(value, precision, NumberFormat()));
}

void CToken_textstreambuf::WriteFloat(float value, int precision) {
    PutNumber(ETokenType::Float, value, FormatNumber(value, precision, NumberFormat()));
}

void CToken_textstreambuf::WriteShort(std::int16_t value) {
    PutToken(ETokenType::Short, FormatWhole(value).View());
}
void CToken_textstreambuf::WriteInt(std::int32_t value) {
    PutToken(ETokenType::Int, FormatWhole(value).View());
}
void CToken_textstreambuf::WriteLong(std::int32_t value) {
    PutToken(ETokenType::Long, FormatWhole(value).View());
}
void CToken_textstreambuf::WriteUnsignedShort(std::uint16_t value) {
    PutToken(ETokenType::UnsignedShort, FormatWhole(value).View());
}
void CToken_textstreambuf::WriteUnsignedInt(std::uint32_t value) {
    PutToken(ETokenType::UnsignedInt, FormatWhole(value).View());
}
void CToken_textstreambuf::WriteUnsignedLong(std::uint32_t value) {
    PutToken(ETokenType::UnsignedLong, FormatWhole(value).View());
}
void CToken_textstreambuf::WriteHex(std::uint32_t value) {
    PutToken(ETokenType::Hex, mGrammar.HexPrefix() + FormatHexadecimal(value));
}

void CToken_textstreambuf::WriteBool(bool value) {
    PutToken(value ? ETokenType::True : ETokenType::False,
             value ? mGrammar.TrueSpelling() : mGrammar.FalseSpelling());
}

void CToken_textstreambuf::WriteCData(std::wstring_view text) {
    PutToken(ETokenType::Keyword, mGrammar.CDataOpen());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool pair = text[i] == L'\r' && text.substr(i + 1).starts_with(L'\n');
        if (TypeOfEnd(text[i]) == ETokenType::Eol && !pair) CountLine();
        PutChar(text[i]);
    }
    if (!text.empty()) SetLastType(TypeOfEnd(text.back()));
    PutToken(ETokenType::Keyword, mGrammar.CDataClose());
}

void CToken_textstreambuf::WriteWhiteSpace(std::wstring_view text) {
    PutToken(ETokenType::WhiteSpace, text);
}

void CToken_textstreambuf::WriteEol(bool force) {
    if (force || LastType() != ETokenType::Eol) PutLineEnd();
}

// --- for the block model

bool CToken_textstreambuf::IsExactKeyword(std::wstring_view text) const {
    if (!IsWordByTable(text) && ScanWhole(text) != ETokenType::Keyword) return false;
    return mGrammar.TypeOfWord(text) == ETokenType::Keyword &&
           !CBase_grammar::SameWord(text, BlockBegin().Str()) &&
           !CBase_grammar::SameWord(text, BlockEnd().Str());
}

/// Whether all characters go on with the word that the first begins; false where the table cannot tell.
bool CToken_textstreambuf::IsWordByTable(std::wstring_view text) const noexcept {
    return mTable->IsPlain() && !text.empty() && CLexTable::Has(text[0]) &&
           mTable->Next(kStart, text[0]) == kInWord &&
           std::all_of(text.begin() + 1, text.end(), [&](wchar_t ch) { return mTable->Stays(kInWord, ch); });
}

void CToken_textstreambuf::PutExactNumber(const CToken& token) {
    const double value = token.Number();
    if (std::isnan(value)) {
        // No reader takes it for a number unasked; bare it would cost the whole item.
        PutQuoted(ETokenType::SingleQuotedText, mGrammar.NanSpelling(), kSingle, true);
    } else if (token.Type() == ETokenType::Hex && IsHexadecimal(value)) {
        WriteHex(static_cast<std::uint32_t>(value));
    } else {
        PutToken(ETokenType::Double, FormatExact(value).View());
    }
}

bool CToken_textstreambuf::PutExactCData(std::wstring_view text) {
    const std::wstring& open  = mGrammar.CDataOpen();
    const std::wstring& close = mGrammar.CDataClose();
    // The opening tag is a word: a body that begins like one would run on from it.
    const bool fits = !open.empty() && !text.empty() && !mGrammar.HasFlags(text[0], kFlagKeywordChar) &&
                      TagEndsText(text, close);
    if (!fits) return false;
    PutToken(ETokenType::Keyword, open);
    PutText(text);
    PutText(close);
    SetLastType(ETokenType::Keyword);
    return true;
}

void CToken_textstreambuf::WriteValueToken(const CToken& token) {
    if (token.IsNumeric()) {
        PutExactNumber(token);
    } else if (token.IsBoolean()) {
        WriteBool(token.Type() == ETokenType::True);
    } else if (token.Type() == ETokenType::Keyword && IsExactKeyword(token.View())) {
        PutToken(ETokenType::Keyword, token.View());
    } else if (token.Type() == ETokenType::DoubleQuotedText) {
        PutQuoted(token.Type(), token.View(), kDouble, true);
    } else if (token.Type() != ETokenType::CData || !PutExactCData(token.View())) {
        PutQuoted(ETokenType::SingleQuotedText, token.View(), kSingle, true);
    }
}

void CToken_textstreambuf::WriteNameToken(const CToken& token) {
    if (!token.IsText()) {
        WriteValueToken(token);
    } else if (IsExactKeyword(token.View())) {
        PutToken(ETokenType::Keyword, token.View());
    } else {
        PutQuoted(ETokenType::SingleQuotedText, token.View(), kSingle, true);
    }
}

void CToken_textstreambuf::WriteBlockName(const CToken& token) {
    PutQuoted(ETokenType::SingleQuotedText, token.View(), kSingle, true);
}

// --- indentation and places

void CToken_textstreambuf::Indent(std::size_t width, wchar_t ch) {
    mIndents.push_back(width);
    mIndentation.append(width, ch);
}

void CToken_textstreambuf::Unindent() {
    if (mIndents.empty()) return;
    mIndentation.resize(mIndentation.size() - mIndents.back());
    mIndents.pop_back();
}

void CToken_textstreambuf::InitState(CStreamStatePtr& state) const {
    state = CStreamStatePtr(new CToken_textstream_state);
}

void CToken_textstreambuf::SaveState(CStreamStatePtr& state) {
    auto* saved = new CToken_textstream_state;
    state       = CStreamStatePtr(saved);
    SaveStateInto(*saved);
    saved->mNumberFormat = NumberFormat();
    saved->mIndentation  = mIndentation;
    saved->mIndents      = mIndents;
}

void CToken_textstreambuf::RestoreState(const CStreamStatePtr& state) {
    CToken_streambuf::RestoreState(state);
    const CToken_textstream_state fresh;
    const auto&                   from = state ? static_cast<const CToken_textstream_state&>(*state) : fresh;
    SetNumberFormat(from.mNumberFormat);
    mIndentation = from.mIndentation;
    mIndents     = from.mIndents;
}

}  // namespace io
