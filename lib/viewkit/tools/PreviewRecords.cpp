#include "viewkit/tools/PreviewBlock.h"
#include "viewkit/tools/ProjectPreviewHelper.h"

#include <utility>

namespace ProjectPreviewHelper {

namespace {

io::CBlock_vec ReadVec(io::CBlock& block, const wchar_t* name) {
    io::CBlock_vec vec(name);
    block.LookUp(vec);
    return vec;
}

std::vector<SetupExperiment> ReadParamorphSetups(io::CBlock& design) {
    const std::vector<AString>      names = ReadVec(design, L"Paramorph Setups").Strings();
    const std::vector<std::int32_t> types = ReadVec(design, L"Paramorph Experiment Types").Ints();
    std::vector<SetupExperiment>    setups;
    for (std::size_t i = 0; i < names.size(); ++i)
        setups.push_back({names[i], i < types.size() ? types[i] : kDefaultExperimentType});
    return setups;
}

DesignPreview ReadDesign(io::CBlock& design) {
    DesignPreview record;
    ReadField(design, L"DesignName", record.DesignName);
    ReadField(design, L"Notes", record.Notes);
    ReadField(design, L"IsSolved", record.IsSolved);
    ReadField(design, L"Factory", record.Factory);
    record.NominalSetups   = ReadVec(design, L"Nominal Setups").Strings();
    record.ParamorphSetups = ReadParamorphSetups(design);
    return record;
}

}  // namespace

bool GetProjectPreviewData(const AString& path, std::vector<DesignPreview>& designs) {
    designs.clear();
    io::CBlock preview;
    if (!ReadPreviewBlock(path, preview)) return false;
    for (const io::CBlockItemPtr& item : preview.ItemsNamed(L"DesignInfo"))
        if (const io::CBlockPtr design(item); design) designs.push_back(ReadDesign(*design));
    return true;
}

}  // namespace ProjectPreviewHelper
