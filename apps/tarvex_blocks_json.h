#pragma once

#include "tessel/streamio/block.h"
#include "tessel/streamio/token.h"

#include <ostream>
#include <string>
#include <string_view>

/// Tokens and trees as JSON on one line, with a blank after every colon and comma. Written as they are gone
/// through: a tree as JSON values would take many times the memory of the tree.
namespace blocks {

/// A text as a JSON string in UTF-8. A surrogate without its other half is written as an escape.
void AppendText(std::string& json, std::wstring_view text);

/// The members of a token: its type, and its text or value.
/// @param spelling  a number's text too, if it was kept.
void AppendToken(std::string& json, const io::CToken& token, bool spelling);

/// The items and errors of a file.
void PrintTree(std::ostream& out, const io::CBlock& file);

}  // namespace blocks
