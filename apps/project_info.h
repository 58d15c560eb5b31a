#pragma once

#include "viewkit/tools/ProjectPreviewHelper.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace preview {

/// Product and version of the program that wrote a project.
struct CVersion {
    std::string  mProduct;  ///< the file's own bytes
    std::int32_t mMajor, mMinor;
};

/// Everything that the preview reader knows of one file.
struct CProjectInfo {
    std::string                                      mPath;    ///< as it was named: UTF-8, or any bytes
    std::string                                      mReason;  ///< why it cannot be opened; else empty
    std::optional<CVersion>                          mVersion;
    std::optional<std::uint64_t>                     mSize;      ///< bytes
    std::optional<std::int64_t>                      mModified;  ///< seconds since the beginning of 1970
    bool                                             mHasPreview = false;
    std::vector<ProjectPreviewHelper::DesignPreview> mDesigns;
    ProjectPreviewHelper::CThumbnailText             mThumbnail;
};

/// A text of a project, as it is printed.
std::string Utf8(const AString& text);

CProjectInfo ReadProjectInfo(const std::string& file);

/// The form in which the picture is stored: "base64" or "hex".
const char* EncodingName(const ProjectPreviewHelper::CThumbnailText& thumbnail);
/// The picture's size in bytes.
std::size_t DecodedSize(const ProjectPreviewHelper::CThumbnailText& thumbnail);

/// Why a file of this size, which can be opened, has no preview.
const char* WhyNoPreview(std::optional<std::uint64_t> size);

/// The object that `info --json` prints.
nlohmann::ordered_json ToJson(const CProjectInfo& info);

/// Whether the path names a project: to write something else there would destroy it.
bool IsProject(const std::string& file);

}  // namespace preview
