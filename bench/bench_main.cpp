// Throughput and peak memory of the reply parser against libxml2 and pugixml
// on the same EnumerateInstances reply.
//
//   rbz_bench                   the full table (N = 1,000, 10,000, 100,000)
//   rbz_bench --sizes 10,500    other sizes (peak memory at the last one)
//   rbz_bench --parsers rbz-stream,pugixml --no-peak
//                               only some parsers, no peak measurement (for
//                               profiling one parser under perf or callgrind)
//   rbz_bench --dump N          writes the generated reply to standard output
//   rbz_bench --peak P N        (internal) one parser in a fresh process;
//                               prints its baseline and peak RSS in kB
//
// Times are the process's CPU time (user and system, page faults included),
// which other work on a shared machine disturbs far less than wall time.
// Every timed run is checked afterwards (element counts, rendered text), so
// a parser that stopped early can't look fast. Destruction of the trees is
// not timed.
#include "bench/reply_gen.h"
#include "xml/envelope.h"
#include "xml/render_flags.h"

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlversion.h>
#include <pugixml.hpp>

#include <sys/resource.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

// CPU time of this (single-threaded) process.
struct CpuClock {
    static double now() {
        timespec ts{};
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
        return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
    }
};

[[noreturn]] void fail(const std::string& what) {
    std::fprintf(stderr, "rbz_bench: %s\n", what.c_str());
    std::exit(1);
}

size_t countOf(std::string_view text, std::string_view word) {
    size_t n = 0;
    for (size_t at = text.find(word); at != std::string_view::npos; at = text.find(word, at + word.size())) ++n;
    return n;
}

// ---------------------------------------------------------------- the parsers

// The reply's instances: a list, or a single one when the reply holds one.
size_t namedInstancesIn(RetValXml* r, size_t& properties) {
    properties = 0;
    if (auto* list = dynamic_cast<NamedInstancesXml*>(r)) {
        for (const NamedInstanceXml& item : list->items) properties += item.instance.properties.size();
        return list->items.size();
    }
    if (auto* one = dynamic_cast<NamedInstanceXml*>(r)) {
        properties = one->instance.properties.size();
        return 1;
    }
    return 0;
}

void checkOurs(CimXml& reply, size_t n) {
    size_t properties = 0;
    const size_t instances = namedInstancesIn(reply.getReturnData(), properties);
    if (instances != n || properties != n * benchgen::propertiesPerInstance)
        fail("CimXml read " + std::to_string(instances) + " instances with " + std::to_string(properties) +
             " properties, expected " + std::to_string(n));
}

// The instances of the reply, whether it holds a list or a single one.
std::vector<const InstanceXml*> instancesOf(CimXml& reply) {
    std::vector<const InstanceXml*> out;
    RetValXml* r = reply.getReturnData();
    if (auto* list = dynamic_cast<NamedInstancesXml*>(r))
        for (const NamedInstanceXml& item : list->items) out.push_back(&item.instance);
    else if (auto* one = dynamic_cast<NamedInstanceXml*>(r))
        out.push_back(&one->instance);
    return out;
}

// What the check after a run renders from a kept model: the bytes of every
// instance's rendering, and how many of them end with the last property.
struct Rendered {
    size_t bytes = 0, complete = 0;
};

Rendered renderKept(CimXml& reply) {
    Rendered r;
    std::string work;
    for (const InstanceXml* instance : instancesOf(reply)) {
        work.clear();
        instance->toStringBuffer(work, "");
        r.bytes += work.size();
        r.complete += work.find("\n-OperationalStatus=") != std::string::npos;
    }
    return r;
}

// Each instance rendered into one work text, cleared before every instance,
// as the reports did before they read while parsing; the rendering is
// checked outside the timing.
double oursRender(const std::string& body, size_t n) {
    const double start = CpuClock::now();
    CimXml reply(body, 0);
    std::string work;
    size_t rendered = 0;
    for (const InstanceXml* instance : instancesOf(reply)) {
        work.clear();
        instance->toStringBuffer(work, "");
        rendered += work.size();
    }
    const double took = CpuClock::now() - start;
    checkOurs(reply, n);
    const Rendered expected = renderKept(reply);
    if (rendered != expected.bytes || expected.complete != n) fail("rendered text misses instances");
    return took;
}

