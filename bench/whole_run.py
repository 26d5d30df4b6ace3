#!/usr/bin/env python3
"""Whole runs of rbz against curl sending the same requests to the same server.

    python3 bench/whole_run.py --rbz build-bench/rbz [--runs 15] [--only realistic,extreme,memory]

rbz runs one command per process, so what a user waits for is the whole run:
start-up, the TLS handshake, three requests, reading the reply and printing
the report. bench/static_server.py answers from memory with the simulator's
replies scaled to N events / M drives (or padded to a given size); curl sends
the very same three requests (headers and bodies as rbz sent them, taken from
the server's request log) over one connection. The servers of one table run
side by side and the runs go round them: rbz and curl on the first server,
then on the second, and so on, the order of rbz and curl swapped every round,
so that a change in the machine's load falls on every figure alike. The
figures are medians; rbz/curl is the median of the ratios of the two runs of
a round.

1. Realistic replies: `event info` at 1,000 and 5,000 events, `disk info` at
   128 drives, `vsf inq vol=1`. Targets: rbz at most 1.8x curl; peak memory
   of the 5,000-event run at most 24 MB.
2. The extreme: `event info` at 1,000, 10,000 and 100,000 events. Targets:
   100,000 at most 3.0x curl; the cost of each further event from 10,000 to
   100,000 within 1.3x of its cost from 1,000 to 10,000.
3. Memory: every query command with a reply of about 200 MB. Target: peak
   resident memory (ru_maxrss) of rbz at most 2.5x the reply.
4. Over all of them: one TLS connection per rbz process, counted by the
   server.

Every rbz output is checked before anything is timed (report rows against
the data set, padded replies against the same command's output without
padding), and curl's requests against rbz's. Exit status: 0 when every
target is met, 3 when one is missed, 1 when something did not work.
"""

import argparse
import datetime
import json
import os
import platform
import re
import select
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
REPO = os.path.dirname(HERE)
STATIC_SERVER = os.path.join(HERE, "static_server.py")
sys.path.insert(0, HERE)

import static_server               # noqa: E402

USER, PASSWORD = "root", "secret"
SERVER_START_TIMEOUT = 60.0
MIN_RUNS = 11
PEAK_RUNS = 3


class BenchError(RuntimeError):
    pass


# ---------------------------------------------------------------------------
# Processes

class Sample:
    def __init__(self, wall, cpu, rss_kb):
        self.wall = wall          # seconds, spawn to exit
        self.cpu = cpu            # user + system seconds of the child
        self.rss_kb = rss_kb      # ru_maxrss of the child (through GNU time), or None


# A child's ru_maxrss starts at the peak of the process it was forked from
# (the kernel carries the high-water mark across exec), so a child of this
# Python process would never show less than this process's own peak. GNU time
# forks the measured program from a process of about 1 MB and reports that
# program's ru_maxrss; peaks are taken through it, in runs of their own.
GNU_TIME = "/usr/bin/time"


def run_timed(cmd, stdin_path=None, stdout_path=None, peak=False):
    """Runs `cmd` to its end; (Sample, exit status). Output goes to /dev/null unless named."""
    peak_file = None
    if peak:
        fd, peak_file = tempfile.mkstemp(prefix="rbz-peak-")
        os.close(fd)
        cmd = [GNU_TIME, "-f", "%M", "-o", peak_file, "--"] + list(cmd)
    try:
        with open(stdin_path or os.devnull, "rb") as fin, \
                open(stdout_path or os.devnull, "wb") as fout, \
                open(os.devnull, "wb") as ferr:
            start = time.perf_counter()
            process = subprocess.Popen(cmd, stdin=fin, stdout=fout, stderr=ferr)
            _, status, usage = os.wait4(process.pid, 0)
            wall = time.perf_counter() - start
        rss_kb = None
        if peak_file:
            with open(peak_file) as text:
                numbers = re.findall(r"^(\d+)$", text.read(), re.M)
            rss_kb = int(numbers[-1]) if numbers else None
    finally:
        if peak_file:
            os.remove(peak_file)
    return Sample(wall, usage.ru_utime + usage.ru_stime, rss_kb), os.waitstatus_to_exitcode(status)


# The columns of /proc/stat's "cpu" line: user, nice, system, idle, iowait,
# irq, softirq, steal.
STAT_IDLE, STAT_STEAL, STAT_COLUMNS = 3, 7, 8


