#include "bench/documents.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <memory>
#include <random>
#include <string_view>
#include <vector>

namespace bench {

namespace {

// ---------------------------------------------------------------------------------------------
// One writer for each format. What is written next to what is the generator's business: a name is
// followed by its value, and lists hold values alone.

enum class EList { kVector, kFunction };

class CWriter {
  public:
    virtual ~CWriter() = default;

    virtual void BeginBlock(std::string_view name)                              = 0;
    virtual void EndBlock(std::string_view name)                                = 0;
    virtual void BeginList(EList kind, std::string_view name, std::size_t size) = 0;
    virtual void EndList()                                                      = 0;
    /// Names the value that follows, in a block or among the arguments of a function.
    virtual void Name(std::string_view name)   = 0;
    virtual void Plain(std::string_view text)  = 0;  ///< a number or boolean, as it is spelled
    virtual void Quoted(std::string_view text) = 0;
    virtual void Word(std::string_view text) { Quoted(text); }
    /// Once, at the end.
    virtual std::string Take() { return std::move(mText); }

  protected:
    void Line() {
        mText += '\n';
        mText.append(mLevel, '\t');
    }
    /// The text between quotes, each of `special` behind a backslash.
    void Escaped(std::string_view text, char quote) {
        mText += quote;
        for (const char c : text) {
            if (c == quote || c == '\\') mText += '\\';
            mText += c;
        }
        mText += quote;
    }
    /// What stands between the elements of a list.
    void Separate() {
        if (!mFirst) mText += ", ";
        mFirst = false;
    }

    std::string mText;
    std::size_t mLevel  = 0;
    bool        mInList = false;
    bool        mFirst  = true;   ///< nothing stands in the innermost block or list yet
    bool        mNamed  = false;  ///< a name waits for its value
};

class CBlockWriter final : public CWriter {
  public:
    void BeginBlock(std::string_view name) override {
        Start();
        mText += "$begin ";
        Escaped(name, '\'');
        ++mLevel;
    }
    void EndBlock(std::string_view name) override {
        --mLevel;
        Start();
        mText += "$end ";
        Escaped(name, '\'');
    }
    void BeginList(EList kind, std::string_view name, std::size_t size) override {
        Start();
        mText += name;
        mText += kind == EList::kFunction ? '(' : '[';
        if (kind == EList::kVector) mText += std::to_string(size) + ": ";
        mClose  = kind == EList::kFunction ? ')' : ']';
        mInList = mFirst = true;
    }
    void EndList() override {
        mText += mClose;
        mInList = false;
    }
    void Name(std::string_view name) override {
        Start();
        mText += name;
        mText += '=';
        mNamed = true;
    }
    void Plain(std::string_view text) override {
        Start();
        mText += text;
    }
    void Quoted(std::string_view text) override {
        Start();
        Escaped(text, '\'');
    }
    void Word(std::string_view text) override { Plain(text); }

    std::string Take() override {
        mText += '\n';
        return CWriter::Take();
    }

  private:
    void Start() {
        if (mInList && !mNamed)
            Separate();
        else if (!mNamed && !mText.empty())
            Line();
        mNamed = false;
    }

    char mClose = ')';
};

/// An object for each block, an array for each vector or function. Named arguments are the members of an
/// object that ends their array.
class CJsonWriter final : public CWriter {
  public:
    CJsonWriter() {
        mText  = "{";
        mLevel = 1;
    }
    void BeginBlock(std::string_view name) override {
        Key(name);
        mText += '{';
        mFirst = true;
        ++mLevel;
    }
    void EndBlock(std::string_view) override {
        --mLevel;
        Line();
        mText += '}';
        mFirst = false;
    }
    void BeginList(EList, std::string_view name, std::size_t) override {
        Key(name);
        mText += '[';
        mInList = mFirst = true;
    }
    void EndList() override {
        if (mInArguments) mText += '}';
        mText += ']';
        mInList = mInArguments = mFirst = false;
    }
    void Name(std::string_view name) override {
        if (!mInList) {
            Key(name);
        } else {
            Separate();
            if (!mInArguments) mText += '{';
            mInArguments = true;
            Escaped(name, '"');
            mText += ": ";
        }
        mNamed = true;
    }
    void Plain(std::string_view text) override {
        Start();
        mText += text;
    }
    void Quoted(std::string_view text) override {
        Start();
        Escaped(text, '"');
    }
    std::string Take() override {
        mText += "\n}\n";
        return CWriter::Take();
    }

