#pragma once

#include "tessel/strings/astringwchar.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ProjectPreviewHelper {

struct DesignPreview;

/// A project file, open for shared reading: who has more than one question opens it once.
class CProjectFile {
  public:
    /// The path's narrow form is opened: what that cannot name is not there.
    explicit CProjectFile(const AString& path);
    ~CProjectFile();
    CProjectFile(const CProjectFile&)            = delete;
    CProjectFile& operator=(const CProjectFile&) = delete;

    bool IsOpen() const noexcept { return mDescriptor != kNone; }
    int  Descriptor() const noexcept { return mDescriptor; }
    /// Its length in bytes when it was opened.
    std::int64_t Size() const noexcept { return mSize; }
    /// Reads up to `size` bytes from a place on. Fewer only where the file ends, or can no longer be read.
    std::size_t Read(std::int64_t offset, char* out, std::size_t size) const noexcept;

  private:
    static constexpr int kNone = -1;

    std::int64_t mSize = 0;
    int          mDescriptor;
};

/// The questions that can be asked of a path, of a file that is open (a file that is not: all false).
bool GetProjectHeaderInfo(const CProjectFile& file, std::string& product, std::uint32_t& major,
                          std::uint32_t& minor);
bool FindPreviewBlockOffset(const CProjectFile& file, std::uint32_t& offset);
/// @param path  of the file, for reports; here and below.
bool GetProjectPreviewData(const AString& path, const CProjectFile& file,
                           std::vector<DesignPreview>& designs);

/// Of a design's record, what is read first.
struct DesignTitle {
    AString DesignName;
    AString Notes;
};
/// The first fields of the records that `GetProjectPreviewData` gives.
bool GetDesignTitles(const AString& path, const CProjectFile& file, std::vector<DesignTitle>& titles);

}  // namespace ProjectPreviewHelper
