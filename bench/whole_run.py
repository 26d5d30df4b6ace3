#!/usr/bin/env python3
"""Whole runs of rbz against their floor: curl fetching the same bytes.

    python3 bench/whole_run.py [--rbz build-wb/rbz] [--runs 9] [--only large,scaling,startup,trips]

rbz runs one command per process, so what a user waits for is the whole run:
start-up, the TLS handshake, the requests, and reading and printing the
reply. Four tables:

1. Large replies. bench/static_server.py serves, from memory, the
   simulator's replies for an event log of 100,000 entries and 2,000 drives.
   `rbz event info` and `rbz disk info` are timed against one curl process
   that sends the very same three requests (headers and bodies as rbz sent
   them, taken from the server's log) over one connection, in alternating
   runs. Printed: median wall and CPU time of each, the median of the
   per-pair ratios rbz / curl, and peak resident memory of both, rbz's also
   as a multiple of the reply size. Targets: ratio <= 1.3; rbz's peak <= 4x
   the reply.
2. Scaling. `rbz event info` at 1,000, 10,000 and 100,000 events; time per
   event once the time of a run with a one-entry log (start-up, handshake,
   round trips) is taken off. Target: 100,000 within 1.2x of 1,000.
3. Start-up. `rbz -v` against `curl --version`. Target: ratio <= 1.2.
4. Round trips, against the simulator (sim/rbz_sim.py): TLS connections and requests
   of a query and of a change command, and the wall time of both when the
   simulator waits 50 ms before every reply. Targets: one connection per
   run; 3 requests per query, 6 per change; the delay adds no more than
   6 x 50 ms (+10 %) to the change command.

Every rbz output is checked before anything is timed: the table rows of
`event info` and `disk info` are compared line by line with the data set,
and curl's requests with rbz's. The exit status is 0 when every target is
met, 3 when one is missed and 1 when something did not work.
"""

import argparse
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
SIM = os.path.join(REPO, "sim", "rbz_sim.py")
STATIC_SERVER = os.path.join(HERE, "static_server.py")
sys.path.insert(0, HERE)
sys.path.insert(0, os.path.join(REPO, "tests", "e2e"))

import simctl                      # noqa: E402
import static_server               # noqa: E402

USER, PASSWORD, CONTROLLER_PASSWORD = "root", "secret", "0000"
SERVER_START_TIMEOUT = 60.0


class BenchError(RuntimeError):
    pass


# ---------------------------------------------------------------------------
# Processes

class Sample:
    def __init__(self, wall, cpu, rss_kb):
        self.wall = wall          # seconds, spawn to exit
        self.cpu = cpu            # user + system seconds of the child
        self.rss_kb = rss_kb      # ru_maxrss of the child


# A child's ru_maxrss starts at the resident size of the process it was
# forked from (the kernel carries the high-water mark across exec), so a child
# of this Python process would never show less than this process's own size.
# GNU time forks the measured program from a process of about 1 MB and
# reports that program's ru_maxrss; it is used for the peak when at hand.
GNU_TIME = "/usr/bin/time" if os.access("/usr/bin/time", os.X_OK) else None


def run_timed(cmd, stdin_path=None, stdout_path=None, peak=True):
    """Runs `cmd` to its end; (Sample, exit status). Output goes to /dev/null unless named.

    With `peak`, the peak resident size is taken through GNU time (which adds
    its own fork and exec, well under a millisecond, to the wall time).
    """
    peak_file = None
    if peak and GNU_TIME:
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
        process.returncode = os.waitstatus_to_exitcode(status)
        rss_kb = usage.ru_maxrss
        if peak_file:
            with open(peak_file) as text:
                numbers = re.findall(r"^(\d+)$", text.read(), re.M)
            rss_kb = int(numbers[-1]) if numbers else None
    finally:
        if peak_file:
            os.remove(peak_file)
    return Sample(wall, usage.ru_utime + usage.ru_stime, rss_kb), process.returncode


# The columns of /proc/stat's "cpu" line that say where the machine's time
# went: user, nice, system, idle, iowait, irq, softirq, steal (guest time is
# counted in user already).
STAT_IDLE, STAT_STEAL, STAT_COLUMNS = 3, 7, 8


