#pragma once

#include "bench/documents.h"
#include "tessel/streamio/block.h"

#include <memory>
#include <string>

#include <rapidjson/document.h>
#include <libconfig.h++>
#include <nlohmann/json.hpp>
#include <pugixml.hpp>

/// The libraries that are compared, each brought to one shape:
///
///     kName, kFormat     `kFormat` is the spelling that is parsed; of a binary form, the one that it is made
///     of Input              what `Parse` takes; made by `Prepare`, outside of what is timed Tree what it
///     returns; destroyed, it gives back everything Parse(Input)       text into a tree TallyOf(Tree) what is
///     in it, read back through the library's own interface Write(Tree)        the tree as text in memory
namespace bench {

/// For those that read a text that is not theirs.
struct CBorrowedInput {
    using Input = const std::string*;
    static Input Prepare(const std::string& text) { return &text; }
};

struct CTarvex : CBorrowedInput {
    static constexpr const char* kName   = "tarvex";
    static constexpr EFormat     kFormat = EFormat::kBlocks;
    using Tree                           = std::unique_ptr<io::CBlock>;

    static Tree        Parse(Input text);
    static CTally      TallyOf(const Tree& tree);
    static std::string Write(const Tree& tree);
};

/// The same library and its binary form.
struct CTarvexBinary : CTarvex {
    using FromText = CTarvex;

    static std::string Write(const Tree& tree);
};

struct CNlohmann : CBorrowedInput {
    static constexpr const char* kName   = "nlohmann";
    static constexpr EFormat     kFormat = EFormat::kJson;
    using Tree                           = nlohmann::json;

    static Tree        Parse(Input text);
    static CTally      TallyOf(const Tree& tree);
    static std::string Write(const Tree& tree);
};

/// The same library and MessagePack.
struct CNlohmannBinary : CNlohmann {
    using FromText = CNlohmann;

    static Tree        Parse(Input bytes);
    static std::string Write(const Tree& tree);
};

struct CRapidJson : CBorrowedInput {
    static constexpr const char* kName   = "rapidjson";
    static constexpr EFormat     kFormat = EFormat::kJson;
    using Tree                           = rapidjson::Document;

    static Tree        Parse(Input text);
    static CTally      TallyOf(const Tree& tree);
    static std::string Write(const Tree& tree);
};

/// Parses inside of the text, where its strings remain: the text is a part of the tree.
struct CRapidJsonInSitu {
    static constexpr const char* kName   = "rapidjson_insitu";
    static constexpr EFormat     kFormat = EFormat::kJson;
    struct Tree {
        std::unique_ptr<char[]> mText;
        rapidjson::Document     mDocument;
    };
    using Input = std::unique_ptr<char[]>;

    static Input  Prepare(const std::string& text);
    static Tree   Parse(Input text);
    static CTally TallyOf(const Tree& tree) { return CRapidJson::TallyOf(tree.mDocument); }
};

/// Converts no values: numbers stay text until somebody asks.
struct CPugiXml : CBorrowedInput {
    static constexpr const char* kName   = "pugixml";
    static constexpr EFormat     kFormat = EFormat::kXml;
    using Tree                           = std::unique_ptr<pugi::xml_document>;

    static Tree        Parse(Input text);
    static CTally      TallyOf(const Tree& tree);
    static std::string Write(const Tree& tree);
};

struct CLibConfig : CBorrowedInput {
    static constexpr const char* kName   = "libconfig";
    static constexpr EFormat     kFormat = EFormat::kConfig;
    using Tree                           = std::unique_ptr<libconfig::Config>;

    static Tree        Parse(Input text);
    static CTally      TallyOf(const Tree& tree);
    static std::string Write(const Tree& tree);
};

}  // namespace bench
