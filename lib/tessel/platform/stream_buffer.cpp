#include "tessel/platform/platform.h"

#include <ext/stdio_filebuf.h>

#include <fstream>
#include <utility>

namespace platform {

bool OpenForReading(std::wfilebuf& buffer, const wchar_t* path) {
    const int descriptor = OpenDescriptor(path);
    if (descriptor == -1) return false;
    __gnu_cxx::stdio_filebuf<wchar_t> opened(descriptor, std::ios_base::in | std::ios_base::binary);
    opened.pubimbue(buffer.getloc());
    buffer = std::move(opened);
    return buffer.is_open();
}

}  // namespace platform
