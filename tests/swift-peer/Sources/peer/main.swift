import Foundation

// peer CORPUS OUT
//   CORPUS/records/<Record>/<n>.json   decoded, encoded again to OUT/records/<Record>/<n>.json
//   CORPUS/inputs/<Record>/<n>.json    hand-written documents, some meant to fail: each
//                                      decoded one is encoded again to OUT/inputs/…, and
//                                      OUT/inputs.tsv says how each went (decoded, or failed
//                                      with the error's kind, coding path and description)
//   OUT/examples/<Record>/<label>.json values built here
// Exits 1 when a record did not decode, naming the record and the coding path.

func pathText(_ path: [any CodingKey]) -> String {
    var text = ""
    for key in path {
        if let index = key.intValue, key.stringValue == "Index \(index)" {
            text += "[\(index)]"
        } else {
            text += text.isEmpty ? key.stringValue : "." + key.stringValue
        }
    }
    return text.isEmpty ? "<root>" : text
}

func describe(_ error: any Error) -> (kind: String, path: String, description: String) {
    guard let error = error as? DecodingError else { return ("other", "", "\(error)") }
    switch error {
    case .typeMismatch(_, let c): return ("typeMismatch", pathText(c.codingPath), c.debugDescription)
    case .valueNotFound(_, let c): return ("valueNotFound", pathText(c.codingPath), c.debugDescription)
    case .keyNotFound(let key, let c):
        return ("keyNotFound", pathText(c.codingPath + [key]), c.debugDescription)
    case .dataCorrupted(let c): return ("dataCorrupted", pathText(c.codingPath), c.debugDescription)
    @unknown default: return ("other", "", "\(error)")
    }
}

func files(in directory: URL) -> [URL] {
    let names = (try? FileManager.default.contentsOfDirectory(atPath: directory.path)) ?? []
    return names.sorted().map { directory.appendingPathComponent($0) }
}

func oneLine(_ text: String) -> String {
    text.replacingOccurrences(of: "\t", with: " ").replacingOccurrences(of: "\n", with: " ")
}

let arguments = CommandLine.arguments
guard arguments.count == 3 else {
    FileHandle.standardError.write("usage: peer CORPUS OUT\n".data(using: .utf8)!)
    exit(2)
}
let corpus = URL(fileURLWithPath: arguments[1])
let output = URL(fileURLWithPath: arguments[2])
let fm = FileManager.default
try fm.createDirectory(at: output, withIntermediateDirectories: true)
var decodingErrors = 0
var roundTrips = 0

for recordDir in files(in: corpus.appendingPathComponent("records")) {
    let record = recordDir.lastPathComponent
    guard let type = registry[record] else {
        print("peer: no record named \(record)")
        decodingErrors += 1
        continue
    }
    let outDir = output.appendingPathComponent("records").appendingPathComponent(record)
    try fm.createDirectory(at: outDir, withIntermediateDirectories: true)
    for file in files(in: recordDir) {
        let data = try Data(contentsOf: file)
        do {
            let again = try roundTrip(type, data)
            try again.write(to: outDir.appendingPathComponent(file.lastPathComponent))
            roundTrips += 1
        } catch {
            let (kind, path, description) = describe(error)
            print("peer: \(record)/\(file.lastPathComponent): \(kind) at \(path): \(description)")
            decodingErrors += 1
        }
    }
}

var report = ""
for recordDir in files(in: corpus.appendingPathComponent("inputs")) {
    let record = recordDir.lastPathComponent
    guard let type = registry[record] else { continue }
    let outDir = output.appendingPathComponent("inputs").appendingPathComponent(record)
    try fm.createDirectory(at: outDir, withIntermediateDirectories: true)
    for file in files(in: recordDir) {
        let label = "\(record)/\(file.lastPathComponent)"
        do {
            let again = try roundTrip(type, try Data(contentsOf: file))
            try again.write(to: outDir.appendingPathComponent(file.lastPathComponent))
            report += "\(label)\tdecoded\t\t\t\n"
        } catch {
            let (kind, path, description) = describe(error)
            report += "\(label)\tfailed\t\(kind)\t\(path)\t\(oneLine(description))\n"
        }
    }
}
try report.write(to: output.appendingPathComponent("inputs.tsv"), atomically: true, encoding: .utf8)

for (record, label, json) in try examples() {
    let dir = output.appendingPathComponent("examples").appendingPathComponent(record)
    try fm.createDirectory(at: dir, withIntermediateDirectories: true)
    try json.write(to: dir.appendingPathComponent(label + ".json"))
}

print("peer: \(roundTrips) records decoded and encoded again, \(decodingErrors) failed")
exit(decodingErrors == 0 ? 0 : 1)
