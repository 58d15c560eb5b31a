#include "bench/libraries.h"

#include <cstdlib>

namespace bench {

namespace {

void Add(const pugi::xml_node& element, CTally& tally) {
    for (const pugi::xml_node& child : element) {
        if (child.type() == pugi::node_pcdata) {
            tally.Add(std::strtod(child.value(), nullptr));  // of a text: 0
        } else {
            ++tally.mItems;
            Add(child, tally);
        }
    }
}

struct CAppend final : pugi::xml_writer {
    void write(const void* data, std::size_t size) override {
        mText.append(static_cast<const char*>(data), size);
    }

    std::string mText;
};

}  // namespace

CPugiXml::Tree CPugiXml::Parse(Input text) {
    auto document = std::make_unique<pugi::xml_document>();
    document->load_buffer(text->data(), text->size());
    return document;
}

CTally CPugiXml::TallyOf(const Tree& tree) {
    CTally tally;
    Add(*tree, tally);
    return tally;
}

std::string CPugiXml::Write(const Tree& tree) {
    CAppend writer;
    tree->save(writer, "", pugi::format_raw);
    return std::move(writer.mText);
}

}  // namespace bench
