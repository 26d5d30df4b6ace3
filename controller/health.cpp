#include "controller/health.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "cim/cimom.h"
#include "cim/url.h"
#include "xml/envelope.h"
#include "xml/errors.h"
#include "xml/model.h"
#include "xml/xml_buffer.h"

namespace {

constexpr const char* kPoolClass = "Quilo_StoragePool";
constexpr const char* kVolumeClass = "Quilo_StorageVolume";
constexpr const char* kDiskClass = "Quilo_DiskDrive";

// RaidSetNumber of a volume or drive that belongs to no RAID set.
constexpr unsigned kNoRaidSet = 255;
// A SMART status or temperature of 255: the drive does not report it.
constexpr std::uint64_t kNotReported = 255;

// The SATA statuses a drive may report, normalised: higher is better.
constexpr std::string_view kSmartStatuses[] = {
    "SMARTReadErrorRateStatus",     "SMARTSpinupTimeStatus",        "SMARTReallocationCountStatus",
    "SMARTSeekErrorRateStatus",     "SMARTSpinupRetriesStatus",     "SMARTCalibrationRetriesStatus",
    "SSDReservedSpaceStatus",       "SSDWearingIndicatorStatus",
};

// ------------------------------------------------------------ the state table

enum class Object { raidSet, volume, disk };

enum class Test {
    state,     // the object's state is `name`
    critTemp,  // the drive's temperature is at least Thresholds::critTemperature
    warnTemp,  // ... at least Thresholds::warnTemperature
    atLeast,   // the drive's count `name` is at least `limit`
    below,     // a drive status whose property name begins with `name` is below `limit`
};

struct Rule {
    Object object;
    Test test;
    std::string_view name;
    std::uint64_t limit;
    Health level;
};

// The verdicts, in one place. A state found here gets its row's level; a
// state not found is WARNING ("state "X" not known"), never OK. For each
// measure of a drive the first row that holds gives the finding, so the
// graver row of a measure comes first. SMART statuses are the drive's
// normalised values (100 or 200 when new, falling with wear; each maker
// sets its own failure threshold, commonly between 10 and 50, and the
// controller does not report it): below 50 is WARNING, below 20 CRITICAL.
// The SSD statuses are the percentage of spare area or rated wear left.
constexpr Rule kStateTable[] = {
    {Object::volume, Test::state, "Normal", 0, Health::ok},
    {Object::volume, Test::state, "Initializing", 0, Health::ok},
    {Object::volume, Test::state, "Migrating", 0, Health::ok},
    {Object::volume, Test::state, "Checking", 0, Health::ok},
    {Object::volume, Test::state, "Rebuilding", 0, Health::warning},
    {Object::volume, Test::state, "Degraded", 0, Health::critical},
    {Object::volume, Test::state, "Failed", 0, Health::critical},
    {Object::volume, Test::state, "Offline", 0, Health::critical},

    {Object::raidSet, Test::state, "Normal", 0, Health::ok},
    {Object::raidSet, Test::state, "Initializing", 0, Health::ok},
    {Object::raidSet, Test::state, "Migrating", 0, Health::ok},
    {Object::raidSet, Test::state, "Checking", 0, Health::ok},
    {Object::raidSet, Test::state, "Rebuilding", 0, Health::warning},
    {Object::raidSet, Test::state, "Degraded", 0, Health::critical},
    {Object::raidSet, Test::state, "Incomplete", 0, Health::critical},
    {Object::raidSet, Test::state, "Failed", 0, Health::critical},
    {Object::raidSet, Test::state, "Offline", 0, Health::critical},

    // A drive's state: its UsageExt, or its Usage when that is empty (see
    // DriveState).
    {Object::disk, Test::state, "RaidSet Member", 0, Health::ok},
    {Object::disk, Test::state, "Free", 0, Health::ok},
    {Object::disk, Test::state, "Pass Through", 0, Health::ok},
    {Object::disk, Test::state, "Hot Spare", 0, Health::ok},
    {Object::disk, Test::state, "Failed", 0, Health::critical},
    {Object::disk, Test::state, "Unavailable", 0, Health::critical},

    {Object::disk, Test::critTemp, "temperature", 0, Health::critical},
    {Object::disk, Test::warnTemp, "temperature", 0, Health::warning},
    {Object::disk, Test::atLeast, "MediaErrorCount", 1, Health::warning},
    {Object::disk, Test::below, "SSD", 10, Health::critical},
    {Object::disk, Test::below, "SSD", 20, Health::warning},
    {Object::disk, Test::below, "SMART", 20, Health::critical},
    {Object::disk, Test::below, "SMART", 50, Health::warning},
};

void Add(Verdict& verdict, Health level, std::string text) {
    verdict.level = std::max(verdict.level, level);
    verdict.problems.push_back(std::move(text));
}

// "Rebuilding 45.3%" while a progress is known, else the state as it is.
std::string StateText(const std::string& state, const std::optional<double>& progress) {
    if (!progress) return state;
    char percent[32];
    std::snprintf(percent, sizeof percent, " %.1f%%", *progress * 100);
    return state + percent;
}

void JudgeState(Object object, const std::string& state, const std::optional<double>& progress,
                Verdict& verdict) {
    for (const Rule& rule : kStateTable) {
        if (rule.object != object || rule.test != Test::state || rule.name != state) continue;
        if (rule.level != Health::ok) Add(verdict, rule.level, StateText(state, progress));
        return;
    }
    Add(verdict, Health::warning, "state \"" + state + "\" not known");
}

bool Holds(const Rule& rule, std::uint64_t value, const Thresholds& thresholds) {
    switch (rule.test) {
    case Test::critTemp: return value >= thresholds.critTemperature;
    case Test::warnTemp: return value >= thresholds.warnTemperature;
    case Test::atLeast: return value >= rule.limit;
    case Test::below: return value < rule.limit;
    case Test::state: break;
    }
    return false;
}

// The measure `name` of a drive (a status matches the rows named by the
// beginning of its property name) against the first row that holds.
void JudgeMeasure(std::string_view name, std::uint64_t value, const std::string& text,
                  const Thresholds& thresholds, Verdict& verdict) {
    for (const Rule& rule : kStateTable) {
        if (rule.object != Object::disk || rule.test == Test::state) continue;
        if (name.substr(0, rule.name.size()) != rule.name) continue;
        if (Holds(rule, value, thresholds)) {
            Add(verdict, rule.level, text);
            return;
        }
    }
}

void JudgeDisk(DiskFacts& disk, const Thresholds& thresholds) {
    JudgeState(Object::disk, disk.state, std::nullopt, disk.verdict);
    if (disk.temperatureCelsius)
        JudgeMeasure("temperature", *disk.temperatureCelsius,
                     "temperature " + std::to_string(*disk.temperatureCelsius) + " C", thresholds, disk.verdict);
    JudgeMeasure("MediaErrorCount", disk.mediaErrors,
                 "media errors " + std::to_string(disk.mediaErrors),
                 thresholds, disk.verdict);
    for (const auto& [name, value] : disk.smart)
        JudgeMeasure(name, value, SmartAttribute(name) + " " + std::to_string(value), thresholds, disk.verdict);
}

// ------------------------------------------------------------ the reading

// The plain values of one instance, decoded, by property name.
class Values {
public:
    Values(const InstanceXml& instance, const char* className) : className_(className) {
        for (const PropertyXml& property : instance.properties) {
            if (!property.value.exists() || property.value.val().kind != ValueXml::Value) continue;
            values_.emplace_back(property.name, DecodeText(property.value.val().text()));
        }
    }

