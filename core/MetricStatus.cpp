#include "core/MetricStatus.h"

namespace orv {

std::string_view metricStatusTitle(MetricStatus status) {
    switch (status) {
        case MetricStatus::normal: return "Normal";
        case MetricStatus::elevated: return "Elevated";
        case MetricStatus::critical: return "Critical";
    }
    return {};
}

MetricStatus gradePercent(double percent) {
    if (percent >= 85.0) return MetricStatus::critical;
    if (percent >= 50.0) return MetricStatus::elevated;
    return MetricStatus::normal;
}

}  // namespace orv
