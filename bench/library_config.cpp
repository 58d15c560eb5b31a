#include "bench/libraries.h"

#include <cstdio>
#include <cstdlib>

namespace bench {

namespace {

void Add(const libconfig::Setting& setting, CTally& tally) {
    for (int i = 0; i < setting.getLength(); ++i) {
        const libconfig::Setting& child = setting[i];
        if (!setting.isList() || !child.isGroup()) ++tally.mItems;
        if (child.isAggregate())
            Add(child, tally);
        else if (child.getType() == libconfig::Setting::TypeInt)
            tally.Add(static_cast<int>(child));
        else if (child.getType() == libconfig::Setting::TypeFloat)
            tally.Add(static_cast<double>(child));
    }
}

}  // namespace

CLibConfig::Tree CLibConfig::Parse(Input text) {
    auto config = std::make_unique<libconfig::Config>();
    config->readString(*text);
    return config;
}

CTally CLibConfig::TallyOf(const Tree& tree) {
    CTally tally;
    Add(tree->getRoot(), tally);
    return tally;
}

std::string CLibConfig::Write(const Tree& tree) {
    char*       data = nullptr;
    std::size_t size = 0;
    std::FILE*  file = open_memstream(&data, &size);
    tree->write(file);
    std::fclose(file);
    std::string text(data, size);
    std::free(data);
    return text;
}

}  // namespace bench
