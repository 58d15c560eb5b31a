#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Limits on text are in characters, so that none is ever cut in two.

/// Length, in bytes, of the first `count` characters of narrow text. A byte that continues a UTF-8
/// character belongs to the one before it.
std::size_t NarrowPrefix(std::string_view text, std::size_t count) noexcept;

/// Length, in code units, of the first `count` characters of UTF-16 text. A surrogate pair is one.
std::size_t WidePrefix(std::wstring_view text, std::size_t count) noexcept;