def cpu_times():
    """The machine's CPU time counters, all CPUs together; None without /proc/stat."""
    try:
        with open("/proc/stat") as stat:
            fields = stat.readline().split()
    except OSError:
        return None
    if len(fields) < STAT_COLUMNS + 1 or fields[0] != "cpu":
        return None
    return [int(x) for x in fields[1:STAT_COLUMNS + 1]]


def time_shares(before, after):
    """(idle, steal) as fractions of all CPU time between two cpu_times()."""
    if before is None or after is None:
        return None
    spent = [b - a for a, b in zip(before, after)]
    total = sum(spent)
    if total <= 0:
        return None
    return spent[STAT_IDLE] / total, spent[STAT_STEAL] / total


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

    def __init__(self, events=None, drives=None):
        self.dir = tempfile.mkdtemp(prefix="rbz-wholerun-")
        self.log_path = os.path.join(self.dir, "requests.jsonl")
        cmd = [sys.executable, STATIC_SERVER, "--request-log", self.log_path]
        if events is not None:
            cmd += ["--events", str(events)]
        if drives is not None:
            cmd += ["--drives", str(drives)]
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


def check_report(path, rows, title):
    """The report in `path` is the title block, the heading, `rows`, the separator."""
    with open(path, "r", encoding="utf-8", errors="replace", newline="") as text:
        lines = text.read().split("\n")
    dash = "=" * 117
    if lines[-1] != "":
        raise BenchError("%s: output does not end with a line end" % title)
    lines = lines[:-1]
    head = ["\r" + dash, title, dash]
    if lines[:3] != head or lines[-1] != dash:
        raise BenchError("%s: title block or closing line differs" % title)
    body = lines[4:-1]
    if len(body) != len(rows):
        raise BenchError("%s: %d rows printed, %d expected" % (title, len(body), len(rows)))
    for number, (got, want) in enumerate(zip(body, rows)):
        if got != want:
            raise BenchError("%s: row %d is %r, expected %r" % (title, number + 1, got, want))
    return len(lines)


# ---------------------------------------------------------------------------
# Large replies: rbz against curl on the same server

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
        # rbz's libcurl sends neither of these; the curl tool would.
        cmd += ["-H", "User-Agent:", "-H", "Accept:", "-H", "Expect:"]
        cmd += ["--data-binary", "@" + body_path, "-o", os.devnull, url]
    return cmd


def header_set(record):
    return sorted((name.lower(), value) for name, value in record["headers"])


class QueryResult:
    def __init__(self, label, reply_bytes, rbz, curl, connections, built, shares=None):
        self.label = label
        self.shares = shares      # (idle, steal) of the machine during the timed runs
        self.reply_bytes = reply_bytes
        self.rbz = rbz
        self.curl = curl
        self.connections = connections
        self.built = built

    def ratio(self):
        return statistics.median(r.wall / c.wall for r, c in zip(self.rbz, self.curl))

    def cpu_ratio(self):
        return statistics.median(r.cpu / c.cpu for r, c in zip(self.rbz, self.curl))

    @staticmethod
    def median(samples, attr):
        return statistics.median(getattr(s, attr) for s in samples)

    def peak_mb(self, samples):
        return max(s.rss_kb for s in samples) / 1024.0


