import Foundation

enum DevRuntime: String, Codable, Hashable, CaseIterable, Sendable {
    case node, python, go, ruby, java, bun, deno, rust, other
}

enum ProjectActivity: Codable, Hashable, Sendable {
    case working
    case idle(minutes: Int)
    case barelyUsed
}

struct DevServer: Codable, Hashable, Identifiable, Sendable {
    let pid: Int32
    let name: String
    let command: String
    let runtime: DevRuntime
    let ports: [UInt16]
    let memoryBytes: UInt64
    let startedAt: Date
    let cpuTime: Duration
    let activity: ProjectActivity
    let stopTarget: TerminationTarget

    var id: Int32 { pid }
}

struct Project: Codable, Hashable, Identifiable, Sendable {
    let id: String
    let name: String
    let servers: [DevServer]

    var runtime: DevRuntime {
        var counts: [DevRuntime: Int] = [:]
        for server in servers { counts[server.runtime, default: 0] += 1 }
        guard var choice = servers.first?.runtime else { return .other }
        for server in servers where counts[server.runtime]! > counts[choice]! { choice = server.runtime }
        return choice
    }

    var ports: [UInt16] { Array(Set(servers.flatMap(\.ports))).sorted() }

    var memoryBytes: UInt64 { servers.reduce(0) { $0 + $1.memoryBytes } }

    var startedAt: Date { servers.map(\.startedAt).min() ?? .distantPast }

    var activity: ProjectActivity {
        if servers.isEmpty || servers.contains(where: { $0.activity == .working }) { return .working }
        let idle = servers.compactMap { server -> Int? in
            if case .idle(let minutes) = server.activity { return minutes }
            return nil
        }
        if let minutes = idle.min() { return .idle(minutes: minutes) }
        return .barelyUsed
    }
}

struct ListeningPort: Codable, Hashable, Sendable {
    enum Transport: String, Codable, Hashable, Sendable {
        case tcp4, tcp6
    }

    let pid: Int32
    let port: UInt16
    let transport: Transport
    let address: String
    let workingDirectory: String?
}
