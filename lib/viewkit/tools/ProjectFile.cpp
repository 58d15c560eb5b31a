#include "viewkit/tools/ProjectFile.h"

#include "tessel/platform/platform.h"

namespace ProjectPreviewHelper {

CProjectFile::CProjectFile(const AString& path)
    : mDescriptor(platform::OpenDescriptor(path.ToNarrow().c_str(), &mSize)) {}

CProjectFile::~CProjectFile() {
    if (IsOpen()) platform::CloseDescriptor(mDescriptor);
}

std::size_t CProjectFile::Read(std::int64_t offset, char* out, std::size_t size) const noexcept {
    std::size_t done = 0;
    while (done < size) {
        const int count = platform::ReadDescriptorAt(mDescriptor, offset + static_cast<std::int64_t>(done),
                                                     out + done, static_cast<unsigned>(size - done));
        if (count <= 0) break;
        done += static_cast<std::size_t>(count);
    }
    return done;
}

}  // namespace ProjectPreviewHelper
