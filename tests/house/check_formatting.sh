#!/bin/sh
# Every C++ file is formatted by the repository's .clang-format.
cd "$1" || exit 2
find apps examples fuzz lib shellext tests \( -name '*.cpp' -o -name '*.h' \) -print0 |
    xargs -0 clang-format --dry-run -Werror
