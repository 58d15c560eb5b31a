#pragma once

#include <string>

/// Composes the info tip of a project file: type line, designs, size.
/// @param filePath narrow text, as the shell object keeps it.
/// @return narrow text, lines ended by LF except the last. Whatever cannot be read degrades the
///         text ("Type: Unknown", "Design preview information not found.") and never fails.
std::string ComposeInfoTip(const std::string& filePath);
