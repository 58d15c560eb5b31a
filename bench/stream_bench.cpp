// What lies below the tree, and beside it: tokens, the index of a file, a file instead of memory.

#include "bench/libraries.h"
#include "bench/measure.h"
#include "bench/memory_streams.h"
#include "tessel/streamio/block_index.h"

#include <string>
#include <string_view>

#include <rapidjson/reader.h>

namespace bench {

namespace {

// ---------------------------------------------------------------------------------------------
// Tokens: each looked at, none kept. The others have events, which are the same but for brackets.

/// Counts what tokens say, as a tree would hold it.
class CTokenTally {
  public:
    void Take(const io::CToken& token) {
        using io::ETokenType;
        if (token.IsNumeric())
            mTally.Add(mLast = token.Number());
        else if (token.Type() == ETokenType::Keyword && token.View() == L"$begin")
            ++mTally.mItems;
        else if (token.Type() == ETokenType::Symbol)
            TakeSymbol(token.View().front());
        else if (token.Type() == ETokenType::Error)
            Check(false, "tokens");
    }
    const CTally& Result() const { return mTally; }

  private:
    void TakeSymbol(wchar_t symbol) {
        switch (symbol) {
            case L'(':
            case L'[':
                mTally.mItems += 2;  // the list and its first element
                mInList = true;
                break;
            case L')':
            case L']':
                mInList = false;
                break;
            case L',':
                ++mTally.mItems;
                break;
            case L'=':
                if (!mInList) ++mTally.mItems;
                break;
            case L':':
                mTally.Add(-mLast);  // the count of a vector's elements is none of its numbers
                break;
            default:
                Check(false, "tokens");
        }
    }

    CTally mTally;
    double mLast   = 0;
    bool   mInList = false;
};

CTally TarvexTokens(const std::string& text) {
    io::CToken_istream    stream(OpenMemory(text), 0);
    io::CToken_streambuf& tokens = stream.TokenBuffer();
    CTokenTally           tally;
    for (;;) {
        const io::CToken& token = tokens.NextToken();
        if (token.Type() == io::ETokenType::Eof) return tally.Result();
        tally.Take(token);
    }
}

/// An object without a key is the outermost one, or holds the named arguments of a function: no item.
class CEventTally {
  public:
    bool OnKey() { return mKeyed = true; }
    bool OnValue() {
        ++mTally.mItems;
        mKeyed = false;
        return true;
    }
    bool OnNumber(double number) {
        mTally.Add(number);
        return OnValue();
    }
    bool OnObject() {
        if (mKeyed) ++mTally.mItems;
        mKeyed = false;
        return true;
    }
    const CTally& Result() const { return mTally; }

