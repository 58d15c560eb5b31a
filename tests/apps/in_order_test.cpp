#include "apps/in_order.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <new>
#include <optional>
#include <stdexcept>
#include <vector>

namespace {

using preview::CInOrder;

/// Gives 0, 1, 2 ... and remembers how many.
struct CNumbers {
    int  mCount;
    int  mGiven = 0;
    bool operator()(int* number) {
        if (mGiven == mCount) return false;
        *number = mGiven++;
        return true;
    }
};

/// Takes longer for some numbers than for others.
int Square(int number) {
    volatile int spent = 0;
    for (int i = 0; i < (number * 7919 % 13) * 2000; ++i)
        spent = spent + 1;
    return number * number;
}

TEST(InOrder, DeliversEachResultOnceAndInItsPlace) {
    for (const int count : {0, 1, 2, 3, 2000}) {
        CNumbers         numbers{count};
        std::vector<int> delivered;
        CInOrder<int, int>([&](int* number) { return numbers(number); }, Square,
                           [&](int number, std::optional<int> square) {
                               EXPECT_EQ(square, number * number);
                               delivered.push_back(number);
                           })
            .Run();
        ASSERT_EQ(delivered.size(), static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i)
            EXPECT_EQ(delivered[static_cast<std::size_t>(i)], i);
    }
}

TEST(InOrder, WorksOnAFewAtATimeOnly) {
    std::atomic<int> given     = 0;
    int              delivered = 0, ahead = 0;
    CInOrder<int, int>(
        [&](int* number) {
            *number = given;
            return given++ < 1000;
        },
        Square,
        [&](int, std::optional<int>) {
            ahead = std::max(ahead, given - delivered);
            ++delivered;
            Square(12);
        })
        .Run();
    EXPECT_LE(ahead, 16 * static_cast<int>(platform::ProcessorCount()) + 2);
}

TEST(InOrder, TriesAgainWhatRanOutOfMemory) {
    CNumbers                      numbers{100};
    std::vector<std::atomic<int>> tries(100);
    const auto                    work = [&](int number) {
        const int count = ++tries[static_cast<std::size_t>(number)];
        if (number % 10 == 1 && count == 1) throw std::bad_alloc();
        if (number % 10 == 2) throw std::bad_alloc();
        return number;
    };
    CInOrder<int, int>([&](int* number) { return numbers(number); }, work,
                       [&](int number, std::optional<int> result) {
                           EXPECT_EQ(result.has_value(), number % 10 != 2) << number;
                       })
        .Run();
    EXPECT_EQ(tries[0], 1);
    EXPECT_EQ(tries[1], 2);
    EXPECT_EQ(tries[2], 2);
}

TEST(InOrder, HandsOnWhatNextThrowsBehindTheItemsBeforeIt) {
    for (const int last : {0, 1, 2, 40, 500}) {
        CNumbers           numbers{1000};
        int                delivered = 0;
        CInOrder<int, int> all(
            [&](int* number) {
                if (numbers.mGiven == last) throw std::bad_alloc();
                return numbers(number);
            },
            Square, [&](int number, std::optional<int>) { EXPECT_EQ(number, delivered++); });
        EXPECT_THROW(all.Run(), std::bad_alloc) << last;
        if (last >= 2) {
            EXPECT_EQ(delivered, last);
        }
    }
}

TEST(InOrder, WorksOnSeveralAtOnce) {
    if (platform::ProcessorCount() < 2) GTEST_SKIP();
    CNumbers         numbers{2};
    std::atomic<int> begun = 0;
    const auto       meet  = [&](int) {
        using namespace std::chrono;
        const auto end = steady_clock::now() + seconds(60);
        for (++begun; begun < 2 && steady_clock::now() < end;) {
        }
        return begun == 2;
    };
    CInOrder<int, bool>([&](int* number) { return numbers(number); }, meet,
                        [&](int, std::optional<bool> met) { EXPECT_EQ(met, true); })
        .Run();
}

TEST(InOrder, EndsWhenDeliveringThrows) {
    for (const int last : {0, 1, 50, 999}) {
        CNumbers           numbers{1000};
        int                delivered = 0;
        CInOrder<int, int> all([&](int* number) { return numbers(number); }, Square,
                               [&](int number, std::optional<int>) {
                                   ++delivered;
                                   if (number == last) throw std::runtime_error("full");
                               });
        EXPECT_THROW(all.Run(), std::runtime_error);
        EXPECT_EQ(delivered, last + 1);
    }
}

}  // namespace
