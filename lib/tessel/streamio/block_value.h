#pragma once

#include "tessel/streamio/block_item.h"

namespace io {

/// A plain value: one token, or nothing.
class CBlock_value : public CBlock_func_arg {
  public:
    CBlock_value() = default;
    explicit CBlock_value(const CToken& value) : mValue(value) {}
    explicit CBlock_value(CToken&& value) noexcept : mValue(std::move(value)) {}

    /// @throws XStreamioError  code 5 when the next token is no value.
    void Read(CToken_istream& stream) override;

    void        Write(CToken_ostream& stream) const override;
    bool        FromString(const AString& text) override;
    std::size_t EstimateLength(const CToken_ostream& stream) const override;
    void        MemoryUsage(CMemoryStatistics& statistics, bool includeSelf) const override;

    bool        HasName() const override { return false; }
    bool        IsEmpty() const override { return mValue.Type() == ETokenType::Null; }
    std::size_t Count() const override { return IsEmpty() ? 0 : 1; }
    void        Clear() override { mValue.Clear(); }
    bool        IsValue() const override { return true; }

    const CToken* SoleValue() const override { return &mValue; }
    const CToken& Value() const noexcept { return mValue; }
    void          SetValue(CToken value) noexcept { mValue = std::move(value); }

  private:
    friend class CBlockLines;

    CToken mValue;
};

/// `name = value`.
class CBlock_named_value : public CBlock_value {
  public:
    CBlock_named_value() = default;
    explicit CBlock_named_value(const wchar_t* name) { SetName(name); }
    CBlock_named_value(const CToken& name, const CToken& value) : CBlock_value(value), mName(name) {}
    CBlock_named_value(CToken&& name, CToken&& value) noexcept
        : CBlock_value(std::move(value)), mName(std::move(name)) {}

    /// Reads the "=" and the value; the name has been read already.
    /// @throws XStreamioError  code 6 without the "=", code 5 without a value.
    void Read(CToken_istream& stream) override;

    void        Write(CToken_ostream& stream) const override;
    std::size_t EstimateLength(const CToken_ostream& stream) const override;
    void        MemoryUsage(CMemoryStatistics& statistics, bool includeSelf) const override;

    const CToken& Name() const override { return mName; }
    void          SetNameToken(CToken name) override { mName = std::move(name); }
    bool          HasName() const override { return true; }
    bool          IsValue() const override { return false; }
    bool          IsNamedValue() const override { return true; }

  private:
    friend class CBlockLines;

    CToken mName;
};

}  // namespace io
