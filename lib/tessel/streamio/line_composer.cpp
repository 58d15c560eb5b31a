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
    // Other keywords may be no words, or words that need quotes.
    mPlainFrames = mStream.HasPlainFrames() && mRoom.mIsDefault && mRoom.mFrame.Begin() == L"$begin" &&
                   mRoom.mFrame.End() == L"$end";
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

wchar_t* CLineComposer::StartLine(std::size_t indentation) const noexcept {
    return indentation > kStep ? Put(mIndentation.substr(0, indentation), mRoom.mNext)
                               : PutInSteps({mIndentationStart.data(), indentation}, mRoom.mNext);
}

/// The line ends at `next`. False when there is none.
bool CLineComposer::EndLine(wchar_t* next) noexcept {
    if (next == nullptr) return false;
    if (mRoom.mCrLf) *next++ = L'\r';
    *next++     = L'\n';
    mRoom.mNext = next;
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
    return EndLine(PutItem(item, StartLine(mIndentation.size())));
}

bool CLineComposer::WriteBlock(const CBlock& block) {
    const std::size_t indentation = mIndentation.size();
    if (!WriteFrame(indentation, mRoom.mFrame.Begin(), block.Name())) return false;
    mStream.Indent(mStream.IndentWidth());
    TakeIndentation();
    const std::size_t inside = mIndentation.size();
    WriteItems(block);
    // An item that wrote itself may have changed what lines look like.
    if (Open() && mPlainFrames && mIndentation.size() == inside &&
        WriteFrame(indentation, mRoom.mFrame.End(), block.Name())) {
        mStream.Unindent();
        TakeIndentation();
    } else {
        Close();
        mStream.WriteEndBlock(block.Name());
    }
    return true;
}

bool CLineComposer::WriteFrame(std::size_t indentation, std::wstring_view keyword, const CToken& name) {
    wchar_t* next = Put(keyword, StartLine(indentation));
    if (next == nullptr) return false;
    *next++ = L' ';
    return EndLine(PutQuoted(name, L'\'', next));
}

// What is put follows what has been put up to `next`, and ends where the answer says. Null goes through: what
// stands before could not be put, or this cannot be.

wchar_t* CLineComposer::PutItem(const CBlock_item& item, wchar_t* next) const {
    if (Is<CBlock_named_value>(item)) {
        const auto& named = static_cast<const CBlock_named_value&>(item);
        next              = PutName(named.Name(), next);
        if (next == nullptr) return nullptr;
        *next++ = L'=';
        return PutValue(named.Value(), next);
    }
    if (Is<CBlock_vec>(item)) return PutVec(static_cast<const CBlock_vec&>(item), next);
    return Is<CBlock_func>(item) ? PutFunc(static_cast<const CBlock_func&>(item), next) : nullptr;
}

wchar_t* CLineComposer::PutVec(const CBlock_vec& vec, wchar_t* next) const {
    const auto& elements = vec.Elements();
    next                 = PutName(vec.Name(), next);
    if (next == nullptr) return nullptr;
    *next++ = L'[';
    next    = PutNumber(static_cast<double>(elements.size()), next);
    if (next == nullptr) return nullptr;
    *next++ = L':';
    for (const CToken& element : elements) {
        if (&element != elements.begin()) *next++ = L',';
        *next++ = L' ';
        next    = PutValue(element, next);
        if (next == nullptr) return nullptr;
    }
    *next++ = L']';
    return next;
}

wchar_t* CLineComposer::PutFunc(const CBlock_func& func, wchar_t* next) const {
    const auto& arguments = func.Arguments();
    next                  = PutName(func.Name(), next);
    if (next == nullptr) return nullptr;
    *next++ = L'(';
    for (const CBlockFuncArgPtr& argument : arguments) {
        if (!argument) return nullptr;
        if (&argument != arguments.begin()) next = std::copy_n(L", ", 2, next);
        next = Is<CBlock_value>(*argument)
                   ? PutValue(static_cast<const CBlock_value&>(*argument).Value(), next)
                   : PutItem(*argument, next);
        if (next == nullptr) return nullptr;
    }
    if (!Fits(1, next)) return nullptr;  // functions in functions may end together
    *next++ = L')';
    return next;
}

