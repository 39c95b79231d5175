#pragma once

// Compares ways of doing the same work in one run: they take turns, so that whatever else the
// machine does meets all of them alike, and the figures that count are the ratios of their medians.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

namespace bench {

/// Wall time of one call in microseconds.
inline double timed(const std::function<void()>& work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    const std::chrono::duration<double, std::micro> spent =
        std::chrono::steady_clock::now() - begin;
    return spent.count();
}

inline double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// One way of doing the work.
struct Contender {
    std::string name;
    std::function<void()> work;
};

/// Lets the contenders take turns and prints a line for each: its median and its ratio to the first
/// one's.
/// @param rounds timed turns of each, after one that is not timed
/// @return the ratios, the first one 1
inline std::vector<double> sideBySide(const std::string& title,
                                      const std::vector<Contender>& contenders, int rounds) {
    std::vector<std::vector<double>> times(contenders.size());
    for (const Contender& contender : contenders) {
        contender.work();
    }
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t i = 0; i < contenders.size(); ++i) {
            times[i].push_back(timed(contenders[i].work));
        }
    }
    std::vector<double> ratios;
    const double base = median(times.front());
    for (std::size_t i = 0; i < contenders.size(); ++i) {
        const double mine = median(times[i]);
        ratios.push_back(mine / base);
        std::printf("%-44s %-28s %11.1f us  %6.3f\n", title.c_str(), contenders[i].name.c_str(),
                    mine, ratios.back());
    }
    std::fflush(stdout);
    return ratios;
}

/// Resident memory of this process in kB.
inline long residentKilobytes() {
    constexpr long kPageKilobytes = 4;
    long total = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return resident * kPageKilobytes;
}

} // namespace bench
