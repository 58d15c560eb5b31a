#pragma once

#include "tessel/streamio/frame_words.h"
#include "tessel/streamio/lex_table.h"

namespace io {

/// The room that a token buffer gives for whole lines, and what they look like there.
struct CLineRoom {
    const CBase_grammar* mGrammar = nullptr;
    const CLexTable*     mTable   = nullptr;  ///< of the grammar
    CFrameWords          mFrame;              ///< what a name must not look like
    bool                 mIsDefault = false;  ///< the grammar is the library's default
    bool                 mCrLf      = false;  ///< lines end with CR LF
    bool                 mUtf8      = false;  ///< characters from 128 on take the units of their UTF-8 form
    wchar_t*             mNext      = nullptr;
    wchar_t*             mLimit     = nullptr;
};

}  // namespace io
