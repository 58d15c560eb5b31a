#include "tessel/baseutils/assertion.h"
#include "viewkit/tools/ProjectPreviewHelper.h"

#include <limits>

namespace ProjectPreviewHelper {

platform::NativeBitmap CreateBitmapFromImageText(const AString& text, bool isBase64) {
    if (text.IsEmpty()) return nullptr;
    const std::vector<std::uint8_t> bytes = DecodeThumbnailText(text, isBase64);
    const std::size_t               sizet = bytes.size();
    TESSEL_ASSERT_TEXT(sizet <= std::numeric_limits<unsigned>::max(),
                       "sizet <= size_t( (std::numeric_limits<unsigned>::max)())");
    std::uint32_t                l      = 0;
    const platform::NativeBitmap bitmap = platform::CreateBitmapFromImage(bytes.data(), sizet, &l);
    TESSEL_ASSERT(l == 0);
    return bitmap;
}

platform::NativeBitmap GetProjectThumbnail(const AString& path) {
    CThumbnailText thumbnail;
    if (!GetProjectThumbnailText(path, thumbnail)) return nullptr;
    return CreateBitmapFromImageText(thumbnail.Text, thumbnail.IsBase64);
}

}  // namespace ProjectPreviewHelper
