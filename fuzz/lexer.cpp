// Tokens, their lines and their places are the same however the characters come: one by one, which leaves
// the state machine alone with them, or many, which are read where they lie.
//
// Options: grammar; settings; case and units; read limit; chunk; four steps that are walked in turn.

#include "fuzz_support.h"
#include "tessel/streamio/delimiter_grammar_default.h"
#include "tessel/streamio/token_binarystreambuf.h"
#include "tessel/streamio/token_textstreambuf.h"

#include <array>

namespace {

using namespace fuzz_support;

const CStrictAssertions gStrict;

struct COptions {
    explicit COptions(CInput& input)
        : mGrammar(input.Byte() % 4),
          mSettings(input.Byte()),
          mModes(input.Byte()),
          mLimit(input.Byte()),
          mChunk(2 + input.Byte()) {
        for (unsigned& step : mSteps)
            step = input.Byte();
    }

    bool Has(unsigned setting) const { return (mSettings & setting) != 0; }

    void Apply(CToken_streambuf& buffer) const {
        buffer.SetReturnComments(Has(1));
        buffer.SetReturnWhiteSpace(Has(2));
        buffer.ShareTexts(Has(4));
        buffer.SetCaseMode(static_cast<ECaseMode>(mModes & 3));
        buffer.SetCodeCvt(static_cast<ECodeCvt>((mModes >> 2 & 3) % 3));
        buffer.SetByteSplit(Has(8));
        if (Has(16)) buffer.SetReadLimit(mLimit);
    }
    void Apply(CToken_textstreambuf& buffer) const {
        Apply(static_cast<CToken_streambuf&>(buffer));
        buffer.SetKeepText(Has(32));
        buffer.SetSpecialNumbers(Has(64));
    }

    unsigned                mGrammar;
    unsigned                mSettings;
    unsigned                mModes;
    unsigned                mLimit;
    std::size_t             mChunk;
    std::array<unsigned, 4> mSteps;
};

const CToken_grammar& OwnGrammar() {
    static const auto grammar = [] {
        auto own = std::make_unique<CToken_grammar>();
        own->AddKeywordStartChars(L"%");
        own->AddCommentChars(L"#");
        own->AddKeywordChars(L".");
        return own;
    }();
    return *grammar;
}

const CBase_grammar& Grammar(unsigned which) {
    static const CDelimiter_grammar_default delimiters;
    if (which == 1) return delimiters;
    return which == 2 ? OwnGrammar() : CToken_grammar_default::Shared();
}

/// Goes on by one of the ways to go on.
std::string Step(CToken_streambuf& tokens, unsigned step, bool isText) {
    switch (step % 16) {
        case 0:
            tokens.SkipToEol();
            return "skip ";
        case 1: {
            if (!isText) break;
            AString line;
            tokens.NewLine(line);
            return "line " + Escaped(line.Str()) + " ";
        }
        case 2: {
            const CToken         token  = tokens.CurrentToken();
            const ACharStreamOff offset = tokens.TokenOffset();
            tokens.NextToken();
            tokens.PushBackToken(token, offset);
            return "again ";
        }
        default:
            break;
    }
    tokens.NextToken();
    return "";
}

std::string Walk(CToken_streambuf& tokens, const COptions& options) {
    std::string dump;
    // A push-back at the end would never get to it.
    bool again = false;
    for (std::size_t i = 0; tokens.CurrentToken().Type() != ETokenType::Eof || again; ++i) {
        const unsigned step = again ? 15 : options.mSteps[i % options.mSteps.size()];
        again               = step % 16 == 2;
        dump += Step(tokens, step, options.mGrammar != 3) + Dump(tokens.CurrentToken()) + "@" +
                std::to_string(tokens.LineNumber()) + "+" + std::to_string(tokens.TokenOffset()) +
                (tokens.AtLineStart() ? "^ " : " ");
    }
    return dump;
}

std::string Tokens(const std::wstring& units, std::size_t chunk, const COptions& options) {
    CChunkBuf chars(units, chunk);
    if (options.mGrammar == 3) {
        CToken_binarystreambuf tokens(&chars);
        options.Apply(tokens);
        return Walk(tokens, options);
    }
    CToken_textstreambuf tokens(&chars, Grammar(options.mGrammar));
    options.Apply(tokens);
    return Walk(tokens, options);
}

/// Each byte a unit, or two; then a few stand for those that no text holds.
std::wstring UnitsBy(const COptions& options, std::string_view bytes) {
    if (!options.Has(128)) return Widen(bytes);
    std::wstring units = Units(bytes);
    for (wchar_t& unit : units)
        if (unit > 0xFFF0) unit = static_cast<wchar_t>(static_cast<std::uint32_t>(unit) << 4);
    return units;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    CInput             input(data, size);
    const COptions     options(input);
    const std::wstring units    = UnitsBy(options, input.Rest());
    const std::string  expected = Tokens(units, 1, options);
    for (const std::size_t chunk : {options.mChunk, units.size() + 1})
        RequireSame(Tokens(units, chunk, options), expected, "tokens do not depend on chunks");
    return 0;
}
