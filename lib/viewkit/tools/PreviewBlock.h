#pragma once

#include "tessel/streamio/block.h"
#include "tessel/streamio/block_value.h"
#include "tessel/streamio/block_vec.h"
#include "tessel/strings/astringwchar.h"

#include <string>
#include <string_view>

namespace io {
class CToken_istream;
}

namespace ProjectPreviewHelper {

class CProjectFile;

/// Reads the preview block of a project file. False when there is none.
bool ReadPreviewBlock(const AString& path, io::CBlock& block);
/// The same of a file that is open, or not: then it is tried again, and what is wrong is reported.
bool ReadPreviewBlock(const AString& path, const CProjectFile& file, io::CBlock& block);
/// The bytes of a text file from its preview block on, for who can do without the block reader; a NUL stands
/// behind them. They lie in the memory of `file` or `room`. Empty when there is none, it is long, or each
/// open of a file is to be reported: the block reader tells then.
std::string_view ReadPreviewBytes(const CProjectFile& file, std::string& room);
/// `OpenPreviewBlock` for a file that is open.
bool OpenPreviewBlock(const CProjectFile& file, io::CToken_istream& stream);

/// Reads the named value `name` of a block into `field`. The first field that is missing or of another
/// type clears the block's good flag, and then no later one is read: what the suite wrote after it
/// is not to be trusted.
void ReadField(io::CBlock& block, std::wstring_view name, AString& field);
void ReadField(io::CBlock& block, std::wstring_view name, bool& field);
/// The first vector of this name; null, and the block is no longer good, when there is none.
const io::CBlock_vec* FindVec(io::CBlock& block, std::wstring_view name);
/// Whether an item has this name, as a block's own lookups compare names.
bool HasName(const io::CBlock_item& item, std::wstring_view name) noexcept;

}  // namespace ProjectPreviewHelper
