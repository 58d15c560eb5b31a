#include "tessel/streamio/token_ostream.h"
#include "viewkit/failing_allocations.h"
#include "viewkit/preview_support.h"
#include "viewkit/tools/InfoTip.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <new>

#ifndef _WIN32
#include <cerrno>

#include <sys/types.h>
#endif

// Whatever allocation fails, whatever read fails: nothing leaks, nothing is left in a state that a later
// request would notice, and who asked gets the whole answer, one that says less, or std::bad_alloc.

namespace {

using namespace preview_support;
using test_support::CFailingAllocations;

constexpr char kGif[] = "R0lGODlhBAACAJEAAP8AAADIZBAgQP///yH5BAEAAAMALAAAAAAEAAIAAAIFRKhxYlAAOw==";
constexpr char kPng[] =
    "iVBORw0KGgoAAAANSUhEUgAAAAMAAAABCAYAAAAb4BS0AAAAE0lEQVR42mP4z8DwHwgbuETkGAAfEQO6Q1i/"
    "GgAAAABJRU5ErkJggg==";

std::string Project(const std::string& preview) {
    return "$begin 'TarvexProject'\n\tProduct='a suite of a long name'\n\t$begin "
           "'Desktop'\n\t\tVersion(2013, 0)\n"
           "\t$end 'Desktop'\n$end 'TarvexProject'\n$begin 'ProjectPreview'\n" +
           preview + "$end 'ProjectPreview'\n";
}

std::string Designs(int count) {
    std::string designs;
    for (int i = 0; i < count; ++i)
        designs += "\t$begin 'DesignInfo'\n\t\tDesignName='A design of a long name " + std::to_string(i) +
                   "'\n\t\tNotes='some notes that are longer than thirty characters'\n\t\tIsSolved=true\n"
                   "\t\tFactory='Solver of fields'\n\t\t'Nominal Setups'[2: 'Setup one', 'Setup two']\n"
                   "\t\t'Paramorph Setups'['Sweep of a long name']\n\t\t'Paramorph Experiment Types'[1: 2]\n"
                   "\t$end 'DesignInfo'\n";
    return designs;
}

/// What no line reader knows, in between: functions, several items on a line, characters from 128 on.
std::string OddLines() {
    return "\tf(1, g(a='a longer text', v[1, 'another one']), , h=2) x=1 y='\xC3\xA9\xE2\x82\xAC and more'\n"
           "\tbad line\n\tz=\n\t$begin 'Inner block' w=$begin_cdata$ any text $end_cdata$ $end 'Inner "
           "block'\n";
}

/// No assertion stops the test, and noting one allocates nothing.
class CQuietAssertions {
  public:
    CQuietAssertions() : mPrevious(SetAssertHandler(&Ignore)) {}
    ~CQuietAssertions() { SetAssertHandler(mPrevious); }
    CQuietAssertions(const CQuietAssertions&)            = delete;
    CQuietAssertions& operator=(const CQuietAssertions&) = delete;

  private:
    static int Ignore(const char*, unsigned, const char*, bool*) { return 0; }

