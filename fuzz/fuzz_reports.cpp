// libFuzzer target: the reports' cutting of values out of rendered text,
// directly over arbitrary text and through the seven reports over instances
// with arbitrary names and values (see reports_replay.h for the modes and
// the properties).
#include "fuzz/reports_replay.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzzcheck::runOne(reportsfuzz::replay, data, size);
}
