// swift-tools-version:5.9
// A peer that reads and writes the records exactly as the macOS monitor does:
// the same declarations, the compiler's synthesized Codable, Foundation's
// JSONEncoder and JSONDecoder with default settings.
import PackageDescription

let package = Package(
    name: "OrvantinePeer",
    targets: [
        .executableTarget(name: "peer", path: "Sources/peer"),
    ]
)