  private:
    CTally mTally;
    bool   mKeyed = false;
};

struct CRapidJsonEvents : CEventTally {
    using Size = rapidjson::SizeType;
    bool Null() { return OnValue(); }
    bool Bool(bool) { return OnValue(); }
    bool Int(int number) { return OnNumber(number); }
    bool Uint(unsigned number) { return OnNumber(number); }
    bool Int64(std::int64_t number) { return OnNumber(static_cast<double>(number)); }
    bool Uint64(std::uint64_t number) { return OnNumber(static_cast<double>(number)); }
    bool Double(double number) { return OnNumber(number); }
    bool RawNumber(const char*, Size, bool) { return OnValue(); }
    bool String(const char*, Size, bool) { return OnValue(); }
    bool StartObject() { return OnObject(); }
    bool Key(const char*, Size, bool) { return OnKey(); }
    bool EndObject(Size) { return true; }
    bool StartArray() { return OnValue(); }
    bool EndArray(Size) { return true; }
};

CTally RapidJsonTokens(const std::string& text) {
    CRapidJsonEvents        events;
    rapidjson::StringStream stream(text.c_str());
    rapidjson::Reader().Parse(stream, events);
    return events.Result();
}

struct CNlohmannEvents : CEventTally {
    bool null() { return OnValue(); }
    bool boolean(bool) { return OnValue(); }
    bool number_integer(std::int64_t number) { return OnNumber(static_cast<double>(number)); }
    bool number_unsigned(std::uint64_t number) { return OnNumber(static_cast<double>(number)); }
    bool number_float(double number, const std::string&) { return OnNumber(number); }
    bool string(std::string&) { return OnValue(); }
    bool binary(nlohmann::json::binary_t&) { return OnValue(); }
    bool start_object(std::size_t) { return OnObject(); }
    bool key(std::string&) { return OnKey(); }
    bool end_object() { return true; }
    bool start_array(std::size_t) { return OnValue(); }
    bool end_array() { return true; }
    bool parse_error(std::size_t, const std::string&, const nlohmann::json::exception&) { return false; }
};

CTally NlohmannTokens(const std::string& text) {
    CNlohmannEvents events;
    nlohmann::json::sax_parse(text, &events);
    return events.Result();
}

void RegisterTokens(const char* library, EFormat format, CTally (*run)(const std::string&)) {
    const std::string name = std::string("tokens/") + library + "/main";
    RegisterTimed(name, [=](benchmark::State& state) {
        const CDocument& document = DocumentOf(ESize::kMain);
        CheckTally(name, run(document.Text(format)), document.Tally());
        for (auto _ : state) {
            const double start = ThreadSeconds();
            benchmark::DoNotOptimize(run(document.Text(format)));
            state.SetIterationTime(ThreadSeconds() - start);
        }
        SetRates(state, document.Tally().mItems, document.Text(format).size());
    });
}

// ---------------------------------------------------------------------------------------------
// The index

std::size_t BuildIndex(const std::string& text) {
    io::CToken_istream stream(OpenMemory(text), 0);
    io::CBlock_index   index;
    Check(index.Build(stream, true), "index");
    return index.IndexBlock()->Count();
}

std::size_t CountOf(std::string_view text, std::string_view word) {
    std::size_t count = 0;
    for (std::size_t at = text.find(word); at != text.npos; at = text.find(word, at + word.size()))
        ++count;
    return count;
}

void IndexFile(benchmark::State& state) {
    const CDocument&   document = DocumentOf(ESize::kMain);
    const std::string& text     = document.Text(EFormat::kBlocks);
    Check(BuildIndex(text) == CountOf(text, "$begin '"), "index");
    for (auto _ : state) {
        const double start = ThreadSeconds();
        BuildIndex(text);
        state.SetIterationTime(ThreadSeconds() - start);
    }
    SetRates(state, document.Tally().mItems, text.size());
}

// ---------------------------------------------------------------------------------------------
// A file that the system has in memory

CTarvex::Tree ReadFile(const std::string& path) {
    auto               tree = std::make_unique<io::CBlock>();
    io::CToken_istream stream(AString(path.c_str()), io::kOpenFastInput);
    tree->ReadFile(stream);
    return tree;
}

void ReadTreeOfFile(benchmark::State& state) {
    const CDocument&   document = DocumentOf(ESize::kMain);
    const std::string& text     = document.Text(EFormat::kBlocks);
    const std::string  path     = CTemporaryFolder::Shared().Write("main.tarvex", text);
    CheckTally("file_tree", CTarvex::TallyOf(ReadFile(path)), document.Tally());
    JoinFreedMemory();
    for (auto _ : state) {
        const double start = ThreadSeconds();
        auto         tree  = ReadFile(path);
        state.SetIterationTime(ThreadSeconds() - start);
        tree.reset();
        JoinFreedMemory();
    }
    SetRates(state, document.Tally().mItems, text.size());
}

}  // namespace

void RegisterStreamBenchmarks() {
    RegisterTokens(CTarvex::kName, EFormat::kBlocks, TarvexTokens);
    RegisterTokens(CRapidJson::kName, EFormat::kJson, RapidJsonTokens);
    RegisterTokens(CNlohmann::kName, EFormat::kJson, NlohmannTokens);
    RegisterTimed("index/tarvex/main", IndexFile);
    RegisterTimed("file_tree/tarvex/main", ReadTreeOfFile);
}

}  // namespace bench
