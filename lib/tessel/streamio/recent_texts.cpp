#include "tessel/streamio/recent_texts.h"

namespace io {

void CRecentTexts::Share(bool on) {
    constexpr std::size_t kFirst = 64;
    mTexts.clear();
    mMisses = 0;
    mSet = mName = kNone;
    if (on) mTexts.resize(kFirst);
}

void CRecentTexts::SetNew(CToken& token, ETokenType type, std::wstring_view text, std::uint64_t hash) {
    token.SetText(type, text);
    const std::size_t first = Place(hash);
    mTexts[first + 1]       = std::move(mTexts[first]);
    mTexts[first]           = {token, Key(hash), kNone, type == ETokenType::Keyword};
    mSet                    = static_cast<std::uint16_t>(first);
    if (++mMisses < 2 * mTexts.size()) return;
    // More room when many different texts come, up to what stays close at hand.
    constexpr std::size_t kMost = 1024;
    mMisses                     = 0;
    if (mTexts.size() < kMost) mTexts.resize(2 * mTexts.size());
}

}  // namespace io