// Off in the child that measures a peak: the streamed run's check parses the
// reply again into a kept model, which would be the larger part of its peak.
// The same run is checked whole when it is timed.
bool checkAgainstModel = true;

// As the reports read an enumeration: each instance rendered into one work
// text, cleared before every instance, as soon as it has been parsed; none is
// kept. The counts and the rendered size are checked outside the timing
// against a parse that keeps the model.
struct RenderEach final : NamedInstanceSink {
    std::string work;
    size_t instances = 0, properties = 0, rendered = 0;
    void take(NamedInstanceXml& item) override {
        work.clear();
        item.instance.toStringBuffer(work, "");
        rendered += work.size();
        properties += item.instance.properties.size();
        ++instances;
    }
};

double oursStreamed(const std::string& body, size_t n) {
    RenderEach each;
    const double start = CpuClock::now();
    {
        CimXml reply(body, 0, &each);
        if (!reply.getReturnData()) fail("CimXml gave no result");
    }
    const double took = CpuClock::now() - start;
    if (each.instances != n || each.properties != n * benchgen::propertiesPerInstance)
        fail("the sink took " + std::to_string(each.instances) + " instances with " +
             std::to_string(each.properties) + " properties, expected " + std::to_string(n));
    if (!checkAgainstModel) return took;
    CimXml kept(body, 0);
    const Rendered expected = renderKept(kept);
    if (each.rendered != expected.bytes || expected.complete != n)
        fail("streamed rendering differs from the kept model's");
    return took;
}

// Every instance appended to one text that keeps them all.
double oursAccumulate(const std::string& body, size_t n) {
    const double start = CpuClock::now();
    CimXml reply(body, 0);
    std::string text;
    for (const InstanceXml* instance : instancesOf(reply)) instance->toStringBuffer(text, "");
    const double took = CpuClock::now() - start;
    checkOurs(reply, n);
    if (countOf(text, "\n-OperationalStatus=") != n) fail("rendered text misses instances");
    return took;
}

double oursParse(const std::string& body, size_t n) {
    const double start = CpuClock::now();
    CimXml reply(body, 0);
    RetValXml* r = reply.getReturnData();
    const double took = CpuClock::now() - start;
    if (!r) fail("CimXml gave no result");
    checkOurs(reply, n);
    return took;
}

xmlNodePtr childNamed(xmlNodePtr parent, const char* name) {
    for (xmlNodePtr c = parent ? parent->children : nullptr; c; c = c->next)
        if (c->type == XML_ELEMENT_NODE && std::strcmp(reinterpret_cast<const char*>(c->name), name) == 0) return c;
    return nullptr;
}

double libxml2(const std::string& body, size_t n) {
    const double start = CpuClock::now();
    xmlDocPtr doc = xmlReadMemory(body.data(), static_cast<int>(body.size()), "reply.xml", nullptr, 0);
    const double took = CpuClock::now() - start;
    if (!doc) fail("libxml2 refused the reply");
    std::unique_ptr<xmlDoc, void (*)(xmlDocPtr)> owner(doc, xmlFreeDoc);
    xmlNodePtr node = xmlDocGetRootElement(doc);
    for (const char* step : {"MESSAGE", "SIMPLERSP", "IMETHODRESPONSE", "IRETURNVALUE"}) node = childNamed(node, step);
    size_t instances = 0;
    for (xmlNodePtr c = node ? node->children : nullptr; c; c = c->next)
        if (c->type == XML_ELEMENT_NODE) ++instances;
    if (instances != n) fail("libxml2 read " + std::to_string(instances) + " instances");
    return took;
}