def measure_query(server, rbz, words, rows, title, runs, work_dir, with_curl=True):
    """Checks the report once, then times `runs` alternating runs of rbz and curl."""
    password_file = os.path.join(work_dir, "password")
    with open(password_file, "w") as out:
        out.write(PASSWORD + "\n")
    rbz_cmd = [rbz, "-i", "127.0.0.1:%d" % server.port, "-u", USER] + words
    output = os.path.join(work_dir, "output.txt")

    # Warm-up: the server makes its replies; the output is checked.
    server.new_records()
    sample, status = run_timed(rbz_cmd, password_file, output)
    if status != 0:
        raise BenchError("%s: rbz ended with status %d" % (title, status))
    check_report(output, rows, title)
    records = server.new_records()
    requests = [r for r in records if r["event"] == "request"]
    if [r.get("status") for r in requests] != [200, 200, 200]:
        raise BenchError("%s: the warm-up run made %s" % (title, [(r["method"], r.get("status"))
                                                                    for r in requests]))
    reply_bytes = requests[-1]["bytes"]

    curl_cmd = curl_command(requests, server.port, work_dir) if with_curl else None
    if with_curl:
        # curl must send what rbz sent: same headers, same bodies.
        sample, status = run_timed(curl_cmd)
        if status != 0:
            raise BenchError("%s: curl ended with status %d" % (title, status))
        sent = [r for r in server.new_records() if r["event"] == "request"]
        if ([header_set(r) for r in sent] != [header_set(r) for r in requests]
                or [r["body"] for r in sent] != [r["body"] for r in requests]):
            raise BenchError("%s: curl's requests differ from rbz's:\n%s\n%s"
                             % (title, [header_set(r) for r in sent], [header_set(r) for r in requests]))

    rbz_samples, curl_samples = [], []
    times_before = cpu_times()
    for run in range(runs):
        order = [("rbz", rbz_cmd), ("curl", curl_cmd)]
        if run % 2:
            order.reverse()
        for name, cmd in order:
            if cmd is None:
                continue
            sample, status = run_timed(cmd, password_file if name == "rbz" else None)
            if status != 0:
                raise BenchError("%s: %s ended with status %d" % (title, name, status))
            (rbz_samples if name == "rbz" else curl_samples).append(sample)
    shares = time_shares(times_before, cpu_times())
    records = server.new_records()
    connections = sum(1 for r in records if r["event"] == "connection")
    built = sum(1 for r in records if r.get("built"))
    return QueryResult(" ".join(words), reply_bytes, rbz_samples, curl_samples, connections, built, shares)


# ---------------------------------------------------------------------------
# Output

class Verdicts:
    def __init__(self):
        self.rows = []

    def add(self, target, result, met):
        self.rows.append((target, result, met))

    def all_met(self):
        return all(met for _, _, met in self.rows)


def mark(met):
    return "met" if met else "**missed**"


def ms(seconds):
    return "%.1f" % (seconds * 1000.0)


def print_table(header, rows):
    print("| " + " | ".join(header) + " |")
    print("|" + "|".join("---:" if i else "---" for i in range(len(header))) + "|")
    for row in rows:
        print("| " + " | ".join(str(c) for c in row) + " |")
    print()


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
    return "%s, %d CPUs, %d MB RAM, Linux %s, Python %s; %s" % (
        model, os.cpu_count(), total, platform.release(), platform.python_version(),
        " ".join(curl.split()[:5]))


# ---------------------------------------------------------------------------
# The four benchmarks