  private:
    void Key(std::string_view name) {
        if (!mFirst) mText += ',';
        mFirst = false;
        Line();
        Escaped(name, '"');
        mText += ": ";
    }
    void Start() {
        if (mInList && !mNamed) Separate();
        mNamed = false;
    }

    bool mInArguments = false;
};

/// An element for each item, called by its name; `e` where it has none.
class CXmlWriter final : public CWriter {
  public:
    void BeginBlock(std::string_view name) override {
        if (!mText.empty()) Line();
        Tag("<", name);
        ++mLevel;
    }
    void EndBlock(std::string_view name) override {
        --mLevel;
        Line();
        Tag("</", name);
    }
    void BeginList(EList, std::string_view name, std::size_t) override {
        Line();
        Tag("<", name);
        mList   = name;
        mInList = true;
    }
    void EndList() override {
        Tag("</", mList);
        mInList = false;
    }
    void Name(std::string_view name) override {
        if (!mInList) Line();
        mName = name;
    }
    void Plain(std::string_view text) override { Quoted(text); }
    void Quoted(std::string_view text) override {
        Tag("<", mName);
        for (const char c : text) {
            if (c == '&')
                mText += "&amp;";
            else if (c == '<')
                mText += "&lt;";
            else
                mText += c;
        }
        Tag("</", mName);
        mName = kUnnamed;
    }
    std::string Take() override {
        mText += '\n';
        return CWriter::Take();
    }

  private:
    static constexpr std::string_view kUnnamed = "e";

    void Tag(const char* open, std::string_view name) {
        mText += open;
        mText += name;
        mText += '>';
    }

    std::string mName{kUnnamed};
    std::string mList;
};

/// A group for each block, an array for each vector, a list for each function; named arguments are the
/// settings of a group that ends the list.
class CConfigWriter final : public CWriter {
  public:
    void BeginBlock(std::string_view name) override {
        Key(name);
        mText += '{';
        ++mLevel;
    }
    void EndBlock(std::string_view) override {
        --mLevel;
        Line();
        mText += "};";
    }
    void BeginList(EList kind, std::string_view name, std::size_t) override {
        Key(name);
        mText += kind == EList::kFunction ? '(' : '[';
        mClose  = kind == EList::kFunction ? ");" : "];";
        mInList = mFirst = true;
    }
    void EndList() override {
        if (mInArguments) mText += '}';
        mText += mClose;
        mInList = mInArguments = false;
    }
    void Name(std::string_view name) override {
        if (!mInList) {
            Key(name);
        } else {
            if (!mInArguments) {
                Separate();
                mText += '{';
            } else {
                mText += ' ';
            }
            mInArguments = true;
            mText += name;
            mText += " = ";
        }
        mNamed = true;
    }
    void Plain(std::string_view text) override {
        Start();
        mText += text;
        End();
    }
    void Quoted(std::string_view text) override {
        Start();
        Escaped(text, '"');
        End();
    }
    std::string Take() override {
        mText += '\n';
        return CWriter::Take();
    }

  private:
    void Key(std::string_view name) {
        if (!mText.empty()) Line();
        mText += name;
        mText += " = ";
    }
    void Start() {
        if (mInList && !mNamed) Separate();
        mNamed = false;
    }
    void End() {
        if (!mInList || mInArguments) mText += ';';
    }

