#pragma once

#include "tessel/platform/platform.h"
#include "tessel/platform/test_support.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#ifndef _WIN32
#include <sys/wait.h>
#endif

/// What is read once for the life of a process is tested in a process of its own: a test that runs
/// itself again, and takes another way there.
namespace child_process {

inline bool IsChild() {
    return std::getenv("TARVEX_TEST_CHILD") != nullptr;
}

/// Runs the current test in a child process, with the environment as it is now.
/// @return the child's exit status.
inline int RunThisTest() {
    const test_support::CVariable mark("TARVEX_TEST_CHILD", "1");
    const ::testing::TestInfo*    test    = ::testing::UnitTest::GetInstance()->current_test_info();
    const std::string             command = std::string("\"").append(platform::ModuleFileName()) +
                                "\" --gtest_filter=" + test->test_suite_name() + "." + test->name();
    std::fflush(stdout);
#ifdef _WIN32
    // The command processor takes the outermost quotes away.
    return std::system(std::string("\"").append(command).append(" >NUL\"").c_str());
#else
    return WEXITSTATUS(std::system((command + " >/dev/null").c_str()));
#endif
}

}  // namespace child_process
