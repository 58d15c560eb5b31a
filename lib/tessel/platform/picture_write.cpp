#include "tessel/platform/picture.h"
#include "tessel/platform/platform.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

namespace platform {

bool WriteWholeFile(const char* path, const std::vector<std::uint8_t>& bytes, unsigned* error) {
    const std::filesystem::path name(reinterpret_cast<const char8_t*>(path));
    std::ofstream               file(name, std::ios::binary);
    const bool                  opened = file.is_open();
    if (opened) file.write(reinterpret_cast<const char*>(bytes.data()), std::ssize(bytes)).flush();
    if (file) return true;
    *error = LastError();
    file.close();
    std::error_code ignored;  // a pipe or a device stays, and so does a link to what could not be written
    if (opened && std::filesystem::is_regular_file(name, ignored))
        std::filesystem::remove(std::filesystem::canonical(name, ignored), ignored);
    return false;
}

}  // namespace platform
