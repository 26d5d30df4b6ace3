// The controller's health: one reading of the controller, its RAID sets,
// volume sets and drives, typed, and the verdict of one state table on each
// of them. The monitoring-plugin check (rbz --check) and the exporter's
// probes print the same reading in their own forms.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class Cimom;
class URL;

// Ordered by gravity; the numbers are the monitoring-plugin exit statuses.
enum class Health { ok = 0, warning = 1, critical = 2, unknown = 3 };

// A SMART status's attribute name: the property name without "Status"
// ("SMARTReadErrorRateStatus": "SMARTReadErrorRate").
std::string SmartAttribute(std::string_view property);

// "OK", "WARNING", "CRITICAL", "UNKNOWN".
const char* HealthName(Health health);

// The verdict on one object: the worst level of its findings (ok when it has
// none) and each finding as a short text ("Degraded", "temperature 61 C",
// "2 media errors", "state \"Foo\" not known").
struct Verdict {
    Health level = Health::ok;
    std::vector<std::string> problems;
};

struct ControllerFacts {
    std::string model;     // ModelName
    std::string serial;    // SerialNumber
    std::string firmware;  // FirmVersion
    std::string bootCode;  // BootVersion
};

struct RaidSetFacts {
    unsigned number = 0;         // as shown and addressed: RaidSetNumber + 1
    std::string name;            // InstanceID
    std::string state;           // RAIDState
    unsigned memberDisks = 0;    // MemberDisks
    unsigned volumes = 0;        // Volumes
    std::uint64_t capacityBytes = 0;      // Capacity
    std::uint64_t freeCapacityBytes = 0;  // FreeRawCapacity
    Verdict verdict;
};

struct VolumeFacts {
    unsigned number = 0;              // VolumeNo
    std::string name;                 // ElementName
    std::string state;                // VolumeState
    std::optional<unsigned> raidSet;  // as shown (RaidSetNumber + 1); none for 255
    unsigned raidLevel = 0;           // RAIDLevel
    std::uint64_t capacityBytes = 0;  // Capacity
    // Progress / 1000 while the state is Rebuilding or Initializing.
    std::optional<double> progress;
    Verdict verdict;
};

struct DiskFacts {
    std::string enclosure, slot;  // Enc, Slot: the numbers the controller names the drive by
    std::string model;            // ModelName
    std::string serial;           // DeviceID
    std::string firmware;         // FirmwareRevision
    std::string type;             // DeviceType: SATA, SAS, ...
    std::string usage;            // Usage: a RAID set's name, "Pass Through", "Unavailable", ""
    std::string state;            // the drive's state as the state table reads it
    std::uint64_t capacityBytes = 0;            // NumberOfBlocks, a byte count
    std::optional<unsigned> temperatureCelsius; // none when the drive reports none
    std::uint64_t mediaErrors = 0;              // MediaErrorCount
    std::uint64_t timeouts = 0;                 // TimeOutCount
    // The SATA SMART statuses the drive reports (255, not reported, left
    // out): property name and normalised value.
    std::vector<std::pair<std::string, unsigned>> smart;
    Verdict verdict;
};

struct HealthReading {
    ControllerFacts controller;
    std::vector<RaidSetFacts> raidSets;
    std::vector<VolumeFacts> volumes;
    std::vector<DiskFacts> disks;
};

struct Thresholds {
    unsigned warnTemperature = 50;  // celsius; at or above: WARNING
    unsigned critTemperature = 60;  // at or above: CRITICAL
};

// Enumerates the controller, RAID sets, volume sets and drives over `cimom`
// (four requests on its connection). `controller` is the path of the
// controller class; the other classes are read at the same host and
// namespace. Failures travel as exceptions (the XmlException family).
// The verdicts are left empty: see Judge.
HealthReading ReadHealth(Cimom& cimom, const URL& controller);

// Fills every verdict from the state table and returns the worst level.
Health Judge(HealthReading& reading, const Thresholds& thresholds);