class CpuShares:
    """The machine's idle and steal time over the timed runs, all CPUs together."""

    def __init__(self):
        self.spent = [0] * STAT_COLUMNS
        self.before = None

    @staticmethod
    def read():
        try:
            with open("/proc/stat") as stat:
                fields = stat.readline().split()
        except OSError:
            return None
        if len(fields) < STAT_COLUMNS + 1 or fields[0] != "cpu":
            return None
        return [int(x) for x in fields[1:STAT_COLUMNS + 1]]

    def start(self):
        self.before = self.read()

    def stop(self):
        after = self.read()
        if self.before and after:
            self.spent = [s + b - a for s, a, b in zip(self.spent, self.before, after)]

    def shares(self):
        total = sum(self.spent)
        return (self.spent[STAT_IDLE] / total, self.spent[STAT_STEAL] / total) if total else None


def read_port(process, what):
    deadline = time.monotonic() + SERVER_START_TIMEOUT
    line = b""
    while not line.endswith(b"\n"):
        remaining = deadline - time.monotonic()
        ready, _, _ = select.select([process.stdout], [], [], max(remaining, 0))
        if not ready:
            raise BenchError("%s did not start" % what)
        byte = os.read(process.stdout.fileno(), 1)
        if not byte:
            raise BenchError("%s ended at start" % what)
        line += byte
    text = line.decode().strip()
    if not text.startswith("PORT "):
        raise BenchError("%s said %r" % (what, text))
    return int(text[5:])


class StaticServer:
    """bench/static_server.py with its own request log."""

    def __init__(self, events=None, drives=None, pad=None):
        self.dir = tempfile.mkdtemp(prefix="rbz-bench-")
        self.log_path = os.path.join(self.dir, "requests.jsonl")
        cmd = [sys.executable, STATIC_SERVER, "--request-log", self.log_path]
        for option, value in (("--events", events), ("--drives", drives), ("--pad", pad)):
            if value is not None:
                cmd += [option, str(value)]
        self.process = subprocess.Popen(cmd, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL)
        try:
            self.port = read_port(self.process, "static server")
        except BenchError:
            self.stop()
            raise
        self.offset = 0

    def new_records(self):
        """Log records written since the previous call."""
        with open(self.log_path, "rb") as log:
            log.seek(self.offset)
            data = log.read()
        complete = data[:data.rfind(b"\n") + 1]
        self.offset += len(complete)
        return [json.loads(line) for line in complete.splitlines() if line.strip()]

    def stop(self):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
            try:
                self.process.wait(timeout=10)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
        self.process.stdout.close()
        shutil.rmtree(self.dir, ignore_errors=True)


# ---------------------------------------------------------------------------
# What rbz must print for the data set

def expected_event_rows(events):
    controller = static_server.scaled_controller(events, None)
    return ["%-9d%-33s%-33s%-33s%-20s" % (i + 1, e["Time"], e["Type"], e["Description"], e["Data1"])
            for i, e in enumerate(controller.events)]


def expected_disk_rows(drives):
    controller = static_server.scaled_controller(None, drives)
    rows = []
    for i, key in enumerate(sorted(controller.drives)):
        d = controller.drives[key]
        if d["Usage"] == "Unavailable":
            continue
        usage = d["Usage"] if d["RaidSetNumber"] == 255 or d["Usage"] else d["UsageExt"]
        rows.append("%-9d%-16s%-16s%-28s%-16s%-16s" % (i + 1, d["Enc"], d["Slot"], d["ModelName"],
                                                       d["DeviceType"], usage))
    return rows


def report_check(rows, title):
    """A check that the output is the title block, the heading, `rows`, the separator."""
    def check(path):
        with open(path, "r", encoding="utf-8", errors="replace", newline="") as text:
            lines = text.read().split("\n")
        dash = "=" * 117
        if lines[-1] != "":
            raise BenchError("%s: output does not end with a line end" % title)
        lines = lines[:-1]
        if lines[:3] != ["\r" + dash, title, dash] or lines[-1] != dash:
            raise BenchError("%s: title block or closing line differs" % title)
        body = lines[4:-1]
        if len(body) != len(rows):
            raise BenchError("%s: %d rows printed, %d expected" % (title, len(body), len(rows)))
        for number, (got, want) in enumerate(zip(body, rows)):
            if got != want:
                raise BenchError("%s: row %d is %r, expected %r" % (title, number + 1, got, want))
    return check


