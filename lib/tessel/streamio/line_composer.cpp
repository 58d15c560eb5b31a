#include "tessel/streamio/line_composer.h"

#include "tessel/platform/platform.h"
#include "tessel/streamio/block.h"
#include "tessel/streamio/block_func.h"
#include "tessel/streamio/block_value.h"
#include "tessel/streamio/block_vec.h"
#include "tessel/streamio/number_text.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <typeinfo>

namespace io {

namespace {

/// By address: an item of a class that another module knows by another address writes itself.
template <class T, class Object>
bool Is(const Object& object) noexcept {
    return &typeid(object) == &typeid(T);
}

}  // namespace

CLineComposer::CLineComposer(CToken_ostream& stream) noexcept
    : mStream(stream),
      mBuffer(stream.TokenBuffer()),
      mUsual(Is<CToken_ostream>(stream) || Is<CToken_ostring>(stream)) {}

bool CLineComposer::Open() noexcept {
    if (mRoom.mNext != nullptr) return true;
    if (!mUsual || !mBuffer.OpenLines(mRoom)) return false;
    const auto first = [](std::wstring_view word) {
        return word.empty() ? L'\0' : AString::LowerChar(word[0]);
    };
    mFrameFirst = {first(mRoom.mBegin), first(mRoom.mEnd)};
    // Other keywords may be no words, or words that need quotes.
    mPlainFrames =
        mStream.HasPlainFrames() && mRoom.mIsDefault && mRoom.mBegin == L"$begin" && mRoom.mEnd == L"$end";
    TakeIndentation();
    return true;
}

void CLineComposer::Close() noexcept {
    if (mRoom.mNext != nullptr && mLines != 0) mBuffer.TakeLines(mRoom.mNext, mLines);
    mRoom  = CLineRoom();
    mLines = 0;
}

void CLineComposer::TakeIndentation() noexcept {
    mIndentation = mBuffer.Indentation();
    std::copy_n(mIndentation.begin(), std::min(mIndentation.size(), kStep), mIndentationStart.begin());
}

bool CLineComposer::StartLine(std::size_t indentation) noexcept {
    mNext = mRoom.mNext;
    return indentation > kStep ? Put(mIndentation.substr(0, indentation))
                               : PutInSteps({mIndentationStart.data(), indentation});
}

bool CLineComposer::EndLine() noexcept {
    if ((mRoom.mCrLf && !Put(L'\r')) || !Put(L'\n')) return false;
    mRoom.mNext = mNext;
    ++mLines;
    return true;
}

void CLineComposer::WriteItems(const CBlock& block) {
    for (const CBlockItemPtr& item : block.Items()) {
        if (!item || Write(*item)) continue;
        Close();
        item->Write(mStream);
        mStream.NewLine();
    }
}

/// Writes an item and its line end. False: nothing of it has been written.
bool CLineComposer::Write(const CBlock_item& item) {
    if (!Open()) return false;
    if (Is<CBlock>(item)) return mPlainFrames && WriteBlock(static_cast<const CBlock&>(item));
    return StartLine(mIndentation.size()) && PutItem(item) && EndLine();
}

bool CLineComposer::WriteBlock(const CBlock& block) {
    const std::size_t indentation = mIndentation.size();
    if (!WriteFrame(indentation, mRoom.mBegin, block.Name())) return false;
    mStream.Indent(mStream.IndentWidth());
    TakeIndentation();
    const std::size_t inside = mIndentation.size();
    WriteItems(block);
    // An item that wrote itself may have changed what lines look like.
    if (Open() && mPlainFrames && mIndentation.size() == inside &&
        WriteFrame(indentation, mRoom.mEnd, block.Name())) {
        mStream.Unindent();
        TakeIndentation();
    } else {
        Close();
        mStream.WriteEndBlock(block.Name());
    }
    return true;
}

bool CLineComposer::WriteFrame(std::size_t indentation, std::wstring_view keyword, const CToken& name) {
    return StartLine(indentation) && Put(keyword) && Put(L' ') && PutQuoted(name, L'\'') && EndLine();
}

bool CLineComposer::PutItem(const CBlock_item& item) {
    if (Is<CBlock_named_value>(item)) {
        const auto& named = static_cast<const CBlock_named_value&>(item);
        return PutName(named.Name()) && Put(L'=') && PutValue(named.Value());
    }
    if (Is<CBlock_vec>(item)) return PutVec(static_cast<const CBlock_vec&>(item));
    return Is<CBlock_func>(item) && PutFunc(static_cast<const CBlock_func&>(item));
}

bool CLineComposer::PutVec(const CBlock_vec& vec) {
    const auto& elements = vec.Elements();
    if (!PutName(vec.Name()) || !Put(L'[') || !PutNumber(static_cast<double>(elements.size())) || !Put(L':'))
        return false;
    for (std::size_t i = 0; i < elements.size(); ++i)
        if ((i != 0 && !Put(L',')) || !Put(L' ') || !PutValue(elements[i])) return false;
    return Put(L']');
}

bool CLineComposer::PutFunc(const CBlock_func& func) {
    if (!PutName(func.Name()) || !Put(L'(')) return false;
    const auto& arguments = func.Arguments();
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (!arguments[i] || (i != 0 && !(Put(L',') && Put(L' ')))) return false;
        const CBlock_func_arg& argument = *arguments[i];
        const bool             put      = Is<CBlock_value>(argument)
                                              ? PutValue(static_cast<const CBlock_value&>(argument).Value())
                                              : PutItem(argument);
        if (!put) return false;
    }
    return Put(L')');
}