    const std::string* find(std::string_view name) const {
        for (const auto& [key, value] : values_)
            if (key == name) return &value;
        return nullptr;
    }

    // A text the reading cannot do without.
    std::string text(std::string_view name) const {
        const std::string* value = find(name);
        if (value == nullptr) Missing(name);
        return *value;
    }
    std::string textOr(std::string_view name) const {
        const std::string* value = find(name);
        return value ? *value : std::string();
    }

    // A number the reading cannot do without: absent or not a number fails.
    std::uint64_t number(std::string_view name) const {
        const std::string* value = find(name);
        if (value == nullptr) Missing(name);
        const std::optional<std::uint64_t> parsed = Parse(*value);
        if (!parsed)
            throw ParseException(std::string(className_) + " " + std::string(name) + " is not a number: \"" +
                                 *value + "\"");
        return *parsed;
    }
    // A number the reading can do without: none when absent or when the
    // provider writes something else there (a status as a word, say).
    std::optional<std::uint64_t> numberIf(std::string_view name) const {
        const std::string* value = find(name);
        return value ? Parse(*value) : std::nullopt;
    }
    // The digits of a text, as the reports cut them ("Raid 5": 5); none
    // when it has none.
    std::optional<std::uint64_t> digitsIf(std::string_view name) const {
        const std::string* value = find(name);
        if (value == nullptr) return std::nullopt;
        std::string digits;
        for (char c : *value)
            if (c >= '0' && c <= '9') digits += c;
        return Parse(digits);
    }

private:
    [[noreturn]] void Missing(std::string_view name) const {
        throw ParseException(std::string(className_) + " instance without " + std::string(name));
    }

