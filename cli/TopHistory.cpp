#include "cli/TopHistory.h"

#include <algorithm>

namespace orv::cli {

void TopHistory::observe(const SystemSample& s) {
    if (capacity_ == 0) return;
    Point point;
    point.cpuPercent = s.cpu.totalPercent;
    point.memoryFraction = s.memory.totalBytes > 0
                               ? std::clamp(double(s.memory.usedBytes) / double(s.memory.totalBytes), 0.0, 1.0)
                               : 0;
    point.diskReadBPS = std::max(s.disk.readBPS, 0.0);
    point.diskWriteBPS = std::max(s.disk.writeBPS, 0.0);
    point.netInBPS = std::max(s.network.inBPS, 0.0);
    point.netOutBPS = std::max(s.network.outBPS, 0.0);
    points_.push_back(point);
    while (points_.size() > capacity_) points_.pop_front();
}

}  // namespace orv::cli
