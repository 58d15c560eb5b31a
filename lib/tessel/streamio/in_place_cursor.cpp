#include "tessel/streamio/in_place_cursor.h"

#include "tessel/streamio/number_text.h"

#include <algorithm>
#include <cfloat>

namespace io {

namespace {

bool IsDigit(wchar_t ch) noexcept {
    return ch >= L'0' && ch <= L'9';
}

}  // namespace

bool ReadShortDecimal(std::wstring_view text, double& value) noexcept {
    constexpr std::size_t kExactDigits = 15;  // that many fit a double's 53 bits
    // Powers of ten that are exact, too; so a quotient of the two is rounded once, as it should be,
    // where results are not kept in a wider format.
    static constexpr double kPowers[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                         1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    const wchar_t*          next      = text.data();
    const wchar_t*          end       = next + text.size();
    const bool              negative  = next != end && *next == L'-';
    if (next != end && (negative || *next == L'+')) ++next;
    if (next == end || static_cast<std::size_t>(end - next) > kExactDigits) return false;
    std::int64_t digits = 0;
    for (; next != end && IsDigit(*next); ++next)
        digits = digits * 10 + (*next - L'0');
    std::size_t decimals = 0;
    if (next != end) {
        if (*next != L'.' || FLT_EVAL_METHOD != 0) return false;
        for (++next; next != end && IsDigit(*next); ++next, ++decimals)
            digits = digits * 10 + (*next - L'0');
        if (next != end) return false;
    }
    const auto   whole     = static_cast<double>(digits);
    const double magnitude = decimals == 0 ? whole : whole / kPowers[decimals];
    value                  = negative ? -magnitude : magnitude;
    return true;
}

bool CInPlaceCursor::LexNumber(CToken& token, ELexState state) {
    CUnits end = mNext;
    while (!CBase_grammar::IsFinal(state)) {
        if (!IsKnown(++end)) return false;
        state = Table().Next(state, *end);
    }
    if (state != kEndInt && state != kEndDouble) return false;
    const std::wstring_view text(mNext, end);
    double                  value = 0.0;
    if (!ReadShortDecimal(text, value) && !ParseDecimal(text, &value)) return false;
    token.SetNumber(state == kEndInt ? ETokenType::Int : ETokenType::Double, value);
    mNext = end;
    return true;
}

}  // namespace io
