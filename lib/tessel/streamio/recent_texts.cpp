#include "tessel/streamio/recent_texts.h"

#include <algorithm>

namespace io {

namespace {

/// Whether a character stands for itself between quotes of either kind.
bool IsPlainInQuotes(wchar_t ch) noexcept {
    return ch >= L' ' && ch <= L'~' && ch != L'\'' && ch != L'"' && ch != L'\\';
}

}  // namespace

void CRecentTexts::Share(bool on) {
    constexpr std::size_t kFirst = 64;
    mTexts.clear();
    mMisses = 0;
    Resize(on ? kFirst : 0);
}

/// Texts stay where they are found by their hash, or are not found any more; the order of names is forgotten.
void CRecentTexts::Resize(std::size_t size) {
    mNone.mFollower = nullptr;
    mSet = mName = &mNone;
    for (CRecent& recent : mTexts)
        recent.mFollower = nullptr;
    mTexts.resize(size);
}

void CRecentTexts::SetNew(CToken& token, ETokenType type, std::wstring_view text, std::uint64_t hash) {
    token.SetText(type, text);
    if (std::all_of(text.begin(), text.end(), IsPlainInQuotes)) token.Note(CToken::kIsPlain);
    const std::size_t first = Place(hash);
    mTexts[first + 1]       = std::move(mTexts[first]);
    mTexts[first]           = {token, nullptr, Key(hash), type == ETokenType::Keyword};
    mSet                    = &mTexts[first];
    if (++mMisses < 2 * mTexts.size()) return;
    // More room when many different texts come, up to what stays close at hand.
    constexpr std::size_t kMost = 1024;
    mMisses                     = 0;
    if (mTexts.size() < kMost) Resize(2 * mTexts.size());
}

}  // namespace io
