#pragma once

#include <cwchar>
#include <locale>

namespace io {

/// Passes bytes through: each byte is one wide character of the same value, and the low 8 bits of
/// each wide character are one byte.
class NoCodeCvt : public std::codecvt<wchar_t, char, std::mbstate_t> {
  public:
    using std::codecvt<wchar_t, char, std::mbstate_t>::codecvt;

  protected:
    result do_in(std::mbstate_t& state, const char* from, const char* fromEnd, const char*& fromNext,
                 wchar_t* to, wchar_t* toEnd, wchar_t*& toNext) const override;
    result do_out(std::mbstate_t& state, const wchar_t* from, const wchar_t* fromEnd,
                  const wchar_t*& fromNext, char* to, char* toEnd, char*& toNext) const override;
    result do_unshift(std::mbstate_t& state, char* to, char* toEnd, char*& toNext) const override;
    int    do_length(std::mbstate_t& state, const char* from, const char* fromEnd,
                     std::size_t max) const override;
    int    do_encoding() const noexcept override { return 1; }
    int    do_max_length() const noexcept override { return 1; }
    bool   do_always_noconv() const noexcept override { return false; }
};

}  // namespace io
