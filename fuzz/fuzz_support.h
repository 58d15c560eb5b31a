#pragma once

#include "tessel/baseutils/assertion.h"
#include "tessel/streamio/contents.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>

/// What the fuzz targets have in common. Each target is one file with the entry point that libFuzzer calls;
/// what it finds wrong it reports by `abort`, as the sanitizers do.
namespace fuzz_support {

using namespace stream_support;
using namespace write_support;

/// Ends the process when a property does not hold.
inline void Require(bool holds, const char* property) {
    if (holds) return;
    std::fprintf(stderr, "does not hold: %s\n", property);
    std::abort();
}

inline void RequireSame(const std::string& a, const std::string& b, const char* property) {
    if (a == b) return;
    std::fprintf(stderr, "  %s\n  %s\n", a.c_str(), b.c_str());
    Require(false, property);
}

/// No file, whatever it holds, makes an assertion fail: to be placed at namespace scope.
struct CStrictAssertions {
    CStrictAssertions() {
        SetAssertionsDisabled(false);
        SetAssertHandler([](const char* file, unsigned line, const char* expression, bool*) {
            std::fprintf(stderr, "%s:%u: ", file, line);
            Require(false, expression);
            return 0;
        });
    }
};

/// The bytes of one run: first options, then the data that they are for.
class CInput {
  public:
    CInput(const std::uint8_t* data, std::size_t size)
        : mRest(reinterpret_cast<const char*>(data), data != nullptr ? size : 0) {}

    /// The next byte; 0 when there is none.
    unsigned Byte() {
        if (mRest.empty()) return 0;
        const auto byte = static_cast<unsigned char>(mRest[0]);
        mRest.remove_prefix(1);
        return byte;
    }
    std::string_view Rest() const { return mRest; }

  private:
    std::string_view mRest;
};

/// Two bytes a unit, the low one first.
inline std::wstring Units(std::string_view bytes) {
    std::wstring units;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const auto low  = static_cast<unsigned char>(bytes[i]);
        const auto high = static_cast<unsigned char>(bytes[i + 1]);
        units += static_cast<wchar_t>(low | high << 8);
    }
    return units;
}

/// A stream that delivers bytes in chunks.
inline std::unique_ptr<io::CToken_istream> ChunkStream(std::string_view bytes, std::size_t chunk,
                                                       std::uint32_t flags) {
    struct CStream : std::wistream {
        CStream(std::string_view all, std::size_t size) : std::wistream(nullptr), mUnits(Widen(all), size) {
            rdbuf(&mUnits);
        }
        CChunkBuf mUnits;
    };
    return std::make_unique<io::CToken_istream>(std::make_unique<CStream>(bytes, chunk), flags);
}

inline io::CBlock Parsed(std::string_view bytes) {
    const auto stream = ByteStream(bytes);
    io::CBlock file;
    file.ReadFile(*stream);
    return file;
}

/// What a writer of `CToken_ostream` leaves in a file.
template <class Stream = CToken_ostream, class Write>
std::string FileBytes(EForm form, std::uint32_t flags, Write write) {
    auto        chars = std::make_unique<std::wostringstream>();
    const auto& units = *chars;
    Stream      stream(std::move(chars), flags, GrammarOf(form));
    write(stream);
    Require(stream.Close(), "everything can be written to memory");
    const std::wstring written = units.str();
    return {written.begin(), written.end()};
}

}  // namespace fuzz_support

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
