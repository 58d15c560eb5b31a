#include "bench/libraries.h"

#include <algorithm>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace bench {

namespace {

void Add(const nlohmann::json& value, CTally& tally) {
    const bool isList = value.is_array();
    for (const auto& child : value) {
        if (!isList || !child.is_object()) ++tally.mItems;
        if (child.is_structured())
            Add(child, tally);
        else if (child.is_number())
            tally.Add(child.get<double>());
    }
}

void Add(const rapidjson::Value& value, CTally& tally);

void AddChild(const rapidjson::Value& child, CTally& tally) {
    if (child.IsNumber())
        tally.Add(child.GetDouble());
    else
        Add(child, tally);
}

void Add(const rapidjson::Value& value, CTally& tally) {
    if (value.IsObject()) {
        for (const auto& member : value.GetObject()) {
            ++tally.mItems;
            AddChild(member.value, tally);
        }
    } else if (value.IsArray()) {
        for (const auto& element : value.GetArray()) {
            if (!element.IsObject()) ++tally.mItems;
            AddChild(element, tally);
        }
    }
}

}  // namespace

CNlohmann::Tree CNlohmann::Parse(Input text) {
    return nlohmann::json::parse(*text);
}

CTally CNlohmann::TallyOf(const Tree& tree) {
    CTally tally;
    Add(tree, tally);
    return tally;
}

std::string CNlohmann::Write(const Tree& tree) {
    return tree.dump();
}

CNlohmannBinary::Tree CNlohmannBinary::Parse(Input bytes) {
    return nlohmann::json::from_msgpack(*bytes);
}

std::string CNlohmannBinary::Write(const Tree& tree) {
    std::string bytes;
    nlohmann::json::to_msgpack(tree, bytes);
    return bytes;
}

CRapidJson::Tree CRapidJson::Parse(Input text) {
    rapidjson::Document document;
    document.Parse(text->data(), text->size());
    return document;
}

CTally CRapidJson::TallyOf(const Tree& tree) {
    CTally tally;
    Add(tree, tally);
    return tally;
}

std::string CRapidJson::Write(const Tree& tree) {
    rapidjson::StringBuffer                    buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    tree.Accept(writer);
    return {buffer.GetString(), buffer.GetSize()};
}

CRapidJsonInSitu::Input CRapidJsonInSitu::Prepare(const std::string& text) {
    Input copy(new char[text.size() + 1]);
    std::copy_n(text.c_str(), text.size() + 1, copy.get());
    return copy;
}

CRapidJsonInSitu::Tree CRapidJsonInSitu::Parse(Input text) {
    Tree tree{std::move(text), {}};
    tree.mDocument.ParseInsitu(tree.mText.get());
    return tree;
}

}  // namespace bench