    const char* mClose       = ");";
    bool        mInArguments = false;
};

std::unique_ptr<CWriter> NewWriter(EFormat format) {
    switch (format) {
        case EFormat::kJson:
            return std::make_unique<CJsonWriter>();
        case EFormat::kXml:
            return std::make_unique<CXmlWriter>();
        case EFormat::kConfig:
            return std::make_unique<CConfigWriter>();
        default:
            return std::make_unique<CBlockWriter>();
    }
}

// ---------------------------------------------------------------------------------------------
// The generator

// Names are taken from here one after the other, so that no block holds one twice: not every format
// allows that.
constexpr const char* kNames[] = {
    "Width",       "Height",    "Material",     "Visible",    "Position",  "SolveInside", "Frequency",
    "Id",          "Color",     "Transparency", "Normal",     "Radius",    "Phase",       "Unit_Cell",
    "MaxPasses",   "MinPasses", "DeltaS",       "Notes",      "Origin",    "IsSolved",    "UserId",
    "Edges",       "Faces",     "SweepType",    "Start",      "Stop",      "Count",       "Permittivity",
    "LossTangent", "Impedance", "Renormalize",  "Modes",      "Axis",      "Angle",       "Terminal",
    "Group",       "Created",   "Scale",        "Offset",     "Depth",     "Layer",       "Sheet",
    "Excitation",  "Power",     "Limits",       "Target",     "Weight",    "Label",       "Tag",
    "Parent",      "Order",     "Tolerance",    "Iterations", "Variables", "Ranges",      "Fields",
    "Plot",        "Trace",     "Marker",       "Domain",     "Mesh",      "Refine",      "Ratio",
    "Seed",
};
constexpr const char* kArgumentNames[] = {"Unit", "Scale", "Tag"};
constexpr const char* kWords[]         = {"copper", "vacuum", "mm",   "Box", "Polyline_2", "FR4_epoxy",
                                          "Linear", "auto",   "port", "GHz", "cylinder",   "Interpolating"};
constexpr const char* kTexts[]         = {"Setup 1",
                                          "first cut",
                                          "mm",
                                          "Airbox",
                                          "Local variables",
                                          "see drawing 12, sheet B",
                                          "the lens's rear face",
                                          "patch, matched at 9.6 GHz",
                                          "S(Port1,Port2)",
                                          "H\xC3\xB6he \xC3\xBC"
                                                  "ber Grund",
                                          "C:\\mesh\\part_7",
                                          "coarse"};

class CGenerator {
  public:
    CGenerator(CWriter& writer, std::size_t items) : mWriter(writer), mItems(items) {}

    CTally Run() {
        Block("Project", mItems);
        return mTally;
    }

  private:
    static constexpr std::size_t kLeaf   = 96;  // items, below which a block holds no blocks
    static constexpr std::size_t kFanOut = 12;  // blocks in a block

    std::size_t Below(std::size_t limit) { return static_cast<std::size_t>(mRandom() % limit); }
    template <class Table>
    const char* OneOf(const Table& table) {
        return table[Below(std::size(table))];
    }

    void Block(const std::string& name, std::size_t items) {
        ++mTally.mItems;
        mWriter.BeginBlock(name);
        const std::size_t first = Below(std::size(kNames));
        if (items <= kLeaf) {
            const std::size_t end = mTally.mItems + std::max<std::size_t>(items, 8) - 1;
            for (std::size_t i = 0; i < std::size(kNames) && mTally.mItems < end; ++i)
                Item(kNames[(first + i) % std::size(kNames)]);
        } else {
            const std::size_t parts = std::min(kFanOut, (items + kLeaf - 1) / kLeaf);
            const std::size_t end   = mTally.mItems + items - 1;
            for (std::size_t i = 0; i < 4; ++i)
                Item(kNames[(first + i) % std::size(kNames)]);
            for (std::size_t i = 0; i < parts && mTally.mItems < end; ++i)
                Block("Part" + std::to_string(Below(900) + 1000 * i), (end - mTally.mItems) / (parts - i));
        }
        mWriter.EndBlock(name);
    }

    void Item(const char* name) {
        ++mTally.mItems;
        const std::size_t kind = Below(100);
        if (kind < 10) return Vector(name);
        if (kind < 22) return Function(name);
        mWriter.Name(name);
        Value();
    }

