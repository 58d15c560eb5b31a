#pragma once

#include "tessel/streamio/block_ptr.h"
#include "tessel/streamio/item_array.h"

namespace io {

/// `name(argument, argument, ...)`: arguments are values, named values, vectors or functions.
class CBlock_func : public CBlock_func_arg {
  public:
    CBlock_func() = default;
    explicit CBlock_func(const wchar_t* name) { SetName(name); }

    /// Reads from the "(" on; the name has been read already.
    /// @throws XStreamioError  8 without the "("; 10 without a comma or ")" behind an argument; 4
    ///                         when it nests too deep; or what an argument throws.
    void Read(CToken_istream& stream) override;

    /// `name(1, x=2)`. Null arguments are left out, empty ones leave nothing between their commas.
    void        Write(CToken_ostream& stream) const override;
    std::size_t EstimateLength(const CToken_ostream& stream) const override;
    void        MemoryUsage(CMemoryStatistics& statistics, bool includeSelf) const override;

    const CToken& Name() const override { return mName; }
    void          SetNameToken(CToken name) override { mName = std::move(name); }
    std::size_t   Count() const override { return mArguments.size(); }
    void          Clear() override { mArguments.clear(); }
    bool          IsFunc() const override { return true; }
    const CToken* SoleValue() const override;

    /// Null pointers among the arguments stand for nothing.
    const CItemArray<CBlockFuncArgPtr>& Arguments() const noexcept { return mArguments; }
    void                                Append(CBlockFuncArgPtr argument) {
                                       if (mArguments.empty()) mArguments.reserve(kFew);
        mArguments.emplace_back(std::move(argument));
    }

  protected:
    /// Reads one argument and appends it.
    virtual void TakeArgument(CToken_istream& stream);

  private:
    friend class CBlockLines;

    static constexpr std::size_t kFew = 4;  ///< arguments that there is room for when there are any

    CToken                       mName;
    CItemArray<CBlockFuncArgPtr> mArguments;
};

}  // namespace io
