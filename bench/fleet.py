#!/usr/bin/env python3
"""rbz-exporter and rbz --check on a fleet of simulated hosts.

    python3 bench/fleet.py --rbz build-bench/rbz --exporter build-bench/rbz-exporter
                           [--hosts 100] [--runs 15] [--scrape-timeout 10] [--probes-max N]

1. The burst: N simulated hosts (one sim/rbz_sim.py process each, in the five
   host states in turn) and one exporter; N GET /probe requests sent at once,
   each with X-Prometheus-Scrape-Timeout-Seconds. Printed: how many were
   answered with rbz_up 1 within the scrape timeout, the slowest answer. A
   second burst, with /proc sampled, gives the memory of the probe children;
   the exporter's own peak (VmHWM) is read after both.
2. One probe against one `rbz --check` on the same (healthy) host, run in
   turn, one at a time: medians of the wall times (from sending the request
   to the last byte of the answer; from spawning rbz to its exit).
3. `rbz --check` against `rbz sys info` plus the transfer of the three
   enumerations that --check reads beyond sys info's (RAID sets, volume sets,
   drives): curl sends the four enumerations that --check sent (bodies and
   CIM headers from the simulator's request log) over one connection, and
   the three extra transfers' times (curl's time_total of each, on the
   connection already open) are added to the sys info run of the same round.

Targets (printed, judged; exit status 0 all met, 3 one missed, 1 the
benchmark could not run): every probe of the burst answered within the
scrape timeout; exporter's peak resident memory at most 64 MB; probe median
at most 1.2x the --check median; --check at most 1.2x sys info plus the
three extra transfers.
"""

import argparse
import http.client
import json
import os
import platform
import re
import select
import shutil
import signal
import socket
import statistics
import subprocess
import sys
import tempfile
import threading
import time

HERE = os.path.dirname(os.path.abspath(__file__))
REPO = os.path.dirname(HERE)
SIM = os.path.join(REPO, "sim", "rbz_sim.py")
USER, PASSWORD = "root", "secret"
STATES = ["healthy", "degraded", "rebuilding", "failed-disk", "hot-disk"]
MIN_RUNS = 11
EXPORTER_RSS_LIMIT_MB = 64.0
RATIO_LIMIT = 1.2


class BenchError(RuntimeError):
    pass


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def write_private(path, text):
    fd = os.open(path, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o600)
    with os.fdopen(fd, "w") as out:
        out.write(text)


# ---------------------------------------------------------------------------
# Simulated hosts

class Sims:
    """Simulator processes started together; each prints `PORT n` first."""

    def __init__(self, work):
        self.work = work
        self.processes = []
        self.ports = []

    def start(self, specs, timeout=120.0):
        """specs: argument lists. Returns the ports, in the order of specs."""
        started = []
        for number, extra in enumerate(specs):
            err = open(os.path.join(self.work, "sim%d.err" % (len(self.processes) + number)), "wb")
            p = subprocess.Popen([sys.executable, SIM, "--port", "0"] + extra,
                                 stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=err)
            err.close()
            started.append(p)
            self.processes.append(p)
        ports = []
        deadline = time.monotonic() + timeout
        for p in started:
            line = b""
            while not line.endswith(b"\n"):
                left = deadline - time.monotonic()
                ready = select.select([p.stdout], [], [], max(left, 0))[0] if left > 0 else []
                if not ready:
                    raise BenchError("a simulator did not start within %.0f s" % timeout)
                chunk = os.read(p.stdout.fileno(), 1)
                if not chunk:
                    raise BenchError("a simulator ended at start (status %s)" % p.wait())
                line += chunk
            text = line.decode().strip()
            if not text.startswith("PORT "):
                raise BenchError("simulator's first line: %r" % text)
            ports.append(int(text[5:]))
        self.ports += ports
        return ports

    def stop(self):
        for p in self.processes:
            if p.poll() is None:
                p.send_signal(signal.SIGTERM)
        for p in self.processes:
            try:
                p.wait(timeout=10)
            except subprocess.TimeoutExpired:
                p.kill()
                p.wait()
            if p.stdout:
                p.stdout.close()


# ---------------------------------------------------------------------------
# The exporter