    // Decimal digits, blanks around them allowed.
    static std::optional<std::uint64_t> Parse(std::string_view digits) {
        while (!digits.empty() && digits.front() == ' ') digits.remove_prefix(1);
        while (!digits.empty() && digits.back() == ' ') digits.remove_suffix(1);
        if (digits.empty()) return std::nullopt;
        std::uint64_t value = 0;
        for (char c : digits) {
            if (c < '0' || c > '9') return std::nullopt;
            const auto d = static_cast<std::uint64_t>(c - '0');
            if (value > (UINT64_MAX - d) / 10) return std::nullopt;
            value = value * 10 + d;
        }
        return value;
    }

    const char* className_;
    std::vector<std::pair<std::string, std::string>> values_;
};

unsigned Small(std::uint64_t value) { return static_cast<unsigned>(std::min<std::uint64_t>(value, UINT32_MAX)); }

// The state the table reads for a drive: its UsageExt ("RaidSet Member",
// "Free", "Failed" for an unavailable drive, ...), else its Usage ("Pass
// Through", "Unavailable").
std::string DriveState(const Values& values) {
    std::string state = values.textOr("UsageExt");
    return state.empty() ? values.text("Usage") : state;
}

template <typename Take>
class Sink : public NamedInstanceSink {
public:
    Sink(const char* className, Take take) : className_(className), take_(std::move(take)) {}
    void take(NamedInstanceXml& item) override { take_(Values(item.instance, className_)); }

private:
    const char* className_;
    Take take_;
};

template <typename Take>
void Enumerate(Cimom& cimom, const URL& controller, const char* className, Take take) {
    URL target(controller);
    target.className = className;
    target.keys = ArrayXml<PropertyXml>();
    Sink<Take> sink(className, std::move(take));
    bool answered = true;
    try {
        answered = cimom.enumInstances(target, nullptr, true, false, true, false, sink);
    } catch (const NoReturnValue&) {
        // an empty return value: no instances
    }
    // An empty body is no answer at all: reading it as "no instances" would
    // call a controller healthy that said nothing.
    if (!answered) throw ParseException(std::string("empty reply to the enumeration of ") + className);
}

}  // namespace

std::string SmartAttribute(std::string_view property) {
    constexpr std::string_view suffix = "Status";
    if (property.size() > suffix.size() && property.substr(property.size() - suffix.size()) == suffix)
        property.remove_suffix(suffix.size());
    return std::string(property);
}

const char* HealthName(Health health) {
    switch (health) {
    case Health::ok: return "OK";
    case Health::warning: return "WARNING";
    case Health::critical: return "CRITICAL";
    case Health::unknown: break;
    }
    return "UNKNOWN";
}

