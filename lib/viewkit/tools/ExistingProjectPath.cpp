#include "tessel/baseutils/assertion.h"
#include "tessel/platform/platform.h"
#include "viewkit/tools/ProjectPreviewHelper.h"

namespace ProjectPreviewHelper {

AString ExistingProjectPath(const AString& path) {
    platform::CFileInfo info;
    TESSEL_ASSERT_TEXT(platform::GetFileInfo(path.ToNarrow().c_str(), &info),
                       "dw != INVALID_FILE_ATTRIBUTES");
    return path;
}

}  // namespace ProjectPreviewHelper
