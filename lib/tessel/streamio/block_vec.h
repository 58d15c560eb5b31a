#pragma once

#include "tessel/streamio/block_item.h"
#include "tessel/streamio/item_array.h"

#include <cstdint>
#include <vector>

namespace io {

/// `name[count: element, element, ...]`: elements are numbers, booleans, words or quoted texts.
class CBlock_vec : public CBlock_func_arg {
  public:
    CBlock_vec() = default;
    explicit CBlock_vec(const wchar_t* name) { SetName(name); }

    /// Reads from the "[" on; the name has been read already. The written count is only a hint: the
    /// elements that follow decide.
    /// @throws XStreamioError  8 without the "["; 12 when the first number, count or element, is no
    ///                         possible count; 10 without a comma or "]" behind an element; 5 for
    ///                         anything that is no element.
    void Read(CToken_istream& stream) override;

    /// `name[2: 1, 2]`; the count is always written.
    void        Write(CToken_ostream& stream) const override;
    std::size_t EstimateLength(const CToken_ostream& stream) const override;
    void        MemoryUsage(CMemoryStatistics& statistics, bool includeSelf) const override;

    const CToken& Name() const override { return mName; }
    void          SetNameToken(CToken name) override { mName = std::move(name); }
    std::size_t   Count() const override { return mElements.size(); }
    void          Clear() override { mElements.clear(); }
    bool          IsVec() const override { return true; }
    const CToken* SoleValue() const override { return mElements.size() == 1 ? &mElements[0] : nullptr; }

    const CItemArray<CToken>& Elements() const noexcept { return mElements; }
    void                      Append(CToken element) { mElements.emplace_back(std::move(element)); }

    /// Whether a number can be the count before a ":".
    static bool IsCount(const CToken& number) noexcept;
    /// How many elements to make room for when a count says so: up to what is never too much.
    static std::size_t Expected(const CToken& count) noexcept;

    /// The texts of all elements; empty for one that has none.
    std::vector<AString> Strings() const;
    /// The numbers of all elements, truncated; 0 for one that is no number or does not fit.
    std::vector<std::int32_t> Ints() const;

  protected:
    /// Takes an element that was read; appends it.
    virtual void TakeElement(CToken element) { mElements.emplace_back(std::move(element)); }

  private:
    friend class CBlockLines;

    void ReadCount(CToken_istream& stream);
    void ReadSeparator(CToken_istream& stream);

    CToken             mName;
    CItemArray<CToken> mElements;
};

}  // namespace io
