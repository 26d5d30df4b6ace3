// libFuzzer target: the object path parser and its renderings (see
// url_replay.h for what counts as a fault).
#include "fuzz/url_replay.h"

#include <cstdlib>

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    urlfuzz::setUp();
    std::atexit(urlfuzz::removeScratchFiles);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzzcheck::runOne(urlfuzz::replay, data, size);
}
