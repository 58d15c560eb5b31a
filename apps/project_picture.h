#pragma once

#include "tessel/platform/picture.h"
#include "viewkit/tools/ProjectPreviewHelper.h"

#include <cstdint>
#include <string>
#include <vector>

namespace preview {

/// The picture of a project, decoded and as it is stored.
struct CPicture {
    std::vector<std::uint8_t> mStored;  ///< the image file in the project
    platform::CPixels         mPixels;
};

/// @return false when there is no picture; `reason` then says why.
bool DecodePicture(const ProjectPreviewHelper::CThumbnailText& text, CPicture& picture, std::string* reason);

/// Whether no side of the picture is longer than `maxSide` pixels; everything fits 0.
bool Fits(const platform::CPixels& picture, std::uint32_t maxSide);

}  // namespace preview