bool CLineComposer::PutName(const CToken& name) {
    return name.IsText() && PutText(name);
}

bool CLineComposer::PutText(const CToken& text) {
    const std::wstring_view view = text.View();
    if (mRoom.mIsDefault && text.IsNoted(CToken::kIsWord) && !IsFrame(view)) return PutInSteps(view);
    if (PutWord(view)) return true;
    // What is a word beyond the table's characters is not known here.
    return std::all_of(view.begin(), view.end(), CLexTable::Has) && PutQuoted(text, L'\'');
}

bool CLineComposer::PutValue(const CToken& value) {
    if (value.IsNumeric()) return value.Type() != ETokenType::Hex && PutNumber(value.Number());
    switch (value.Type()) {
        case ETokenType::Keyword:
            return PutText(value);
        case ETokenType::SingleQuotedText:
            return PutQuoted(value, L'\'');
        case ETokenType::DoubleQuotedText:
            return PutQuoted(value, L'"');
        case ETokenType::True:
            return Put(mRoom.mGrammar->TrueSpelling());
        case ETokenType::False:
            return Put(mRoom.mGrammar->FalseSpelling());
        default:
            return false;
    }
}

/// Whether a word would open or close a block. Hardly one begins as these do.
bool CLineComposer::IsFrame(std::wstring_view word) const noexcept {
    const wchar_t first = AString::LowerChar(word[0]);
    return (first == mFrameFirst[0] || first == mFrameFirst[1]) &&
           (CBase_grammar::SameWord(word, mRoom.mBegin) || CBase_grammar::SameWord(word, mRoom.mEnd));
}

/// A text that reads back as the same keyword.
bool CLineComposer::PutWord(std::wstring_view text) noexcept {
    const CLexTable& table = *mRoom.mTable;
    if (text.empty() || !Fits(text.size()) || !table.Leads(kStart, text[0], kInWord)) return false;
    mNext[0] = text[0];
    for (std::size_t i = 1; i < text.size(); ++i) {
        if (!table.Stays(kInWord, text[i])) return false;
        mNext[i] = text[i];
    }
    if (IsFrame(text) || !mRoom.mGrammar->IsKeyword(text)) return false;
    mNext += text.size();
    return true;
}

bool CLineComposer::PutQuoted(const CToken& text, wchar_t quote) noexcept {
    const std::wstring_view view = text.View();
    if (!text.IsNoted(CToken::kIsPlain)) return PutEscaped(view, quote);
    return Put(quote) && PutInSteps(view) && Put(quote);
}

bool CLineComposer::PutEscaped(std::wstring_view text, wchar_t quote) noexcept {
    constexpr std::size_t kMostUnits = 3;  // of a character
    if (!Fits(kMostUnits * text.size() + 2)) return false;
    wchar_t* next = mNext;
    *next++       = quote;
    for (const wchar_t ch : text) {
        if (ch < L' ' || ch > L'~') {
            if (!PutBeyondAscii(next, ch)) return false;
            continue;
        }
        if (ch == quote || ch == L'\\') *next++ = L'\\';
        *next++ = ch;
    }
    *next++ = quote;
    mNext   = next;
    return true;
}

/// A character from 128 on that stands for itself, where there is room for it.
bool CLineComposer::PutBeyondAscii(wchar_t*& next, wchar_t ch) const noexcept {
    constexpr wchar_t kFirst = 0xA0, kTwoUnits = 0x800, kSurrogates = 0xD800;
    if (ch < kFirst || ch >= kSurrogates || platform::IsControl(ch)) return false;
    if (!mRoom.mUtf8) {
        *next++ = ch;
        return true;
    }
    if (ch < kTwoUnits) {
        *next++ = static_cast<wchar_t>(0xC0 | (ch >> 6));
    } else {
        *next++ = static_cast<wchar_t>(0xE0 | (ch >> 12));
        *next++ = static_cast<wchar_t>(0x80 | ((ch >> 6) & 0x3F));
    }
    *next++ = static_cast<wchar_t>(0x80 | (ch & 0x3F));
    return true;
}

bool CLineComposer::PutNumber(double value) {
    if (!Fits(kMostNumberUnits) || std::isnan(value)) return false;
    mNext = PutExact(value, mNext);
    return true;
}

/// A text that can be read in whole steps, so that short ones of any length are one copy of the same size.
bool CLineComposer::PutInSteps(std::wstring_view text) noexcept {
    if (!Fits(text.size() + kStep)) return false;
    wchar_t* const end = mNext + text.size();
    for (const wchar_t* from = text.data(); mNext < end; from += kStep, mNext += kStep)
        std::memcpy(mNext, from, kStep * sizeof(wchar_t));
    mNext = end;
    return true;
}

bool CLineComposer::Put(std::wstring_view text) noexcept {
    if (!Fits(text.size())) return false;
    mNext = std::copy(text.begin(), text.end(), mNext);
    return true;
}

}  // namespace io
