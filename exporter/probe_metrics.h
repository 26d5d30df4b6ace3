// The metrics of one probe: what GET /probe answers for one host.
#pragma once

#include <string>

#include "controller/health.h"

// The families of a host that was read: its overall verdict (`overall`, as
// Judge returned it), the controller, and each RAID set, volume set and
// drive with its state and verdict. rbz_up and the probe's duration are not
// part of it (see ProbeReply).
std::string RenderReading(const HealthReading& reading, Health overall);

// The whole reply: rbz_up (1 when `up`), then `reading` (the text of
// RenderReading, empty when the host was not read), then
// rbz_probe_duration_seconds.
std::string ProbeReply(bool up, const std::string& reading, double seconds);
