#include "apps/progress.h"

#include "tessel/platform/platform.h"

#include <iostream>
#include <string>

namespace preview {
namespace {

constexpr std::size_t kWidth = 30;   ///< characters between the brackets
constexpr std::size_t kTicks = 200;  ///< as often the bar is drawn, and no more often

}  // namespace

CProgress::CProgress(std::size_t total) : mTotal(total), mIsWatched(platform::StandardErrorIsTerminal()) {}

void CProgress::Step() {
    ++mDone;
    const std::size_t ticks = mDone * kTicks / mTotal;
    if (!mIsWatched || (ticks == mTicks && mShown > 0)) return;
    mTicks = ticks;
    Draw();
}

void CProgress::Draw() {
    const std::size_t filled = mDone * kWidth / mTotal;
    const std::string line   = "[" + std::string(filled, '#') + std::string(kWidth - filled, '.') + "] " +
                             std::to_string(mDone) + " of " + std::to_string(mTotal);
    std::cerr << '\r' << line << std::flush;
    mShown = line.size();
}

void CProgress::Hide() {
    if (mShown > 0) std::cerr << '\r' << std::string(mShown, ' ') << '\r' << std::flush;
    mShown = 0;
}

}  // namespace preview