class Exporter:
    def __init__(self, program, work, probes_max):
        config = os.path.join(work, "rbz-exporter.yml")
        write_private(config, "modules:\n  default:\n    user: %s\n    password: %s\n"
                              "    timeout: 20\n" % (USER, PASSWORD))
        self.port = free_port()
        argv = [program, "--config.file", config, "--web.listen-address", "127.0.0.1:%d" % self.port]
        if probes_max:
            argv += ["--probes.max", str(probes_max)]
        self.log = os.path.join(work, "rbz-exporter.log")
        with open(self.log, "wb") as log:
            self.process = subprocess.Popen(argv, stdin=subprocess.DEVNULL, stdout=log,
                                            stderr=subprocess.STDOUT)
        deadline = time.monotonic() + 20
        while True:
            try:
                status, _ = self.get("/", timeout=1)
                if status == 200:
                    break
            except OSError:
                pass
            if self.process.poll() is not None or time.monotonic() > deadline:
                raise BenchError("the exporter did not start: " + open(self.log).read()[-2000:])
            time.sleep(0.05)

    def get(self, path, headers=None, timeout=60):
        conn = http.client.HTTPConnection("127.0.0.1", self.port, timeout=timeout)
        try:
            conn.request("GET", path, headers=headers or {})
            reply = conn.getresponse()
            return reply.status, reply.read()
        finally:
            conn.close()

    def probe(self, port, scrape_timeout):
        return self.get("/probe?target=127.0.0.1:%d&module=default" % port,
                        {"X-Prometheus-Scrape-Timeout-Seconds": "%g" % scrape_timeout},
                        timeout=scrape_timeout + 30)

    def status_kb(self, field, pid=None):
        return proc_status_kb(pid or self.process.pid, field)

    def stop(self):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
        try:
            self.process.wait(timeout=10)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()


def metric_value(body, name):
    m = re.search(rb"^%s(?:\{[^}]*\})? (\S+)$" % re.escape(name.encode()), body, re.M)
    return float(m.group(1)) if m else None


# ---------------------------------------------------------------------------
# /proc

def proc_status_kb(pid, field):
    try:
        with open("/proc/%d/status" % pid) as status:
            for line in status:
                if line.startswith(field + ":"):
                    return int(line.split()[1])
    except OSError:
        pass
    return None


def proc_pss_kb(pid):
    try:
        with open("/proc/%d/smaps_rollup" % pid) as rollup:
            for line in rollup:
                if line.startswith("Pss:"):
                    return int(line.split()[1])
    except OSError:
        pass
    return None


def children_of(parent, strangers):
    """The processes whose parent is `parent`; `strangers` (a set kept by the
    caller) holds the process ids found to be others', not read again."""
    found = []
    for name in os.listdir("/proc"):
        if not name.isdigit() or name in strangers:
            continue
        try:
            with open("/proc/%s/stat" % name) as stat:
                text = stat.read()
        except OSError:
            continue
        fields = text[text.rfind(")") + 2:].split()
        if len(fields) > 1 and int(fields[1]) == parent:
            found.append(int(name))
        else:
            strangers.add(name)
    return found


class ChildSampler(threading.Thread):
    """Samples the exporter's children until stopped: per child the largest
    VmHWM and Pss seen, per sample the sum of VmRSS and of Pss."""

    def __init__(self, parent):
        super().__init__(daemon=True)
        self.parent = parent
        self.done = threading.Event()
        self.ready = threading.Event()     # set after the first listing of /proc
        self.hwm, self.pss = {}, {}
        self.max_rss_sum = self.max_pss_sum = 0
        self.max_children = 0
        self.samples = 0

    def run(self):
        strangers = set()
        while not self.done.is_set():
            rss_sum = pss_sum = 0
            children = children_of(self.parent, strangers)
            for pid in children:
                hwm, rss, pss = (proc_status_kb(pid, "VmHWM"), proc_status_kb(pid, "VmRSS"),
                                 proc_pss_kb(pid))
                if hwm is not None:
                    self.hwm[pid] = max(self.hwm.get(pid, 0), hwm)
                if pss is not None:
                    self.pss[pid] = max(self.pss.get(pid, 0), pss)
                rss_sum += rss or 0
                pss_sum += pss or 0
            self.max_rss_sum = max(self.max_rss_sum, rss_sum)
            self.max_pss_sum = max(self.max_pss_sum, pss_sum)
            self.max_children = max(self.max_children, len(children))
            self.samples += 1
            self.ready.set()
            time.sleep(0.001)


