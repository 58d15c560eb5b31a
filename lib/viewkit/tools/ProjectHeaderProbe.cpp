#include "tessel/platform/platform.h"
#include "viewkit/tools/CharacterCount.h"
#include "viewkit/tools/OpenFile.h"
#include "viewkit/tools/ProjectPreviewHelper.h"

#include <array>
#include <cstring>
#include <optional>

namespace ProjectPreviewHelper {

namespace {

constexpr int         kHeaderProbeMaxLines = 20;    // reads; a longer line takes several
constexpr std::size_t kLineBuffer          = 5000;  // bytes, with the NUL
constexpr std::size_t kMaxCapture          = 99;    // characters between single quotes

/// The text behind `lead` (a scan format that ends in `'%n`) up to the next single quote, or to the
/// end of what was read.
std::optional<std::string> ScanQuoted(const char* line, const char* lead) {
    int end = -1;
    std::sscanf(line, lead, &end);
    if (end < 0) return std::nullopt;
    const char*       begin  = line + end;
    const std::size_t length = std::strcspn(begin, "'");
    if (length == 0) return std::nullopt;
    return std::string(begin, NarrowPrefix({begin, length}, kMaxCapture));
}

bool Contains(const char* line, const char* word) {
    return std::strstr(line, word) != nullptr;
}

/// What is known of the head of a file, line after line.
struct CProbe {
    std::string&   mProduct;
    std::uint32_t& mMajor;
    std::uint32_t& mMinor;
    bool           mProductFound = false;
    bool           mVersionFound = false;
    bool           mInDesktop    = false;
    bool           mDesktopEnded = false;

    bool IsDone() const { return mProductFound && mVersionFound; }

    void Look(const char* line) {
        if (Contains(line, "Product"))
            if (auto product = ScanQuoted(line, " Product = '%n")) {
                mProduct      = std::move(*product);
                mProductFound = true;
            }
        if (Contains(line, "Desktop")) {
            if (ScanQuoted(line, " $begin '%n") == "Desktop") mInDesktop = true;
            if (ScanQuoted(line, " $end '%n") == "Desktop") mDesktopEnded = true;
        }
        if (mInDesktop && !mDesktopEnded && Contains(line, "Version")) LookForVersion(line);
    }

    void LookForVersion(const char* line) {
        int major = 0;
        int minor = 0;
        if (std::sscanf(line, " Version(%d,%d)", &major, &minor) != 2) return;
        mMajor        = static_cast<std::uint32_t>(major);
        mMinor        = static_cast<std::uint32_t>(minor);
        mVersionFound = true;
    }
};

}  // namespace

bool GetProjectHeaderInfo(const AString& path, std::string& product, std::uint32_t& major,
                          std::uint32_t& minor) {
    product.clear();
    major = minor = 0;
    const COpenFile file(platform::OpenForReading(path.ToNarrow().c_str(), true));
    if (!file) return false;

    CProbe                        probe{product, major, minor};
    std::array<char, kLineBuffer> line;
    for (int i = 0; i < kHeaderProbeMaxLines && !probe.IsDone(); ++i) {
        if (std::fgets(line.data(), static_cast<int>(line.size()), file.get()) == nullptr) break;
        probe.Look(line.data());
    }
    return probe.IsDone();
}

}  // namespace ProjectPreviewHelper
