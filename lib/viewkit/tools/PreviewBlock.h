#pragma once

#include "tessel/streamio/block.h"
#include "tessel/strings/astringwchar.h"

namespace ProjectPreviewHelper {

/// Reads the preview block of a project file. False when there is none.
bool ReadPreviewBlock(const AString& path, io::CBlock& block);

/// Reads the named value `name` of a block into `field`. The first field that is missing or of another
/// type clears the block's good flag, and then no later one is read: what the suite wrote after it
/// is not to be trusted.
void ReadField(io::CBlock& block, const wchar_t* name, AString& field);
void ReadField(io::CBlock& block, const wchar_t* name, bool& field);

}  // namespace ProjectPreviewHelper
