#include "tessel/streamio/recent_texts.h"

namespace io {

void CRecentTexts::Share(bool on) {
    constexpr std::size_t kFirst = 64;
    mTexts.clear();
    mMisses = 0;
    if (on) mTexts.resize(kFirst);
}

/// More room when many different texts come, up to what stays close at hand.
void CRecentTexts::Grow() {
    constexpr std::size_t kMost = 1024;
    mMisses                     = 0;
    if (mTexts.size() < kMost) mTexts.resize(2 * mTexts.size());
}

}  // namespace io
