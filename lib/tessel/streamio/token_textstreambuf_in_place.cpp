#include "tessel/streamio/in_place_cursor.h"
#include "tessel/streamio/token_textstreambuf.h"

#include <algorithm>

namespace io {

bool CToken_textstreambuf::OpenInPlace(CInPlaceCursor& cursor) {
    // A spelling that is kept, and a character that a locale makes of more than one unit, are not
    // read in place.
    if (mKeepText || !IsAsciiPlain() || !mTable->IsPlain()) return false;
    const std::wstring_view units = ReadyUnits();
    if (units.empty()) return false;
    mInPlace.mComments   = ReturnsComments();
    mInPlace.mWhiteSpace = ReturnsWhiteSpace();
    mInPlace.mUtf8       = IsUtf8();
    mInPlace.mSpecial    = mSpecialNumbers ? mGrammar.InfinitySpelling()[0] : L'\0';
    mInPlace.mWords      = CaseMode() != kCaseUpper && CaseMode() != kCaseLower &&
                      mGrammar.Action(kEndWord) == ELexAction::kEndWord;
    cursor = CInPlaceCursor(mInPlace, units);
    return true;
}

bool CToken_textstreambuf::ReadTokenInPlace(CToken& token) {
    CInPlaceCursor cursor;
    if (!OpenInPlace(cursor) || !cursor.Lex(token)) return false;
    PassInPlace(cursor);
    return true;
}

bool CToken_textstreambuf::OpenLines(CLineRoom& room) noexcept {
    constexpr std::wstring_view kDelimiters = L"=[:,]()";
    const auto spoils = [this](wchar_t ch) { return mGrammar.HasFlags(ch, kFlagKeywordChar); };
    const bool plain  = IsFormatting() && mTable->IsPlain() && LastType() == ETokenType::Eol &&
                       (!IsUtf8() || std::all_of(mIndentation.begin(), mIndentation.end(), CLexTable::Has)) &&
                       std::none_of(kDelimiters.begin(), kDelimiters.end(), spoils);
    const auto [next, units] = ReadyRoom();
    if (!plain || units == 0) return false;
    room = {.mGrammar   = &mGrammar,
            .mTable     = mTable,
            .mFrame     = {BlockBegin().Str(), BlockEnd().Str()},
            .mIsDefault = IsDefaultGrammar(),
            .mCrLf      = mCrLf,
            .mUtf8      = IsUtf8(),
            .mNext      = next,
            .mLimit     = next + units};
    return true;
}

void CToken_textstreambuf::ShareTexts(bool on) {
    mRecentTexts.Share(on);
}

}  // namespace io