double pugi(const std::string& body, size_t n) {
    pugi::xml_document doc;
    const double start = CpuClock::now();
    const pugi::xml_parse_result ok = doc.load_buffer(body.data(), body.size());
    const double took = CpuClock::now() - start;
    if (!ok) fail(std::string("pugixml refused the reply: ") + ok.description());
    const pugi::xml_node list =
        doc.child("CIM").child("MESSAGE").child("SIMPLERSP").child("IMETHODRESPONSE").child("IRETURNVALUE");
    const size_t instances = static_cast<size_t>(std::distance(list.children().begin(), list.children().end()));
    if (instances != n) fail("pugixml read " + std::to_string(instances) + " instances");
    return took;
}

struct Parser {
    const char* key;     // name on the --peak command line
    const char* title;   // column heading
    double (*run)(const std::string& body, size_t n);
};

// Column order of the table.
constexpr Parser parsers[] = {
    {"rbz-stream", "rbz streamed", oursStreamed},
    {"rbz", "rbz parse+render", oursRender},
    {"rbz-parse", "rbz parse only", oursParse},
    {"rbz-accumulate", "rbz parse+render all", oursAccumulate},
    {"libxml2", "libxml2 xmlReadMemory", libxml2},
    {"pugixml", "pugixml load_buffer", pugi},
};
constexpr size_t parserCount = sizeof parsers / sizeof parsers[0];
enum { Streamed, Ours, OursParse, OursAccumulate, LibXml2, Pugi };

const Parser* parserNamed(std::string_view key) {
    for (const Parser& p : parsers)
        if (key == p.key) return &p;
    return nullptr;
}

// ---------------------------------------------------------------- timing

// Best of at least three runs, more while they take less than a second and
// a half together.
double bestOf(const Parser& p, const std::string& body, size_t n) {
    double best = 1e300, total = 0;
    for (int rep = 0; rep < 50 && (rep < 3 || total < 1.5); ++rep) {
        const double t = p.run(body, n);
        best = std::min(best, t);
        total += t;
    }
    return best;
}

// ---------------------------------------------------------------- peak memory

long statusKb(const char* field) {
    std::ifstream in("/proc/self/status");
    std::string line;
    const size_t len = std::strlen(field);
    while (std::getline(in, line))
        if (line.compare(0, len, field) == 0) return std::atol(line.c_str() + len);
    return -1;
}

// Child side: the body is made first; the peak is then reset, so that what
// the process reaches afterwards is the body plus the parser's own memory.
int peakChild(const Parser& p, size_t n) {
    checkAgainstModel = false;
    std::string body = benchgen::enumerateInstancesReply(n);
    body.shrink_to_fit();
    {
        std::ofstream reset("/proc/self/clear_refs");
        reset << "5";
    }
    const long baseline = statusKb("VmRSS:");
    p.run(body, n);
    std::printf("%ld %ld\n", baseline, statusKb("VmHWM:"));
    return 0;
}

struct Peak {
    long baselineKb = 0, hwmKb = 0, maxrssKb = 0;
};

