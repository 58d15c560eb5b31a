#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

/// The CRC-32 that a PNG file has behind each of its chunks.
std::uint32_t Crc32(const void* bytes, std::size_t size) noexcept;

}  // namespace platform
