#include "tessel/streamio/token_grammar_default.h"

#include "tessel/baseutils/assertion.h"

namespace io {

namespace {

// At namespace scope, not in the function: a guarded local static costs a module that is loaded
// and unloaded many times a handle each time.
CToken_grammar_default gShared;
const CLexTable        gSharedTable(gShared);

}  // namespace

CToken_grammar_default::CToken_grammar_default() {
    CToken_grammar::AddCommentChars(L"!");
}

CToken_grammar_default& CToken_grammar_default::Shared() noexcept {
    return gShared;
}

const CLexTable& CToken_grammar_default::SharedTable() noexcept {
    return gSharedTable;
}

void CToken_grammar_default::AddCommentChars(const wchar_t*) {
    TESSEL_ASSERT_TEXT(false, "0");
}
void CToken_grammar_default::RemoveCommentChars(const wchar_t*) {
    TESSEL_ASSERT_TEXT(false, "0");
}
void CToken_grammar_default::AddKeywordStartChars(const wchar_t*) {
    TESSEL_ASSERT_TEXT(false, "0");
}
void CToken_grammar_default::AddKeywordChars(const wchar_t*) {
    TESSEL_ASSERT_TEXT(false, "0");
}
void CToken_grammar_default::RemoveKeywordStartChars(const wchar_t*) {
    TESSEL_ASSERT_TEXT(false, "0");
}
void CToken_grammar_default::RemoveKeywordChars(const wchar_t*) {
    TESSEL_ASSERT_TEXT(false, "0");
}

}  // namespace io