def same_output_check(reference, what):
    """A check that the output is `reference` (bytes) and not empty."""
    def check(path):
        with open(path, "rb") as text:
            got = text.read()
        if len(reference) < 200 or got != reference:
            raise BenchError("%s: the output differs from the one without padding (%d against %d "
                             "bytes)" % (what, len(got), len(reference)))
    return check


# ---------------------------------------------------------------------------
# rbz and curl on the same server

SKIPPED_HEADERS = {"host", "authorization", "content-length"}


def curl_command(requests, port, work_dir):
    """One curl process sending `requests` (log records) over one connection."""
    url = "https://127.0.0.1:%d/cimom" % port
    cmd = ["curl"]
    for number, record in enumerate(requests):
        body_path = os.path.join(work_dir, "request%d.xml" % number)
        with open(body_path, "wb") as out:
            out.write(record["body"].encode("utf-8"))
        if number:
            cmd.append("--next")
        cmd += ["-k", "-s", "-S", "-u", "%s:%s" % (USER, PASSWORD)]
        for name, value in record["headers"]:
            if name.lower() not in SKIPPED_HEADERS:
                cmd += ["-H", "%s: %s" % (name, value)]
        # rbz's libcurl sends none of these; the curl tool would.
        cmd += ["-H", "User-Agent:", "-H", "Accept:", "-H", "Expect:"]
        cmd += ["--data-binary", "@" + body_path, "-o", os.devnull, url]
    return cmd


def header_set(record):
    return sorted((name.lower(), value) for name, value in record["headers"])


class Result:
    def __init__(self, label, reply_bytes):
        self.label = label
        self.reply_bytes = reply_bytes
        self.rbz, self.curl, self.peaks = [], [], []
        self.connections = {"rbz": [], "curl": []}     # per process
        self.server = None
        self.commands = {}                              # "rbz", "curl": command lines

    def wall(self, who):
        return statistics.median(s.wall for s in getattr(self, who))

    def cpu(self, who):
        return statistics.median(s.cpu for s in getattr(self, who))

    def ratio(self):
        """Median of the ratios of the pairs of runs next to each other."""
        return statistics.median(r.wall / c.wall for r, c in zip(self.rbz, self.curl))

    def peak_bytes(self):
        return max(s.rss_kb for s in self.peaks) * 1024

    def peak_mb(self):
        return self.peak_bytes() / 1e6

    def peak_per_reply(self):
        return self.peak_bytes() / self.reply_bytes


class Bench:
    def __init__(self, rbz, work_dir):
        self.rbz = rbz
        self.work_dir = work_dir
        self.shares = CpuShares()
        self.password = os.path.join(work_dir, "password")
        with open(self.password, "w") as out:
            out.write(PASSWORD + "\n")
        self.output = os.path.join(work_dir, "output.txt")
        self.results = []

    def rbz_command(self, server, words):
        return [self.rbz, "-i", "127.0.0.1:%d" % server.port, "-u", USER] + words

    def one_run(self, server, result, who, cmd, peak=False):
        sample, status = run_timed(cmd, self.password if who == "rbz" else None, peak=peak)
        if status != 0:
            raise BenchError("%s: %s ended with status %d" % (result.label, who, status))
        records = server.new_records()
        result.connections[who].append(sum(1 for r in records if r["event"] == "connection"))
        built = [r for r in records if r.get("built")]
        if built:
            raise BenchError("%s: the server made a reply during a measured run" % result.label)
        return sample

    def reference(self, server, words):
        """The output of one run of rbz."""
        run_timed(self.rbz_command(server, words), self.password, self.output)
        with open(self.output, "rb") as text:
            return text.read()

    def prepare(self, server, words, check, label=None, with_curl=True):
        """One run of rbz whose output is checked (the server makes its replies), and the
        curl command that sends the same requests, checked to send them."""
        label = label or " ".join(words)
        rbz_cmd = self.rbz_command(server, words)
        server.new_records()
        _, status = run_timed(rbz_cmd, self.password, self.output)
        if status != 0:
            raise BenchError("%s: rbz ended with status %d" % (label, status))
        check(self.output)
        requests = [r for r in server.new_records() if r["event"] == "request"]
        if [r.get("status") for r in requests] != [200, 200, 200]:
            raise BenchError("%s: the warm-up run made %s"
                             % (label, [(r["method"], r.get("status")) for r in requests]))
        result = Result(label, requests[-1]["bytes"])
        result.server, result.commands = server, {"rbz": rbz_cmd}
        if with_curl:
            curl_cmd = curl_command(requests, server.port,
                                    tempfile.mkdtemp(prefix="curl-", dir=self.work_dir))
            _, status = run_timed(curl_cmd)
            if status != 0:
                raise BenchError("%s: curl ended with status %d" % (label, status))
            sent = [r for r in server.new_records() if r["event"] == "request"]
            if ([header_set(r) for r in sent] != [header_set(r) for r in requests]
                    or [r["body"] for r in sent] != [r["body"] for r in requests]):
                raise BenchError("%s: curl's requests differ from rbz's" % label)
            result.commands["curl"] = curl_cmd
        self.results.append(result)
        return result

    def time_runs(self, results, runs):
        """`runs` rounds; each round runs rbz and curl once for every result, in turn, the
        order of the two swapped every round. A change of the machine's load during
        the measurement falls on all of them alike."""
        self.shares.start()
        for run in range(runs):
            for result in results:
                order = ["rbz", "curl"] if run % 2 == 0 else ["curl", "rbz"]
                for who in order:
                    getattr(result, who).append(
                        self.one_run(result.server, result, who, result.commands[who]))
        self.shares.stop()

    def peak_runs(self, result, runs=PEAK_RUNS):
        for _ in range(runs):
            result.peaks.append(self.one_run(result.server, result, "rbz", result.commands["rbz"],
                                             peak=True))