def bench_large(rbz, runs, events, drives, work_dir, verdicts):
    print("## 1. Large replies (%d events, %d drives), %d runs each, alternating\n"
          % (events, drives, runs))
    # The peak of runs with one event and one drive: what rbz holds apart
    # from the reply (libraries, TLS, the class definitions of the first
    # requests).
    base_peak = {}
    server = StaticServer(1, 1)
    try:
        for words, rows, title in ((["event", "info"], expected_event_rows(1), "Event Log:"),
                                   (["disk", "info"], expected_disk_rows(1), "Disk(s) Information:")):
            small = measure_query(server, rbz, words, rows, title, 3, work_dir, with_curl=False)
            base_peak[small.label] = small.peak_mb(small.rbz)
    finally:
        server.stop()
    server = StaticServer(events, drives)
    try:
        results = [
            measure_query(server, rbz, ["event", "info"], expected_event_rows(events),
                          "Event Log:", runs, work_dir),
            measure_query(server, rbz, ["disk", "info"], expected_disk_rows(drives),
                          "Disk(s) Information:", runs, work_dir),
        ]
    finally:
        server.stop()
    rows = []
    for r in results:
        rbz_peak = r.peak_mb(r.rbz)
        rows.append([r.label, "%.1f" % (r.reply_bytes / 1e6),
                     ms(r.median(r.rbz, "wall")), ms(r.median(r.curl, "wall")), "%.2f" % r.ratio(),
                     ms(r.median(r.rbz, "cpu")), ms(r.median(r.curl, "cpu")), "%.2f" % r.cpu_ratio(),
                     "%.1f" % rbz_peak, "%.1f" % r.peak_mb(r.curl),
                     "%.2f" % (rbz_peak * 1024 * 1024 / r.reply_bytes),
                     "%.2f" % ((rbz_peak - base_peak[r.label]) * 1024 * 1024 / r.reply_bytes)])
        if r.built:
            raise BenchError("%s: the server made %d replies during the timed runs" % (r.label, r.built))
    print_table(["command", "reply MB", "rbz ms", "curl ms", "rbz/curl", "rbz CPU ms", "curl CPU ms",
                 "CPU rbz/curl", "rbz peak MB", "curl peak MB", "rbz peak / reply",
                 "(rbz peak - small run) / reply"], rows)
    print("Times: medians; rbz/curl: median of the per-pair ratios of wall times. Reply: the "
          "EnumerateInstances body. Peaks: the largest ru_maxrss of the runs; \"small run\": the "
          "same command with one event and one drive (%s). TLS connections in the timed runs: %s "
          "(one per process).\n"
          % (", ".join("%s %.1f MB" % (label, peak) for label, peak in base_peak.items()),
             ", ".join("%s %d for %d processes" % (r.label, r.connections, 2 * runs) for r in results)))
    # Server, curl and rbz share these CPUs; time the host of a virtual
    # machine gives to others (steal) is time none of them had.
    shares = ["%s: idle %.1f %%, steal %.1f %%" % (r.label, 100 * r.shares[0], 100 * r.shares[1])
              for r in results if r.shares]
    if shares:
        print("The machine's CPU time during the timed runs (/proc/stat, all CPUs): %s.\n"
              % "; ".join(shares))
    for r in results:
        verdicts.add("`rbz %s` within 1.3x of curl" % r.label, "%.2f" % r.ratio(), r.ratio() <= 1.3)
        peak = r.peak_mb(r.rbz) * 1024 * 1024 / r.reply_bytes
        verdicts.add("`rbz %s` peak memory <= 4x the reply" % r.label, "%.2f" % peak, peak <= 4.0)
    return results[0]


def bench_scaling(rbz, runs, sizes, largest, work_dir, verdicts):
    print("## 2. Scaling of `rbz event info`\n")
    measured = {}
    # The baseline is a log of one entry: an empty enumeration ends in
    # "Nothing Returned" before any report is printed.
    for size in [1] + sizes:
        if largest is not None and size == largest.reply_bytes_events:
            measured[size] = largest
            continue
        server = StaticServer(size, None)
        try:
            # Small sizes are quick and noisy: more runs.
            count = runs if size >= 100000 else max(runs, 15)
            measured[size] = measure_query(server, rbz, ["event", "info"], expected_event_rows(size),
                                           "Event Log:", count, work_dir)
        finally:
            server.stop()
    base = measured[1]
    base_wall = base.median(base.rbz, "wall")
    base_cpu = base.median(base.rbz, "cpu")
    rows = []
    per_event = {}
    for size in sizes:
        r = measured[size]
        wall = r.median(r.rbz, "wall")
        cpu = r.median(r.rbz, "cpu")
        curl_wall = r.median(r.curl, "wall")
        per_event[size] = ((wall - base_wall) / (size - 1), (cpu - base_cpu) / (size - 1))
        rows.append(["{:,}".format(size), "%.1f" % (r.reply_bytes / 1e6), ms(wall), ms(cpu),
                     "%.2f" % (per_event[size][0] * 1e6), "%.2f" % (per_event[size][1] * 1e6),
                     ms(curl_wall), "%.2f" % r.ratio(), "%.1f" % r.peak_mb(r.rbz)])
    print("One event: rbz %s ms wall, %s ms CPU; curl %s ms.\n"
          % (ms(base_wall), ms(base_cpu), ms(base.median(base.curl, "wall"))))
    print_table(["events", "reply MB", "rbz ms", "rbz CPU ms", "us/event", "CPU us/event",
                 "curl ms", "rbz/curl", "rbz peak MB"], rows)
    print("us/event: (median at N - median at one event) / (N - 1): the cost of an event, "
          "without start-up, handshake and round trips.\n")
    small, big = sizes[0], sizes[-1]
    ratio = per_event[big][0] / per_event[small][0]
    cpu_ratio = per_event[big][1] / per_event[small][1]
    # Wall times of small runs wait on the server more than large ones do, so
    # the wall ratio alone can hide growth that CPU time shows; both count.
    verdicts.add("time per event at {:,} within 1.2x of {:,}".format(big, small),
                 "wall %.2f, CPU %.2f" % (ratio, cpu_ratio), max(ratio, cpu_ratio) <= 1.2)


