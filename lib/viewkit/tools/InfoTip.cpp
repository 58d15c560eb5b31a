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

/// Narrow text without NUL: the shell would take it for the end of the tip.
std::string Shown(const AString& text) {
    std::string shown = text.ToNarrow();
    std::replace(shown.begin(), shown.end(), '\0', ' ');
    return shown;
}
/// ASCII is the same in every code page.
std::string_view Shown(std::string_view ascii) {
    return ascii;
}

/// The beginning of notes, or all of them.
AString Shortened(const AString& notes) {
    return AString(notes.CStr(), WidePrefix(notes.Str(), kMaxNotes));
}
std::string_view Shortened(std::string_view ascii) {
    return ascii.substr(0, kMaxNotes);
}

std::size_t Length(const AString& text) {
    return text.Length();
}
std::size_t Length(std::string_view ascii) {
    return ascii.size();
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
    tip.append("Type: Tarvex ").append(product);
    tip.append(" ").append(std::to_string(static_cast<std::int32_t>(major)));
    tip.append(".").append(std::to_string(static_cast<std::int32_t>(minor)));
    tip.append(" File\n");
}

template <class Text>
void AppendNotes(std::string& tip, const Text& notes) {
    const Text shortened = Shortened(notes);
    const auto shown     = Shown(shortened);
    if (shown.empty()) return;
    tip.append(", Notes: ").append(shown);
    if (Length(shortened) < Length(notes)) tip += "...";
}

template <class Title>
void AppendTitles(std::string& tip, const std::vector<Title>& titles) {
    tip.append("Project contains ").append(std::to_string(titles.size())).append(" design(s):\n");
    for (const Title& title : titles) {
        tip.append("Design Name: ").append(Shown(title.DesignName));
        AppendNotes(tip, title.Notes);
        tip += "\n";
    }
}

void AppendDesigns(std::string& tip, const std::string& filePath, const CProjectFile& file) {
    ProjectPreviewHelper::TitleRoom               room;
    std::vector<ProjectPreviewHelper::AsciiTitle> usual;
    if (ProjectPreviewHelper::GetAsciiTitles(file, room, usual)) {
        AppendTitles(tip, usual);
        return;
    }
    std::vector<ProjectPreviewHelper::DesignTitle> titles;
    if (ProjectPreviewHelper::GetDesignTitles(AString(filePath.c_str()), file, titles)) {
        AppendTitles(tip, titles);
    } else {
        tip += "Design preview information not found.\n";
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
    const CProjectFile file(filePath.c_str());
    if (!file.IsOpen())  // what is open exists
        ProjectPreviewHelper::ExistingProjectPath(AString(filePath.c_str()));
    constexpr std::size_t kUsualSize = 1000;
    std::string           tip;
    tip.reserve(kUsualSize);
    AppendType(tip, file);
    AppendDesigns(tip, filePath, file);
    if (file.IsOpen()) {
        AppendSize(tip, static_cast<std::uint64_t>(file.Size()));
    } else {
        AppendSizeOf(tip, filePath);
    }
    return tip;
}