class Servers:
    """Static servers started together and all stopped at the end."""

    def __init__(self):
        self.servers = []

    def start(self, **options):
        server = StaticServer(**options)
        self.servers.append(server)
        return server

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        for server in self.servers:
            server.stop()


# ---------------------------------------------------------------------------
# Output

def ms(seconds):
    return "%.1f" % (seconds * 1000.0)


def mb(n_bytes):
    if n_bytes < 0.1e6:
        return "%.3f" % (n_bytes / 1e6)
    return "%.2f" % (n_bytes / 1e6) if n_bytes < 10e6 else "%.1f" % (n_bytes / 1e6)


def print_table(header, rows):
    print("| " + " | ".join(header) + " |")
    print("|" + "|".join("---:" if i else "---" for i in range(len(header))) + "|")
    for row in rows:
        print("| " + " | ".join(str(c) for c in row) + " |")
    print()


class Targets:
    def __init__(self):
        self.rows = []

    def add(self, target, measured, limit, met):
        self.rows.append([target, measured, limit, "met" if met else "**missed**"])

    def all_met(self):
        return all(row[3] == "met" for row in self.rows)


def machine():
    model = "?"
    with open("/proc/cpuinfo") as info:
        for line in info:
            if line.startswith("model name"):
                model = line.split(":", 1)[1].strip()
                break
    with open("/proc/meminfo") as info:
        total = int(info.readline().split()[1]) // 1024
    curl = subprocess.run(["curl", "--version"], capture_output=True, text=True).stdout.split("\n")[0]
    return "%s, %d vCPUs, %d MB RAM, Linux %s, Python %s, %s" % (
        model, os.cpu_count(), total, platform.release(), platform.python_version(),
        " ".join(curl.split()[:2]))


def commit():
    def git(*args):
        return subprocess.run(["git", "-C", REPO] + list(args), capture_output=True,
                              text=True).stdout.strip()
    head = git("rev-parse", "--short=10", "HEAD") or "?"
    # Changes in bench/ do not change what is measured.
    dirty = git("status", "--porcelain", "--untracked-files=no", "--", ".", ":!bench")
    return head + (" with uncommitted changes" if dirty else "")


# ---------------------------------------------------------------------------
# The benchmarks

EVENT_TITLE, DISK_TITLE = "Event Log:", "Disk(s) Information:"


def timed_row(r):
    return [r.label, mb(r.reply_bytes), ms(r.wall("rbz")), ms(r.wall("curl")), "%.2f" % r.ratio(),
            ms(r.cpu("rbz")), ms(r.cpu("curl"))]


TIMED_HEADER = ["command", "reply MB", "rbz ms", "curl ms", "rbz/curl", "rbz CPU ms", "curl CPU ms"]


