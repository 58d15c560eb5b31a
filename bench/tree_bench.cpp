// A text in memory into a tree, and the tree back into a text.

#include "bench/libraries.h"
#include "bench/measure.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>

namespace bench {

namespace {

template <class Library>
constexpr bool kIsBinary = requires {
    typename Library::FromText;
};

/// What is parsed. A binary form is made once, of the text.
template <class Library>
const std::string& SourceOf(ESize size) {
    const std::string& text = DocumentOf(size).Text(Library::kFormat);
    if constexpr (kIsBinary<Library>) {
        static std::map<ESize, std::string> forms;

        const auto [place, isNew] = forms.try_emplace(size);
        if (isNew) place->second = Library::Write(Library::FromText::Parse(&text));
        return place->second;
    } else {
        return text;
    }
}

template <class Library>
std::string JobName(const char* job, ESize size) {
    return (kIsBinary<Library> ? "binary_" : "") + std::string(job) + '/' + Library::kName + '/' +
           SizeName(size);
}

/// Parses once, outside of what is timed: tests what was read, and counts the memory that it takes.
template <class Library>
double CheckedBytesPerItem(ESize size) {
    static std::map<ESize, double> known;

    const auto [place, isNew] = known.try_emplace(size);
    if (!isNew) return place->second;
    const CTally&      expected = DocumentOf(size).Tally();
    const std::string& source   = SourceOf<Library>(size);
    const std::size_t  before   = BytesInUse();
    const auto         tree     = Library::Parse(Library::Prepare(source));
    const std::size_t  after    = BytesInUse();
    CheckTally(JobName<Library>("tree", size), Library::TallyOf(tree), expected);
    return place->second = static_cast<double>(after - before) / static_cast<double>(expected.mItems);
}

/// Times parsing; how long it takes to destroy the tree is told beside it.
template <class Library>
void ReadTree(benchmark::State& state, ESize size, bool cold) {
    const std::string& source    = SourceOf<Library>(size);
    state.counters["bytes_item"] = CheckedBytesPerItem<Library>(size);
    if (!cold) Library::Parse(Library::Prepare(source));  // its memory is there when it is timed
    JoinFreedMemory();
    double freeing = 0;
    for (auto _ : state) {
        if (cold) ReturnFreedMemory();
        auto          input = Library::Prepare(source);
        const double  start = ThreadSeconds();
        std::optional tree(Library::Parse(std::move(input)));
        const double  read = ThreadSeconds();
        tree.reset();
        JoinFreedMemory();
        freeing += ThreadSeconds() - read;
        state.SetIterationTime(read - start);
    }
    state.counters["free_seconds"] = benchmark::Counter(freeing, benchmark::Counter::kAvgIterations);
    SetRates(state, DocumentOf(size).Tally().mItems, source.size());
}

template <class Library>
void WriteTree(benchmark::State& state, ESize size) {
    const CTally&     expected = DocumentOf(size).Tally();
    const auto        tree     = Library::Parse(Library::Prepare(SourceOf<Library>(size)));
    const std::string text     = Library::Write(tree);
    CheckTally(JobName<Library>("write", size), Library::TallyOf(Library::Parse(Library::Prepare(text))),
               expected);
    Library::Write(tree);  // memory for a second text is there when it is timed
    JoinFreedMemory();
    for (auto _ : state) {
        const double      start   = ThreadSeconds();
        const std::string written = Library::Write(tree);
        state.SetIterationTime(ThreadSeconds() - start);
    }
    SetRates(state, expected.mItems, text.size());
}

template <class Library>
void RegisterTree(std::initializer_list<ESize> sizes, bool cold = false) {
    for (const ESize size : sizes)
        RegisterTimed(JobName<Library>(cold ? "cold_tree" : "tree", size),
                      [=](benchmark::State& state) { ReadTree<Library>(state, size, cold); });
}

template <class... Libraries>
void RegisterWrite() {
    (RegisterTimed(JobName<Libraries>("write", ESize::kMain),
                   [](benchmark::State& state) { WriteTree<Libraries>(state, ESize::kMain); }),
     ...);
}

}  // namespace

void RegisterTreeBenchmarks() {
    constexpr auto kMain  = ESize::kMain;
    const auto     kSizes = {kMain, ESize::kOne, ESize::kTen, ESize::kHundred};
    RegisterTree<CTarvex>(kSizes);
    RegisterTree<CNlohmann>(kSizes);
    RegisterTree<CRapidJson>(kSizes);
    RegisterTree<CPugiXml>(kSizes);
    RegisterTree<CRapidJsonInSitu>({kMain});
    RegisterTree<CLibConfig>({kMain});
    RegisterTree<CTarvex>({kMain}, true);
    RegisterTree<CNlohmann>({kMain}, true);
    RegisterTree<CRapidJson>({kMain}, true);
    RegisterTree<CPugiXml>({kMain}, true);
    RegisterTree<CTarvexBinary>({kMain});
    RegisterTree<CNlohmannBinary>({kMain});
    RegisterWrite<CTarvex, CNlohmann, CRapidJson, CPugiXml, CLibConfig, CTarvexBinary, CNlohmannBinary>();
}

}  // namespace bench
