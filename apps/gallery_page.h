#pragma once

#include <string_view>

namespace preview {

/// The page of the gallery, made of gallery_page.html: what comes before the projects, and what behind them.
extern const std::string_view kPageBegin, kPageEnd;

}  // namespace preview
