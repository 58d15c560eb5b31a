#pragma once

#include <algorithm>
#include <vector>

#include <windows.h>

/// Runs something once and gives its time, in microseconds.
template <class Work>
double Microseconds(Work work) {
    LARGE_INTEGER begin, end, perSecond;
    QueryPerformanceFrequency(&perSecond);
    QueryPerformanceCounter(&begin);
    work();
    QueryPerformanceCounter(&end);
    return static_cast<double>(end.QuadPart - begin.QuadPart) * 1e6 / static_cast<double>(perSecond.QuadPart);
}

/// The time that nine of ten runs exceed: what else the machine does hardly shows in it, and no single run
/// decides.
inline double QuickestTenth(std::vector<double> times) {
    const auto place = times.begin() + std::ssize(times) / 10;
    std::nth_element(times.begin(), place, times.end());
    return *place;
}