def bench_realistic(bench, runs, targets):
    print("## 1. Realistic replies, %d runs each, alternating\n" % runs)
    with Servers() as servers:
        rows = [bench.prepare(servers.start(events=events), ["event", "info"],
                              report_check(expected_event_rows(events), EVENT_TITLE),
                              "event info, {:,} events".format(events)) for events in (1000, 5000)]
        rows.append(bench.prepare(servers.start(drives=128), ["disk", "info"],
                                  report_check(expected_disk_rows(128), DISK_TITLE),
                                  "disk info, 128 drives"))
        server, words = servers.start(), ["vsf", "inq", "vol=1"]
        rows.append(bench.prepare(server, words, same_output_check(bench.reference(server, words),
                                                                   "vsf inq")))
        bench.time_runs(rows, runs)
        five = rows[1]
        bench.peak_runs(five)
    print_table(TIMED_HEADER, [timed_row(r) for r in rows])
    for r in rows:
        targets.add("`%s`: whole run against curl" % r.label, "%.2fx" % r.ratio(), "1.8x",
                    r.ratio() <= 1.8)
    targets.add("`%s`: peak memory" % five.label, "%.1f MB" % five.peak_mb(), "24 MB",
                five.peak_mb() <= 24.0)


def bench_extreme(bench, runs, targets):
    sizes = (1000, 10000, 100000)
    print("## 2. The extreme: `event info` at 1,000, 10,000 and 100,000 events, %d runs each, "
          "alternating\n" % runs)
    with Servers() as servers:
        measured = {events: bench.prepare(servers.start(events=events), ["event", "info"],
                                          report_check(expected_event_rows(events), EVENT_TITLE),
                                          "event info, {:,} events".format(events))
                    for events in sizes}
        bench.time_runs([measured[n] for n in sizes], runs)
    print_table(TIMED_HEADER, [timed_row(measured[n]) for n in sizes])

    def per_event(low, high, what):
        return (getattr(measured[high], what)("rbz") - getattr(measured[low], what)("rbz")) / (high - low)

    cost = {what: (per_event(1000, 10000, what), per_event(10000, 100000, what))
            for what in ("wall", "cpu")}
    rows = [[what, "%.2f" % (low * 1e6), "%.2f" % (high * 1e6), "%.2f" % (high / low)]
            for what, (low, high) in (("wall", cost["wall"]), ("CPU", cost["cpu"]))]
    print_table(["rbz, per further event", "us, 1,000 to 10,000", "us, 10,000 to 100,000",
                 "ratio"], rows)
    print("Per further event: (median at the larger size - median at the smaller) / (difference "
          "in events).\n")
    big = measured[100000]
    targets.add("`%s`: whole run against curl" % big.label, "%.2fx" % big.ratio(), "3.0x",
                big.ratio() <= 3.0)
    low, high = cost["wall"]
    targets.add("cost of a further event, 10,000 to 100,000 against 1,000 to 10,000 (wall; CPU: "
                "%.2f)" % (cost["cpu"][1] / cost["cpu"][0]),
                "%.2f / %.2f us = %.2f" % (high * 1e6, low * 1e6, high / low), "1.3", high / low <= 1.3)


