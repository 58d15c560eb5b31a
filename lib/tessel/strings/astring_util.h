#pragma once

#include "tessel/strings/astringwchar.h"

#include <cstddef>
#include <vector>

/// Cuts a text at every unit that occurs in `delimiters` and appends the pieces, empty ones
/// included, to `pieces`. An empty text has no piece; a trailing delimiter has an empty one behind it.
/// @param keepDelimiters appends each delimiter too, as a piece of its own.
/// @return the number of pieces appended. Null text raises an assertion and has none.
std::size_t Tokenize(const wchar_t* text, const wchar_t* delimiters, std::vector<AString>& pieces,
                     bool keepDelimiters = false);
std::size_t Tokenize(const AString& text, const AString& delimiters, std::vector<AString>& pieces,
                     bool keepDelimiters = false);
