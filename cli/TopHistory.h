#pragma once

#include <cstddef>
#include <deque>

#include "core/SystemSample.h"

namespace orv::cli {

// The last minute of the machine's figures behind the live view's
// sparklines: one point per frame, the oldest first, at most `capacity`.
class TopHistory {
public:
    struct Point {
        double cpuPercent = 0;
        double memoryFraction = 0;  // used of the total, 0…1
        double diskReadBPS = 0;
        double diskWriteBPS = 0;
        double netInBPS = 0;
        double netOutBPS = 0;
    };

    explicit TopHistory(size_t capacity = 60) : capacity_(capacity) {}

    void observe(const SystemSample& sample);
    const std::deque<Point>& points() const { return points_; }
    size_t capacity() const { return capacity_; }

private:
    size_t capacity_;
    std::deque<Point> points_;
};

}  // namespace orv::cli
