#include "apps/tarvex_blocks_json.h"

#include "tessel/streamio/block_func.h"
#include "tessel/streamio/block_vec.h"
#include "tessel/streamio/number_text.h"

#include <cmath>
#include <cstdint>

namespace blocks {

using namespace io;

namespace {

constexpr struct {
    wchar_t     mUnit;
    const char* mEscape;
} kEscapes[] = {
    {L'"', "\\\""}, {L'\\', "\\\\"}, {L'\b', "\\b"}, {L'\f', "\\f"},
    {L'\n', "\\n"}, {L'\r', "\\r"},  {L'\t', "\\t"},
};

void AppendEscape(std::string& json, std::uint32_t unit) {
    for (const auto& [escaped, escape] : kEscapes)
        if (unit == static_cast<std::uint32_t>(escaped)) {
            json += escape;
            return;
        }
    constexpr char kDigits[] = "0123456789abcdef";
    json += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4)
        json += kDigits[unit >> shift & 0xF];
}

void AppendUtf8(std::string& json, std::uint32_t character) {
    const auto part = [&](std::uint32_t marker, int shift, std::uint32_t bits) {
        json += static_cast<char>(marker | (character >> shift & bits));
    };
    if (character < 0x800) {
        part(0xC0, 6, 0x1F);
    } else if (character < 0x10000) {
        part(0xE0, 12, 0xF);
        part(0x80, 6, 0x3F);
    } else {
        part(0xF0, 18, 0x7);
        part(0x80, 12, 0x3F);
        part(0x80, 6, 0x3F);
    }
    part(0x80, 0, 0x3F);
}

void AppendNumber(std::string& json, double value) {
    if (std::isnan(value)) {
        json += "\"nan\"";
    } else if (std::isinf(value)) {
        json += value > 0 ? "\"inf\"" : "\"-inf\"";
    } else if (value == 0.0 && std::signbit(value)) {
        json += "-0.0";  // to many readers "-0" is the integer
    } else {
        const CNumberText digits = FormatExact(value);
        for (const wchar_t digit : digits.View())
            json += static_cast<char>(digit);
    }
}

}  // namespace

void AppendText(std::string& json, std::wstring_view text) {
    json += '"';
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto unit = static_cast<std::uint32_t>(text[i]) & 0xFFFF;
        const auto next = i + 1 < text.size() ? static_cast<std::uint32_t>(text[i + 1]) & 0xFFFF : 0;
        if (unit < 0x20 || unit == '"' || unit == '\\') {
            AppendEscape(json, unit);
        } else if (unit < 0x80) {
            json += static_cast<char>(unit);
        } else if (unit < 0xD800 || unit > 0xDFFF) {
            AppendUtf8(json, unit);
        } else if (unit < 0xDC00 && next >= 0xDC00 && next <= 0xDFFF) {
            AppendUtf8(json, 0x10000 + ((unit & 0x3FF) << 10) + (next & 0x3FF));
            ++i;
        } else {
            AppendEscape(json, unit);
        }
    }
    json += '"';
}

void AppendToken(std::string& json, const CToken& token, bool spelling) {
    json += "\"type\": \"";
    json += TokenTypeName(token.Type());
    json += '"';
    if (token.IsText() || (spelling && token.IsNumeric() && token.HasText())) {
        json += ", \"text\": ";
        AppendText(json, token.View());
    }
    if (token.IsNumeric()) {
        json += ", \"value\": ";
        AppendNumber(json, token.Number());
    }
}

namespace {

/// Writes a tree piece by piece.
class CTreePrinter {
  public:
    explicit CTreePrinter(std::ostream& out) : mOut(out) {}

    void Print(const CBlock& file) {
        mJson = '{';
        AppendContents(file);
        mJson += "}\n";
        mOut << mJson;
    }

  private:
    template <class List, class Append>
    void AppendList(const char* key, const List& list, Append append) {
        mJson += '"';
        mJson += key;
        mJson += "\": [";
        bool first = true;
        for (const auto& element : list) {
            if (!first) mJson += ", ";
            first = false;
            append(element);
        }
        mJson += ']';
    }

    void AppendContents(const CBlock& block) {
        AppendList("items", block.Items(), [&](const CBlockItemPtr& item) { AppendItem(*item); });
        mJson += ", ";
        const CBlock::ErrorList errors(block.ErrorsBegin(), block.ErrorsEnd());
        AppendList("errors", errors, [&](const XStreamioError& error) {
            mJson += "{\"code\": " + std::to_string(error.Code()) +
                     ", \"line\": " + std::to_string(error.Line()) + ", \"text\": \"" + error.what() + "\"}";
        });
    }

    void AppendTokenObject(const CToken& token) {
        mJson += '{';
        AppendToken(mJson, token, false);
        mJson += '}';
    }

    void AppendHead(const char* kind, const CBlock_item& item) {
        mJson += "{\"kind\": \"";
        mJson += kind;
        mJson += "\", ";
        if (!item.HasName()) return;
        mJson += "\"name\": ";
        AppendText(mJson, item.Name().View());
        mJson += ", ";
    }

    void AppendItem(const CBlock_item& item) {
        if (const auto* block = dynamic_cast<const CBlock*>(&item)) {
            AppendHead("block", item);
            AppendContents(*block);
        } else if (const auto* vec = dynamic_cast<const CBlock_vec*>(&item)) {
            AppendHead("vector", item);
            AppendList("elements", vec->Elements(),
                       [&](const CToken& element) { AppendTokenObject(element); });
        } else if (const auto* func = dynamic_cast<const CBlock_func*>(&item)) {
            AppendHead("function", item);
            AppendList("arguments", func->Arguments(),
                       [&](const CBlockFuncArgPtr& argument) { AppendItem(*argument); });
        } else if (const auto* value = dynamic_cast<const CBlock_value*>(&item)) {
            AppendHead(item.IsNamedValue() ? "named_value" : "value", item);
            mJson += "\"value\": ";
            AppendTokenObject(value->Value());
        }
        mJson += '}';
        Flush();
    }

    void Flush() {
        constexpr std::size_t kEnough = 0x10000;
        if (mJson.size() < kEnough) return;
        mOut << mJson;
        mJson.clear();
    }

    std::ostream& mOut;
    std::string   mJson;  ///< not printed yet
};

}  // namespace

void PrintTree(std::ostream& out, const CBlock& file) {
    CTreePrinter(out).Print(file);
}

}  // namespace blocks
