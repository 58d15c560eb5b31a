#pragma once

#include "tessel/streamio/streamio_error.h"

#include <functional>

namespace io {

class CToken_istream;

/// Reads items up to the end of the data, as `CBlock::ReadFile` does, and keeps none: memory is taken for
/// the errors of the blocks that are open and for one token, however long the data are.
/// @param report  called with every error that a block records: in reading order, a block's own errors
///                behind those of the blocks in it, those of the top level last.
void CheckFile(CToken_istream& stream, const std::function<void(const XStreamioError&)>& report);

}  // namespace io
