// libFuzzer target: the target path builders from arbitrary parameter texts,
// user names, passwords and hosts, and the object path parser on their
// result (see paths_replay.h for the input layout and the properties).
#include "fuzz/paths_replay.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzzcheck::runOne(pathsfuzz::replay, data, size);
}
