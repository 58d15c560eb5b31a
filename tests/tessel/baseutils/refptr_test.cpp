#include "tessel/baseutils/refptr.h"

#include "tessel/baseutils/mrefcount.h"
#include "tessel/baseutils/recorded_assertions.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

int gAlive = 0;

struct CThing : MRefCount {
    CThing() { ++gAlive; }
    CThing(const CThing& other) : MRefCount(other), mNext(other.mNext) { ++gAlive; }
    CThing& operator=(const CThing&) = default;
    ~CThing() override { --gAlive; }

    RefPtr<CThing> mNext;
};

TEST(RefPtr, KeepsItsObjectAsLongAsItPointsThere) {
    CRecordedAssertions assertions;
    auto* const         thing = new CThing;
    EXPECT_EQ(thing->ReferenceCount(), 0);
    RefPtr<CThing> first(thing);
    EXPECT_EQ(thing->ReferenceCount(), 1);
    {
        const RefPtr<CThing> second(first);
        RefPtr<CThing>       third;
        EXPECT_FALSE(third);
        third = second;
        EXPECT_EQ(thing->ReferenceCount(), 3);
        EXPECT_TRUE(third == thing);
        EXPECT_TRUE(third != nullptr);
        EXPECT_EQ(&*second, thing);
    }
    EXPECT_EQ(thing->ReferenceCount(), 1);
    const RefPtr<CThing>& self = first;
    first                      = self;
    first                      = RefPtr<CThing>(thing);
    EXPECT_EQ(thing->ReferenceCount(), 1);
    EXPECT_EQ(gAlive, 1);
    first = RefPtr<CThing>();
    EXPECT_EQ(gAlive, 0);
    EXPECT_TRUE(assertions.Take().empty());
}

TEST(RefPtr, CopiesCountForThemselves) {
    const RefPtr<CThing> first(new CThing);
    auto* const          copy = new CThing(*first);
    EXPECT_EQ(copy->ReferenceCount(), 0);
    const RefPtr<CThing> second(copy);
    *copy = *first;
    EXPECT_EQ(copy->ReferenceCount(), 1);
    EXPECT_EQ(first->ReferenceCount(), 1);
}

// The object let go owns, by way of others, the pointer that is assigned from.
TEST(RefPtr, WalksAlongAChainThatItOwns) {
    RefPtr<CThing> at(new CThing);
    at->mNext        = new CThing;
    at->mNext->mNext = new CThing;
    for (int left = 3; left > 0; --left) {
        EXPECT_EQ(gAlive, left);
        at = at->mNext;
    }
    EXPECT_EQ(gAlive, 0);
    EXPECT_FALSE(at);
}

TEST(RefPtr, ReportsMisuse) {
    CRecordedAssertions  assertions;
    RefPtr<CThing>       empty;
    const RefPtr<CThing> emptyToo;
    EXPECT_EQ(empty.operator->(), nullptr);
    EXPECT_EQ(emptyToo.operator->(), nullptr);
    EXPECT_EQ(assertions.Take(), (std::vector<std::string>{"pRep", "pRep"}));
    CThing local;
    local.Release();
    local.AddRef();
    EXPECT_EQ(assertions.Take(), (std::vector<std::string>{"referenceCount >= 0", "referenceCount >= 0"}));
    EXPECT_EQ(local.ReferenceCount(), 0);
}

}  // namespace
