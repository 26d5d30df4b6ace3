#include "exporter/probe_metrics.h"

#include <cstdint>

#include "exporter/metrics_text.h"

namespace {

double Level(const Verdict& verdict) { return static_cast<double>(static_cast<int>(verdict.level)); }

Labels RaidSetLabels(const RaidSetFacts& set) {
    return {{"raidset", std::to_string(set.number)}, {"name", set.name}};
}

Labels VolumeLabels(const VolumeFacts& volume) {
    return {{"volume", std::to_string(volume.number)}, {"name", volume.name}};
}

Labels DiskLabels(const DiskFacts& disk) { return {{"enclosure", disk.enclosure}, {"slot", disk.slot}}; }

Labels With(Labels labels, const char* name, const std::string& value) {
    labels.emplace_back(name, value);
    return labels;
}

void Controller(MetricText& out, const HealthReading& reading, Health overall) {
    out.family("rbz_health", "gauge", "Verdict on the whole controller, as rbz --check gives it: 0 OK, 1 WARNING, 2 CRITICAL.");
    out.sample("rbz_health", {}, static_cast<double>(static_cast<int>(overall)));
    const ControllerFacts& c = reading.controller;
    out.family("rbz_controller_info", "gauge", "The RAID controller: model, serial number, firmware and boot code versions.");
    out.sample("rbz_controller_info",
               {{"model", c.model}, {"serial", c.serial}, {"firmware", c.firmware}, {"boot_code", c.bootCode}},
               1.0);
}

void RaidSets(MetricText& out, const HealthReading& reading) {
    out.family("rbz_raidset_state", "gauge", "State of a RAID set (the state label), always 1.");
    for (const RaidSetFacts& set : reading.raidSets)
        out.sample("rbz_raidset_state", With(RaidSetLabels(set), "state", set.state), 1.0);
    out.family("rbz_raidset_health", "gauge", "Verdict on a RAID set: 0 OK, 1 WARNING, 2 CRITICAL.");
    for (const RaidSetFacts& set : reading.raidSets)
        out.sample("rbz_raidset_health", RaidSetLabels(set), Level(set.verdict));
    out.family("rbz_raidset_member_disks", "gauge", "Number of member drives of a RAID set.");
    for (const RaidSetFacts& set : reading.raidSets)
        out.sample("rbz_raidset_member_disks", RaidSetLabels(set), std::uint64_t{set.memberDisks});
    out.family("rbz_raidset_capacity_bytes", "gauge", "Raw capacity of a RAID set in bytes.");
    for (const RaidSetFacts& set : reading.raidSets)
        out.sample("rbz_raidset_capacity_bytes", RaidSetLabels(set), set.capacityBytes);
    out.family("rbz_raidset_free_capacity_bytes", "gauge", "Raw capacity of a RAID set not given to volumes, in bytes.");
    for (const RaidSetFacts& set : reading.raidSets)
        out.sample("rbz_raidset_free_capacity_bytes", RaidSetLabels(set), set.freeCapacityBytes);
}

void Volumes(MetricText& out, const HealthReading& reading) {
    out.family("rbz_volume_state", "gauge", "State of a volume set (the state label), always 1.");
    for (const VolumeFacts& volume : reading.volumes)
        out.sample("rbz_volume_state", With(VolumeLabels(volume), "state", volume.state), 1.0);
    out.family("rbz_volume_health", "gauge", "Verdict on a volume set: 0 OK, 1 WARNING, 2 CRITICAL.");
    for (const VolumeFacts& volume : reading.volumes)
        out.sample("rbz_volume_health", VolumeLabels(volume), Level(volume.verdict));
    // The progress goes to one family or the other by the volume's state.
    const auto progress = [&out, &reading](const char* name, const char* state, const char* help) {
        out.family(name, "gauge", help);
        for (const VolumeFacts& volume : reading.volumes)
            if (volume.progress && volume.state == state) out.sample(name, VolumeLabels(volume), *volume.progress);
    };
    progress("rbz_volume_rebuild_progress_ratio", "Rebuilding", "Part of a rebuild done (0 to 1), while the volume set rebuilds.");
    progress("rbz_volume_initialization_progress_ratio", "Initializing",
             "Part of an initialization done (0 to 1), while the volume set initializes.");
    out.family("rbz_volume_capacity_bytes", "gauge", "Capacity of a volume set in bytes.");
    for (const VolumeFacts& volume : reading.volumes)
        out.sample("rbz_volume_capacity_bytes", VolumeLabels(volume), volume.capacityBytes);
}

void Disks(MetricText& out, const HealthReading& reading) {
    out.family("rbz_disk_info", "gauge", "A drive: model, serial number, firmware and interface type.");
    for (const DiskFacts& disk : reading.disks) {
        Labels labels = DiskLabels(disk);
        labels.insert(labels.end(),
                      {{"model", disk.model}, {"serial", disk.serial}, {"firmware", disk.firmware}, {"type", disk.type}});
        out.sample("rbz_disk_info", labels, 1.0);
    }
    out.family("rbz_disk_state", "gauge", "State of a drive (the state label), always 1.");
    for (const DiskFacts& disk : reading.disks)
        out.sample("rbz_disk_state", With(DiskLabels(disk), "state", disk.state), 1.0);
    out.family("rbz_disk_health", "gauge", "Verdict on a drive: 0 OK, 1 WARNING, 2 CRITICAL.");
    for (const DiskFacts& disk : reading.disks) out.sample("rbz_disk_health", DiskLabels(disk), Level(disk.verdict));
    out.family("rbz_disk_temperature_celsius", "gauge", "Temperature of a drive in degrees Celsius, when it reports one.");
    for (const DiskFacts& disk : reading.disks)
        if (disk.temperatureCelsius)
            out.sample("rbz_disk_temperature_celsius", DiskLabels(disk), std::uint64_t{*disk.temperatureCelsius});
    out.family("rbz_disk_media_errors_total", "counter", "Media errors the controller has counted on a drive.");
    for (const DiskFacts& disk : reading.disks)
        out.sample("rbz_disk_media_errors_total", DiskLabels(disk), disk.mediaErrors);
    out.family("rbz_disk_timeouts_total", "counter", "Command time-outs the controller has counted on a drive.");
    for (const DiskFacts& disk : reading.disks) out.sample("rbz_disk_timeouts_total", DiskLabels(disk), disk.timeouts);
    out.family("rbz_disk_capacity_bytes", "gauge", "Capacity of a drive in bytes.");
    for (const DiskFacts& disk : reading.disks)
        out.sample("rbz_disk_capacity_bytes", DiskLabels(disk), disk.capacityBytes);
    out.family("rbz_disk_smart_status", "gauge",
               "Normalised value of a SMART attribute of a drive (attribute: the property without \"Status\").");
    for (const DiskFacts& disk : reading.disks) {
        for (const auto& [property, value] : disk.smart)
            out.sample("rbz_disk_smart_status", With(DiskLabels(disk), "attribute", SmartAttribute(property)),
                       std::uint64_t{value});
    }
}

}  // namespace

std::string RenderReading(const HealthReading& reading, Health overall) {
    MetricText out;
    Controller(out, reading, overall);
    RaidSets(out, reading);
    Volumes(out, reading);
    Disks(out, reading);
    return out.take();
}

std::string ProbeReply(bool up, const std::string& reading, double seconds) {
    MetricText head;
    head.family("rbz_up", "gauge", "1 when the host's RAID controller was read, 0 otherwise.");
    head.sample("rbz_up", up ? 1.0 : 0.0);
    MetricText tail;
    tail.family("rbz_probe_duration_seconds", "gauge", "Seconds the probe of this host took.");
    tail.sample("rbz_probe_duration_seconds", seconds);
    return head.take() + (up ? reading : std::string()) + tail.take();
}
