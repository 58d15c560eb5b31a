#include "tessel/platform/platform.h"
#include "tessel/platform/test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <new>
#include <string>
#include <vector>

namespace {

using test_support::CVariable;

TEST(ErrorText, IsNeverEmptyAndHasNoLineEnd) {
    for (const unsigned code : {0u, 1u, 2u, 5u, 13u, 99999u, 0x80004005u, 0xFFFFFFFFu})
        for (const std::string& text :
             {platform::SystemErrorText(code), platform::ErrnoText(static_cast<int>(code))}) {
            EXPECT_FALSE(text.empty()) << code;
            EXPECT_EQ(text.find_first_of("\r\n"), std::string::npos) << code;
        }
    EXPECT_EQ(platform::ErrnoText(ENOENT), "No such file or directory");
}

TEST(Environment, TellsValuesOfAnyLengthFromNone) {
    std::string  value = "untouched";
    std::wstring wide  = L"untouched";
    EXPECT_FALSE(platform::GetEnvironment("TARVEX_TEST", &value));
    EXPECT_FALSE(platform::GetEnvironmentWide("TARVEX_TEST", &wide));
    EXPECT_EQ(value, "untouched");
    EXPECT_EQ(wide, L"untouched");
    for (const std::size_t length : {0u, 1u, 62u, 63u, 64u, 65u, 5000u}) {
        const std::string text(length, 'x');
        const CVariable   variable("TARVEX_TEST", text.c_str());
        EXPECT_TRUE(platform::GetEnvironment("TARVEX_TEST", &value)) << length;
        EXPECT_EQ(value, text);
        EXPECT_TRUE(platform::GetEnvironmentWide("TARVEX_TEST", &wide)) << length;
        EXPECT_EQ(wide, std::wstring(length, L'x'));
    }
    const CVariable variable("TARVEX_TEST", "in the list");
    const auto      list = platform::ListEnvironment();
    EXPECT_EQ(std::count(list.begin(), list.end(), L"TARVEX_TEST=in the list"), 1);
}

TEST(Process, KnowsItself) {
    EXPECT_NE(platform::ModuleFileName().find("platform_test"), std::string::npos);
    EXPECT_NE(platform::ProcessId(), 0u);
    const std::tm now = platform::LocalTime();
    EXPECT_GE(now.tm_year, 120);
    char  program[] = "program";
    char* argv[]    = {program, nullptr};
    EXPECT_NE(platform::CommandLine(1, argv)[0].find(test_support::kWindows ? "platform_test" : "program"),
              std::string::npos);
    platform::SetLastError(42);
    EXPECT_EQ(platform::LastError(), 42u);
}

// ---------------------------------------------------------------------------------------------

int gDestroyed = 0;

void CountDestroyed(void* value) {
    ++gDestroyed;
    delete static_cast<int*>(value);
}

const platform::CThreadSlot* gSlot          = nullptr;
bool                         gThreadIsRight = false;  // GoogleTest is not called from a second thread

TEST(ThreadSlot, HoldsOnePointerForEachThread) {
    gDestroyed = 0;
    {
        const platform::CThreadSlot slot(&CountDestroyed);
        gSlot = &slot;
        EXPECT_EQ(slot.Get(), nullptr);
        int* const first = new int(1);
        int* const mine  = new int(2);
        ASSERT_TRUE(slot.Set(first));
        ASSERT_TRUE(slot.Set(mine));
        delete first;  // what is replaced is the caller's
        test_support::RunOnThread([] { gThreadIsRight = gSlot->Get() == nullptr && gSlot->Set(new int(3)); });
        EXPECT_TRUE(gThreadIsRight);
        EXPECT_EQ(gDestroyed, 1);
        test_support::RunOnThread([] { gThreadIsRight = gSlot->Get() == nullptr; });
        EXPECT_TRUE(gThreadIsRight);
        EXPECT_EQ(gDestroyed, 1);
        platform::SetLastError(42);
        EXPECT_EQ(slot.Get(), mine);
        EXPECT_EQ(platform::LastError(), 42u);
    }
    EXPECT_EQ(gDestroyed, 2);
}

TEST(ThreadSlot, IsHarmlessOutsideItsLife) {
    alignas(platform::CThreadSlot) static unsigned char memory[sizeof(platform::CThreadSlot)];
    auto* const slot    = reinterpret_cast<platform::CThreadSlot*>(memory);
    const auto  isEmpty = [&] {
        int value = 0;
        return std::launder(slot)->Get() == nullptr && !std::launder(slot)->Set(&value);
    };
    EXPECT_TRUE(isEmpty());
    new (memory) platform::CThreadSlot(&CountDestroyed);
    EXPECT_TRUE(slot->Set(new int(1)));
    slot->~CThreadSlot();
    EXPECT_TRUE(isEmpty());
}

TEST(ThreadSlot, GivesUpQuietlyWhenTheSystemHasNoMore) {
    std::vector<std::unique_ptr<platform::CThreadSlot>> slots;
    for (int i = 0; i < 6000; ++i) {
        slots.push_back(std::make_unique<platform::CThreadSlot>(&CountDestroyed));
        int* const value = new int(i);
        if (slots.back()->Set(value)) continue;
        EXPECT_EQ(slots.back()->Get(), nullptr);
        delete value;
        return;
    }
    FAIL() << "the system never ran out of slots";
}

}  // namespace
