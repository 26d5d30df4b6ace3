// libFuzzer target: the controller status decoder and the exception message
// clean-up over arbitrary texts (see status_replay.h for the properties).
#include "fuzz/status_replay.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzzcheck::runOne(statusfuzz::replay, data, size);
}
