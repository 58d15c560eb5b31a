#pragma once

#include <cstdio>
#include <memory>

/// Closes a file of the C library.
struct CCloseFile {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};

/// A file of the C library that is closed with its holder.
using COpenFile = std::unique_ptr<std::FILE, CCloseFile>;
