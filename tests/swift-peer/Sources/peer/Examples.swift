import Foundation

// Values built here, from the documented examples, for the other side to read.
func examples() throws -> [(record: String, label: String, json: Data)] {
    var out: [(String, String, Data)] = []
    func add<T: Encodable>(_ record: String, _ label: String, _ value: T) throws {
        out.append((record, label, try JSONEncoder().encode(value)))
    }

    // An instant 1,700,000,000 s after the Unix epoch; 20 s of CPU is past 2^64 attoseconds.
    try add("ProcessReading", "complete", ProcessReading(
        pid: 4242, parentPID: 1, uid: 501, name: "Safari", executablePath: "/Applications/Safari.app/Contents/MacOS/Safari",
        startTime: Date(timeIntervalSince1970: 1_700_000_000), cpuTime: .seconds(20), footprintBytes: 123_456_789,
        diskReadBytes: 1 << 40, diskWriteBytes: 7, energyNJ: UInt64.max, isComplete: true, wakeups: 99))
    try add("ProcessReading", "incomplete", ProcessReading(
        pid: 1, parentPID: 0, uid: 0, name: "launchd", executablePath: nil,
        startTime: Date(timeIntervalSinceReferenceDate: -0.5), cpuTime: .zero, footprintBytes: 0,
        diskReadBytes: 0, diskWriteBytes: 0, energyNJ: 0, isComplete: false, wakeups: 0))
    try add("ProcessReading", "twoAndAHalfSeconds", ProcessReading(
        pid: -1, parentPID: Int32.min, uid: UInt32.max, name: "é中😀", executablePath: "",
        startTime: Date(timeIntervalSinceReferenceDate: 721_692_800.123456789), cpuTime: .milliseconds(2500),
        footprintBytes: 1, diskReadBytes: 2, diskWriteBytes: 3, energyNJ: 4, isComplete: true, wakeups: 5))
    try add("ProcessReadingList", "empty", [ProcessReading]())

    try add("TerminationTarget", "app", TerminationTarget.app("app:com.example", pids: [501, 502]))
    try add("TerminationTarget", "process", TerminationTarget.process(4242))
    try add("TerminationTarget", "processGroup", TerminationTarget.processGroup(4242))
    try add("TerminationTarget", "container", TerminationTarget.container(id: "c0ffee", name: "web"))
    try add("ConfirmedTermination", "forceQuit", ConfirmedTermination(
        target: .process(77), mode: .forceQuit, confirmedAt: Date(timeIntervalSinceReferenceDate: 1)))

    try add("ProjectActivity", "working", ProjectActivity.working)
    try add("ProjectActivity", "idle", ProjectActivity.idle(minutes: 12))
    try add("ProjectActivity", "barelyUsed", ProjectActivity.barelyUsed)

    try add("PeriodChange", "rise", PeriodChange.relative(0.25))
    try add("PeriodChange", "fall", PeriodChange.relative(-0.1))
    try add("PeriodChange", "new", PeriodChange.new)

    try add("AlertSettings", "defaults", AlertSettings.defaults)
    try add("AlertState", "one", AlertState(lastFired: [
        AlertKey(appID: "app:com.example", rule: .heavyDisk): Date(timeIntervalSinceReferenceDate: 721_692_800.25)]))
    try add("EnergyCoefficients", "builtIn", EnergyCoefficients.builtIn)
    try add("LoadAverage", "zero", LoadAverage.zero)
    try add("Alert", "fixedID", Alert(
        id: UUID(uuidString: "e621e1f8-c36c-495a-93fc-0c247a3e6e5f")!, rule: .highCPU,
        app: AppIdentity(id: "app:x", name: "X", bundleID: nil, iconKey: "x", kind: .app),
        firedAt: Date(timeIntervalSinceReferenceDate: 0), title: "X", body: "Y"))
    try add("NetworkBytesByPID", "two", [Int32(7): NetworkByteCounts(rx: 1, tx: 2)])
    try add("BatteryStats", "onAC", BatteryStats(
        percent: 80, isCharging: true, source: .ac, timeRemaining: .seconds(-1), cycleCount: nil,
        maxCapacityPercent: 100, powerDrawWatts: nil))
    return out
}
