#include "tessel/streamio/utf8.h"

namespace io {

namespace {

constexpr char Continuation(std::uint32_t bits) noexcept {
    return static_cast<char>(0x80 | (bits & 0x3F));
}

std::int32_t ByteAt(std::string_view bytes, std::size_t at) noexcept {
    return at < bytes.size() ? static_cast<unsigned char>(bytes[at]) : -1;
}

}  // namespace

void AppendUtf8Unit(std::string& bytes, wchar_t unit) {
    const auto code = static_cast<std::uint32_t>(unit);
    if (code < 0x80) {
        bytes += static_cast<char>(code);
    } else if (code < 0x800) {
        bytes += {static_cast<char>(0xC0 | (code >> 6)), Continuation(code)};
    } else {
        bytes +=
            {static_cast<char>(0xE0 | ((code >> 12) & 0x0F)), Continuation(code >> 6), Continuation(code)};
    }
}

std::string ToUtf8Units(std::wstring_view text) {
    std::string bytes;
    bytes.reserve(text.size());
    for (const wchar_t unit : text)
        AppendUtf8Unit(bytes, unit);
    return bytes;
}

std::wstring FromUtf8(std::string_view bytes) {
    std::wstring text;
    text.reserve(bytes.size());
    for (std::size_t at = 0; at < bytes.size();) {
        const std::int32_t lead   = ByteAt(bytes, at);
        const std::size_t  length = Utf8Length(lead);
        std::int32_t       code   = length > 1 ? Utf8LeadBits(lead, length) : lead;
        std::size_t        taken  = 1;
        while (taken < length && IsUtf8Continuation(lead, taken, ByteAt(bytes, at + taken)))
            code = (code << 6) | (ByteAt(bytes, at + taken++) & 0x3F);
        if (taken < length) {
            code  = lead;
            taken = 1;
        }
        if (code >= 0x10000) {
            text += static_cast<wchar_t>(0xD7C0 + (code >> 10));
            code = 0xDC00 + (code & 0x3FF);
        }
        text += static_cast<wchar_t>(code);
        at += taken;
    }
    return text;
}

}  // namespace io
