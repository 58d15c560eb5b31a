#pragma once

#include "tessel/strings/astringwchar.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <forward_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ProjectPreviewHelper {

struct DesignPreview;

/// A project file, open for shared reading: who has more than one question opens it once. Its last bytes are
/// read once and kept, since most questions are about those. For one thread.
class CProjectFile {
  public:
    /// The path's narrow form is opened: what that cannot name is not there.
    explicit CProjectFile(const AString& path) : CProjectFile(path.ToNarrow().c_str()) {}
    explicit CProjectFile(const char* narrowPath);
    ~CProjectFile();
    CProjectFile(const CProjectFile&)            = delete;
    CProjectFile& operator=(const CProjectFile&) = delete;

    bool IsOpen() const noexcept { return mDescriptor != kNone; }
    int  Descriptor() const noexcept { return mDescriptor; }
    /// Its length in bytes when it was opened.
    std::int64_t Size() const noexcept { return mSize; }
    /// Reads up to `size` bytes from a place on. Fewer only where the file ends (or ended when it was
    /// opened), or can no longer be read.
    std::size_t Read(std::int64_t offset, char* out, std::size_t size) const noexcept;
    /// Whether it begins with a NUL, as the binary form does.
    bool IsBinary() const noexcept;
    /// Notes the first byte, for who has read it anyway.
    void NoteFirst(char first) const noexcept { mFirst = first; }
    /// What is kept, from a place on up to the file's end, with a NUL behind it; null for a place before, or
    /// when it could not be read. Lives as long as this.
    const char* Kept(std::int64_t offset) const noexcept;

  private:
    static constexpr int         kNone = -1;
    static constexpr std::size_t kKept = 4096;  // bytes: as many as most searches and previews need

    bool KeepEnd() const noexcept;

    std::int64_t                        mSize = 0;
    int                                 mDescriptor;
    mutable std::optional<char>         mFirst;
    mutable bool                        mAsked = false;  ///< the end was read, or is not to be had
    mutable std::int64_t                mKeptFrom;       ///< `mSize` when nothing is kept
    mutable std::array<char, kKept + 1> mKept;
};

/// Where the header probe found what it looks for: 1-based lines, 0 for what is not there. (Of a line that
/// is too long to be read at once, each part counts.)
struct HeaderLines {
    int Product = 0;
    int Desktop = 0;  ///< the block's begin
    int Version = 0;
};

/// What the search for the preview meets first, from the end of the file backwards.
struct PreviewMarker {
    std::string_view Text;  ///< empty when there is none in the file
    std::uint32_t    Offset = 0;
};

/// The questions that can be asked of a path, of a file that is open (a file that is not: all false).
/// @param found  receives where; may be null.
bool GetProjectHeaderInfo(const CProjectFile& file, std::string& product, std::uint32_t& major,
                          std::uint32_t& minor, HeaderLines* found = nullptr);
bool FindPreviewBlockOffset(const CProjectFile& file, std::uint32_t& offset);
/// The same, told in full: `marker` also names what says that there is no preview.
bool FindPreviewMarker(const CProjectFile& file, PreviewMarker& marker);
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

/// A title whose texts are ASCII, in the memory of the file or of the room.
struct AsciiTitle {
    std::string_view DesignName;
    std::string_view Notes;
};
struct TitleRoom {
    std::string                    Bytes;     ///< of a preview that the file does not keep
    std::forward_list<std::string> Unfolded;  ///< texts of several lines
};
/// The same titles without the block reader, if they all are of that kind. False when that cannot be told;
/// then `GetDesignTitles` does.
bool GetAsciiTitles(const CProjectFile& file, TitleRoom& room, std::vector<AsciiTitle>& titles);

}  // namespace ProjectPreviewHelper
