#pragma once

#include <string_view>

/// Whether two texts are equal when ASCII letters of either case count as the same.
bool EqualsNoCase(std::string_view a, std::string_view b) noexcept;

/// What follows the last separator ("/" or "\") of a path; a view into `path`.
std::string_view FileNameOf(std::string_view path) noexcept;
/// The same without the last "." and what follows it; a leading dot stays.
std::string_view FileStemOf(std::string_view path) noexcept;
