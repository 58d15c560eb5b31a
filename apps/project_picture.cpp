#include "apps/project_picture.h"

#include <algorithm>

namespace preview {

bool DecodePicture(const ProjectPreviewHelper::CThumbnailText& text, CPicture& picture, std::string* reason) {
    *reason = "no thumbnail in the preview block";
    if (text.Text.IsEmpty()) return false;
    *reason         = "the thumbnail cannot be decoded";
    picture.mStored = ProjectPreviewHelper::DecodeThumbnailText(text.Text, text.IsBase64);
    return platform::DecodeImage(picture.mStored.data(), picture.mStored.size(), &picture.mPixels);
}

bool Fits(const platform::CPixels& picture, std::uint32_t maxSide) {
    return maxSide == 0 || std::max(picture.mWidth, picture.mHeight) <= maxSide;
}

}  // namespace preview
