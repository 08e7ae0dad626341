import Foundation

struct Snapshot: Codable, Hashable, Sendable {
    let at: Date
    let interval: Duration
    let system: SystemSample
    let apps: [AppAggregate]
    let processes: [ProcessSample]
}

struct SystemSample: Codable, Hashable, Sendable {
    let cpu: CPUStats
    let memory: MemoryStats
    let disk: DiskStats
    let network: NetworkStats
    let gpu: GPUStats?
    let battery: BatteryStats?
    let sensors: SensorStats?
    let thermal: ThermalPressure
    let uptime: Duration
}

struct AppIdentity: Codable, Hashable, Sendable {
    enum Kind: String, Codable, Hashable, Sendable {
        case app, terminal, system, other
    }

    let id: String
    let name: String
    let bundleID: String?
    let iconKey: String
    let kind: Kind
}

struct AppAggregate: Codable, Hashable, Sendable {
    let app: AppIdentity
    let processCount: Int
    let cpuPercent: Double
    let memoryBytes: UInt64
    let energyMW: Double?
    let diskReadBPS: Double
    let diskWriteBPS: Double
    let netInBPS: Double?
    let netOutBPS: Double?
    let gpuPercent: Double?
    let energyImpact: Double?
}

enum SamplingCadence: String, Codable, Hashable, Sendable {
    case idle, visible
}

enum StrainReason: String, Codable, Hashable, CaseIterable, Sendable {
    case cpu, memory, disk, thermal
}
