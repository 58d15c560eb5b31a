#include "tessel/streamio/streamio_error.h"

#include <iterator>

namespace io {

namespace {

constexpr const char* kTexts[] = {
    /* kStreamioOk                    */ "ok",
    /* kStreamioReadError             */ "read error",
    /* kStreamioWriteError            */ "write error",
    /* kStreamioBeginEndSyntax        */ "begin/end block syntax invalid",
    /* kStreamioInvalidBlockItem      */ "invalid block item",
    /* kStreamioInvalidValue          */ "value is not valid",
    /* kStreamioEqualsExpected        */ "'=' expected",
    /* kStreamioParenOrEqualsExpected */ "expected a '(' or a '='",
    /* kStreamioOpenBracketExpected   */ "'(' or '[' expected",
    /* kStreamioCloseBracketExpected  */ "')' or ']' expected",
    /* kStreamioCloseOrCommaExpected  */ "expected a ')', ']' or a ','",
    /* kStreamioIdentifierExpected    */ "identifier expected",
    /* kStreamioInvalidVectorSize     */ "invalid vector size",
};
static_assert(std::size(kTexts) == kStreamioInvalidVectorSize + 1, "one text for each code, in order");

}  // namespace

const char* StreamioErrorText(std::uint32_t code) noexcept {
    return code < std::size(kTexts) ? kTexts[code] : "";
}

AString XStreamioError::Message() const {
    AString message;
    message.Format(L"Error: %hs at line# %d", StreamioErrorText(mCode), static_cast<int>(mLine));
    return message;
}

}  // namespace io
