#include "shellext/com_support.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

/// The last place that many new GDI objects get. A freed place is given out again first, so one object
/// alone would not see that the table has grown.
UINT_PTR EndOfGdiTable() {
    HGDIOBJ  objects[500];
    UINT_PTR last = 0;
    for (HGDIOBJ& object : objects) {
        object = CreateSolidBrush(RGB(1, 2, 3));
        last   = std::max(last, reinterpret_cast<UINT_PTR>(object) & 0xFFFF);
    }
    for (const HGDIOBJ object : objects)
        DeleteObject(object);
    return last;
}

/// What a process can run out of. Handles and thread-local slots are given out from the lowest free
/// place, so the next one tells how many are in use.
struct CInUse {
    UINT_PTR    mNextHandle     = 0;
    UINT_PTR    mEndOfGdiTable  = 0;
    DWORD       mNextThreadSlot = 0;
    std::size_t mHeapBlocks     = 0;
    std::size_t mHeapBytes      = 0;
};

CInUse Measure() {
    CInUse       now;
    const HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    now.mNextHandle    = reinterpret_cast<UINT_PTR>(event);
    CloseHandle(event);
    now.mEndOfGdiTable  = EndOfGdiTable();
    now.mNextThreadSlot = TlsAlloc();
    TlsFree(now.mNextThreadSlot);

    HANDLE      heaps[64];
    const DWORD count = GetProcessHeaps(64, heaps);
    for (DWORD index = 0; index < count; ++index) {
        PROCESS_HEAP_ENTRY entry = {};
        HeapLock(heaps[index]);
        while (HeapWalk(heaps[index], &entry)) {
            if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) == 0) continue;
            ++now.mHeapBlocks;
            now.mHeapBytes += entry.cbData;
        }
        HeapUnlock(heaps[index]);
    }
    return now;
}

struct CCycle {
    const char* mName;
    std::string mContent;
    bool        mHasPicture;
    int         mRounds;
};

const CCycle kCycles[] = {
    {"a project with a picture",
     Project(Design("Antenna1", "first cut") +
             "\tThumbnail64='R0lGODlhBAACAJEAAP8AAADIZBAgQP///yH5BAEAAAMALAAAAAAEAAIAAAIFRKhxYlAAOw=='\n"),
     true, 10000},
    // every error of the reader is thrown and caught inside
    {"a damaged project",
     Project("\tf(1, \n\t$begin 'DesignInfo'\n\t\tDesignName=\n\tv[3: 1, 'x\n\tThumbnail64='x'\n"), false,
     1000},
};

void AskAgain(const std::wstring& path, bool hasPicture, int rounds) {
    for (int round = 0; round < rounds; ++round) {
        const CObject object(path);
        ASSERT_FALSE(object.Tip().empty());
        HBITMAP bitmap = nullptr;
        ASSERT_EQ(object.mImage->Extract(&bitmap), hasPicture ? S_OK : E_FAIL);
        if (bitmap != nullptr) DeleteObject(bitmap);
    }
}

TEST(Endurance, TenThousandRequestsLeaveNothingBehind) {
    for (const CCycle& cycle : kCycles) {
        SCOPED_TRACE(cycle.mName);
        const CTestFile file(cycle.mContent);
        AskAgain(file.Path(), cycle.mHasPicture, 50);  // what is made once is made now
        const CInUse before = Measure();
        AskAgain(file.Path(), cycle.mHasPicture, cycle.mRounds);
        const CInUse after = Measure();
        EXPECT_EQ(after.mNextHandle, before.mNextHandle);
        EXPECT_EQ(after.mEndOfGdiTable, before.mEndOfGdiTable);
        EXPECT_EQ(after.mNextThreadSlot, before.mNextThreadSlot);
        EXPECT_EQ(after.mHeapBlocks, before.mHeapBlocks);
        EXPECT_EQ(after.mHeapBytes, before.mHeapBytes);
    }
}

}  // namespace
