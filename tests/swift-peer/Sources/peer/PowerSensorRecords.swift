import Foundation

struct BatteryStats: Codable, Hashable, Sendable {
    enum PowerSource: String, Codable, Hashable, Sendable {
        case battery, ac
    }

    let percent: Double
    let isCharging: Bool
    let source: PowerSource
    let timeRemaining: Duration?
    let cycleCount: Int?
    let maxCapacityPercent: Double?
    let powerDrawWatts: Double?
}

struct GPUStats: Codable, Hashable, Sendable {
    let name: String
    let utilizationPercent: Double
    let memoryInUseBytes: UInt64?
}

enum ThermalPressure: String, Codable, Hashable, Sendable {
    case nominal, fair, serious, critical
}

struct TemperatureReading: Codable, Hashable, Sendable {
    let id: String
    let name: String
    let celsius: Double
}

struct FanReading: Codable, Hashable, Sendable {
    let id: Int
    let rpm: Double
    let minRPM: Double?
    let maxRPM: Double?
}

struct SensorStats: Codable, Hashable, Sendable {
    let temperatures: [TemperatureReading]
    let fans: [FanReading]
    let peripherals: [PeripheralBattery]
}

struct PeripheralBattery: Codable, Hashable, Sendable {
    enum Kind: String, Codable, Hashable, Sendable {
        case airPods, mouse, keyboard, trackpad, other
    }

    let id: String
    let name: String
    let kind: Kind
    let percent: Double
}

struct EnergyCoefficients: Codable, Hashable, Sendable {
    let cpuTime: Double
    let cpuWakeups: Double
    let diskBytesRead: Double
    let diskBytesWritten: Double
    let gpuTime: Double

    static let builtIn = EnergyCoefficients(cpuTime: 1.0, cpuWakeups: 0.0002, diskBytesRead: 4.5e-10,
                                            diskBytesWritten: 2.4e-10, gpuTime: 0.0)
}
