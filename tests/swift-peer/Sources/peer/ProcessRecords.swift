import Foundation

// The helper's wire record: one cumulative reading of one process.
struct ProcessReading: Codable, Hashable, Identifiable, Sendable {
    let pid: Int32
    let parentPID: Int32
    let uid: UInt32
    let name: String
    let executablePath: String?
    let startTime: Date
    let cpuTime: Duration
    let footprintBytes: UInt64
    let diskReadBytes: UInt64
    let diskWriteBytes: UInt64
    let energyNJ: UInt64
    let isComplete: Bool
    let wakeups: UInt64

    var id: Int32 { pid }
}

// One process's rates over one interval.
struct ProcessSample: Codable, Hashable, Identifiable, Sendable {
    let pid: Int32
    let app: String
    let name: String
    let cpuPercent: Double
    let footprintBytes: UInt64
    let diskReadBPS: Double
    let diskWriteBPS: Double
    let energyMW: Double?
    let netInBPS: Double?
    let netOutBPS: Double?
    let gpuPercent: Double?
    let energyImpact: Double?

    var id: Int32 { pid }

    func withNetwork(inBPS: Double?, outBPS: Double?) -> ProcessSample {
        ProcessSample(pid: pid, app: app, name: name, cpuPercent: cpuPercent, footprintBytes: footprintBytes,
                      diskReadBPS: diskReadBPS, diskWriteBPS: diskWriteBPS, energyMW: energyMW,
                      netInBPS: inBPS, netOutBPS: outBPS, gpuPercent: gpuPercent, energyImpact: energyImpact)
    }
}

enum ProcessNetworkMath {
    struct Counter: Codable, Hashable, Sendable {
        let startTime: Date
        let rx: UInt64
        let tx: UInt64
    }

    struct Rate: Codable, Hashable, Sendable {
        let inBPS: Double
        let outBPS: Double
    }
}

// What the Linux helper answers for "networkBytesWithReply:", per pid.
struct NetworkByteCounts: Codable, Hashable, Sendable {
    let rx: UInt64
    let tx: UInt64
}

typealias NetworkBytesByPID = [Int32: NetworkByteCounts]
