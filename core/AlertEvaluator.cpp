#include "core/AlertEvaluator.h"

#include <algorithm>

#include "core/Formatters.h"

namespace orv {

namespace {

struct Window {
    std::vector<const AppActivityPoint*> points;
};

// The points of `history` inside the window before now, or none when they
// do not reach back far enough to judge the whole window.
std::optional<Window> windowPoints(const AppActivityHistory& history, Duration window, Date now) {
    double span = window.toSeconds();
    double start = now.secondsSinceReferenceDate - span;
    Window kept;
    double earliest = 0;
    for (const auto& point : history.points) {
        double at = point.at.secondsSinceReferenceDate;
        if (!(at >= start && at <= now.secondsSinceReferenceDate)) continue;
        if (kept.points.empty() || at < earliest) earliest = at;
        kept.points.push_back(&point);
    }
    if (kept.points.empty()) return std::nullopt;
    if (earliest - start > AlertEvaluator::coverageSlack(window).toSeconds()) return std::nullopt;
    return kept;
}

struct Finding {
    std::string title;
    std::string body;
};

std::optional<Finding> judge(AlertRule rule, const RuleSettings& setting, const Window& window, const AppIdentity& app,
                             const NumberLocale& locale) {
    const auto& points = window.points;
    const std::string& name = app.name;
    const std::string over = Formatters::duration(setting.window);
    switch (rule) {
        case AlertRule::highCPU: {
            double sum = 0;
            for (const auto* p : points) {
                if (!(p->cpuPercent >= setting.threshold)) return std::nullopt;
                sum += p->cpuPercent;
            }
            double mean = sum / double(points.size());
            return Finding{name + " is using a lot of CPU",
                           name + " has used " + Formatters::percent(mean, locale) + " CPU on average for " + over +
                               ", never less than " + Formatters::percent(setting.threshold, locale) + "."};
        }
        case AlertRule::growingMemory: {
            // Oldest and newest by time, whatever the order they came in.
            auto [first, last] = std::minmax_element(points.begin(), points.end(), [](auto a, auto b) {
                return a->at < b->at;
            });
            double growth = double((*last)->memoryBytes) - double((*first)->memoryBytes);
            if (!(growth > setting.threshold)) return std::nullopt;
            return Finding{name + " keeps growing in memory",
                           name + " grew by " + Formatters::bytes(growth, locale) + " in " + over + ", to " +
                               Formatters::bytes(double((*last)->memoryBytes), locale) + "."};
        }
        case AlertRule::heavyDisk: {
            double sum = 0;
            for (const auto* p : points) sum += p->diskWriteBPS;
            double mean = sum / double(points.size());
            if (!(mean >= setting.threshold)) return std::nullopt;
            return Finding{name + " is writing a lot to disk",
                           name + " has written " + Formatters::bytes(mean, locale) + "/s on average for " + over +
                               "."};
        }
        case AlertRule::heavyNetwork: {
            double sum = 0;
            for (const auto* p : points) {
                if (!p->netInBPS || !p->netOutBPS) return std::nullopt;
                sum += *p->netInBPS + *p->netOutBPS;
            }
            double mean = sum / double(points.size());
            if (!(mean >= setting.threshold)) return std::nullopt;
            return Finding{name + " is using a lot of network",
                           name + " has moved " + Formatters::bytes(mean, locale) + "/s on average for " + over + "."};
        }
    }
    return std::nullopt;
}

}  // namespace

Duration AlertEvaluator::coverageSlack(Duration window) {
    Duration sixth{window.attoseconds / 6};
    return std::min(sixth, Duration::seconds(5));
}

std::vector<Alert> AlertEvaluator::evaluate(const AlertSettings& settings, AlertState& state,
                                            const AlertContext& context, std::span<const AppActivityHistory> histories,
                                            const NumberLocale& locale) {
    std::vector<Alert> alerts;
    if (settings.quietHours && settings.quietHours->contains(context.now, context.calendar)) return alerts;
    for (const auto& history : histories) {
        const auto& app = history.app;
        if (settings.mutedAppIDs.contains(app.id)) continue;
        if (settings.exemptsFrontmostApp && context.frontmostAppID == app.id) continue;
        for (AlertRule rule : allAlertRules) {
            auto setting = settings.rules.find(rule);
            if (setting == settings.rules.end() || !setting->second.isEnabled) continue;
            AlertKey key{app.id, rule};
            if (auto last = state.lastFired.find(key); last != state.lastFired.end()) {
                double since = context.now.secondsSinceReferenceDate - last->second.secondsSinceReferenceDate;
                if (since < settings.cooldown.toSeconds()) continue;
            }
            auto window = windowPoints(history, setting->second.window, context.now);
            if (!window) continue;
            auto finding = judge(rule, setting->second, *window, app, locale);
            if (!finding) continue;
            state.lastFired[key] = context.now;
            alerts.push_back(Alert{UUID::random(), rule, app, context.now, std::move(finding->title),
                                   std::move(finding->body)});
        }
    }
    return alerts;
}

}  // namespace orv
