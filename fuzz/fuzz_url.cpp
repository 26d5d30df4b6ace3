// libFuzzer target: the object path parser and its renderings.
//
// Any input either parses or fails with the path's own errors (URLException,
// ParseException for a key without "="); everything else escapes and is
// reported as a crash.
#include "cim/url.h"
#include "xml/errors.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <unistd.h>

namespace {

// Where the aliases and the interface table of the run live.
std::string scratchFile(const char* name) {
    const char* dir = std::getenv("TMPDIR");
    return std::string(dir ? dir : "/tmp") + "/rbz_fuzz_url_" + std::to_string(getpid()) + "_" + name;
}

void removeScratchFiles() {
    std::remove(scratchFile("vostrel.ind").c_str());
    std::remove(scratchFile("if_inet6").c_str());
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // Alias paths and zone names reach their lookups instead of failing on a
    // missing file.
    const std::string aliases = scratchFile("vostrel.ind");
    std::ofstream(aliases) << "# aliases\nlab: https://root:pw@10.1.2.3:5989\nv6:https://[fe80::1%eth0]\n"
                              "bad: ftp://x\n";
    setenv("VOSTREL_IND", aliases.c_str(), 1);
    const std::string table = scratchFile("if_inet6");
    std::ofstream(table) << "00000000000000000000000000000001 01 80 10 80       lo\n"
                            "fe800000000000000211223344556677 02 40 20 80     eth0\n";
    URL::interfaceTable = table;
    std::atexit(removeScratchFiles);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // An exactly sized, NUL-terminated copy: a read past the text's end hits
    // the sanitizer's redzone.
    std::unique_ptr<char[]> text(new char[size + 1]);
    std::copy(data, data + size, text.get());
    text[size] = '\0';

    char* next = nullptr;
    if (URL::refLookAhead(text.get(), &next) && (next < text.get() || next > text.get() + size)) std::abort();

    try {
        URL url(text.get());
        std::string sb;
        url.toStringBuffer(sb, 0);
        url.toStringBuffer(sb, 1);
        url.toStringBufferGI(sb);
        url.toStringBuffer(sb);
        if (url.protocol != "http" && url.protocol != "https") std::abort();
    } catch (const URLException&) {
    } catch (const ParseException&) {
    }
    return 0;
}
