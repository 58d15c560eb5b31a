#include "apps/project_info.h"

#include "apps/tool.h"
#include "tessel/platform/platform.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <string_view>

#include <nlohmann/json.hpp>

namespace preview {
namespace {

using namespace ProjectPreviewHelper;
using nlohmann::ordered_json;

ordered_json ToJson(const DesignPreview& design) {
    ordered_json nominal = ordered_json::array(), paramorph = ordered_json::array();
    for (const AString& setup : design.NominalSetups)
        nominal.push_back(Utf8(setup));
    for (const SetupExperiment& setup : design.ParamorphSetups)
        paramorph.push_back({{"name", Utf8(setup.Name)}, {"experimentType", setup.ExperimentType}});
    return {{"name", Utf8(design.DesignName)}, {"notes", Utf8(design.Notes)}, {"isSolved", design.IsSolved},
            {"factory", Utf8(design.Factory)}, {"nominalSetups", nominal},    {"paramorphSetups", paramorph}};
}

/// What these tools write themselves is no project, and is not searched from end to beginning.
constexpr std::string_view kOwnBeginnings[] = {"\x89PNG\r\n\x1A\n", "<!DOCTYPE html>"};

bool BeginsLikeOurs(const char* path) {
    std::FILE* file = platform::OpenForReading(path, false);
    if (file == nullptr) return false;
    char       bytes[16];
    const auto count = std::fread(bytes, 1, sizeof bytes, file);
    std::fclose(file);
    return std::any_of(std::begin(kOwnBeginnings), std::end(kOwnBeginnings), [&](std::string_view beginning) {
        return std::string_view(bytes, count).starts_with(beginning);
    });
}

}  // namespace

std::string Utf8(const AString& text) {
    return text.ToNarrow(kUtf8Encoding);
}

CProjectInfo ReadProjectInfo(const std::string& file) {
    const AString path = tool::PathFromArgument(file);
    CProjectInfo  info;
    info.mPath         = file;
    const bool canOpen = tool::CanOpen(path, &info.mReason);

    std::string   product;
    std::uint32_t major = 0, minor = 0;
    if (GetProjectHeaderInfo(path, product, major, minor))
        info.mVersion = {product, static_cast<std::int32_t>(major), static_cast<std::int32_t>(minor)};
    platform::CFileInfo attributes;
    if (canOpen && platform::GetFileInfo(path.ToNarrow().c_str(), &attributes)) {
        info.mSize     = attributes.mSize;
        info.mModified = attributes.mModified;
    }
    info.mHasPreview = GetProjectPreviewData(path, info.mDesigns);
    if (info.mHasPreview) GetProjectThumbnailText(path, info.mThumbnail);
    return info;
}

const char* WhyNoPreview(std::optional<std::uint64_t> size) {
    constexpr std::uint64_t kMost = std::numeric_limits<std::int32_t>::max();  // positions have 32 bits
    return size.value_or(0) > kMost ? "the preview is looked for in files of less than 2 GiB"
                                    : "no preview block";
}

const char* EncodingName(const CThumbnailText& thumbnail) {
    return thumbnail.IsBase64 ? "base64" : "hex";
}

std::size_t DecodedSize(const CThumbnailText& thumbnail) {
    return thumbnail.IsBase64 ? DecodeBase64(thumbnail.Text, 0, nullptr)
                              : DecodeHex(thumbnail.Text, 0, nullptr);
}

ordered_json ToJson(const CProjectInfo& info) {
    ordered_json json = {{"path", info.mPath},
                         {"product", nullptr},
                         {"major", nullptr},
                         {"minor", nullptr},
                         {"size", nullptr}};
    if (info.mVersion) {
        json["product"] = info.mVersion->mProduct;
        json["major"]   = info.mVersion->mMajor;
        json["minor"]   = info.mVersion->mMinor;
    }
    if (info.mSize) json["size"] = *info.mSize;
    json["hasPreview"] = info.mHasPreview;
    json["designs"]    = ordered_json::array();
    for (const DesignPreview& design : info.mDesigns)
        json["designs"].push_back(ToJson(design));
    json["thumbnail"] = nullptr;
    if (!info.mThumbnail.Text.IsEmpty())
        json["thumbnail"] = {{"encoding", EncodingName(info.mThumbnail)},
                             {"bytes", DecodedSize(info.mThumbnail)}};
    return json;
}

bool IsProject(const std::string& file) {
    const AString       path = tool::PathFromArgument(file);
    const std::string   name = path.ToNarrow();
    platform::CFileInfo attributes;
    if (!platform::GetFileInfo(name.c_str(), &attributes) || !attributes.mIsRegular) return false;
    if (BeginsLikeOurs(name.c_str())) return false;
    std::string   product;
    std::uint32_t major = 0, minor = 0, offset = 0;
    return GetProjectHeaderInfo(path, product, major, minor) || FindPreviewBlockOffset(path, offset);
}

}  // namespace preview
