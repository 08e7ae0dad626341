import Foundation

enum Metric: String, Codable, Hashable, CaseIterable, Sendable {
    case cpu, memory, energy, diskRead, diskWrite, netIn, netOut, gpu, energyImpact, cpuTemperature,
         gpuTemperature, fanSpeed, thermalPressure
}

enum HistoryRange: String, Codable, Hashable, CaseIterable, Sendable {
    case h12, h24, d7, d30
}

enum MetricStatus: String, Codable, Hashable, CaseIterable, Comparable, Sendable {
    case normal, elevated, critical

    static func < (a: MetricStatus, b: MetricStatus) -> Bool {
        allCases.firstIndex(of: a)! < allCases.firstIndex(of: b)!
    }
}

enum PeriodChange: Codable, Hashable, Sendable {
    case relative(Double)
    case new
}

struct SeriesPoint: Codable, Hashable, Sendable {
    let at: Date
    let average: Double
    let maximum: Double
}

struct AppTotal: Codable, Hashable, Sendable {
    let app: AppIdentity
    let value: Double
}

struct BatteryDay: Codable, Hashable, Sendable {
    let day: Date
    let maxCapacityPercent: Double?
    let cycleCount: Int?
    let minutesOnBattery: Double
}

// What `orvantine history --json` prints: one metric over one range.
struct HistoryReport: Codable, Hashable, Sendable {
    let range: HistoryRange
    let metric: Metric
    let series: [SeriesPoint]
    let average: Double?
    let maximum: Double?
    let status: MetricStatus?
    let change: PeriodChange?
    let appRanking: String
    let apps: [AppTotal]
    let batteryDays: [BatteryDay]
}
