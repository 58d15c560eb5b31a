#include "viewkit/tools/InfoTip.h"

#include "tessel/baseutils/assertion.h"
#include "tessel/platform/platform.h"
#include "viewkit/tools/CharacterCount.h"
#include "viewkit/tools/ProjectPreviewHelper.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::size_t kMaxNotes = 30;  // characters shown of a design's notes

/// Narrow text without NUL: the shell would take it for the end of the tip.
std::string Shown(const AString& text) {
    std::string shown = text.ToNarrow();
    std::replace(shown.begin(), shown.end(), '\0', ' ');
    return shown;
}

void AppendType(std::string& tip, const AString& path) {
    std::string   product;
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
    if (!ProjectPreviewHelper::GetProjectHeaderInfo(path, product, major, minor)) {
        tip += "Type: Unknown\n";
        return;
    }
    // The numbers were read as signed ones and are shown so.
    tip += "Type: Tarvex " + product + " " + std::to_string(static_cast<std::int32_t>(major)) + "." +
           std::to_string(static_cast<std::int32_t>(minor)) + " File\n";
}

void AppendNotes(std::string& tip, const AString& notes) {
    const std::size_t shown = WidePrefix(notes.Str(), kMaxNotes);
    const std::string text  = Shown(notes.Left(static_cast<std::ptrdiff_t>(shown)));
    if (text.empty()) return;
    tip += ", Notes: " + text;
    if (shown < notes.Length()) tip += "...";
}

void AppendDesigns(std::string& tip, const AString& path) {
    std::vector<ProjectPreviewHelper::DesignPreview> designs;
    if (!ProjectPreviewHelper::GetProjectPreviewData(path, designs)) {
        tip += "Design preview information not found.\n";
        return;
    }
    tip += "Project contains " + std::to_string(designs.size()) + " design(s):\n";
    for (const auto& design : designs) {
        tip += "Design Name: " + Shown(design.DesignName);
        AppendNotes(tip, design.Notes);
        tip += "\n";
    }
}

void AppendSize(std::string& tip, const std::string& filePath) {
    platform::CFileInfo info;
    if (!platform::GetFileInfo(filePath.c_str(), &info)) {
        TESSEL_ASSERT_TEXT(false, "0");
        return;
    }
    std::array<char, 50> buffer;
    const bool           res =
        platform::FormatByteSize(info.mSize, buffer.data(), static_cast<unsigned>(buffer.size()));
    TESSEL_ASSERT(res);
    if (res) tip += std::string("Size: ") + buffer.data();
}

}  // namespace

std::string ComposeInfoTip(const std::string& filePath) {
    const AString path = ProjectPreviewHelper::ExistingProjectPath(AString(filePath.c_str()));
    std::string   tip;
    AppendType(tip, path);
    AppendDesigns(tip, path);
    AppendSize(tip, filePath);
    return tip;
}
