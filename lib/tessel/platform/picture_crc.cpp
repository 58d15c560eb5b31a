#include "tessel/platform/picture_crc.h"

#include <array>

namespace platform {
namespace {

constexpr std::size_t kStep = 8;

/// Row n holds what each byte adds to the checksum when n zero bytes follow it, so that `kStep` bytes are
/// looked up at once; the first row alone is the table that is used byte by byte.
using CTables             = std::array<std::array<std::uint32_t, 256>, kStep>;
constexpr CTables kTables = [] {
    CTables tables{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t crc = byte;
        for (int bit = 0; bit < 8; ++bit)
            crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320u : 0u);
        tables[0][byte] = crc;
    }
    for (std::size_t row = 1; row < kStep; ++row)
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const std::uint32_t crc = tables[row - 1][byte];
            tables[row][byte]       = crc >> 8 ^ tables[0][crc & 0xFF];
        }
    return tables;
}();

std::uint32_t FourBytes(const std::uint8_t* bytes) noexcept {
    return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
           static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
}

/// What four bytes add when `behind` bytes of the step follow them.
std::uint32_t LookUp(std::uint32_t four, std::size_t behind) noexcept {
    return kTables[behind + 3][four & 0xFF] ^ kTables[behind + 2][four >> 8 & 0xFF] ^
           kTables[behind + 1][four >> 16 & 0xFF] ^ kTables[behind][four >> 24];
}

}  // namespace

std::uint32_t Crc32(const void* data, std::size_t size) noexcept {
    const auto*   bytes = static_cast<const std::uint8_t*>(data);
    std::uint32_t crc   = 0xFFFFFFFFu;
    for (; size >= kStep; size -= kStep, bytes += kStep)
        crc = LookUp(crc ^ FourBytes(bytes), 4) ^ LookUp(FourBytes(bytes + 4), 0);
    for (; size > 0; --size, ++bytes)
        crc = crc >> 8 ^ kTables[0][(crc ^ *bytes) & 0xFF];
    return ~crc;
}

}  // namespace platform