# ---------------------------------------------------------------------------
# 1. The burst

def burst(exporter, ports, scrape_timeout, sampler=None):
    """All probes at once; [(latency s, status, rbz_up)] in the order of ports."""
    results = [None] * len(ports)
    gate = threading.Barrier(len(ports) + 1)

    def one(index, port):
        conn = http.client.HTTPConnection("127.0.0.1", exporter.port, timeout=scrape_timeout + 30)
        path = "/probe?target=127.0.0.1:%d&module=default" % port
        try:
            conn.connect()
            gate.wait()
            start = time.monotonic()
            conn.request("GET", path, headers={
                "X-Prometheus-Scrape-Timeout-Seconds": "%g" % scrape_timeout})
            reply = conn.getresponse()
            body = reply.read()
            results[index] = (time.monotonic() - start, reply.status, metric_value(body, "rbz_up"))
        except Exception as error:              # reported as an unanswered probe
            results[index] = (None, str(error), None)
        finally:
            conn.close()

    threads = [threading.Thread(target=one, args=(i, p)) for i, p in enumerate(ports)]
    if sampler:
        sampler.start()
        sampler.ready.wait()
    for t in threads:
        t.start()
    gate.wait()
    for t in threads:
        t.join()
    if sampler:
        sampler.done.set()
        sampler.join()
    return results


# ---------------------------------------------------------------------------
# 2 and 3: one host, runs in turn

def run_wall(argv):
    start = time.monotonic()
    p = subprocess.run(argv, stdin=subprocess.DEVNULL, capture_output=True)
    return time.monotonic() - start, p.returncode, p.stdout


def request_records(log_path):
    with open(log_path) as log:
        return [json.loads(line) for line in log if line.strip()]


def curl_extra_command(enumerations, port, work):
    """One curl process, one connection: the four enumerations of --check;
    -w prints each transfer's time_total and new connections."""
    url = "https://127.0.0.1:%d/cimom" % port
    cmd = ["curl"]
    for number, record in enumerate(enumerations):
        body = os.path.join(work, "enum%d.xml" % number)
        with open(body, "w") as out:
            out.write(record["body"])
        if number:
            cmd.append("--next")
        cmd += ["-k", "-s", "-S", "-u", "%s:%s" % (USER, PASSWORD),
                "-H", "Content-Type: application/xml; charset=\"utf-8\"",
                "-H", "CIMOperation: %s" % record["operation"],
                "-H", "CIMMethod: %s" % record["method"],
                "-H", "CIMObject: %s" % record["object"],
                "-H", "User-Agent:", "-H", "Accept:", "-H", "Expect:",
                "-w", "%{http_code} %{num_connects} %{size_download} %{time_total}\\n",
                "--data-binary", "@" + body, "-o", os.devnull, url]
    return cmd


def enumerated_class(record):
    m = re.search(r'<IPARAMVALUE NAME="ClassName">\s*<CLASSNAME NAME="([^"]+)"', record["body"])
    return m.group(1) if m else None


def median(values):
    return statistics.median(values)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--rbz", required=True)
    parser.add_argument("--exporter", required=True)
    parser.add_argument("--hosts", type=int, default=100)
    parser.add_argument("--runs", type=int, default=15)
    parser.add_argument("--scrape-timeout", type=float, default=10.0)
    parser.add_argument("--probes-max", type=int, default=0,
                        help="the exporter's --probes.max (default: the exporter's own)")
    options = parser.parse_args()
    if options.runs < MIN_RUNS:
        parser.error("--runs: at least %d" % MIN_RUNS)
    for tool in ("curl",):
        if not shutil.which(tool):
            print("fleet.py: %s not found" % tool, file=sys.stderr)
            return 1

    work = tempfile.mkdtemp(prefix="rbz-fleet-")
    sims = Sims(work)
    try:
        return run(options, work, sims)
    except BenchError as error:
        print("fleet.py: %s" % error, file=sys.stderr)
        return 1
    finally:
        sims.stop()
        shutil.rmtree(work, ignore_errors=True)


