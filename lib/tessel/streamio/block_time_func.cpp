#include "tessel/streamio/block_time_func.h"

#include "tessel/streamio/block_value.h"

#include <algorithm>
#include <chrono>

namespace io {

namespace {

using namespace std::chrono;

constexpr sys_seconds kFirst = sys_days(year::min() / January / 1);
constexpr sys_seconds kLast  = sys_days(year::max() / December / 31) + hours(24) - seconds(1);

}  // namespace

void CBlock_time_func::AppendPart(const wchar_t* name, std::int64_t part) {
    auto* value = new CBlock_named_value(name);
    value->SetValue(CToken(ETokenType::Int, static_cast<double>(part)));
    Append(CBlockFuncArgPtr(value));
}

void CBlock_time_func::SetTime(std::int64_t time) {
    const sys_seconds    point = std::clamp(sys_seconds(seconds(time)), kFirst, kLast);
    const sys_days       day   = floor<days>(point);
    const year_month_day date(day);
    const hh_mm_ss       clock(point - day);

    Clear();
    AppendPart(L"year", static_cast<int>(date.year()));
    AppendPart(L"month", static_cast<unsigned>(date.month()));
    AppendPart(L"day", static_cast<unsigned>(date.day()));
    AppendPart(L"hour", clock.hours().count());
    AppendPart(L"minute", clock.minutes().count());
    AppendPart(L"second", clock.seconds().count());
}

bool CBlock_time_func::GetPart(const wchar_t* name, std::int32_t& part) const {
    for (const CBlockFuncArgPtr& argument : Arguments())
        if (argument && argument->IsNamedValue() && argument->Name().String().CompareNoCase(name) == 0)
            return argument->GetInt(part);
    return false;
}

bool CBlock_time_func::GetTime(std::int64_t& time) const {
    std::int32_t y = 0, mon = 1, d = 1, h = 0, min = 0, s = 0;
    if (!GetPart(L"year", y) || y < static_cast<int>(year::min()) || y > static_cast<int>(year::max()))
        return false;
    GetPart(L"month", mon);
    GetPart(L"day", d);
    GetPart(L"hour", h);
    GetPart(L"minute", min);
    GetPart(L"second", s);
    const bool clockFits = h >= 0 && h < 24 && min >= 0 && min < 60 && s >= 0 && s < 60;
    if (mon < 1 || d < 1 || !clockFits) return false;
    const year_month_day date(year(y), month(static_cast<unsigned>(mon)), day(static_cast<unsigned>(d)));
    if (mon > 12 || d > 31 || !date.ok()) return false;
    time = (sys_days(date) + hours(h) + minutes(min) + seconds(s)).time_since_epoch() / seconds(1);
    return true;
}

}  // namespace io
