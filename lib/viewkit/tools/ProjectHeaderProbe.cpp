#include "tessel/platform/platform.h"
#include "viewkit/tools/CharacterCount.h"
#include "viewkit/tools/ProjectFile.h"
#include "viewkit/tools/ProjectPreviewHelper.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <optional>
#include <string_view>

namespace ProjectPreviewHelper {

namespace {

constexpr int         kHeaderProbeMaxLines = 20;    // reads; a longer line takes several
constexpr std::size_t kLineBuffer          = 5000;  // bytes, with the NUL
constexpr std::size_t kPage                = 4096;  // bytes of the file, read at a time
constexpr std::size_t kMaxCapture          = 99;    // characters between single quotes

/// The lines of a file's head, as `fgets` cuts them.
class CHeadLines {
  public:
    explicit CHeadLines(const CProjectFile& file) : mFile(file) {
        platform::SetTextMode(mFile.Descriptor(), true);
    }
    ~CHeadLines() { platform::SetTextMode(mFile.Descriptor(), false); }
    CHeadLines(const CHeadLines&)            = delete;
    CHeadLines& operator=(const CHeadLines&) = delete;

    /// The next line with its line end, or as much of it as a line may be long; null at the end.
    const char* Next() {
        std::size_t length = 0;
        for (bool ended = false; !ended && length + 1 < mLine.size() && HasMore();) {
            const std::string_view rest(mPage.data() + mUsed, mFilled - mUsed);
            const std::string_view part = rest.substr(0, std::min(rest.find('\n'), rest.size() - 1) + 1)
                                              .substr(0, mLine.size() - 1 - length);
            part.copy(mLine.data() + length, part.size());
            length += part.size();
            mUsed += part.size();
            ended = part.back() == '\n';
        }
        mLine[length] = '\0';
        return length != 0 ? mLine.data() : nullptr;
    }

  private:
    bool HasMore() {
        if (mUsed < mFilled) return true;
        const int count =
            platform::ReadDescriptor(mFile.Descriptor(), mPage.data(), static_cast<unsigned>(mPage.size()));
        mUsed   = 0;
        mFilled = count > 0 ? static_cast<std::size_t>(count) : 0;
        if (mIsFirst && mFilled != 0) mFile.NoteFirst(mPage[0]);
        mIsFirst = false;
        return mFilled != 0;
    }

    const CProjectFile&           mFile;
    bool                          mIsFirst = true;  ///< no page was read yet
    std::size_t                   mUsed    = 0;
    std::size_t                   mFilled  = 0;
    std::array<char, kPage>       mPage;
    std::array<char, kLineBuffer> mLine;
};

const char* SkipBlanks(const char* text) {
    while (*text == ' ' || (*text >= '\t' && *text <= '\r'))
        ++text;
    return text;
}

/// What stands behind these words, each of which may follow white space; null when it is not all of them.
const char* Behind(const char* line, std::initializer_list<std::string_view> words) {
    for (const std::string_view word : words) {
        line = SkipBlanks(line);
        if (std::strncmp(line, word.data(), word.size()) != 0) return nullptr;
        line += word.size();
    }
    return line;
}

/// The text behind the words, the last of which is a single quote, up to the next one or to the end of
/// what was read.
std::optional<std::string> ScanQuoted(const char* line, std::initializer_list<std::string_view> words) {
    const char* begin = Behind(line, words);
    if (begin == nullptr) return std::nullopt;
    const std::size_t length = std::strcspn(begin, "'");
    if (length == 0) return std::nullopt;
    return std::string(begin, NarrowPrefix({begin, length}, kMaxCapture));
}

/// The numbers behind "Version(", as they usually stand. False also for what `sscanf` alone reads: a plus, a
/// blank before the first, numbers that do not fit.
bool ScanVersion(const char* line, int& major, int& minor) {
    const char* const begin = Behind(line, {"Version("});
    if (begin == nullptr) return false;
    const char* const end   = begin + std::strlen(begin);
    const auto        first = std::from_chars(begin, end, major);
    if (first.ec != std::errc() || *first.ptr != ',') return false;
    return std::from_chars(SkipBlanks(first.ptr + 1), end, minor).ec == std::errc();
}

/// What is known of the head of a file, line after line.
struct CProbe {
    std::string&   mProduct;
    std::uint32_t& mMajor;
    std::uint32_t& mMinor;
    HeaderLines    mFound;
    int            mLine         = 0;  ///< that is looked at
    bool           mDesktopEnded = false;

    bool IsDone() const { return mFound.Product != 0 && mFound.Version != 0; }

    void Look(const char* line) {
        ++mLine;
        switch (*SkipBlanks(line)) {
            case 'P':
                LookForProduct(line);
                break;
            case '$':
                LookForDesktop(line);
                break;
            case 'V':
                LookForVersion(line);
                break;
            default:
                break;
        }
    }

    void LookForProduct(const char* line) {
        auto product = ScanQuoted(line, {"Product", "=", "'"});
        if (!product) return;
        mProduct       = std::move(*product);
        mFound.Product = mLine;
    }

    void LookForDesktop(const char* line) {
        if (ScanQuoted(line, {"$begin", "'"}) == "Desktop") mFound.Desktop = mLine;
        if (ScanQuoted(line, {"$end", "'"}) == "Desktop") mDesktopEnded = true;
    }

    void LookForVersion(const char* line) {
        if (mFound.Desktop == 0 || mDesktopEnded) return;
        int major = 0;
        int minor = 0;
        if (!ScanVersion(line, major, minor) && std::sscanf(line, " Version(%d,%d)", &major, &minor) != 2)
            return;
        mMajor         = static_cast<std::uint32_t>(major);
        mMinor         = static_cast<std::uint32_t>(minor);
        mFound.Version = mLine;
    }
};

}  // namespace

bool GetProjectHeaderInfo(const AString& path, std::string& product, std::uint32_t& major,
                          std::uint32_t& minor) {
    return GetProjectHeaderInfo(CProjectFile(path), product, major, minor);
}

bool GetProjectHeaderInfo(const CProjectFile& file, std::string& product, std::uint32_t& major,
                          std::uint32_t& minor, HeaderLines* found) {
    product.clear();
    major = minor = 0;
    if (found != nullptr) *found = {};
    if (!file.IsOpen()) return false;

    CProbe     probe{product, major, minor, {}};
    CHeadLines lines(file);
    for (int i = 0; i < kHeaderProbeMaxLines && !probe.IsDone(); ++i) {
        const char* line = lines.Next();
        if (line == nullptr) break;
        probe.Look(line);
    }
    if (found != nullptr) *found = probe.mFound;
    return probe.IsDone();
}

}  // namespace ProjectPreviewHelper
