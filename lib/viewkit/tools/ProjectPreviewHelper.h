#pragma once

#include "tessel/platform/picture.h"
#include "tessel/strings/astringwchar.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace io {
class CToken_istream;
}

/// Reads what the file manager shows of a project file, without starting the suite: the file's first
/// lines, and from its end back to the first marker that settles whether there is a preview. Nothing
/// is cached between calls; every call opens the file for shared reading and has closed it when it
/// returns.
namespace ProjectPreviewHelper {

/// One parametric setup of a design.
struct SetupExperiment {
    AString      Name;
    std::int32_t ExperimentType;
};
/// The type of a setup that has no entry in the list of types.
inline constexpr std::int32_t kDefaultExperimentType = 6;

/// One design's preview record.
struct DesignPreview {
    AString                      DesignName;
    AString                      Notes;
    AString                      Factory;
    std::vector<AString>         NominalSetups;
    std::vector<SetupExperiment> ParamorphSetups;
    bool                         IsSolved = false;
};

/// Product and version of the program that wrote a project, from its first 20 lines.
/// @param product receives at most 99 characters, in the file's own bytes.
/// @return true only when both a product and the `Desktop` block's version were found; what was
///         found stays in the outputs all the same.
bool GetProjectHeaderInfo(const AString& path, std::string& product, std::uint32_t& major,
                          std::uint32_t& minor);

/// The path itself, after an assertion that the file exists.
AString ExistingProjectPath(const AString& path);

/// The byte offset of the preview block's begin marker, searched backwards from the end of the
/// file. False (offset untouched) when there is none before the project's own end marker, or the
/// file has 2 GiB or more.
bool FindPreviewBlockOffset(const AString& path, std::uint32_t& offset);

/// Puts a stream that is open on `path` at the begin keyword of the preview block.
bool OpenPreviewBlock(const AString& path, io::CToken_istream& stream);

/// The preview records of all designs, in the order in which the file holds them.
/// @return false when the file has no preview block; `designs` is then empty.
bool GetProjectPreviewData(const AString& path, std::vector<DesignPreview>& designs);

/// The stored thumbnail in its text form.
struct CThumbnailText {
    AString Text;              ///< empty when the project has none that counts
    bool    IsBase64 = false;  ///< else hexadecimal digit pairs
};
/// False when the file has no preview block. Hexadecimal text counts only beside an empty base64 item.
bool GetProjectThumbnailText(const AString& path, CThumbnailText& thumbnail);

/// The bytes that a thumbnail text decodes to: an image file of any common format.
std::vector<std::uint8_t> DecodeThumbnailText(const AString& text, bool isBase64);

/// The stored thumbnail in its own size; null when there is none. The caller destroys it.
platform::NativeBitmap GetProjectThumbnail(const AString& path);
/// The same from the stored text.
platform::NativeBitmap CreateBitmapFromImageText(const AString& text, bool isBase64);

/// Base64. With `out` null: the number of bytes that the text decodes to. Otherwise writes at most
/// `size` bytes and returns 0. White space is skipped, "=" counts as zero bits; nothing is refused.
std::size_t DecodeBase64(const AString& text, std::size_t size, std::uint8_t* out);
/// Hexadecimal digit pairs. With `out` null: half the number of characters. Otherwise writes at
/// most `size` bytes and returns how many; nothing for a text of odd length.
std::size_t DecodeHex(const AString& text, std::size_t size, std::uint8_t* out);

}  // namespace ProjectPreviewHelper
