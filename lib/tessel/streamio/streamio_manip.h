#pragma once

#include "tessel/streamio/block_value.h"

#include <cstdint>

namespace io {

/// Something that is read or written in the middle of a stream: `stream >> manip`, `stream << manip`.
class CStreamio_manip {
  public:
    virtual ~CStreamio_manip() = default;

    virtual void Apply(CToken_istream& stream)       = 0;
    virtual void Apply(CToken_ostream& stream) const = 0;

  protected:
    CStreamio_manip()                                  = default;
    CStreamio_manip(const CStreamio_manip&)            = default;
    CStreamio_manip& operator=(const CStreamio_manip&) = default;
};

CToken_istream& operator>>(CToken_istream& stream, CStreamio_manip& manip);
CToken_istream& operator>>(CToken_istream& stream, CStreamio_manip&& manip);
CToken_ostream& operator<<(CToken_ostream& stream, const CStreamio_manip& manip);

/// One delimiter. Reading fails the stream when something else stands there.
class CDelimiter_manip final : public CStreamio_manip {
  public:
    explicit CDelimiter_manip(wchar_t delimiter) noexcept : mDelimiter(delimiter) {}

    void Apply(CToken_istream& stream) override;
    void Apply(CToken_ostream& stream) const override;

  private:
    wchar_t mDelimiter;
};

/// An optional `name=value` for T = `bool`, `std::int32_t` or `AString`. Reading never fails: a pair that is
/// missing, or whose value is no T, leaves the stream where it stood and the variable as it was. Without a
/// variable the manipulator keeps the value itself, whatever kind it is of.
template <class T>
class CNamed_value_manip final : public CStreamio_manip {
  public:
    /// For reading into a variable (borrowed), or, null, into the manipulator itself.
    CNamed_value_manip(const wchar_t* name, T* variable) : mValue(name), mVariable(variable) {}
    /// For writing.
    CNamed_value_manip(const wchar_t* name, const T& value);

    void Apply(CToken_istream& stream) override;
    void Apply(CToken_ostream& stream) const override;

    const CBlock_named_value& Value() const noexcept { return mValue; }

  private:
    bool Take(const CBlock_value& value);

    CBlock_named_value mValue;
    T*                 mVariable = nullptr;
};

extern template class CNamed_value_manip<bool>;
extern template class CNamed_value_manip<std::int32_t>;
extern template class CNamed_value_manip<AString>;

}  // namespace io
