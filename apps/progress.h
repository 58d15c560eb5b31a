#pragma once

#include <cstddef>

namespace preview {

/// A bar on standard error that grows while work is done; nothing at all when nobody watches it.
class CProgress {
  public:
    /// @param total  steps until all is done
    explicit CProgress(std::size_t total);
    ~CProgress() { Hide(); }
    CProgress(const CProgress&)            = delete;
    CProgress& operator=(const CProgress&) = delete;

    void Step();
    /// Makes room for a line of text; the next step brings the bar back.
    void Hide();

  private:
    void Draw();

    std::size_t mTotal, mDone = 0;
    bool        mIsWatched;
    std::size_t mShown = 0;  ///< characters of the bar that stand on the line
    std::size_t mTicks = 0;  ///< how far the bar was drawn last
};

}  // namespace preview