    /// Of a vector all elements have one type: not every format allows others.
    void Vector(const char* name) {
        const std::size_t size = 2 + Below(8);
        const std::size_t kind = Below(10);
        mWriter.BeginList(EList::kVector, name, size);
        for (std::size_t i = 0; i < size; ++i) {
            ++mTally.mItems;
            kind < 5 ? Integer() : kind < 8 ? Real() : mWriter.Quoted(OneOf(kTexts));
        }
        mWriter.EndList();
    }

    void Function(const char* name) {
        const std::size_t size  = 1 + Below(4);
        const std::size_t named = Below(std::size(kArgumentNames));
        mWriter.BeginList(EList::kFunction, name, size + named);
        for (std::size_t i = 0; i < size + named; ++i) {
            ++mTally.mItems;
            if (i >= size) mWriter.Name(kArgumentNames[i - size]);
            Value();
        }
        mWriter.EndList();
    }

    void Value() {
        const std::size_t kind = Below(100);
        if (kind < 30)
            Integer();
        else if (kind < 60)
            Real();
        else if (kind < 75)
            mWriter.Quoted(OneOf(kTexts));
        else if (kind < 90)
            mWriter.Word(OneOf(kWords));
        else
            mWriter.Plain(kind < 95 ? "true" : "false");
    }

    void Integer() {
        const std::int64_t limits[] = {10, 256, 5000, 2'000'000'000};
        const std::int64_t limit    = limits[Below(std::size(limits))];
        const auto value = static_cast<std::int64_t>(Below(static_cast<std::size_t>(limit))) - limit / 8;
        mTally.Add(static_cast<double>(value));
        mWriter.Plain(std::to_string(value));
    }

    /// Mostly a few digits, as people type them; now and then all 17, as programs write them. Always with
    /// a point: not every format takes another number for a floating-point one.
    void Real() {
        const double mantissa = static_cast<double>(Below(2'000'000)) - 200'000;
        const auto   kind     = Below(10);
        const double value    = kind < 7   ? mantissa / 1000
                                : kind < 9 ? mantissa * 0.7853981633974483e-5
                                           : mantissa * 1e-17;
        char         text[40];
        const auto   form = kind == 9 ? std::chars_format::scientific : std::chars_format::fixed;
        std::string  spelled(text, std::to_chars(text, text + sizeof text, value, form).ptr);
        if (spelled.find('.') == spelled.npos)
            spelled.insert(std::min(spelled.find('e'), spelled.size()), ".0");
        mTally.Add(value);
        mWriter.Plain(spelled);
    }

    CWriter&        mWriter;
    std::size_t     mItems;
    std::mt19937_64 mRandom{20131};
    CTally          mTally;
};

}  // namespace

const std::string& CDocument::Text(EFormat format) const {
    auto [place, isNew] = mTexts.try_emplace(format);
    if (isNew) {
        const auto writer = NewWriter(format);
        mTally            = CGenerator(*writer, mAsked).Run();
        place->second     = writer->Take();
    }
    return place->second;
}

const CTally& CDocument::Tally() const {
    Text(EFormat::kBlocks);
    return mTally;
}

const char* SizeName(ESize size) {
    constexpr const char* kSizeNames[] = {"main", "1MB", "10MB", "100MB"};
    return kSizeNames[static_cast<std::size_t>(size)];
}

const CDocument& DocumentOf(ESize size) {
    static std::map<ESize, CDocument> documents;
    const auto                        found = documents.find(size);
    if (found != documents.end()) return found->second;
    std::size_t items = kMainItems;
    if (size != ESize::kMain) {
        const CDocument&  main    = DocumentOf(ESize::kMain);
        const std::size_t bytes[] = {0, 1'000'000, 10'000'000, 100'000'000};
        items =
            bytes[static_cast<std::size_t>(size)] * main.Tally().mItems / main.Text(EFormat::kBlocks).size();
    }
    return documents.emplace(size, CDocument(items)).first->second;
}

}  // namespace bench
