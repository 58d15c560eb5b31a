#include "tessel/streamio/delimiter_grammar_default.h"

#include "tessel/baseutils/assertion.h"

namespace io {

namespace {

CDelimiter_grammar_default gShared;

}  // namespace

CDelimiter_grammar_default::CDelimiter_grammar_default() {
    CDelimiter_grammar::AddCommentChars(L"!");
    CDelimiter_grammar::AddSymbolChars(L"(),=");
}

CDelimiter_grammar_default& CDelimiter_grammar_default::Shared() noexcept {
    return gShared;
}

void CDelimiter_grammar_default::AddCommentChars(const wchar_t*) {
    TESSEL_ASSERT_TEXT(false, "0");
}
void CDelimiter_grammar_default::AddSymbolChars(const wchar_t*) {
    TESSEL_ASSERT_TEXT(false, "0");
}

}  // namespace io
