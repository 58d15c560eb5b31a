#pragma once

#include "tessel/streamio/block_func.h"

#include <cstdint>

namespace io {

/// A point in time as a function item: `time(year=2013, month=5, day=17, hour=10, minute=30, second=0)`.
/// Times are seconds since 1970-01-01 00:00 UTC, without leap seconds.
class CBlock_time_func : public CBlock_func {
  public:
    CBlock_time_func() = default;
    explicit CBlock_time_func(const CBlock_func& source) : CBlock_func(source) {}
    CBlock_time_func(const wchar_t* name, std::int64_t time) : CBlock_func(name) { SetTime(time); }

    /// Replaces the arguments. Years lie between -32767 and 32767; times beyond are cut to them.
    void SetTime(std::int64_t time);
    /// Reads the time from the named arguments; what is not there counts from the start of the year or
    /// day. False, `time` untouched, without a year or when the arguments are no date.
    bool GetTime(std::int64_t& time) const;

  private:
    bool GetPart(const wchar_t* name, std::int32_t& part) const;
    void AppendPart(const wchar_t* name, std::int64_t part);
};

}  // namespace io
