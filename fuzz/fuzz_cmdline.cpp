// libFuzzer target: whole command lines through the driver and the CIM
// dispatch, with the passwords on a pipe and a stand-in server answering
// from canned replies (see cmdline_replay.h for the input layout and what
// counts as a fault).
#include "fuzz/cmdline_replay.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzzcheck::runOne(cmdlinefuzz::replay, data, size);
}
