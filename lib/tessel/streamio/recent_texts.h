#pragma once

#include "tessel/streamio/token.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
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
        // Two places for each hash: the later and the earlier of the texts that came with it.
        CToken* const recent = &mTexts[Hash(text) & (mTexts.size() - 2)];
        for (CToken* place = recent; place != recent + 2; ++place)
            if (place->HasSharedText(text) && token.ShareText(type, *place)) return;
        token.SetText(type, text);
        recent[1] = std::move(recent[0]);
        recent[0] = token;
        if (++mMisses >= 2 * mTexts.size()) Grow();
    }

  private:
    /// By the length and four units; names that differ at all nearly always do in these.
    static std::size_t Hash(std::wstring_view text) noexcept {
        const auto        unit = [&](std::size_t at) { return static_cast<std::uint64_t>(text[at]); };
        const std::size_t last = text.size() - 1;
        const auto key = unit(0) ^ (unit(last / 2) << 12) ^ (unit(last - 1) << 24) ^ (unit(last) << 36) ^
                         (std::uint64_t{text.size()} << 52);
        constexpr std::uint64_t kGolden = 0x9E3779B97F4A7C15;  // spreads what differs over the upper bits
        return static_cast<std::size_t>((key * kGolden) >> 48);
    }
    void Grow();

    std::vector<CToken> mTexts;  ///< by their hash, as many as a power of two; or empty
    std::size_t         mMisses = 0;
};

}  // namespace io
