#pragma once

#include "tessel/streamio/token.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <vector>

namespace io {

/// Texts that were read lately: names come again and again, and equal ones then share one text.
class CRecentTexts {
  public:
    /// On: starts to share. Off: forgets what was shared.
    void Share(bool on);

    /// Gives the token this text, shared where that is possible.
    void Set(CToken& token, ETokenType type, std::wstring_view text) {
        constexpr std::size_t kLongest = 32;  // longer ones hardly come again
        if (mTexts.empty() || text.size() <= CToken::kInlineCapacity || text.size() > kLongest) {
            token.SetText(type, text);
            return;
        }
        CToken& recent = mTexts[Hash(text) & (mTexts.size() - 1)];
        if (recent.HasSharedText(text) && token.ShareText(type, recent)) return;
        token.SetText(type, text);
        recent = token;
        if (++mMisses >= 2 * mTexts.size()) Grow();
    }

  private:
    static std::size_t Hash(std::wstring_view text) noexcept {
        const auto        unit = [&](std::size_t at) { return static_cast<std::size_t>(text[at]); };
        const std::size_t last = text.size() - 1;
        return text.size() + 5 * unit(0) + 7 * unit(last / 2) + 17 * unit(last - 1) + 31 * unit(last);
    }
    void Grow();

    std::vector<CToken> mTexts;  ///< by their hash, as many as a power of two; or empty
    std::size_t         mMisses = 0;
};

}  // namespace io
