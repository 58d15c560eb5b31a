#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

class AString;

/// One call of `Compare`, `CompareNoCase` or `Tokenize`, as the observer sees it.
struct CStringCall {
    enum EOperation { kCompare, kCompareNoCase, kCompareNoCasePart, kTokenize };

    EOperation                  mOperation;
    std::wstring_view           mText;                      ///< the text compared, or cut up
    std::wstring_view           mOther;                     ///< the text compared with, or the delimiters
    std::size_t                 mPos            = 0;        ///< kCompareNoCasePart only
    std::size_t                 mCount          = 0;        ///< kCompareNoCasePart only
    const std::vector<AString>* mPieces         = nullptr;  ///< kTokenize only: the list before the call
    bool                        mKeepDelimiters = false;    ///< kTokenize only
};

/// Instrumentation: called at the start of each such operation, before any work.
using AStringObserver = void (*)(const CStringCall& call);

/// Installs an observer for the whole process; null removes it. Returns the previous one.
AStringObserver SetAStringObserver(AStringObserver observer) noexcept;

namespace astring_detail {

extern AStringObserver gObserver;

inline void Notify(const CStringCall& call) {
    if (gObserver != nullptr) gObserver(call);
}

}  // namespace astring_detail
