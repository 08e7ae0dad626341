import Foundation

struct AudioClient: Codable, Hashable, Sendable {
    let pid: Int32
    let app: String
    let volume: Double
    let isMuted: Bool
    let outputDeviceUID: String?
    let settingsKey: String
    let needsPermission: Bool
}

struct AudioAppSetting: Codable, Hashable, Sendable {
    var volume: Double
    var isMuted: Bool
    var outputDeviceUID: String?
}

struct AudioOutputDevice: Codable, Hashable, Sendable {
    let uid: String
    let name: String
    let isDefault: Bool
}

enum TerminationMode: String, Codable, Hashable, Sendable {
    case quit, forceQuit
}

enum TerminationTarget: Codable, Hashable, Sendable {
    case app(String, pids: [Int32])
    case process(Int32)
    case processGroup(Int32)
    case container(id: String, name: String)
}

struct ConfirmedTermination: Codable, Hashable, Sendable {
    let target: TerminationTarget
    let mode: TerminationMode
    let confirmedAt: Date
}

struct TerminationResult: Codable, Hashable, Sendable {
    let terminated: [Int32]
    let survivors: [Int32]
}
