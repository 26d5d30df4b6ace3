// libFuzzer target: the attribute/value list parses and AList, and the
// request rendering of parsed arguments as a method call writes them (see
// avps_replay.h for the modes and what counts as a fault).
#include "fuzz/avps_replay.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzzcheck::runOne(avpsfuzz::replay, data, size);
}
