import Foundation

// Every record a corpus directory may hold, by the name of its directory.
// The lists are the top-level arrays that the helper and the command write.
let registry: [String: any Codable.Type] = [
    "ProcessReading": ProcessReading.self,
    "ProcessReadingList": [ProcessReading].self,
    "ProcessSample": ProcessSample.self,
    "ProcessSampleList": [ProcessSample].self,
    "ProcessNetworkMath.Counter": ProcessNetworkMath.Counter.self,
    "ProcessNetworkMath.Rate": ProcessNetworkMath.Rate.self,
    "NetworkByteCounts": NetworkByteCounts.self,
    "NetworkBytesByPID": NetworkBytesByPID.self,
    "Snapshot": Snapshot.self,
    "SystemSample": SystemSample.self,
    "AppIdentity": AppIdentity.self,
    "AppIdentity.Kind": AppIdentity.Kind.self,
    "AppAggregate": AppAggregate.self,
    "SamplingCadence": SamplingCadence.self,
    "StrainReason": StrainReason.self,
    "AlertRule": AlertRule.self,
    "RuleSettings": RuleSettings.self,
    "QuietHours": QuietHours.self,
    "AlertSettings": AlertSettings.self,
    "AppActivityPoint": AppActivityPoint.self,
    "AppActivityHistory": AppActivityHistory.self,
    "AlertKey": AlertKey.self,
    "AlertState": AlertState.self,
    "Alert": Alert.self,
    "Metric": Metric.self,
    "HistoryRange": HistoryRange.self,
    "MetricStatus": MetricStatus.self,
    "PeriodChange": PeriodChange.self,
    "SeriesPoint": SeriesPoint.self,
    "AppTotal": AppTotal.self,
    "BatteryDay": BatteryDay.self,
    "HistoryReport": HistoryReport.self,
    "DevRuntime": DevRuntime.self,
    "ProjectActivity": ProjectActivity.self,
    "DevServer": DevServer.self,
    "Project": Project.self,
    "ProjectList": [Project].self,
    "ListeningPort": ListeningPort.self,
    "ListeningPortList": [ListeningPort].self,
    "ListeningPort.Transport": ListeningPort.Transport.self,
    "AudioClient": AudioClient.self,
    "AudioAppSetting": AudioAppSetting.self,
    "AudioOutputDevice": AudioOutputDevice.self,
    "TerminationMode": TerminationMode.self,
    "TerminationTarget": TerminationTarget.self,
    "ConfirmedTermination": ConfirmedTermination.self,
    "TerminationResult": TerminationResult.self,
    "CPUTicks": CPUTicks.self,
    "CPUTopology": CPUTopology.self,
    "CPUTopology.Level": CPUTopology.Level.self,
    "CoreCluster": CoreCluster.self,
    "LoadAverage": LoadAverage.self,
    "CPUStats": CPUStats.self,
    "VMPageCounts": VMPageCounts.self,
    "MemoryPressure": MemoryPressure.self,
    "MemoryStats": MemoryStats.self,
    "BlockCounters": BlockCounters.self,
    "VolumeStats": VolumeStats.self,
    "DiskStats": DiskStats.self,
    "InterfaceCounters": InterfaceCounters.self,
    "NetworkStats": NetworkStats.self,
    "BatteryStats": BatteryStats.self,
    "BatteryStats.PowerSource": BatteryStats.PowerSource.self,
    "GPUStats": GPUStats.self,
    "ThermalPressure": ThermalPressure.self,
    "TemperatureReading": TemperatureReading.self,
    "FanReading": FanReading.self,
    "SensorStats": SensorStats.self,
    "PeripheralBattery": PeripheralBattery.self,
    "PeripheralBattery.Kind": PeripheralBattery.Kind.self,
    "EnergyCoefficients": EnergyCoefficients.self,
]

// Decodes with a default JSONDecoder and encodes again with a default
// JSONEncoder, through the type's synthesized conformance.
func roundTrip(_ type: any Codable.Type, _ data: Data) throws -> Data {
    func open<T: Codable>(_: T.Type) throws -> Data {
        try JSONEncoder().encode(JSONDecoder().decode(T.self, from: data))
    }
    return try open(type)
}

func decodeOnly(_ type: any Codable.Type, _ data: Data) throws {
    func open<T: Codable>(_: T.Type) throws {
        _ = try JSONDecoder().decode(T.self, from: data)
    }
    try open(type)
}