def bench_memory(bench, size, targets):
    print("## 3. Peak memory with a reply of about %d MB, %d runs each\n" % (size / 1e6, PEAK_RUNS))
    # The bytes of an event and of a drive, from the replies at 1,000 of them.
    per_item = {}
    for kind, words in (("events", ["event", "info"]), ("drives", ["disk", "info"])):
        with Servers() as servers:
            per_item[kind] = bench.prepare(servers.start(**{kind: 1000}), words, lambda path: None,
                                           with_curl=False).reply_bytes / 1000
    events, drives = int(size / per_item["events"]), int(size / per_item["drives"])
    enumerations = [(["event", "info"], dict(events=events), dict(events=1),
                     report_check(expected_event_rows(events), EVENT_TITLE)),
                    (["disk", "info"], dict(drives=drives), dict(drives=1),
                     report_check(expected_disk_rows(drives), DISK_TITLE))]
    padded = [["sys", "info"], ["vsf", "info"], ["rsf", "info"], ["vsf", "inq", "vol=1"],
              ["disk", "inq", "enc=2", "slot=8"]]
    rows = []
    for words, big, small, check in enumerations + [(w, dict(pad=size), {}, None) for w in padded]:
        label = " ".join(words)
        # The same command with a small reply: what rbz holds apart from the reply.
        with Servers() as servers:
            server = servers.start(**small)
            reference = bench.reference(server, words)
            small_result = bench.prepare(server, words, same_output_check(reference, label),
                                         with_curl=False)
            bench.peak_runs(small_result)
        with Servers() as servers:
            r = bench.prepare(servers.start(**big), words,
                              check or same_output_check(reference, label), with_curl=False)
            bench.peak_runs(r)
        how = ("{:,} events".format(events) if "events" in big else
               "{:,} drives".format(drives) if "drives" in big else "padded")
        rows.append([r.label, how, mb(r.reply_bytes), "%.1f" % small_result.peak_mb(),
                     "%.1f" % r.peak_mb(), "%.2f" % r.peak_per_reply(),
                     "%.2f" % ((r.peak_bytes() - small_result.peak_bytes()) / r.reply_bytes),
                     ms(statistics.median(s.wall for s in r.peaks))])
        targets.add("`%s`: peak memory against a %s MB reply" % (r.label, mb(r.reply_bytes)),
                    "%.2fx" % r.peak_per_reply(), "2.5x", r.peak_per_reply() <= 2.5)
    print_table(["command", "reply", "reply MB", "peak MB, small reply", "peak MB", "peak / reply",
                 "(peak - small) / reply", "rbz ms"], rows)
    print("Padded: the addressed (or first) instance carries extra string properties of 1,000 "
          "bytes each up to the size; the command prints none of them, and its output is checked "
          "to be the same as without them. Peak: the largest ru_maxrss of the runs (GNU time); "
          "MB are 10^6 bytes. Small reply: the same command with one event, one drive, or no "
          "padding.\n")


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--rbz", default=os.path.join(REPO, "build-bench", "rbz"))
    parser.add_argument("--runs", type=int, default=15,
                        help="timed runs of each program (default 15, at least %d)" % MIN_RUNS)
    parser.add_argument("--reply-mb", type=int, default=200, help="reply size of the memory table")
    parser.add_argument("--only", default="realistic,extreme,memory",
                        help="comma-separated subset of realistic,extreme,memory")
    args = parser.parse_args(argv)
    if not os.access(args.rbz, os.X_OK):
        print("whole_run: no rbz at %s" % args.rbz, file=sys.stderr)
        return 1
    for tool in ("curl", GNU_TIME):
        if shutil.which(tool) is None:
            print("whole_run: %s is needed" % tool, file=sys.stderr)
            return 1
    if args.runs < MIN_RUNS:
        print("whole_run: at least %d runs" % MIN_RUNS, file=sys.stderr)
        return 1
    only = set(args.only.split(","))

    print("# rbz against curl\n")
    print("Machine: %s" % machine())
    print("Date: %s; commit %s; load average at the start %.2f %.2f %.2f\n"
          % ((datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%d %H:%M UTC"), commit())
             + os.getloadavg()))
    targets = Targets()
    work_dir = tempfile.mkdtemp(prefix="rbz-bench-")
    bench = Bench(args.rbz, work_dir)
    try:
        if "realistic" in only:
            bench_realistic(bench, args.runs, targets)
        if "extreme" in only:
            bench_extreme(bench, args.runs, targets)
        if "memory" in only:
            bench_memory(bench, args.reply_mb * 1000 * 1000, targets)
    except BenchError as error:
        print("whole_run: %s" % error, file=sys.stderr)
        return 1
    finally:
        shutil.rmtree(work_dir, ignore_errors=True)

    rbz_runs = [n for r in bench.results for n in r.connections["rbz"]]
    curl_runs = [n for r in bench.results for n in r.connections["curl"]]
    targets.add("TLS connections per rbz run (%d runs; curl: %s per run)"
                % (len(rbz_runs), "/".join(str(n) for n in sorted(set(curl_runs))) or "-"),
                "/".join(str(n) for n in sorted(set(rbz_runs))), "1", set(rbz_runs) == {1})

    shares = bench.shares.shares()
    if shares:
        print("The machine during the timed runs (/proc/stat, all vCPUs): idle %.1f %%, steal "
              "%.1f %%.\n" % (100 * shares[0], 100 * shares[1]))
    print("## Targets\n")
    print_table(["target", "measured", "limit", ""], targets.rows)
    return 0 if targets.all_met() else 3


if __name__ == "__main__":
    sys.exit(main())
