// libFuzzer target: arbitrary bytes as the body of a CIM-XML reply. The
// parse and every rendering of the result run under ASan and UBSan; an
// exception outside the ones a caller of CimXml handles aborts, so that the
// fuzzer keeps the input.
#include "fuzz/cimxml_replay.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <typeinfo>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    try {
        cimxmlfuzz::replay(data, size);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "escaped exception %s: %s\n", typeid(e).name(), e.what());
        std::abort();
    } catch (...) {
        std::fprintf(stderr, "escaped exception of unknown type\n");
        std::abort();
    }
    return 0;
}