    AssertHandler mPrevious;
};

// --- requests, each with its answer as text

std::string Tip(const AString& path) {
    return ComposeInfoTip(path.ToNarrow());
}

std::string Records(const AString& path) {
    std::vector<ProjectPreviewHelper::DesignPreview> designs;
    std::string answer = ProjectPreviewHelper::GetProjectPreviewData(path, designs) ? "" : "no preview ";
    for (const auto& design : designs) {
        answer +=
            design.DesignName.ToNarrow() + "|" + design.Notes.ToNarrow() + "|" + design.Factory.ToNarrow();
        for (const AString& setup : design.NominalSetups)
            answer += "," + setup.ToNarrow();
        for (const auto& setup : design.ParamorphSetups)
            answer += ";" + setup.Name.ToNarrow() + std::to_string(setup.ExperimentType);
    }
    return answer;
}

struct CDestroy {
    void operator()(void* bitmap) const noexcept { platform::DestroyBitmap(bitmap); }
};

std::string Thumbnail(const AString& path) {
    const std::unique_ptr<void, CDestroy> bitmap(ProjectPreviewHelper::GetProjectThumbnail(path));
    platform::CPixels                     pixels;
    if (!platform::GetBitmapPixels(bitmap.get(), &pixels)) return "none";
    return std::to_string(pixels.mWidth) + "x" + std::to_string(pixels.mHeight) +
           std::string(pixels.mRgb.begin(), pixels.mRgb.end());
}

/// A file read whole, looked up in, changed and written again.
std::string Document(const AString& path) {
    io::CToken_istream stream(path, io::kOpenFastInput | io::kOpenReadIndex | io::kOpenApplyIndex);
    io::CBlock         file;
    file.ReadFile(stream);
    std::string answer = DumpItems(file);
    answer += std::to_string(file.ItemsNamed(L"ProjectPreview").size());
    const io::CBlock copy(file);
    file.CopyItems(copy);
    io::CToken_ostring out;
    file.WriteFile(out);
    return answer + out.String().ToNarrow();
}

/// Written as bytes, in lines that are indented far.
std::string Indented(const AString& path) {
    io::CToken_istream stream(path, io::kOpenFastInput);
    io::CBlock         file;
    file.ReadFile(stream);
    auto               bytes = std::make_unique<std::wostringstream>();
    const auto&        text  = *bytes;
    io::CToken_ostream out(std::move(bytes), 0, &io::CToken_grammar_default::Shared());
    out.Indent(40);
    file.WriteFile(out);
    return out.good() ? AString(text.str()).ToNarrow() : "not written";
}

/// A read that fails leaves the stream good for another from its start.
std::string ReadAgain(const AString& path) {
    io::CToken_istream stream(path, io::kOpenFastInput);
    io::CBlock         file;
    try {
        file.ReadFile(stream);
    } catch (const std::bad_alloc&) {
        stream.Clear();
        stream.SetPos(io::CAbstract_stream_pos(0));
        file.ReadFile(stream);
    }
    return DumpItems(file);
}

/// What is added while memory is short is in the block and its index, or in neither.
std::string AddToBlock(const AString&) {
    io::CBlock block;
    block.ItemsNamed(L"x");  // makes the index
    std::size_t added = 0;
    for (int i = 0; i < 20; ++i) {
        try {
            block.AddItem(new io::CBlock_named_value(io::CToken(io::ETokenType::Keyword, L"a long name"),
                                                     io::CToken(io::ETokenType::Int, i)));
            ++added;
        } catch (const std::bad_alloc&) {
        }
    }
    std::size_t found = 0;
    try {
        found = block.ItemsNamed(L"a long name").size();
    } catch (const std::bad_alloc&) {
        found = block.ItemsNamed(L"a long name").size();
    }
    const bool sane = block.Count() == added && found == added;
    return sane ? "sane"
                : std::to_string(added) + " " + std::to_string(block.Count()) + " " + std::to_string(found);
}

struct CRequest {
    const char* mName;
    std::string mContent;  ///< of the file; none when it is empty
    std::string (*mAsk)(const AString& path);
    /// What may come instead of the whole answer, besides std::bad_alloc; null: nothing may.
    const char* mLess = nullptr;
};

const CRequest kRequests[] = {
    {"tip, lines as the suite writes them", Project(Designs(3)), &Tip},
    {"tip, lines of any shape", Project(OddLines() + Designs(3) + OddLines()), &Tip},
    {"tip, damaged", Project("\tf(1, \n\t$begin 'DesignInfo'\n\t\tDesignName=\n\tv[3: 1, 'x\n"), &Tip},
    {"tip, no project", "just some text", &Tip},
    {"tip, no file", "", &Tip},
    {"records", Project(OddLines() + Designs(3)), &Records},
    {"thumbnail, PNG", Project("\tThumbnail64='" + std::string(kPng) + "'\n"), &Thumbnail, "none"},
    {"thumbnail, GIF behind odd lines", Project(OddLines() + "\tThumbnail64='" + kGif + "'\n"), &Thumbnail,
     "none"},
    {"thumbnail, no picture", Project("\tThumbnail64=''\n\tThumbnail='424D00'\n"), &Thumbnail, "none"},
    {"document", Project(OddLines() + Designs(2)), &Document},
    {"document with an index",
     "$begin '$index$'\n\t$begin 'properties'\n\t\tall_levels=false\n\t\tversion=3\n\t\ttime(year=2013, "
     "month=5)\n"
     "\t$end 'properties'\n\tTarvexProject(0)\n\t'A block of a long name'(17)\n$end '$index$'\n" +
         Project(Designs(2)),
     &Document},
    {"document written far indented", Project(OddLines() + Designs(1)), &Indented},
    {"document read again", Project(OddLines() + Designs(3)), &ReadAgain},
    {"items added to a block", "", &AddToBlock},
};

class FaultInjection : public testing::Test {
  protected:
    const AString& FileOf(const CRequest& request) {
        if (!request.mContent.empty()) return mProject.Write(request.mContent);
        std::filesystem::remove(mProject.Path());
        static const AString nowhere(L"no such file of a name that is long");
        return nowhere;
    }

