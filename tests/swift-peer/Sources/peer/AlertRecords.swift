import Foundation

enum AlertRule: String, Codable, Hashable, CaseIterable, Sendable {
    case highCPU, growingMemory, heavyDisk, heavyNetwork
}

struct RuleSettings: Codable, Hashable, Sendable {
    var isEnabled: Bool
    var threshold: Double
    var window: Duration
}

struct QuietHours: Codable, Hashable, Sendable {
    var startMinute: Int
    var endMinute: Int
}

struct AlertSettings: Codable, Hashable, Sendable {
    var rules: [AlertRule: RuleSettings]
    var cooldown: Duration
    var mutedAppIDs: Set<String>
    var quietHours: QuietHours?
    var exemptsFrontmostApp: Bool

    static let defaults = AlertSettings(
        rules: [
            .highCPU: RuleSettings(isEnabled: true, threshold: 70.0, window: .seconds(600)),
            .growingMemory: RuleSettings(isEnabled: true, threshold: 1073741824.0, window: .seconds(3600)),
            .heavyDisk: RuleSettings(isEnabled: true, threshold: 50000000.0, window: .seconds(300)),
            .heavyNetwork: RuleSettings(isEnabled: true, threshold: 10000000.0, window: .seconds(300)),
        ],
        cooldown: .seconds(3600), mutedAppIDs: [], quietHours: nil, exemptsFrontmostApp: true)
}

struct AppActivityPoint: Codable, Hashable, Sendable {
    let at: Date
    let cpuPercent: Double
    let memoryBytes: UInt64
    let diskWriteBPS: Double
    let netInBPS: Double?
    let netOutBPS: Double?
}

struct AppActivityHistory: Codable, Hashable, Sendable {
    let app: AppIdentity
    let points: [AppActivityPoint]
}

struct AlertKey: Codable, Hashable, Sendable {
    let appID: String
    let rule: AlertRule
}

struct AlertState: Codable, Hashable, Sendable {
    var lastFired: [AlertKey: Date]
}

struct Alert: Codable, Hashable, Identifiable, Sendable {
    let id: UUID
    let rule: AlertRule
    let app: AppIdentity
    let firedAt: Date
    let title: String
    let body: String
}
