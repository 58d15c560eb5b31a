#include "viewkit/tools/InfoTip.h"

#include "tessel/baseutils/assertion.h"
#include "tessel/platform/platform.h"
#include "viewkit/tools/CharacterCount.h"
#include "viewkit/tools/ProjectFile.h"
#include "viewkit/tools/ProjectPreviewHelper.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

namespace {

using ProjectPreviewHelper::CProjectFile;

constexpr std::size_t kMaxNotes = 30;  // characters shown of a design's notes

/// Appends the text as narrow text without NUL: the shell would take it for the end of the tip.
void AppendShown(std::string& tip, std::wstring_view text) {
    const std::size_t before  = tip.size();
    const auto        isAscii = [](wchar_t unit) { return unit > 0 && unit < 128; };
    if (std::all_of(text.begin(), text.end(), isAscii)) {  // the same in every code page
        tip.resize(before + text.size());
        std::transform(text.begin(), text.end(), tip.begin() + static_cast<std::ptrdiff_t>(before),
                       [](wchar_t unit) { return static_cast<char>(unit); });
        return;
    }
    tip += AString(text.data(), text.size()).ToNarrow();
    std::replace(tip.begin() + static_cast<std::ptrdiff_t>(before), tip.end(), '\0', ' ');
}

void AppendType(std::string& tip, const CProjectFile& file) {
    std::string   product;
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
    if (!ProjectPreviewHelper::GetProjectHeaderInfo(file, product, major, minor)) {
        tip += "Type: Unknown\n";
        return;
    }
    // The numbers were read as signed ones and are shown so.
    tip += "Type: Tarvex " + product + " " + std::to_string(static_cast<std::int32_t>(major)) + "." +
           std::to_string(static_cast<std::int32_t>(minor)) + " File\n";
}

void AppendNotes(std::string& tip, const AString& notes) {
    const std::size_t before = tip.size();
    const std::size_t shown  = WidePrefix(notes.Str(), kMaxNotes);
    tip += ", Notes: ";
    const std::size_t begin = tip.size();
    AppendShown(tip, std::wstring_view(notes.Str()).substr(0, shown));
    if (tip.size() == begin) {
        tip.resize(before);
    } else if (shown < notes.Length()) {
        tip += "...";
    }
}

void AppendDesigns(std::string& tip, const AString& path, const CProjectFile& file) {
    std::vector<ProjectPreviewHelper::DesignTitle> designs;
    if (!ProjectPreviewHelper::GetDesignTitles(path, file, designs)) {
        tip += "Design preview information not found.\n";
        return;
    }
    tip += "Project contains " + std::to_string(designs.size()) + " design(s):\n";
    for (const auto& design : designs) {
        tip += "Design Name: ";
        AppendShown(tip, design.DesignName.Str());
        AppendNotes(tip, design.Notes);
        tip += "\n";
    }
}

void AppendSize(std::string& tip, std::uint64_t size) {
    std::array<char, 50> buffer;
    const bool res = platform::FormatByteSize(size, buffer.data(), static_cast<unsigned>(buffer.size()));
    TESSEL_ASSERT(res);
    if (res) tip += std::string("Size: ") + buffer.data();
}

/// The size of what could not be opened: a folder has one, and what others have locked.
void AppendSizeOf(std::string& tip, const std::string& filePath) {
    platform::CFileInfo info;
    if (platform::GetFileInfo(filePath.c_str(), &info)) {
        AppendSize(tip, info.mSize);
    } else {
        TESSEL_ASSERT_TEXT(false, "0");
    }
}

}  // namespace

std::string ComposeInfoTip(const std::string& filePath) {
    const AString      path(filePath.c_str());
    const CProjectFile file(path);
    if (!file.IsOpen()) ProjectPreviewHelper::ExistingProjectPath(path);  // what is open exists
    std::string tip;
    AppendType(tip, file);
    AppendDesigns(tip, path, file);
    if (file.IsOpen()) {
        AppendSize(tip, static_cast<std::uint64_t>(file.Size()));
    } else {
        AppendSizeOf(tip, filePath);
    }
    return tip;
}
