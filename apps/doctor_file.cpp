// The file's own links: from its name to the picture that is stored in it.

#include "apps/doctor.h"
#include "apps/project_picture.h"
#include "apps/tool.h"
#include "tessel/platform/platform.h"
#include "viewkit/tools/PreviewBlock.h"
#include "viewkit/tools/ProjectFile.h"

#include <algorithm>
#include <limits>
#include <string_view>

namespace preview::doctor {
namespace {

using namespace ProjectPreviewHelper;

constexpr char kSaveAgain[] = "Open the project in the suite and save it: the suite writes the preview then.";

/// A project, and what is known of it so far.
struct CProject {
    AString             mPath;
    platform::CFileInfo mInfo;
};

CFinding LookAtName(CProject& project) {
    const AString opened(project.mPath.ToNarrow().c_str());
    if (opened == project.mPath)
        return {EState::kHolds, "all of its characters are in the system's code page", ""};
    return {EState::kBroken,
            "has characters that the system's code page lacks; what opens is \"" +
                opened.ToNarrow(kUtf8Encoding) + '"',
            "Give the file and its folders names without unusual characters."};
}

CFinding LookAtFile(CProject& project) {
    const std::string narrow = project.mPath.ToNarrow();
    if (!platform::GetFileInfo(narrow.c_str(), &project.mInfo))
        return {EState::kBroken, tool::ReasonOf(platform::LastError()),
                "Check the name and the folder; the file may have been moved or deleted."};
    if (!project.mInfo.mIsRegular)
        return {EState::kBroken, project.mInfo.mIsDirectory ? "it is a folder" : "it is no file on a disk",
                "Name a project file: folders, pipes and devices have no preview."};
    std::string reason;
    if (!tool::CanOpen(project.mPath, &reason))
        return {EState::kBroken, "cannot be opened: " + reason,
                "See that you may read the file, and that no other program has locked it."};
    return {EState::kHolds, "can be read", ""};
}

CFinding LookAtHead(CProject& project) {
    std::string   product;
    std::uint32_t major = 0, minor = 0;
    HeaderLines   lines;
    if (GetProjectHeaderInfo(CProjectFile(project.mPath), product, major, minor, &lines))
        return {EState::kHolds,
                product + ' ' + std::to_string(static_cast<std::int32_t>(major)) + '.' +
                    std::to_string(static_cast<std::int32_t>(minor)) + " (product in line " +
                    std::to_string(lines.Product) + ", version in line " + std::to_string(lines.Version) +
                    ')',
                ""};
    const struct {
        int         mLine;
        const char* mText;
    } wanted[] = {{lines.Product, "Product='...'"},
                  {lines.Desktop, "$begin 'Desktop'"},
                  {lines.Version, "Version(major, minor) in the block 'Desktop'"}};
    std::string missing;
    for (const auto& [line, text] : wanted)
        if (line == 0) missing += (missing.empty() ? "" : ", ") + std::string(text);
    return {EState::kBroken, "the first 20 lines lack " + missing,
            "The tip says \"Type: Unknown\" for it. If it is a project, open it in the suite and save it."};
}

CFinding LookAtSize(CProject& project) {
    const std::string bytes = std::to_string(project.mInfo.mSize) + " bytes";
    if (project.mInfo.mSize <= std::uint64_t{std::numeric_limits<std::int32_t>::max()})
        return {EState::kHolds, bytes, ""};
    return {EState::kBroken, bytes + "; the preview is looked for in files of less than 2 GiB",
            "Make the project smaller, for example by deleting solutions that it contains, and save it."};
}

CFinding LookAtMarker(CProject& project) {
    PreviewMarker     marker;
    const bool        found = FindPreviewMarker(CProjectFile(project.mPath), marker);
    const std::string place = "at byte " + std::to_string(marker.Offset);
    if (found) return {EState::kHolds, "the preview block begins " + place, ""};
    if (!marker.Text.empty())
        return {EState::kBroken, "no preview block behind \"" + std::string(marker.Text) + "\" " + place,
                kSaveAgain};
    return {
        EState::kBroken, "no part of a project is in the whole file",
        "If it should be a project, its end is missing: take a whole copy, or save it in the suite again."};
}

/// All that was recorded while a block was read, with its lines, inner blocks first.
void CollectErrors(const io::CBlock& block, std::vector<std::string>* errors) {
    for (const io::CBlockItemPtr& item : block.Items())
        if (item && item->IsBlock()) CollectErrors(static_cast<const io::CBlock&>(*item), errors);
    for (auto error = block.ErrorsBegin(); error != block.ErrorsEnd(); ++error)
        errors->push_back(std::string(error->what()) + " in line " + std::to_string(error->Line()));
}

CFinding LookAtDesigns(CProject& project) {
    io::CBlock                 block;
    std::vector<DesignPreview> designs;
    if (!ReadPreviewBlock(project.mPath, block) || !GetProjectPreviewData(project.mPath, designs))
        return {EState::kBroken, "the preview block cannot be read", kSaveAgain};
    const std::string        count = std::to_string(designs.size()) + " design(s)";
    std::vector<std::string> errors;
    CollectErrors(block, &errors);
    if (!errors.empty()) {
        constexpr std::size_t kTold = 3;
        std::string           told;
        for (std::size_t i = 0; i < std::min(errors.size(), kTold); ++i)
            told += (i == 0 ? "" : "; ") + errors[i];
        return {
            EState::kBroken,
            count + "; damaged: " + std::to_string(errors.size()) + " (" + told + " of the preview block)",
            std::string("What is damaged is left out of the tip. ") + kSaveAgain};
    }
    if (designs.empty()) return {EState::kNote, "none; the tip has none to tell of", ""};
    return {EState::kHolds, count + ", nothing damaged", ""};
}

struct CFormat {
    std::string_view mBegin;
    const char*      mName;
};
constexpr CFormat kFormats[] = {
    {"\x89PNG\r\n\x1A\n", "PNG"}, {"\xFF\xD8", "JPEG"},   {"GIF8", "GIF"},          {"BM", "BMP"},
    {{"II*\0", 4}, "TIFF"},       {{"MM\0*", 4}, "TIFF"}, {{"\0\0\1\0", 4}, "icon"}};
const char* FormatOf(const std::vector<std::uint8_t>& bytes) {
    const std::string_view image(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    for (const auto& [begin, name] : kFormats)
        if (image.starts_with(begin)) return name;
    return "unknown format";
}

CFinding LookAtThumbnail(CProject& project) {
    CThumbnailText text;
    GetProjectThumbnailText(project.mPath, text);
    if (text.Text.IsEmpty())
        return {EState::kBroken, "the preview block has no picture (Thumbnail64='...')", kSaveAgain};
    CPicture          picture;
    std::string       reason;
    const bool        decoded = DecodePicture(text, picture, &reason);
    const std::string stored  = std::string(FormatOf(picture.mStored)) + ", " +
                               std::to_string(picture.mStored.size()) + " bytes as " +
                               (text.IsBase64 ? "base64" : "hexadecimal digits");
    if (!decoded)
        return {EState::kBroken, "cannot be decoded: " + stored,
                std::string(
                    "The picture is damaged, too large, or of a format that this system does not read. ") +
                    kSaveAgain};
    return {EState::kHolds,
            std::to_string(picture.mPixels.mWidth) + " x " + std::to_string(picture.mPixels.mHeight) +
                " pixels (" + stored + ')',
            ""};
}

constexpr CStep<CProject> kSteps[] = {
    {"Name", LookAtName, true},   {"File", LookAtFile, true},      {"Head", LookAtHead},
    {"Size", LookAtSize, true},   {"Preview", LookAtMarker, true}, {"Designs", LookAtDesigns},
    {"Picture", LookAtThumbnail},
};

}  // namespace

void ExamineFile(const CCase& subject, CReport& report) {
    if (subject.mFile.empty()) {
        report.push_back({"File", {{"Name", {EState::kNotApplicable, "no file was named", ""}}}});
        return;
    }
    CProject project;
    project.mPath = tool::PathFromArgument(subject.mFile);
    report.push_back(Walk("File " + subject.mFile, kSteps, project));
}

}  // namespace preview::doctor
