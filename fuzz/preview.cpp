// Whole files, as the file manager hands them over: the probe of the head, the search for the preview, its
// records, and the stored picture up to its bytes. What has a fast way gives what the plain way gives.
//
// No options: the input is the file.

#include "fuzz_support.h"
#include "tessel/platform/picture.h"
#include "viewkit/preview_lookups.h"
#include "viewkit/tools/InfoTip.h"
#include "viewkit/tools/PreviewBlock.h"
#include "viewkit/tools/ProjectFile.h"
#include "viewkit/tools/ProjectPreviewHelper.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace {

using namespace fuzz_support;
using namespace ProjectPreviewHelper;

const CStrictAssertions gStrict;

/// A file that is in no folder; it is opened by the name that its descriptor has.
class CMemoryFileOf {
  public:
    explicit CMemoryFileOf(std::string_view bytes) : mDescriptor(memfd_create("project", 0)) {
        Require(mDescriptor >= 0 &&
                    write(mDescriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
                "there is memory for a file");
    }
    ~CMemoryFileOf() { close(mDescriptor); }
    CMemoryFileOf(const CMemoryFileOf&)            = delete;
    CMemoryFileOf& operator=(const CMemoryFileOf&) = delete;

    std::string Path() const { return "/proc/self/fd/" + std::to_string(mDescriptor); }

  private:
    int mDescriptor;
};

// --- the head

/// What the probe finds, by the C library's own calls. Of ASCII alone: otherwise a limit of 99 characters
/// is not one of 99 bytes.
std::string Head(std::FILE* file) {
    std::array<char, 5000> line;
    std::array<char, 100>  text;
    std::string            product;
    int                    major = 0, minor = 0;
    bool                   hasProduct = false, hasVersion = false, begun = false, ended = false;
    for (int i = 0; i < 20 && !(hasProduct && hasVersion); ++i) {
        if (std::fgets(line.data(), static_cast<int>(line.size()), file) == nullptr) break;
        if (std::sscanf(line.data(), " Product = '%99[^']", text.data()) == 1) {
            product    = text.data();
            hasProduct = true;
        }
        const auto names = [&](const char* format) {
            return std::sscanf(line.data(), format, text.data()) == 1 &&
                   std::strcmp(text.data(), "Desktop") == 0;
        };
        begun     = names(" $begin '%99[^']") || begun;
        ended     = names(" $end '%99[^']") || ended;
        int first = 0, second = 0;
        if (begun && !ended && std::sscanf(line.data(), " Version(%d,%d)", &first, &second) == 2) {
            major      = first;
            minor      = second;
            hasVersion = true;
        }
    }
    return (hasProduct && hasVersion ? "yes " : "no ") + product + " " + std::to_string(major) + "." +
           std::to_string(minor);
}

void CheckHead(const AString& path, std::string_view bytes) {
    std::string   product;
    std::uint32_t major = 0, minor = 0;
    const bool    found = GetProjectHeaderInfo(path, product, major, minor);
    if (!IsAscii(bytes)) return;
    std::FILE* file = std::fopen(path.ToNarrow().c_str(), "rb");
    Require(file != nullptr, "the file is there");
    const std::string expected = Head(file);
    std::fclose(file);
    RequireSame((found ? "yes " : "no ") + product + " " + std::to_string(static_cast<std::int32_t>(major)) +
                    "." + std::to_string(static_cast<std::int32_t>(minor)),
                expected, "the head is read as by fgets and sscanf");
}

// --- the preview

void CheckOffset(const AString& path, std::string_view bytes) {
    constexpr std::string_view kMarker = "$begin 'ProjectPreview'";
    std::uint32_t              offset  = 0;
    if (FindPreviewBlockOffset(path, offset)) {
        Require(offset <= bytes.size() && bytes.substr(offset).starts_with(kMarker), "the marker is found");
    } else if (bytes.find(kMarker) != bytes.npos) {
        Require(bytes.find("$end 'TarvexProject'") != bytes.npos ||
                    bytes.find("$end 'AllReferencedFilesForProject'") != bytes.npos,
                "only an end marker hides a preview");
    }
}

template <class Record>
std::string TitlesOf(const std::vector<Record>& records) {
    std::string titles;
    for (const Record& record : records)
        titles += Escaped(record.DesignName.Str()) + "|" + Escaped(record.Notes.Str()) + "\n";
    return titles;
}

std::string TextOf(const CThumbnailText& picture) {
    return (picture.IsBase64 ? "64:" : "") + Escaped(picture.Text.Str());
}

void CheckRecords(const AString& path) {
    io::CBlock                 preview;
    const bool                 found = ReadPreviewBlock(path, preview);
    std::vector<DesignTitle>   titles;
    std::vector<DesignPreview> records;
    CThumbnailText             thumbnail;
    Require(preview_lookups::ToldTitles(path, titles) == found, "titles come of a preview");
    Require(GetProjectPreviewData(path, records) == found, "records come of a preview");
    Require(GetProjectThumbnailText(path, thumbnail) == found, "a picture comes of a preview");
    RequireSame(TitlesOf(titles), TitlesOf(records), "titles are those of the records");
    if (!found) return;
    RequireSame(TitlesOf(titles), TitlesOf(preview_lookups::Titles(preview)), "titles are what lookups find");
    RequireSame(TextOf(thumbnail), TextOf(preview_lookups::Picture(preview)),
                "the picture's text is what lookups find");
}

// --- the picture

/// Digit by digit.
std::vector<std::uint8_t> SlowBase64(const std::wstring& text, std::size_t size) {
    constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::vector<std::uint8_t>  bytes;
    std::uint32_t              group = 0;
    int                        count = 0;
    const auto                 add   = [&](std::uint32_t value) {
        group = (group << 6) + value;
        if (++count % 4 != 0) return;
        for (const int shift : {16, 8, 0})
            bytes.push_back(static_cast<std::uint8_t>(group >> shift));
        group = 0;
    };
    for (const wchar_t unit : text) {
        if (platform::IsSpace(unit)) continue;
        const bool        isAscii = static_cast<std::uint32_t>(unit) < 128;
        const std::size_t digit   = isAscii ? kDigits.find(static_cast<char>(unit)) : kDigits.npos;
        add(unit == L'=' ? 0 : digit == kDigits.npos ? 0xFFFFFFFF : static_cast<std::uint32_t>(digit));
    }
    while (count % 4 != 0)
        add(0);
    bytes.resize(size);
    return bytes;
}

void CheckPicture(const AString& text) {
    const std::vector<std::uint8_t> bytes = DecodeThumbnailText(text, true);
    Require(bytes == SlowBase64(text.Str(), bytes.size()), "base64 is decoded as digit by digit");
    const std::vector<std::uint8_t> pairs = DecodeThumbnailText(text, false);
    Require(pairs.size() == text.Length() / 2, "two digits make a byte");
    for (const auto& image : {bytes, pairs}) {
        platform::IsReasonableImage(image.data(), image.size());
        platform::IsPlainPng(image.data(), image.size());
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes = CInput(data, size).Rest();
    const CMemoryFileOf    file(bytes);
    const AString          path(file.Path().c_str());
    CheckHead(path, bytes);
    CheckOffset(path, bytes);
    CheckRecords(path);
    Require(!ComposeInfoTip(file.Path()).empty(), "there is always a tip");
    CThumbnailText thumbnail;
    GetProjectThumbnailText(path, thumbnail);
    CheckPicture(thumbnail.Text);
    CheckPicture(AString(Widen(bytes)));
    return 0;
}