def bench_startup(rbz, runs, verdicts):
    print("## 3. Start-up, %d runs each, alternating\n" % runs)
    samples = {"rbz": [], "curl": []}
    peaks = {"rbz": [], "curl": []}
    commands = [("rbz", [rbz, "-v"]), ("curl", ["curl", "--version"])]
    for run in range(runs):
        for name, cmd in (commands if run % 2 == 0 else commands[::-1]):
            # Timed without GNU time in between: its fork would be a good part
            # of a run this short. The peak comes from three more runs.
            sample, status = run_timed(cmd, peak=False)
            if status != 0:
                raise BenchError("%s ended with status %d" % (" ".join(cmd), status))
            samples[name].append(sample)
    for name, cmd in commands * 3:
        peaks[name].append(run_timed(cmd)[0].rss_kb or 0)
    ratio = statistics.median(r.wall / c.wall for r, c in zip(samples["rbz"], samples["curl"]))
    rows = []
    for name, cmd in commands:
        s = samples[name]
        rows.append(["`%s`" % " ".join([name] + cmd[1:]), ms(statistics.median(x.wall for x in s)),
                     ms(statistics.median(x.cpu for x in s)), "%.1f" % (max(peaks[name]) / 1024)])
    print_table(["command", "wall ms", "CPU ms", "peak MB"], rows)
    print("rbz / curl: %.2f (median of the per-pair ratios of wall times)\n" % ratio)
    verdicts.add("`rbz -v` within 1.2x of `curl --version`", "%.2f" % ratio, ratio <= 1.2)


def sim_failed_handshakes(sim):
    match = re.search(r"(\d+) TLS connection\(s\), (\d+) failed handshake", sim.stderr())
    return (int(match.group(1)), int(match.group(2))) if match else (None, None)


