// Objects serve one thread each, and what they share is read only: eight threads, each with objects of its
// own, get the answers that one thread gets. Of use above all under the thread sanitizer.

#include "tessel/streamio/block_index.h"
#include "tessel/streamio/write_support.h"
#include "viewkit/preview_support.h"
#include "viewkit/tools/InfoTip.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

using namespace preview_support;
using namespace write_support;
using namespace ProjectPreviewHelper;

constexpr unsigned    kThreads = 8;
constexpr std::size_t kRounds  = 12;  // through all questions

/// Lets threads begin at the same time, and tells whose answers differ from those of this thread.
template <class Answer>
void ExpectSameInThreads(std::size_t questions, Answer answer) {
    std::vector<std::string> expected;
    for (std::size_t i = 0; i < questions; ++i)
        expected.push_back(answer(i));
    std::atomic<unsigned>                 waiting{kThreads};
    std::vector<std::vector<std::size_t>> wrong(kThreads);
    std::vector<std::thread>              threads;
    for (unsigned thread = 0; thread < kThreads; ++thread)
        threads.emplace_back([&, thread] {
            --waiting;
            while (waiting != 0) {
            }
            for (std::size_t i = 0; i < kRounds * questions; ++i) {
                const std::size_t question = (i + thread) % questions;  // each thread another file at a time
                if (answer(question) != expected[question]) wrong[thread].push_back(question);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    for (unsigned thread = 0; thread < kThreads; ++thread)
        EXPECT_TRUE(wrong[thread].empty()) << "thread " << thread << ", question " << wrong[thread].front();
}

std::vector<std::string> Samples() {
    std::vector<std::string> paths;
    for (const auto& entry : std::filesystem::directory_iterator(TARVEX_SAMPLES))
        if (entry.path().extension() == ".tarvex") paths.push_back(entry.path().string());
    return paths;
}

TEST(Threads, EachReadsItsOwnProjects) {
    const std::vector<std::string> paths = Samples();
    ASSERT_GE(paths.size(), kThreads);
    ExpectSameInThreads(paths.size(), [&](std::size_t i) {
        const AString              path(paths[i].c_str());
        std::string                product;
        std::uint32_t              major = 0, minor = 0;
        std::vector<DesignPreview> designs;
        CThumbnailText             thumbnail;
        GetProjectHeaderInfo(path, product, major, minor);
        GetProjectPreviewData(path, designs);
        GetProjectThumbnailText(path, thumbnail);
        std::string       told = ComposeInfoTip(paths[i]) + product + std::to_string(designs.size());
        platform::CPixels pixels;
        const platform::NativeBitmap bitmap = CreateBitmapFromImageText(thumbnail.Text, thumbnail.IsBase64);
        if (bitmap != nullptr && platform::GetBitmapPixels(bitmap, &pixels))
            told.append(pixels.mRgb.begin(), pixels.mRgb.end());
        platform::DestroyBitmap(bitmap);
        for (const DesignPreview& design : designs)
            told += Escaped(design.DesignName.Upper().Str()) + Escaped(design.Factory.Str());
        return told;
    });
}

/// A document of its own for each question.
std::string Document(std::size_t i) {
    const std::string number = std::to_string(i);
    std::string       text   = "n=" + number + ".5\ntext='\xC3\xA9 " + number + "'\n";
    for (std::size_t block = 0; block <= i; ++block)
        text += "$begin 'B" + std::to_string(block) + "'\n\tlong_name=1e" + number +
                "\n\tv[3: 1, 'a', x]\n\tf(1, a='b')\n\t$begin 'Inner'\n\t\tbad=\n\t$end 'Inner'\n$end 'B" +
                std::to_string(block) + "'\n";
    return text;
}

TEST(Threads, EachReadsWritesAndIndexesItsOwnBlocks) {
    ExpectSameInThreads(10, [](std::size_t i) {
        const CBlock tree = Parsed(Document(i));
        std::string  told = DumpItems(tree);
        for (const EForm form : kForms) {
            CMemoryFile out(form, kOpenReadIndex);
            tree.WriteFile(*out);
            const std::string bytes = out.Bytes();
            told += bytes;
            const auto   in = ByteStream(bytes);
            CBlock_index index;
            index.Build(*in, true);
            const AString inner = CBlock_index::JoinPath({AString(L"b0"), AString(L"INNER")});
            in->Clear();
            told += index.SeekInput(inner, *in) ? "found" : "lost";
            told += Escaped(Contents(*index.IndexBlock(), form));
        }
        return told;
    });
}

}  // namespace
