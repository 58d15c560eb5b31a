#pragma once

#include "tessel/streamio/streamio_pos.h"
#include "tessel/strings/astringwchar.h"

#include <streambuf>

namespace io {

/// Finds where the last index block of the data begins, searching backwards from their end for its begin
/// keyword and name, as either form writes them. Moves the buffer.
/// @return units from the start; -1 when there is none.
ACharStreamOff FindIndexBlock(std::wstreambuf& buffer, const AString& beginKeyword);

}  // namespace io