def run(options, work, sims):
    password_file = os.path.join(work, "esxi.password")
    write_private(password_file, PASSWORD + "\n")

    # The host of parts 2 and 3 first (it makes the certificate if needed),
    # with a request log; then the fleet.
    log_path = os.path.join(work, "requests.jsonl")
    [single] = sims.start([["--state", "healthy", "--request-log", log_path]])
    t0 = time.monotonic()
    fleet = sims.start([["--state", STATES[i % len(STATES)]] for i in range(options.hosts)])
    print("%d simulated hosts started in %.1f s" % (len(fleet), time.monotonic() - t0))

    exporter = Exporter(options.exporter, work, options.probes_max)
    try:
        return measure(options, work, exporter, single, fleet, password_file, log_path)
    finally:
        exporter.stop()


def measure(options, work, exporter, single, fleet, password_file, log_path):
    load = os.getloadavg()
    cpu = "?"
    with open("/proc/cpuinfo") as info:
        for line in info:
            if line.startswith("model name"):
                cpu = line.split(":", 1)[1].strip()
                break
    print("Machine: %s, %d vCPUs; Python %s; load average %.2f at the start"
          % (cpu, os.cpu_count(), platform.python_version(), load[0]))

    # ---- 1. The burst (twice: timed, then with /proc sampled)
    timeout = options.scrape_timeout
    results = burst(exporter, fleet, timeout)
    answered = [r for r in results if r[0] is not None and r[1] == 200]
    in_time = [r for r in answered if r[0] < timeout]
    up = [r for r in in_time if r[2] == 1.0]
    latencies = sorted(r[0] for r in answered)
    sampler = ChildSampler(exporter.process.pid)
    burst(exporter, fleet, timeout, sampler)
    exporter_hwm = exporter.status_kb("VmHWM") / 1024.0
    exporter_rss = exporter.status_kb("VmRSS") / 1024.0

    print()
    print("### %d probes at once, scrape timeout %g s" % (len(fleet), timeout))
    print()
    print("| probes | answered (200) | within the timeout | rbz_up 1 | median s | slowest s |")
    print("|---:|---:|---:|---:|---:|---:|")
    print("| %d | %d | %d | %d | %.2f | %.2f |" % (
        len(fleet), len(answered), len(in_time), len(up),
        median(latencies) if latencies else float("nan"), latencies[-1] if latencies else float("nan")))
    print()
    print("| memory | MB |")
    print("|---|---:|")
    print("| exporter, peak resident (VmHWM, after both bursts) | %.1f |" % exporter_hwm)
    print("| exporter, resident now (VmRSS) | %.1f |" % exporter_rss)
    print("| probe children, largest sum of resident (VmRSS) at one sample | %.1f |"
          % (sampler.max_rss_sum / 1024.0))
    print("| probe children, largest sum of proportional (Pss) at one sample | %.1f |"
          % (sampler.max_pss_sum / 1024.0))
    print("| probe children, sum of each child's peak resident (VmHWM) | %.1f |"
          % (sum(sampler.hwm.values()) / 1024.0))
    print("| probe children, sum of each child's largest Pss seen | %.1f |"
          % (sum(sampler.pss.values()) / 1024.0))
    print()
    print("(%d children of %d probes seen in %d samples of /proc, at most %d at once; a child "
          "that lived between two samples is not counted.)"
          % (len(sampler.hwm), len(fleet), sampler.samples, sampler.max_children))

    # ---- 2 and 3: one host, in turn
    target = "127.0.0.1:%d" % single
    check_cmd = [options.rbz, "-i", target, "-u", USER, "--check", "--password-file", password_file]
    sysinfo_cmd = [options.rbz, "-i", target, "-u", USER, "--password-file", password_file, "sys", "info"]

    # What --check sends, from the simulator's log.
    open(log_path, "w").close()
    _, status, out = run_wall(check_cmd)
    if status != 0 or not out.startswith(b"RAID OK"):
        raise BenchError("rbz --check on the healthy host: status %d, %r" % (status, out[:200]))
    records = [r for r in request_records(log_path) if r.get("event") == "request"]
    enumerations = [r for r in records if r.get("method") == "EnumerateInstances"]
    classes = [enumerated_class(r) for r in enumerations]
    if len(enumerations) != 4 or classes[0] != "Quilo_RAIDControllerSystem":
        raise BenchError("--check's enumerations: %r" % classes)
    curl_dir = os.path.join(work, "curl")
    os.mkdir(curl_dir)
    curl_cmd = curl_extra_command(enumerations, single, curl_dir)

    def curl_extra():
        p = subprocess.run(curl_cmd, capture_output=True, text=True)
        lines = p.stdout.split()
        rows = [lines[i:i + 4] for i in range(0, len(lines), 4)]
        if p.returncode != 0 or len(rows) != 4 or any(r[0] != "200" for r in rows) \
                or [r[1] for r in rows] != ["1", "0", "0", "0"]:
            raise BenchError("curl: status %d, %r %s" % (p.returncode, rows, p.stderr))
        return sum(float(r[3]) for r in rows[1:]), sum(int(r[2]) for r in rows[1:])

    _, status, out = run_wall(sysinfo_cmd)
    if status != 0:
        raise BenchError("rbz sys info: status %d" % status)
    status, body = exporter.probe(single, timeout)
    if status != 200 or metric_value(body, "rbz_up") != 1.0:
        raise BenchError("probe of the healthy host: %s %r" % (status, body[:300]))
    extra_bytes = curl_extra()[1]

    probes, checks, sysinfos, extras = [], [], [], []
    for run_number in range(options.runs):
        steps = ["probe", "check", "sysinfo", "curl"]
        if run_number % 2:
            steps.reverse()
        for step in steps:
            if step == "probe":
                start = time.monotonic()
                status, body = exporter.probe(single, timeout)
                probes.append(time.monotonic() - start)
                if status != 200 or metric_value(body, "rbz_up") != 1.0:
                    raise BenchError("probe: %s" % status)
            elif step == "check":
                wall, status, _ = run_wall(check_cmd)
                if status != 0:
                    raise BenchError("rbz --check: status %d" % status)
                checks.append(wall)
            elif step == "sysinfo":
                wall, status, _ = run_wall(sysinfo_cmd)
                if status != 0:
                    raise BenchError("rbz sys info: status %d" % status)
                sysinfos.append(wall)
            else:
                extras.append(curl_extra()[0])
    probe_ratio = median([p / c for p, c in zip(probes, checks)])
    base = [s + e for s, e in zip(sysinfos, extras)]
    check_ratio = median([c / b for c, b in zip(checks, base)])

    print()
    print("### One host (healthy), %d runs in turn" % options.runs)
    print()
    print("| run | median ms |")
    print("|---|---:|")
    print("| GET /probe (request to last byte) | %.1f |" % (1000 * median(probes)))
    print("| `rbz --check` (spawn to exit) | %.1f |" % (1000 * median(checks)))
    print("| `rbz sys info` (spawn to exit) | %.1f |" % (1000 * median(sysinfos)))
    print("| three extra enumerations on an open connection (curl, %d bytes) | %.1f |"
          % (extra_bytes, 1000 * median(extras)))
    print()
    print("| target | measured | limit |  |")
    print("|---|---:|---:|---|")
    rows = [
        ("probes of the burst answered with rbz_up 1 within %g s" % timeout,
         "%d / %d" % (len(up), len(fleet)), "%d" % len(fleet), len(up) == len(fleet)),
        ("exporter's peak resident memory", "%.1f MB" % exporter_hwm,
         "%g MB" % EXPORTER_RSS_LIMIT_MB, exporter_hwm <= EXPORTER_RSS_LIMIT_MB),
        ("probe against `rbz --check` (median of the ratios)", "%.2fx" % probe_ratio,
         "%.1fx" % RATIO_LIMIT, probe_ratio <= RATIO_LIMIT),
        ("`rbz --check` against sys info + three transfers", "%.2fx" % check_ratio,
         "%.1fx" % RATIO_LIMIT, check_ratio <= RATIO_LIMIT),
    ]
    for name, measured, limit, met in rows:
        print("| %s | %s | %s | %s |" % (name, measured, limit, "met" if met else "**missed**"))
    return 3 if any(not met for _, _, _, met in rows) else 0


if __name__ == "__main__":
    sys.exit(main())
