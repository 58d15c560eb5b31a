#include "viewkit/tools/PreviewLines.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

namespace ProjectPreviewHelper {

namespace {

constexpr bool IsDigit(char ch) {
    return ch >= '0' && ch <= '9';
}
constexpr bool IsLetter(char ch) {
    return (ch >= 'A' && ch <= 'Z') || (ch >= 'a' && ch <= 'z');
}
constexpr bool IsWord(char ch) {
    return IsLetter(ch) || IsDigit(ch) || ch == '_';
}
constexpr char Lower(char ch) {
    return ch >= 'A' && ch <= 'Z' ? static_cast<char>(ch + 32) : ch;
}

constexpr bool IsPrintable(char ch) {
    return ch >= ' ' && ch <= '~';
}

/// What a run of characters is made of.
enum ERun : std::uint8_t {
    kRunDigits = 1,
    kRunWord   = 2,
    kRunPlain  = 4,  ///< stands for itself between quotes
};

constexpr std::array<std::uint8_t, 256> RunsOfCharacters() {
    std::array<std::uint8_t, 256> runs{};
    for (std::size_t i = 0; i < runs.size(); ++i) {
        const char ch    = static_cast<char>(i);
        const bool plain = IsPrintable(ch) && ch != '\'' && ch != '\\';
        runs[i] = static_cast<std::uint8_t>((IsDigit(ch) ? kRunDigits : 0) | (IsWord(ch) ? kRunWord : 0) |
                                            (plain ? kRunPlain : 0));
    }
    return runs;
}
constexpr auto kRuns = RunsOfCharacters();

/// Length of the run at the start.
std::size_t RunLength(std::string_view text, ERun run) noexcept {
    const char*       next = text.data();
    const char* const end  = next + text.size();
    while (next != end && (kRuns[static_cast<unsigned char>(*next)] & run) != 0)
        ++next;
    return static_cast<std::size_t>(next - text.data());
}

/// How many bytes are no printable ASCII. Blocks of fixed length are counted by wide instructions.
std::size_t CountUnprintable(std::string_view text) noexcept {
    constexpr std::size_t kBlock      = 32;
    std::size_t           unprintable = 0;
    for (; text.size() >= kBlock; text.remove_prefix(kBlock)) {
        unsigned char inBlock = 0;
        for (const char ch : text.substr(0, kBlock))
            inBlock = static_cast<unsigned char>(inBlock + !IsPrintable(ch));
        unprintable += inBlock;
    }
    return unprintable +
           static_cast<std::size_t>(std::count_if(text.begin(), text.end(), std::not_fn(IsPrintable)));
}

/// Whether a text between quotes goes on over a line end only behind a backslash, and has nothing else
/// that means something else than itself.
bool IsPlain(std::string_view text) noexcept {
    std::size_t lineEnds = 0;
    for (std::size_t at = text.find('\\'); at != text.npos; at = text.find('\\', at + 2)) {
        if (at + 1 == text.size() || text[at + 1] != '\n') return false;
        ++lineEnds;
    }
    return CountUnprintable(text) == lineEnds;
}

/// In blocks of fixed length, copied so that nobody can write to them meanwhile: for wide instructions.
void Widen(std::string_view ascii, wchar_t* out) noexcept {
    constexpr std::size_t    kBlock = 16;
    std::array<char, kBlock> block;
    for (; ascii.size() >= kBlock; ascii.remove_prefix(kBlock), out += kBlock) {
        std::copy_n(ascii.begin(), kBlock, block.begin());
        for (std::size_t i = 0; i < kBlock; ++i)
            out[i] = static_cast<unsigned char>(block[i]);
    }
    std::copy(ascii.begin(), ascii.end(), out);
}

}  // namespace

bool CPreviewLines::Take(char ch) noexcept {
    if (!mRest.starts_with(ch)) return false;
    mRest.remove_prefix(1);
    return true;
}

bool CPreviewLines::Take(std::string_view word) noexcept {
    if (!mRest.starts_with(word)) return false;
    mRest.remove_prefix(word.size());
    return true;
}

void CPreviewLines::SkipBlanks() noexcept {
    while (mRest.starts_with(' ') || mRest.starts_with('\t'))
        mRest.remove_prefix(1);
}

bool CPreviewLines::TakeLineEnd() noexcept {
    SkipBlanks();
    return mRest.empty() || Take('\n') || Take("\r\n");
}

bool CPreviewLines::TakeQuoted(std::string_view& text) noexcept {
    if (!Take('\'')) return false;
    // Most texts are over after a few characters.
    constexpr std::size_t kFew = 32;
    const std::size_t     few  = std::min(kFew, mRest.size());
    std::size_t           end  = RunLength(mRest.substr(0, few), kRunPlain);
    const bool            over = end != few && mRest[end] == '\'';
    if (!over) end = mRest.find('\'');
    if (end == mRest.npos) return false;
    text = mRest.substr(0, end);
    mRest.remove_prefix(end + 1);
    return over || IsPlain(text);
}

/// A word, or a quoted text on one line.
bool CPreviewLines::TakeName(std::string_view& name) noexcept {
    if (mRest.starts_with('\'')) return TakeQuoted(name) && !name.empty() && name.find('\\') == name.npos;
    if (mRest.empty() || !IsLetter(mRest[0])) return false;
    name = mRest.substr(0, RunLength(mRest, kRunWord));
    mRest.remove_prefix(name.size());
    return true;
}

/// A value that is no text between quotes, or stands in a list.
bool CPreviewLines::TakeValue() noexcept {
    constexpr std::size_t kDigits = 9;  // fit any count
    std::string_view      value;
    if (const std::size_t digits = RunLength(mRest, kRunDigits); digits != 0) {
        mRest.remove_prefix(digits);
        return digits <= kDigits;
    }
    return mRest.starts_with('\'') ? TakeQuoted(value) : TakeName(value);
}

/// What stands behind the "[", with the "]".
bool CPreviewLines::TakeList() noexcept {
    SkipBlanks();
    if (Take(']')) return true;
    const bool mayBeCount = !mRest.empty() && IsDigit(mRest[0]);
    for (bool first = true;; first = false) {
        if (!TakeValue()) return false;
        SkipBlanks();
        if (Take(']')) return true;
        if (!Take(',') && !(first && mayBeCount && Take(':'))) return false;
        SkipBlanks();
    }
}

bool CPreviewLines::TakeFrameName() noexcept {
    SkipBlanks();
    return mRest.starts_with('\'') && TakeName(mName) && TakeLineEnd();
}

CPreviewLines::EKind CPreviewLines::Begin() noexcept {
    if (!TakeFrameName() || mDepth == kDepth) return EKind::kUnknown;
    mBlocks[mDepth++] = mName;
    return EKind::kBegin;
}

CPreviewLines::EKind CPreviewLines::End() noexcept {
    if (!TakeFrameName() || mDepth == 0 || mBlocks[mDepth - 1] != mName) return EKind::kUnknown;
    --mDepth;
    return EKind::kEnd;
}

CPreviewLines::EKind CPreviewLines::Next() noexcept {
    do {
        if (mRest.empty()) return EKind::kUnknown;
    } while (TakeLineEnd());
    if (mRest.starts_with('$')) return Take("$begin ") ? Begin() : Take("$end ") ? End() : EKind::kUnknown;
    if (!TakeName(mName)) return EKind::kUnknown;
    SkipBlanks();
    EKind kind = EKind::kOther;
    bool  read = false;
    if (Take('=')) {
        SkipBlanks();
        if (mRest.starts_with('\'')) kind = EKind::kText;
        read = kind == EKind::kText ? TakeQuoted(mText) : TakeValue();
    } else if (Take('[')) {
        read = TakeList();
    }
    return read && TakeLineEnd() ? kind : EKind::kUnknown;
}

AString CPreviewLines::Text() const {
    std::wstring text(mText.size(), L'\0');
    std::size_t  length = 0;
    for (std::string_view rest = mText; !rest.empty();) {
        const std::string_view line = rest.substr(0, rest.find('\\'));
        Widen(line, text.data() + length);
        length += line.size();
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));  // the line end behind it stays
    }
    text.resize(length);
    return AString(std::move(text));
}

bool CPreviewLines::IsNamed(std::string_view name) const noexcept {
    return mName.size() == name.size() && std::equal(mName.begin(), mName.end(), name.begin(), name.end(),
                                                     [](char a, char b) { return Lower(a) == Lower(b); });
}

}  // namespace ProjectPreviewHelper
