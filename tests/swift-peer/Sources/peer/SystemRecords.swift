import Foundation

struct CPUTicks: Codable, Hashable, Sendable {
    let user: UInt64
    let system: UInt64
    let idle: UInt64
    let nice: UInt64
}

struct CPUTopology: Codable, Hashable, Sendable {
    struct Level: Codable, Hashable, Sendable {
        let name: String
        let level: Int
        let coreIndexes: [Int]
    }

    let levels: [Level]
}

struct CoreCluster: Codable, Hashable, Sendable {
    let name: String
    let level: Int
    let coreIndexes: [Int]
    let percent: Double
}

struct LoadAverage: Codable, Hashable, Sendable {
    let one: Double
    let five: Double
    let fifteen: Double

    static let zero = LoadAverage(one: 0, five: 0, fifteen: 0)
}

struct CPUStats: Codable, Hashable, Sendable {
    let totalPercent: Double
    let userPercent: Double
    let systemPercent: Double
    let perCorePercent: [Double]
    let clusters: [CoreCluster]
    let loadAverage: LoadAverage
}

struct VMPageCounts: Codable, Hashable, Sendable {
    let internalPages: UInt64
    let wiredPages: UInt64
    let compressorPages: UInt64
    let externalPages: UInt64
    let purgeablePages: UInt64
}

enum MemoryPressure: String, Codable, Hashable, Sendable {
    case normal, warning, critical
}

struct MemoryStats: Codable, Hashable, Sendable {
    let totalBytes: UInt64
    let usedBytes: UInt64
    let appBytes: UInt64
    let wiredBytes: UInt64
    let compressedBytes: UInt64
    let cachedFilesBytes: UInt64
    let swapUsedBytes: UInt64
    let pressure: MemoryPressure
    let availableLevel: Int
}

struct BlockCounters: Codable, Hashable, Sendable {
    let bytesRead: UInt64
    let bytesWritten: UInt64
}

struct VolumeStats: Codable, Hashable, Sendable {
    let id: String
    let name: String
    let totalBytes: UInt64
    let freeBytes: UInt64
}

struct DiskStats: Codable, Hashable, Sendable {
    let volumes: [VolumeStats]
    let readBPS: Double
    let writeBPS: Double
}

struct InterfaceCounters: Codable, Hashable, Sendable {
    let bytesIn: UInt64
    let bytesOut: UInt64
}

struct NetworkStats: Codable, Hashable, Sendable {
    let inBPS: Double
    let outBPS: Double
    let primaryInterface: String?
}
