#include "viewkit/tools/PreviewBlock.h"
#include "viewkit/tools/PreviewLines.h"
#include "viewkit/tools/ProjectFile.h"
#include "viewkit/tools/ProjectPreviewHelper.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ProjectPreviewHelper {

namespace {

std::vector<AString> ReadStrings(io::CBlock& block, std::wstring_view name) {
    const io::CBlock_vec* vec = FindVec(block, name);
    return vec != nullptr ? vec->Strings() : std::vector<AString>();
}

std::vector<SetupExperiment> ReadParamorphSetups(io::CBlock& design) {
    std::vector<AString>            names = ReadStrings(design, L"Paramorph Setups");
    const io::CBlock_vec*           vec   = FindVec(design, L"Paramorph Experiment Types");
    const std::vector<std::int32_t> types = vec != nullptr ? vec->Ints() : std::vector<std::int32_t>();
    std::vector<SetupExperiment>    setups;
    setups.reserve(names.size());
    for (std::size_t i = 0; i < names.size(); ++i)
        setups.push_back({std::move(names[i]), i < types.size() ? types[i] : kDefaultExperimentType});
    return setups;
}

DesignTitle ReadTitleItems(io::CBlock& design) {
    DesignTitle title;
    ReadField(design, L"DesignName", title.DesignName);
    ReadField(design, L"Notes", title.Notes);
    return title;
}

DesignPreview ReadDesign(io::CBlock& design) {
    DesignPreview record;
    DesignTitle   title = ReadTitleItems(design);
    record.DesignName   = std::move(title.DesignName);
    record.Notes        = std::move(title.Notes);
    ReadField(design, L"IsSolved", record.IsSolved);
    ReadField(design, L"Factory", record.Factory);
    record.NominalSetups   = ReadStrings(design, L"Nominal Setups");
    record.ParamorphSetups = ReadParamorphSetups(design);
    return record;
}

/// A title from the lines of a design's block; false when one of them has to be read by the block reader.
bool ReadTitle(CPreviewLines& lines, AsciiTitle& title, std::forward_list<std::string>& unfolded) {
    using EKind = CPreviewLines::EKind;
    struct CField {
        std::string_view  mName;
        std::string_view& mText;
        bool              mFound = false;
    };
    CField fields[] = {{"DesignName", title.DesignName}, {"Notes", title.Notes}};
    for (EKind kind = lines.Next(); kind != EKind::kEnd; kind = lines.Next()) {
        if (kind != EKind::kText && kind != EKind::kOther) return false;
        for (CField& field : fields) {
            if (field.mFound || !lines.IsNamed(field.mName)) continue;
            if (kind != EKind::kText) return false;
            field.mText  = lines.IsFolded() ? unfolded.emplace_front(lines.Unfolded()) : lines.Ascii();
            field.mFound = true;
        }
    }
    if (!fields[0].mFound) title.Notes = {};  // no field counts behind one that is missing
    return true;
}

/// The titles from the lines of a preview; the same `false`.
bool ReadTitles(CPreviewLines& lines, std::vector<AsciiTitle>& titles,
                std::forward_list<std::string>& unfolded) {
    using EKind = CPreviewLines::EKind;
    for (EKind kind = lines.Next(); kind != EKind::kUnknown; kind = lines.Next()) {
        if (lines.Depth() == 0) return kind == EKind::kEnd;
        if (kind == EKind::kBegin && lines.Depth() == 2 && lines.IsNamed("DesignInfo"))
            if (!ReadTitle(lines, titles.emplace_back(), unfolded)) return false;
    }
    return false;
}

template <class Record>
bool ReadDesigns(const AString& path, const CProjectFile& file, std::vector<Record>& records,
                 Record (*read)(io::CBlock&)) {
    records.clear();
    io::CBlock preview;
    if (!ReadPreviewBlock(path, file, preview)) return false;
    for (const io::CBlockItemPtr& item : preview.Items())
        if (item && item->IsBlock() && HasName(*item, L"DesignInfo"))
            records.push_back(read(static_cast<io::CBlock&>(*item)));
    return true;
}

}  // namespace

bool GetProjectPreviewData(const AString& path, std::vector<DesignPreview>& designs) {
    return GetProjectPreviewData(path, CProjectFile(path), designs);
}

bool GetProjectPreviewData(const AString& path, const CProjectFile& file,
                           std::vector<DesignPreview>& designs) {
    return ReadDesigns(path, file, designs, &ReadDesign);
}

bool GetDesignTitles(const AString& path, const CProjectFile& file, std::vector<DesignTitle>& titles) {
    return ReadDesigns(path, file, titles, &ReadTitleItems);
}

bool GetAsciiTitles(const CProjectFile& file, TitleRoom& room, std::vector<AsciiTitle>& titles) {
    constexpr std::size_t kUsual = 16;  // more designs are rare
    titles.clear();
    titles.reserve(kUsual);
    const std::string_view bytes = ReadPreviewBytes(file, room.Bytes);
    if (bytes.empty()) return false;
    CPreviewLines lines(bytes);
    return ReadTitles(lines, titles, room.Unfolded);
}

}  // namespace ProjectPreviewHelper