Peak measurePeak(const char* self, const Parser& p, size_t n) {
    int fds[2];
    if (pipe(fds) != 0) fail("pipe failed");
    const pid_t pid = fork();
    if (pid < 0) fail("fork failed");
    if (pid == 0) {
        dup2(fds[1], 1);
        close(fds[0]);
        close(fds[1]);
        const std::string count = std::to_string(n);
        execl(self, self, "--peak", p.key, count.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    close(fds[1]);
    std::string out;
    char chunk[256];
    for (ssize_t got; (got = read(fds[0], chunk, sizeof chunk)) > 0;) out.append(chunk, static_cast<size_t>(got));
    close(fds[0]);
    int status = 0;
    rusage usage{};
    if (wait4(pid, &status, 0, &usage) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        fail(std::string("peak run of ") + p.key + " failed");
    Peak peak;
    std::istringstream(out) >> peak.baselineKb >> peak.hwmKb;
    peak.maxrssKb = usage.ru_maxrss;
    return peak;
}

// ---------------------------------------------------------------- report

std::string cpuModel() {
    std::ifstream in("/proc/cpuinfo");
    std::string line;
    while (std::getline(in, line))
        if (line.compare(0, 10, "model name") == 0) return line.substr(line.find(':') + 2);
    return "unknown";
}

const char* verdict(bool ok) { return ok ? "met" : "MISSED"; }

struct Options {
    std::vector<size_t> sizes{1000, 10000, 100000};
    std::vector<const Parser*> chosen;   // all when empty
    bool peak = true;
};

void printTable(const Options& o, std::vector<std::vector<double>>& secPerMb) {
    std::printf("%9s %8s", "N", "body MB");
    for (const Parser* p : o.chosen) std::printf(" %21s", p->title);
    std::printf("\n");
    for (size_t n : o.sizes) {
        const std::string body = benchgen::enumerateInstancesReply(n);
        const double mb = static_cast<double>(body.size()) / 1e6;
        std::vector<double> row(parserCount, 0.0);
        std::printf("%9zu %8.1f", n, mb);
        for (const Parser* p : o.chosen) {
            const double t = bestOf(*p, body, n);
            row[static_cast<size_t>(p - parsers)] = t / mb;
            std::printf(" %21.1f", mb / t);
            std::fflush(stdout);
        }
        std::printf("\n");
        secPerMb.push_back(row);
    }
}

// Extra memory of each parser over the body, at the largest size.
std::vector<double> printPeaks(const char* self, const Options& o) {
    const size_t n = o.sizes.back();
    const double bodyMb = static_cast<double>(benchgen::enumerateInstancesReply(n).size()) / 1e6;
    std::printf("\npeak memory at N = %zu (body %.1f MB), one fresh process per parser:\n", n, bodyMb);
    std::printf("%21s %14s %14s %14s %8s %14s\n", "parser", "RSS before MB", "peak RSS MB", "parser MB", "x body",
                "ru_maxrss MB");
    std::vector<double> ratio(parserCount, 0.0);
    for (const Parser* p : o.chosen) {
        const Peak peak = measurePeak(self, *p, n);
        const double extraMb = static_cast<double>(peak.hwmKb - peak.baselineKb) * 1024 / 1e6;
        ratio[static_cast<size_t>(p - parsers)] = extraMb / bodyMb;
        std::printf("%21s %14.1f %14.1f %14.1f %8.2f %14.1f\n", p->title, peak.baselineKb * 1024 / 1e6,
                    peak.hwmKb * 1024 / 1e6, extraMb, extraMb / bodyMb, peak.maxrssKb * 1024 / 1e6);
    }
    return ratio;
}

bool chose(const Options& o, size_t index) {
    return std::find(o.chosen.begin(), o.chosen.end(), &parsers[index]) != o.chosen.end();
}

// The targets, for the two ways of reading and rendering: the streamed one
// (the way the reports read an enumeration) decides the exit status.
bool printTargets(const Options& o, const std::vector<std::vector<double>>& secPerMb, const std::vector<double>& ratio) {
    bool allMet = true;
    auto target = [&allMet](const std::string& what, double value, double limit, bool strict, bool judged) {
        const bool ok = strict ? value < limit : value <= limit;
        if (judged) allMet = allMet && ok;
        std::printf("  %-58s %6.2f  %s\n", what.c_str(), value, verdict(ok));
    };
    std::printf("\ntargets (time ratios, below 1 means rbz is faster):\n");
    for (const size_t ours : {static_cast<size_t>(Streamed), static_cast<size_t>(Ours)}) {
        if (!chose(o, ours)) continue;
        const bool judged = ours == Streamed;
        const std::string name = parsers[ours].title;
        for (size_t s = 0; s < o.sizes.size(); ++s) {
            const std::vector<double>& row = secPerMb[s];
            const std::string at = " at N = " + std::to_string(o.sizes[s]);
            if (chose(o, LibXml2)) target(name + " / libxml2 (< 1)" + at, row[ours] / row[LibXml2], 1, true, judged);
            if (chose(o, Pugi)) target(name + " / pugixml (<= 2)" + at, row[ours] / row[Pugi], 2, false, judged);
        }
        const std::vector<double>& small = secPerMb.front();
        const std::vector<double>& large = secPerMb.back();
        if (o.sizes.size() > 1)
            target(name + ": time per MB, largest N / smallest (<= 1.2)", large[ours] / small[ours], 1.2, false,
                   judged);
        if (o.peak) target(name + ": peak memory / body at largest N (< 4)", ratio[ours], 4, true, judged);
    }
    const std::vector<double>& small = secPerMb.front();
    const std::vector<double>& large = secPerMb.back();
    std::printf("\nlinearity, time per MB at N = %zu over N = %zu:", o.sizes.back(), o.sizes.front());
    for (const Parser* p : o.chosen) {
        const size_t i = static_cast<size_t>(p - parsers);
        std::printf("  %s %.2f", p->key, large[i] / small[i]);
    }
    std::printf("\n");
    return allMet;
}

int runTable(const char* self, Options o) {
    if (o.chosen.empty())
        for (const Parser& p : parsers) o.chosen.push_back(&p);
    std::printf("machine: %s, %ld cores; compiler %s; libxml2 %s; pugixml %d.%d\n", cpuModel().c_str(),
                sysconf(_SC_NPROCESSORS_ONLN), __VERSION__, LIBXML_DOTTED_VERSION, PUGIXML_VERSION / 1000,
                PUGIXML_VERSION % 1000 / 10);
    std::printf("throughput in MB/s (1 MB = 10^6 bytes) of CPU time, best of at least 3 runs; trees freed "
                "outside the timing\n\n");
    std::vector<std::vector<double>> secPerMb;   // [size][parser]
    printTable(o, secPerMb);
    const std::vector<double> ratio = o.peak ? printPeaks(self, o) : std::vector<double>(parserCount, 0.0);
    return printTargets(o, secPerMb, ratio) ? 0 : 3;
}

template <class T, class Read>
std::vector<T> listOf(const char* text, Read read) {
    std::vector<T> items;
    std::istringstream in(text);
    for (std::string item; std::getline(in, item, ',');) items.push_back(read(item));
    if (items.empty()) fail("empty list");
    return items;
}

size_t sizeFrom(const std::string& item) {
    const long v = std::atol(item.c_str());
    if (v <= 0) fail("bad size " + item);
    return static_cast<size_t>(v);
}

const Parser* parserFrom(const std::string& item) {
    const Parser* p = parserNamed(item);
    if (!p) fail("no parser " + item);
    return p;
}

[[noreturn]] void usage() {
    std::fprintf(stderr, "usage: rbz_bench [--sizes N,N,...] [--parsers rbz,rbz-parse,rbz-accumulate,libxml2,pugixml] "
                         "[--no-peak]\n       rbz_bench --dump N\n");
    std::exit(2);
}

}  // namespace

int main(int argc, char** argv) {
    xmlInitParser();
    const std::string_view mode = argc > 1 ? argv[1] : "";
    if (mode == "--dump" && argc == 3) {
        const std::string body = benchgen::enumerateInstancesReply(sizeFrom(argv[2]));
        std::fwrite(body.data(), 1, body.size(), stdout);
        return 0;
    }
    if (mode == "--peak" && argc == 4) return peakChild(*parserFrom(argv[2]), sizeFrom(argv[3]));

    Options o;
    for (int i = 1; i < argc; ++i) {
        const std::string_view arg = argv[i];
        if (arg == "--sizes" && i + 1 < argc)
            o.sizes = listOf<size_t>(argv[++i], sizeFrom);
        else if (arg == "--parsers" && i + 1 < argc)
            o.chosen = listOf<const Parser*>(argv[++i], parserFrom);
        else if (arg == "--no-peak")
            o.peak = false;
        else
            usage();
    }
    return runTable("/proc/self/exe", o);
}