def bench_round_trips(rbz, runs, delay_ms, work_dir, verdicts):
    print("## 4. Round trips, against the simulator\n")
    query_password = os.path.join(work_dir, "password")
    change_password = os.path.join(work_dir, "passwords")
    with open(query_password, "w") as out:
        out.write(PASSWORD + "\n")
    with open(change_password, "w") as out:
        out.write(PASSWORD + "\n" + CONTROLLER_PASSWORD + "\n")
    output = os.path.join(work_dir, "output.txt")
    commands = [
        ("query", ["event", "info"], query_password, 3, "Event Log:"),
        ("change", ["sys", "beeperon"], change_password, 6, " OK "),
    ]
    servers = [("sim/rbz_sim.py", SIM)]
    rows = []
    walls = {}
    for server, sim_path in servers:
        for delay in (0, delay_ms):
            sim = simctl.start(sim_path, ["--delay-ms", str(delay)])
            try:
                for kind, words, password, requests, shows in commands:
                    cmd = [rbz, "-i", "127.0.0.1:%d" % sim.port, "-u", USER] + words
                    samples = []
                    for run in range(runs):
                        before = sim.connections()
                        sim.requests()
                        sample, status = run_timed(cmd, password, output, peak=False)
                        with open(output, encoding="utf-8", errors="replace") as text:
                            printed = text.read()
                        if status != 0 or shows not in printed:
                            raise BenchError("rbz %s: status %d, output %r" % (" ".join(words), status,
                                                                             printed[:200]))
                        sent = sim.requests()
                        connections = sim.connections() - before
                        samples.append(sample)
                        if run == 0 and delay == 0 and sim_path == SIM:
                            rows.append(["`rbz %s`" % " ".join(words), connections, len(sent),
                                         ", ".join(m for m, _ in sent)])
                            verdicts.add("`rbz %s`: one connection, %d requests"
                                         % (" ".join(words), requests),
                                         "%d connection(s), %d requests" % (connections, len(sent)),
                                         connections == 1 and len(sent) == requests)
                    walls[(server, kind, delay)] = statistics.median(s.wall for s in samples)
            finally:
                sim.stop()
                tls, failed = sim_failed_handshakes(sim)
                sim.cleanup()
            if failed:
                raise BenchError("the simulator saw %d failed TLS handshakes" % failed)
    print_table(["command", "TLS connections", "requests", "in order"], rows)
    print("Each TLS connection is one TCP connection and one full handshake; the simulator "
          "reported no failed handshake.\n")
    timing = []
    for server, _ in servers:
        for kind, words, _, requests, _ in commands:
            base, slow = walls[(server, kind, 0)], walls[(server, kind, delay_ms)]
            added = slow - base
            floor = requests * delay_ms / 1000.0
            timing.append(["`rbz %s`" % " ".join(words), server, ms(base), ms(slow), ms(added),
                           "%d x %d = %d" % (requests, delay_ms, requests * delay_ms),
                           "%.2f" % (slow / floor)])
            if kind == "change":
                verdicts.add("`rbz %s`, %d ms before each reply: at most %d x %d ms (+10 %%) more "
                             "than without" % (" ".join(words), delay_ms, requests, delay_ms),
                             "%s ms more, %s ms in all" % (ms(added), ms(slow)), added <= floor * 1.1)
    print_table(["command", "simulator", "ms, no delay", "ms, %d ms delay" % delay_ms, "added ms",
                 "requests x delay", "wall / (requests x delay)"], timing)
    print("Medians of %d runs each.\n" % runs)


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--rbz", default=os.path.join(REPO, "build-wb", "rbz"))
    parser.add_argument("--runs", type=int, default=9, help="timed runs of each program (default 9)")
    parser.add_argument("--events", type=int, default=100000)
    parser.add_argument("--drives", type=int, default=2000)
    parser.add_argument("--sizes", default="1000,10000,100000", help="event counts of the scaling table")
    parser.add_argument("--startup-runs", type=int, default=41)
    parser.add_argument("--delay-ms", type=int, default=50)
    parser.add_argument("--only", default="large,scaling,startup,trips",
                        help="comma-separated subset of large,scaling,startup,trips")
    args = parser.parse_args(argv)
    if not os.access(args.rbz, os.X_OK):
        print("whole_run: no rbz at %s" % args.rbz, file=sys.stderr)
        return 1
    if shutil.which("curl") is None:
        print("whole_run: curl is needed", file=sys.stderr)
        return 1
    only = set(args.only.split(","))
    sizes = [int(s) for s in args.sizes.split(",")]

    print("# Whole runs: rbz against curl\n")
    print("Machine: %s\n" % machine())
    verdicts = Verdicts()
    work_dir = tempfile.mkdtemp(prefix="rbz-wholerun-")
    try:
        largest = None
        if "large" in only:
            largest = bench_large(args.rbz, args.runs, args.events, args.drives, work_dir, verdicts)
            largest.reply_bytes_events = args.events
        if "scaling" in only:
            bench_scaling(args.rbz, args.runs, sizes, largest, work_dir, verdicts)
        if "startup" in only:
            bench_startup(args.rbz, args.startup_runs, verdicts)
        if "trips" in only:
            bench_round_trips(args.rbz, max(3, args.runs // 2), args.delay_ms, work_dir, verdicts)
    except (BenchError, simctl.SimError) as error:
        print("whole_run: %s" % error, file=sys.stderr)
        return 1
    finally:
        shutil.rmtree(work_dir, ignore_errors=True)

    print("## Targets\n")
    print_table(["target", "result", ""], [[t, r, mark(m)] for t, r, m in verdicts.rows])
    return 0 if verdicts.all_met() else 3


if __name__ == "__main__":
    sys.exit(main())
