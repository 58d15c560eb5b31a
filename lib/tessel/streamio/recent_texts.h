#pragma once

#include "tessel/streamio/token.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
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
        const std::uint64_t key    = Key(text);
        CRecent* const      recent = &mTexts[Place(key)];
        for (const CRecent* place = recent; place != recent + kPlaces; ++place)
            if (place->mKey == key && place->mText.HasSharedText(text) && token.ShareText(type, place->mText))
                return;
        SetNew(token, type, text, key);
    }

  private:
    struct CRecent {
        std::uint64_t mKey = 0;
        CToken        mText;
    };
    /// For each hash: the later and the earlier of the texts that came with it.
    static constexpr std::size_t kPlaces = 2;

    /// The length and six units; names that differ at all nearly always do in these.
    static std::uint64_t Key(std::wstring_view text) noexcept {
        const auto pair = [&](std::size_t at) {
            std::uint64_t units = 0;
            std::memcpy(&units, text.data() + at, 2 * sizeof(wchar_t));
            return units;
        };
        constexpr int kRotated = 23;
        return (pair(0) + text.size()) ^ std::rotl(pair(text.size() - 2), kRotated) ^
               std::rotl(pair(text.size() / 2 - 1), 2 * kRotated);
    }
    std::size_t Place(std::uint64_t key) const noexcept {
        constexpr std::uint64_t kGolden = 0x9E3779B97F4A7C15;  // spreads what differs over the upper bits
        return static_cast<std::size_t>((key * kGolden) >> 48) & (mTexts.size() - kPlaces);
    }
    void SetNew(CToken& token, ETokenType type, std::wstring_view text, std::uint64_t key);

    std::vector<CRecent> mTexts;  ///< by their hash, as many as a power of two; or empty
    std::size_t          mMisses = 0;
};

}  // namespace io