    CQuietAssertions mQuiet;

  private:
    CProject mProject;
};

/// Asks with failing allocations. False when none failed.
bool AskShortOfMemory(const CRequest& request, const AString& path, std::size_t first,
                      CFailingAllocations::EWhich which, const std::string* whole, int (&outcomes)[3]) {
    std::string answer;
    bool        thrown = false, failed = false;
    {
        CFailingAllocations failing(first, which);
        try {
            answer = request.mAsk(path);
        } catch (const std::bad_alloc&) {
            thrown = true;
        }
        failed = failing.HaveFailed();
    }
    if (whole == nullptr) return failed;
    const bool less = !thrown && answer != *whole;
    if (less) {
        EXPECT_TRUE(request.mLess != nullptr && answer == request.mLess)
            << "allocation " << first << ": " << answer;
    }
    ++outcomes[thrown ? 0 : less ? 1 : 2];
    return failed;
}

// First of all tests: nothing has been made once and for all yet, as in a host that has just loaded us.
TEST_F(FaultInjection, EachAllocationFailsFirst) {
    constexpr std::size_t kMost = 100'000;
    int                   none[3]{};
    for (const CRequest& request : kRequests)
        for (std::size_t n = 0;
             AskShortOfMemory(request, FileOf(request), n, CFailingAllocations::kOne, nullptr, none); ++n)
            ASSERT_LT(n, kMost) << request.mName;
}

TEST_F(FaultInjection, EachAllocationFails) {
    int total[3]{};
    for (const CRequest& request : kRequests) {
        SCOPED_TRACE(request.mName);
        const AString     path  = FileOf(request);
        const std::string whole = request.mAsk(path);
        request.mAsk(path);
        const std::size_t live = test_support::LiveAllocations();
        for (const auto which : {CFailingAllocations::kOne, CFailingAllocations::kAllFrom}) {
            int outcomes[3]{};
            for (std::size_t n = 0; AskShortOfMemory(request, path, n, which, &whole, outcomes); ++n) {
                ASSERT_EQ(request.mAsk(path), whole) << "behind allocation " << n;
                ASSERT_EQ(test_support::LiveAllocations(), live) << "leaked behind allocation " << n;
            }
            std::printf("%-34s %-8s thrown %4d, less %4d, whole %4d\n", request.mName,
                        which == CFailingAllocations::kOne ? "one" : "all from", outcomes[0], outcomes[1],
                        outcomes[2]);
            for (int i = 0; i < 3; ++i)
                total[i] += outcomes[i];
        }
    }
    std::printf("in all: thrown %d, less %d, whole %d\n", total[0], total[1], total[2]);
}

#ifndef _WIN32

// --- reads: the linker leads those of the libraries under test here

enum class EFault { kNone, kError, kEnd, kShort, kInterrupted };

struct CReadFaults {
    EFault      mFault = EFault::kNone;
    std::size_t mFirst = 0;  ///< the read that it happens to, counted from 0
    bool        mOnce  = true;
    std::size_t mCount = 0;  ///< reads so far
};
CReadFaults gReads;

/// Whether the system is asked, for so many bytes; else the outcome.
bool PassOn(std::size_t* bytes, ssize_t* outcome) {
    const std::size_t number = gReads.mCount++;
    const bool        hit    = gReads.mOnce ? number == gReads.mFirst : number >= gReads.mFirst;
    if (!hit) return true;
    *outcome = gReads.mFault == EFault::kEnd ? 0 : -1;
    if (gReads.mFault == EFault::kError) errno = EIO;
    if (gReads.mFault == EFault::kInterrupted) errno = EINTR;
    if (gReads.mFault == EFault::kShort) *bytes = std::min<std::size_t>(*bytes, 3);
    return gReads.mFault == EFault::kNone || gReads.mFault == EFault::kShort;
}

std::size_t OpenDescriptors() {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

TEST_F(FaultInjection, EachReadFails) {
    const struct {
        const char* mName;
        EFault      mFault;
        bool        mOnce;
        bool        mWhole;  ///< the answer is whole all the same
    } kFaults[] = {
        {"an error", EFault::kError, true, false},
        {"errors from there on", EFault::kError, false, false},
        {"the end", EFault::kEnd, true, false},
        {"the end from there on", EFault::kEnd, false, false},
        {"a short read", EFault::kShort, true, true},
        {"short reads", EFault::kShort, false, true},
        {"a signal", EFault::kInterrupted, true, true},
    };
    std::size_t faults = 0;
    for (const CRequest& request : kRequests)
        for (const auto& fault : kFaults) {
            SCOPED_TRACE(std::string(request.mName) + ": " + fault.mName);
            const AString     path  = FileOf(request);
            const std::string whole = request.mAsk(path);
            const std::size_t open = OpenDescriptors(), live = test_support::LiveAllocations();
            for (std::size_t n = 0;; ++n, ++faults) {
                gReads                   = {fault.mFault, n, fault.mOnce, 0};
                const std::string answer = request.mAsk(path);
                const bool        done   = gReads.mCount <= n;
                gReads                   = {};
                if (fault.mWhole || done) {
                    ASSERT_EQ(answer, whole) << "read " << n;
                }
                if (request.mAsk == &Tip) {
                    ASSERT_EQ(answer.substr(0, 6), "Type: ") << "read " << n;
                    ASSERT_TRUE(answer.ends_with(whole.substr(std::min(whole.find("Size: "), whole.size()))))
                        << answer;
                }
                ASSERT_EQ(request.mAsk(path), whole) << "behind read " << n;
                if (done) break;
            }
            EXPECT_EQ(OpenDescriptors(), open);
            EXPECT_EQ(test_support::LiveAllocations(), live);
        }
    std::printf("%zu faults\n", faults);
}

#endif

}  // namespace

#ifndef _WIN32
extern "C" {
ssize_t __real_read(int descriptor, void* out, std::size_t bytes);
ssize_t __real_pread(int descriptor, void* out, std::size_t bytes, off_t offset);

ssize_t __wrap_read(int descriptor, void* out, std::size_t bytes) {
    ssize_t outcome = 0;
    return PassOn(&bytes, &outcome) ? __real_read(descriptor, out, bytes) : outcome;
}
ssize_t __wrap_pread(int descriptor, void* out, std::size_t bytes, off_t offset) {
    ssize_t outcome = 0;
    return PassOn(&bytes, &outcome) ? __real_pread(descriptor, out, bytes, offset) : outcome;
}
}
#endif
