#include "tessel/streamio/recent_texts.h"

namespace io {

void CRecentTexts::Share(bool on) {
    constexpr std::size_t kFirst = 64;
    mTexts.clear();
    mMisses = 0;
    if (on) mTexts.resize(kFirst);
}

void CRecentTexts::SetNew(CToken& token, ETokenType type, std::wstring_view text, std::uint64_t key) {
    token.SetText(type, text);
    CRecent* const recent = &mTexts[Place(key)];
    recent[1]             = std::move(recent[0]);
    recent[0]             = {key, token};
    if (++mMisses < 2 * mTexts.size()) return;
    // More room when many different texts come, up to what stays close at hand.
    constexpr std::size_t kMost = 1024;
    mMisses                     = 0;
    if (mTexts.size() < kMost) mTexts.resize(2 * mTexts.size());
}

}  // namespace io
