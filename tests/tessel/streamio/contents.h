#pragma once

#include "tessel/streamio/stream_support.h"
#include "tessel/streamio/token_ostream.h"

#include <bit>

/// Trees as texts, to be compared. Needs no test framework: the fuzz targets compare by it too.
namespace write_support {

using namespace stream_support;
using namespace io;

enum class EForm { kText, kBinary };
inline constexpr EForm kForms[] = {EForm::kText, EForm::kBinary};

inline const CToken_grammar* GrammarOf(EForm form) {
    return form == EForm::kText ? &CToken_grammar_default::Shared() : nullptr;
}

/// Errors recorded in a block and all blocks in it.
inline std::size_t ErrorCount(const CBlock& block) {
    auto count = static_cast<std::size_t>(block.ErrorsEnd() - block.ErrorsBegin());
    for (const CBlockItemPtr& item : block.Items())
        if (item && item->IsBlock()) count += ErrorCount(dynamic_cast<const CBlock&>(*item));
    return count;
}

/// Everything that a tree says and that writing must keep, as one text: names, kinds of items, texts
/// unit by unit, numbers bit by bit. What the text form does not tell apart is dumped alike: kinds
/// of numbers, and the quotes of texts other than double ones.
class CContents {
  public:
    explicit CContents(EForm form) : mForm(form) {}

    std::wstring Of(const CBlock& block) {
        Items(block);
        return std::move(mDump);
    }
    std::wstring OfItem(const CBlock_item& item) {
        Add(item);
        return std::move(mDump);
    }

  private:
    void Add(wchar_t kind, std::wstring_view text) {
        mDump += kind;
        mDump += std::to_wstring(text.size()) + L":";
        mDump += text;
    }

    void Add(const CToken& token) {
        if (token.IsNumeric())
            mDump += L"#" + std::to_wstring(std::bit_cast<std::uint64_t>(token.Number()));
        else if (token.IsBoolean())
            mDump += token.Type() == ETokenType::True ? L"+" : L"-";
        else if (token.Length() != 0 && !IsFrame(token) &&
                 (mForm == EForm::kBinary || token.Type() == ETokenType::DoubleQuotedText))
            Add(static_cast<wchar_t>(L'a' + static_cast<int>(token.Type())), token.View());
        else
            Add(L's', token.View());
    }

    /// A word that would begin or end a block is quoted, wherever it stands.
    static bool IsFrame(const CToken& token) {
        const AString text = token.String();
        return token.Type() != ETokenType::DoubleQuotedText &&
               (text.CompareNoCase(L"$begin") == 0 || text.CompareNoCase(L"$end") == 0);
    }

    void AddName(const CToken& name) {
        if (name.IsText())
            Add(L'n', name.View());
        else if (name.Type() == ETokenType::Null)
            Add(L'n', {});
        else
            Add(name);
    }

    void Items(const CBlock& block) {
        for (const CBlockItemPtr& item : block.Items())
            if (item) Add(*item);
    }

    void Add(const CBlock_item& item) {
        mDump += L"\n";
        if (item.IsBlock()) {
            Add(L'{', item.Name().IsText() ? item.Name().View() : std::wstring_view());
            Items(dynamic_cast<const CBlock&>(item));
            mDump += L"}";
            return;
        }
        if (item.HasName()) AddName(item.Name());
        if (item.IsFunc()) {
            mDump += L"(";
            for (const CBlockFuncArgPtr& argument : dynamic_cast<const CBlock_func&>(item).Arguments())
                if (argument) Add(*argument);
            mDump += L")";
        } else if (item.IsVec()) {
            mDump += L"[";
            for (const CToken& element : dynamic_cast<const CBlock_vec&>(item).Elements())
                Add(element);
            mDump += L"]";
        } else if (item.IsValue() && item.IsEmpty()) {
            mDump += L"nothing";
        } else {
            Add(dynamic_cast<const CBlock_value&>(item).Value());
        }
    }

    EForm        mForm;
    std::wstring mDump;
};

inline std::wstring Contents(const CBlock& block, EForm form = EForm::kText) {
    return CContents(form).Of(block);
}
inline std::wstring ItemContents(const CBlock_item& item, EForm form = EForm::kText) {
    return CContents(form).OfItem(item);
}

}  // namespace write_support