wchar_t* CLineComposer::PutName(const CToken& name, wchar_t* next) const {
    return name.IsText() ? PutText(name, next) : nullptr;
}

wchar_t* CLineComposer::PutText(const CToken& text, wchar_t* next) const {
    const std::wstring_view view = text.View();
    if (mRoom.mIsDefault && text.IsNoted(CToken::kIsWord) && !mRoom.mFrame.Are(view))
        return PutInSteps(view, next);
    if (wchar_t* const end = PutWord(view, next)) return end;
    // What is a word beyond the table's characters is not known here.
    return std::all_of(view.begin(), view.end(), CLexTable::Has) ? PutQuoted(text, L'\'', next) : nullptr;
}

wchar_t* CLineComposer::PutValue(const CToken& value, wchar_t* next) const {
    if (value.IsNumeric()) return value.Type() != ETokenType::Hex ? PutNumber(value.Number(), next) : nullptr;
    switch (value.Type()) {
        case ETokenType::Keyword:
            return PutText(value, next);
        case ETokenType::SingleQuotedText:
            return PutQuoted(value, L'\'', next);
        case ETokenType::DoubleQuotedText:
            return PutQuoted(value, L'"', next);
        case ETokenType::True:
            return Put(mRoom.mGrammar->TrueSpelling(), next);
        case ETokenType::False:
            return Put(mRoom.mGrammar->FalseSpelling(), next);
        default:
            return nullptr;
    }
}

/// A text that reads back as the same keyword.
wchar_t* CLineComposer::PutWord(std::wstring_view text, wchar_t* next) const noexcept {
    const CLexTable& table = *mRoom.mTable;
    if (text.empty() || !Fits(text.size(), next) || !table.Leads(kStart, text[0], kInWord)) return nullptr;
    *next++ = text[0];
    for (const wchar_t ch : text.substr(1)) {
        if (!table.Stays(kInWord, ch)) return nullptr;
        *next++ = ch;
    }
    const bool isKeyword =
        !mRoom.mFrame.Are(text) && mRoom.mGrammar->TypeOfAsciiWord(text) == ETokenType::Keyword;
    return isKeyword ? next : nullptr;
}

wchar_t* CLineComposer::PutQuoted(const CToken& text, wchar_t quote, wchar_t* next) const noexcept {
    const std::wstring_view view = text.View();
    if (!text.IsNoted(CToken::kIsPlain)) return PutEscaped(view, quote, next);
    if (!Fits(1, next)) return nullptr;
    *next++ = quote;
    next    = PutInSteps(view, next);
    if (next != nullptr) *next++ = quote;
    return next;
}

wchar_t* CLineComposer::PutEscaped(std::wstring_view text, wchar_t quote, wchar_t* next) const noexcept {
    constexpr std::size_t kMostUnits = 3;  // of a character
    if (!Fits(kMostUnits * text.size() + 2, next)) return nullptr;
    *next++ = quote;
    for (const wchar_t ch : text) {
        if (ch < L' ' || ch > L'~') {
            if (!PutBeyondAscii(next, ch)) return nullptr;
            continue;
        }
        if (ch == quote || ch == L'\\') *next++ = L'\\';
        *next++ = ch;
    }
    *next++ = quote;
    return next;
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

wchar_t* CLineComposer::PutNumber(double value, wchar_t* next) const noexcept {
    return Fits(kMostNumberUnits, next) && !std::isnan(value) ? PutExact(value, next) : nullptr;
}

/// A text that can be read in whole steps, so that short ones of any length are one copy of the same size.
wchar_t* CLineComposer::PutInSteps(std::wstring_view text, wchar_t* next) const noexcept {
    if (!Fits(text.size() + kStep, next)) return nullptr;
    wchar_t* const end = next + text.size();
    for (const wchar_t* from = text.data(); next < end; from += kStep, next += kStep)
        std::memcpy(next, from, kStep * sizeof(wchar_t));
    return end;
}

wchar_t* CLineComposer::Put(std::wstring_view text, wchar_t* next) const noexcept {
    return Fits(text.size(), next) ? std::copy(text.begin(), text.end(), next) : nullptr;
}

}  // namespace io
