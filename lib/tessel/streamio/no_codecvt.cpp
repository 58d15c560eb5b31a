#include "tessel/streamio/no_codecvt.h"

#include <algorithm>
#include <limits>

namespace io {

namespace {

wchar_t Widen(char byte) noexcept {
    return static_cast<wchar_t>(static_cast<unsigned char>(byte));
}
char Narrow(wchar_t ch) noexcept {
    return static_cast<char>(ch & 0xFF);
}

template <class From, class To, class Map>
std::codecvt_base::result Convert(const From* from, const From* fromEnd, const From*& fromNext, To* to,
                                  To* toEnd, To*& toNext, Map map) {
    const auto count = std::min(fromEnd - from, toEnd - to);
    toNext           = std::transform(from, from + count, to, map);
    fromNext         = from + count;
    return count > 0 || from == fromEnd ? std::codecvt_base::ok : std::codecvt_base::partial;
}

}  // namespace

NoCodeCvt::result NoCodeCvt::do_in(std::mbstate_t&, const char* from, const char* fromEnd,
                                   const char*& fromNext, wchar_t* to, wchar_t* toEnd,
                                   wchar_t*& toNext) const {
    return Convert(from, fromEnd, fromNext, to, toEnd, toNext, Widen);
}

NoCodeCvt::result NoCodeCvt::do_out(std::mbstate_t&, const wchar_t* from, const wchar_t* fromEnd,
                                    const wchar_t*& fromNext, char* to, char* toEnd, char*& toNext) const {
    return Convert(from, fromEnd, fromNext, to, toEnd, toNext, Narrow);
}

NoCodeCvt::result NoCodeCvt::do_unshift(std::mbstate_t&, char* to, char*, char*& toNext) const {
    toNext = to;
    return ok;
}

int NoCodeCvt::do_length(std::mbstate_t&, const char* from, const char* fromEnd, std::size_t max) const {
    const auto available = static_cast<std::size_t>(fromEnd - from);
    return static_cast<int>(std::min({available, max, std::size_t{std::numeric_limits<int>::max()}}));
}

}  // namespace io