HealthReading ReadHealth(Cimom& cimom, const URL& controller) {
    HealthReading reading;
    bool first = true;
    Enumerate(cimom, controller, controller.className.c_str(), [&](const Values& v) {
        if (!first) return;
        first = false;
        reading.controller = {v.textOr("ModelName"), v.textOr("SerialNumber"), v.textOr("FirmVersion"),
                              v.textOr("BootVersion")};
    });
    Enumerate(cimom, controller, kPoolClass, [&](const Values& v) {
        RaidSetFacts set;
        set.number = Small(v.number("RaidSetNumber")) + 1;
        set.name = v.text("InstanceID");
        set.state = v.text("RAIDState");
        set.memberDisks = Small(v.numberIf("MemberDisks").value_or(0));
        set.volumes = Small(v.numberIf("Volumes").value_or(0));
        set.capacityBytes = v.numberIf("Capacity").value_or(0);
        set.freeCapacityBytes = v.numberIf("FreeRawCapacity").value_or(0);
        reading.raidSets.push_back(std::move(set));
    });
    Enumerate(cimom, controller, kVolumeClass, [&](const Values& v) {
        VolumeFacts volume;
        volume.number = Small(v.number("VolumeNo"));
        volume.name = v.text("ElementName");
        volume.state = v.text("VolumeState");
        const std::optional<std::uint64_t> set = v.numberIf("RaidSetNumber");
        if (set && *set != kNoRaidSet) volume.raidSet = Small(*set) + 1;
        volume.raidLevel = Small(v.digitsIf("RAIDLevel").value_or(0));
        volume.capacityBytes = v.numberIf("Capacity").value_or(0);
        if (volume.state == "Rebuilding" || volume.state == "Initializing")
            volume.progress = static_cast<double>(v.numberIf("Progress").value_or(0)) / 1000;
        reading.volumes.push_back(std::move(volume));
    });
    Enumerate(cimom, controller, kDiskClass, [&](const Values& v) {
        DiskFacts disk;
        // The drive's name as disk info shows it; the stored numbers when a
        // provider writes no Enc and Slot texts.
        disk.enclosure = v.find("Enc") ? v.text("Enc") : std::to_string(v.number("EnclosureNumber"));
        disk.slot = v.find("Slot") ? v.text("Slot") : std::to_string(v.number("SlotNumber"));
        disk.model = v.textOr("ModelName");
        disk.serial = v.textOr("DeviceID");
        disk.firmware = v.textOr("FirmwareRevision");
        disk.type = v.textOr("DeviceType");
        disk.usage = v.text("Usage");
        disk.state = DriveState(v);
        disk.capacityBytes = v.numberIf("NumberOfBlocks").value_or(0);
        // A SATA drive reports its temperature among its statuses (as disk
        // inq shows it), the others in DeviceTemperature; 0 and 255: none.
        // The other property stands in when the first says nothing.
        const bool sata = disk.type == "SATA";
        for (const char* name : {sata ? "DeviceTemperatureStatus" : "DeviceTemperature",
                                 sata ? "DeviceTemperature" : "DeviceTemperatureStatus"}) {
            const std::optional<std::uint64_t> temperature = v.numberIf(name);
            if (temperature && *temperature != 0 && *temperature != kNotReported) {
                disk.temperatureCelsius = Small(*temperature);
                break;
            }
        }
        disk.mediaErrors = v.numberIf("MediaErrorCount").value_or(0);
        disk.timeouts = v.numberIf("TimeOutCount").value_or(0);
        for (std::string_view name : kSmartStatuses) {
            const std::optional<std::uint64_t> value = v.numberIf(name);
            if (value && *value != kNotReported) disk.smart.emplace_back(std::string(name), Small(*value));
        }
        reading.disks.push_back(std::move(disk));
    });
    return reading;
}

Health Judge(HealthReading& reading, const Thresholds& thresholds) {
    Health worst = Health::ok;
    for (RaidSetFacts& set : reading.raidSets) {
        set.verdict = Verdict();
        JudgeState(Object::raidSet, set.state, std::nullopt, set.verdict);
        worst = std::max(worst, set.verdict.level);
    }
    for (VolumeFacts& volume : reading.volumes) {
        volume.verdict = Verdict();
        JudgeState(Object::volume, volume.state, volume.progress, volume.verdict);
        worst = std::max(worst, volume.verdict.level);
    }
    for (DiskFacts& disk : reading.disks) {
        disk.verdict = Verdict();
        JudgeDisk(disk, thresholds);
        worst = std::max(worst, disk.verdict.level);
    }
    return worst;
}
