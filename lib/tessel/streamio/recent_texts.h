#pragma once

#include "tessel/streamio/token.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

namespace io {

/// Texts that were read lately: names come again and again, and equal ones then share one text.
class CRecentTexts {
  public:
    CRecentTexts() noexcept                      = default;
    CRecentTexts(const CRecentTexts&)            = delete;
    CRecentTexts& operator=(const CRecentTexts&) = delete;

    /// On: starts to share. Off: forgets what was shared.
    void Share(bool on);

    /// Gives the token this text, shared where that is possible. A `Keyword` is a whole word of the text.
    void Set(CToken& token, ETokenType type, std::wstring_view text) {
        constexpr std::size_t kLongest = 32;  // longer ones hardly come again
        mSet                           = &mNone;
        if (mTexts.empty() || text.size() <= CToken::kInlineCapacity || text.size() > kLongest) {
            token.SetText(type, text);
            return;
        }
        const std::uint64_t hash  = Hash(text);
        const std::size_t   first = Place(hash);
        for (std::size_t at = first; at != first + kPlaces; ++at) {
            CRecent& recent = mTexts[at];
            if (recent.mKey != Key(hash) || !recent.mText.HasSharedText(text)) continue;
            if (!token.ShareText(type, recent.mText)) continue;
            recent.mIsWord = recent.mIsWord || type == ETokenType::Keyword;
            mSet           = &recent;
            return;
        }
        SetNew(token, type, text, hash);
    }

    /// The names of lines come in the same order again and again. This is the one that came behind the name
    /// before, last time; empty when none did.
    std::wstring_view ExpectedName() const noexcept {
        const CRecent* const expected = mName->mFollower;
        return expected != nullptr && expected->mIsWord ? expected->mText.SharedText() : std::wstring_view();
    }
    /// Makes it the name's text. False when it cannot be shared.
    bool SetExpectedName(CToken& name) noexcept {
        CRecent* const expected = mName->mFollower;
        if (!name.ShareText(ETokenType::Keyword, expected->mText)) return false;
        mName = expected;
        return true;
    }
    /// The text set last was that of a name.
    void NoteName() noexcept {
        mName->mFollower = mSet;
        mName            = mSet;
    }

  private:
    struct CRecent {
        CToken        mText;
        CRecent*      mFollower = nullptr;  ///< the name behind it, if it is one
        std::uint32_t mKey      = 0;
        bool          mIsWord   = false;  ///< it was a keyword
    };
    /// For each hash: the later and the earlier of the texts that came with it.
    static constexpr std::size_t kPlaces = 2;

    /// Of the length and six units; names that differ at all nearly always do in these.
    static std::uint64_t Hash(std::wstring_view text) noexcept {
        const auto              pair     = [&](std::size_t at) { return CToken::Pair(text.data() + at); };
        constexpr int           kRotated = 23;
        constexpr std::uint64_t kGolden  = 0x9E3779B97F4A7C15;  // spreads what differs over the upper bits
        return ((pair(0) + text.size()) ^ std::rotl(pair(text.size() - 2), kRotated) ^
                std::rotl(pair(text.size() / 2 - 1), 2 * kRotated)) *
               kGolden;
    }
    std::size_t Place(std::uint64_t hash) const noexcept {
        return static_cast<std::size_t>(hash >> 48) & (mTexts.size() - kPlaces);
    }
    static std::uint32_t Key(std::uint64_t hash) noexcept { return static_cast<std::uint32_t>(hash >> 24); }
    void                 SetNew(CToken& token, ETokenType type, std::wstring_view text, std::uint64_t hash);
    void                 Resize(std::size_t size);

    std::vector<CRecent> mTexts;  ///< by their hash, as many as a power of two; or empty
    std::size_t          mMisses = 0;
    CRecent              mNone;           ///< for a text that is not kept
    CRecent*             mSet  = &mNone;  ///< what was set last
    CRecent*             mName = &mNone;  ///< the last name
};

}  // namespace io
