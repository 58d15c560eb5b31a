#pragma once

#include "tessel/strings/astringwchar.h"

#include <cstdint>
#include <exception>

namespace io {

/// What can go wrong while block text is read or written.
enum EStreamioError : std::uint32_t {
    kStreamioOk,
    kStreamioReadError,
    kStreamioWriteError,
    kStreamioBeginEndSyntax,
    kStreamioInvalidBlockItem,
    kStreamioInvalidValue,
    kStreamioEqualsExpected,
    kStreamioParenOrEqualsExpected,
    kStreamioOpenBracketExpected,
    kStreamioCloseBracketExpected,
    kStreamioCloseOrCommaExpected,
    kStreamioIdentifierExpected,
    kStreamioInvalidVectorSize,
};

/// The text of an error code; empty for a number that is no code.
const char* StreamioErrorText(std::uint32_t code) noexcept;

/// The library's exception, and the record of it that a block keeps.
class XStreamioError : public std::exception {
  public:
    /// @param line  the 1-based line of the token looked at; 0 when there is none.
    XStreamioError(std::uint32_t code, std::uint32_t line) noexcept : mCode(code), mLine(line) {}

    std::uint32_t Code() const noexcept { return mCode; }
    std::uint32_t Line() const noexcept { return mLine; }
    /// "Error: '=' expected at line# 12".
    AString Message() const;
    /// The code's text alone.
    const char* what() const noexcept override { return StreamioErrorText(mCode); }

  private:
    std::uint32_t mCode;
    std::uint32_t mLine;
};

}  // namespace io
