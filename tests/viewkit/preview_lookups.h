#pragma once

#include "tessel/streamio/block.h"
#include "tessel/streamio/block_func.h"
#include "viewkit/tools/ProjectFile.h"
#include "viewkit/tools/ProjectPreviewHelper.h"

#include <string>
#include <string_view>
#include <vector>

/// What lookups in a preview's blocks find: another way to what the preview reader tells. Needs no test
/// framework: the fuzz targets compare by it too.
namespace preview_lookups {

template <class Field>
void LookUp(io::CBlock& block, const wchar_t* name, Field& field,
            bool (io::CBlock_func_arg::*get)(Field&) const) {
    io::CBlock_named_value value(name);
    if (block.LookUp(value) && block.IsGood()) block.SetGood((value.*get)(field));
}

inline std::vector<ProjectPreviewHelper::DesignTitle> Titles(io::CBlock& preview) {
    std::vector<ProjectPreviewHelper::DesignTitle> titles;
    for (const io::CBlockItemPtr& item : preview.ItemsNamed(L"DesignInfo")) {
        const io::CBlockPtr design(item);
        if (!design) continue;
        auto& title = titles.emplace_back();
        LookUp(*design, L"DesignName", title.DesignName, &io::CBlock_value::GetString);
        LookUp(*design, L"Notes", title.Notes, &io::CBlock_value::GetString);
    }
    return titles;
}

/// What the tip tells: the titles without the block reader, or else with it.
inline bool ToldTitles(const AString& path, std::vector<ProjectPreviewHelper::DesignTitle>& titles) {
    const ProjectPreviewHelper::CProjectFile      file(path);
    ProjectPreviewHelper::TitleRoom               room;
    std::vector<ProjectPreviewHelper::AsciiTitle> usual;
    titles.clear();
    if (!ProjectPreviewHelper::GetAsciiTitles(file, room, usual)) return GetDesignTitles(path, file, titles);
    const auto text = [](std::string_view ascii) {
        return AString(std::wstring(ascii.begin(), ascii.end()));
    };
    for (const auto& [name, notes] : usual)
        titles.push_back({text(name), text(notes)});
    return true;
}

inline ProjectPreviewHelper::CThumbnailText Picture(io::CBlock& preview) {
    ProjectPreviewHelper::CThumbnailText picture;
    LookUp(preview, L"Thumbnail64", picture.Text, &io::CBlock_value::GetString);
    picture.IsBase64 = !picture.Text.IsEmpty();
    if (!picture.IsBase64) LookUp(preview, L"Thumbnail", picture.Text, &io::CBlock_value::GetString);
    return picture;
}

}  // namespace preview_lookups
