#include "shellext/runtime/RegScript.h"

namespace {

struct CWord {
    std::wstring mText;
    bool         mQuoted = false;
    bool         Is(std::wstring_view text) const { return !mQuoted && mText == text; }
};

bool IsBlank(wchar_t ch) {
    return ch == L' ' || ch == L'\t' || ch == L'\r' || ch == L'\n';
}

/// Cuts a script into words; braces and "=" are words like any other.
class CRegScriptWords {
  public:
    explicit CRegScriptWords(std::wstring_view script) : mRest(script) { Advance(); }

    bool         AtEnd() const { return mAtEnd; }
    const CWord& Peek() const { return mWord; }
    CWord        Next() {
               if (mAtEnd) throw XRegScriptError("the script ends too early");
        CWord word = std::move(mWord);
               Advance();
               return word;
    }

  private:
    void Advance() {
        while (!mRest.empty() && IsBlank(mRest.front()))
            mRest.remove_prefix(1);
        mAtEnd = mRest.empty();
        if (!mAtEnd) mWord = mRest.front() == L'\'' ? QuotedWord() : BareWord();
    }

    CWord BareWord() {
        std::size_t length = 0;
        while (length < mRest.size() && !IsBlank(mRest[length]))
            ++length;
        CWord word{std::wstring(mRest.substr(0, length)), false};
        mRest.remove_prefix(length);
        return word;
    }

    CWord QuotedWord() {
        CWord word{{}, true};
        for (mRest.remove_prefix(1); !mRest.empty(); mRest.remove_prefix(1)) {
            if (mRest.front() == L'\'') {
                mRest.remove_prefix(1);
                if (!mRest.starts_with(L'\'')) return word;
            }
            word.mText += mRest.front();
        }
        throw XRegScriptError("an apostrophe has no counterpart");
    }

    std::wstring_view mRest;
    CWord             mWord;
    bool              mAtEnd = false;
};

class CRegScriptParser {
  public:
    CRegScriptParser(std::wstring_view script, const CReplacements& replacements)
        : mWords(script), mReplacements(replacements) {}

    std::vector<CRegKey> Parse() {
        std::vector<CRegKey> roots;
        while (!mWords.AtEnd())
            roots.push_back(Key());
        return roots;
    }

  private:
    CRegKey Key() {
        CRegKey key;
        key.mNoRemove    = Take(L"NoRemove");
        key.mForceRemove = !key.mNoRemove && Take(L"ForceRemove");
        key.mName        = Name();
        if (Take(L"=")) key.mDefault = Text();
        if (Take(L"{")) Body(&key);
        return key;
    }

    void Body(CRegKey* key) {
        while (!Take(L"}")) {
            if (Take(L"val")) {
                std::wstring name = Name();
                Expect(L"=");
                key->mValues.push_back({std::move(name), Text()});
            } else {
                key->mKeys.push_back(Key());
            }
        }
    }

    /// An empty name would be the parent key itself: removing it would take everything along.
    std::wstring Name() {
        const CWord word = mWords.Next();
        if (word.Is(L"{") || word.Is(L"}") || word.Is(L"=")) throw XRegScriptError("a name is missing");
        std::wstring name = Replace(word.mText);
        if (name.empty()) throw XRegScriptError("a name is empty");
        return name;
    }

    std::wstring Text() {
        Expect(L"s");
        return Replace(mWords.Next().mText);
    }

    bool Take(std::wstring_view text) {
        const bool taken = !mWords.AtEnd() && mWords.Peek().Is(text);
        if (taken) mWords.Next();
        return taken;
    }

    void Expect(std::wstring_view text) {
        if (!mWords.Next().Is(text)) throw XRegScriptError("a word stands in the wrong place");
    }

    std::wstring Replace(std::wstring_view text) const {
        std::wstring result;
        for (;;) {
            const std::size_t begin = text.find(L'%');
            result += text.substr(0, begin);
            if (begin == text.npos) return result;
            const std::size_t end = text.find(L'%', begin + 1);
            if (end == text.npos) throw XRegScriptError("a percent sign has no counterpart");
            result += Replacement(text.substr(begin + 1, end - begin - 1));
            text.remove_prefix(end + 1);
        }
    }

    std::wstring_view Replacement(std::wstring_view name) const {
        if (name.empty()) return L"%";
        for (const auto& [key, text] : mReplacements)
            if (key == name) return text;
        throw XRegScriptError("a replacement is not known");
    }

    CRegScriptWords      mWords;
    const CReplacements& mReplacements;
};

}  // namespace

std::vector<CRegKey> ParseRegScript(std::wstring_view script, const CReplacements& replacements) {
    return CRegScriptParser(script, replacements).Parse();
}
