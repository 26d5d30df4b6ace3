#!/usr/bin/env python3
# rbz-exporter under a real Prometheus server: simulated hosts in mixed states
# (healthy, degraded, rebuilding, failed-disk, hot-disk and one that never
# answers), the exporter with a generated configuration, and Prometheus
# (Debian's prometheus package, /usr/bin/prometheus) scraping them through the
# exporter's /probe with the usual relabelling to __param_target, the alerting
# rules of contrib/prometheus loaded. Once every target has been scraped twice
# the series are read back through Prometheus's query API: each host's states
# came through, the silent host is rbz_up 0 within its scrape timeout, and the
# alerts each host should raise are pending or firing.
#
#     python3 tests/e2e/test_prometheus.py --exporter build/rbz-exporter \
#         --sim sim/rbz_sim.py [--prometheus /usr/bin/prometheus] [--sanitized]
#
# Every process it starts runs in a temporary folder of its own and is
# stopped at the end, also when a check fails. The system's prometheus
# service is left alone: the server started here listens on a free port of
# 127.0.0.1 and keeps its data in the temporary folder.

import argparse
import json
import os
import shutil
import signal
import socket
import sys
import tempfile
import time
import urllib.error
import urllib.parse
import urllib.request

HERE = os.path.dirname(os.path.abspath(__file__))
SOURCE = os.path.dirname(os.path.dirname(HERE))
RULES = os.path.join(SOURCE, "contrib", "prometheus", "rbz-alerts.yml")
sys.path.insert(0, HERE)

import exporterctl  # noqa: E402
import simctl  # noqa: E402

STATES = ["healthy", "degraded", "rebuilding", "failed-disk", "hot-disk"]
SILENT = "silent"
USER, PASSWORD = "root", "secret"

EXPECTED_SERIES = {
    "healthy": ([], [], 0, [], [], 0.0),
    "degraded": (["Degraded"], ["Degraded"], 1, None, None, 2.0),
    "rebuilding": (["Rebuilding"], ["Rebuilding"], 0, None, [0.453], 1.0),
    "failed-disk": ([], None, 1, None, None, 2.0),
    "hot-disk": ([], None, 0, [65.0], None, 2.0),
}

# The alerts (contrib/prometheus/rbz-alerts.yml) each host must raise, pending
# or firing; the healthy host raises none.
EXPECTED_ALERTS = {
    "healthy": set(),
    "degraded": {"RbzControllerCritical", "RbzVolumeDegraded", "RbzRaidSetDegraded", "RbzDiskFailed"},
    "rebuilding": {"RbzVolumeRebuilding"},
    "failed-disk": {"RbzControllerCritical", "RbzDiskFailed"},
    "hot-disk": {"RbzControllerCritical", "RbzDiskHot"},
    SILENT: {"RbzTargetDown"},
}


class TestFailure(Exception):
    pass


def free_port():
    with socket.socket(socket.AF_INET, socket.SOCK_STREAM) as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def http_get(url, timeout=5.0):
    """(status, body) of a GET; status None when nothing answered."""
    try:
        with urllib.request.urlopen(url, timeout=timeout) as reply:
            return reply.status, reply.read()
    except urllib.error.HTTPError as error:
        return error.code, error.read()
    except (urllib.error.URLError, OSError):
        return None, b""


def wait_until(what, predicate, timeout, process=None, interval=0.1):
    deadline = time.monotonic() + timeout
    while True:
        if predicate():
            return
        if process is not None and not process.alive():
            raise TestFailure("%s: %s ended (status %s):\n%s" % (
                what, process.name, process.process.returncode, process.log()))
        if time.monotonic() >= deadline:
            raise TestFailure("%s: not within %.0f s" % (what, timeout))
        time.sleep(interval)


def exporter_config(timeout):
    return ("modules:\n"
            "  default:\n"
            "    user: %s\n"
            "    password: %s\n"
            "    timeout: %d\n"
            "    warn_temp: 50\n"
            "    crit_temp: 60\n" % (USER, PASSWORD, timeout))


def prometheus_config(targets, exporter, interval, timeout):
    """The multi-target pattern: each host is a target whose address becomes
    the target= parameter and the instance label; the exporter is what is
    scraped. The exporter's own /metrics is a job of its own."""
    lines = [
        "global:",
        "  scrape_interval: %s" % interval,
        "  scrape_timeout: %s" % timeout,
        "  evaluation_interval: 1s",
        "rule_files:",
        "  - %s" % json.dumps(RULES),
        "scrape_configs:",
        "  - job_name: rbz",
        "    metrics_path: /probe",
        "    params:",
        "      module: [default]",
        "    static_configs:",
        "      - targets:",
    ]
    lines += ["          - %s" % t for t in targets]
    lines += [
        "    relabel_configs:",
        "      - source_labels: [__address__]",
        "        target_label: __param_target",
        "      - source_labels: [__param_target]",
        "        target_label: instance",
        "      - target_label: __address__",
        "        replacement: %s" % exporter,
        "  - job_name: rbz-exporter",
        "    static_configs:",
        "      - targets: [%s]" % exporter,
    ]
    return "\n".join(lines) + "\n"


class Prometheus:
    def __init__(self, base):
        self.base = base

    def api(self, path, **params):
        url = "%s/api/v1/%s" % (self.base, path)
        if params:
            url += "?" + urllib.parse.urlencode(params)
        status, body = http_get(url)
        if status != 200:
            raise TestFailure("GET %s: status %s %r" % (url, status, body[:300]))
        reply = json.loads(body)
        if reply.get("status") != "success":
            raise TestFailure("GET %s: %r" % (url, reply))
        return reply["data"]

    def query(self, expr):
        """[(labels, value)] of an instant vector query."""
        data = self.api("query", query=expr)
        if data["resultType"] != "vector":
            raise TestFailure("%s: a %s, not a vector" % (expr, data["resultType"]))
        return [(r["metric"], float(r["value"][1])) for r in data["result"]]


def by_instance(samples, instance):
    return [(labels, value) for labels, value in samples if labels.get("instance") == instance]


def one_value(prom, expr, instance, problems):
    found = by_instance(prom.query(expr), instance)
    if len(found) != 1:
        problems.append("%s for %s: %d series, not 1" % (expr, instance, len(found)))
        return None
    return found[0][1]


def series_states(prom, metric, instance):
    """{object label values: state} of the state series set to 1."""
    return [labels for labels, value in by_instance(prom.query("%s == 1" % metric), instance)]


def check_host(prom, state, instance, scrape_timeout, problems):
    """What Prometheus holds about one host: appended to `problems`."""
    if state == SILENT:
        if one_value(prom, 'rbz_up{job="rbz"}', instance, problems) not in (0.0, None):
            problems.append("silent host %s: rbz_up is not 0" % instance)
        # The exporter answered (up 1) before Prometheus gave up on it.
        if one_value(prom, 'up{job="rbz"}', instance, problems) not in (1.0, None):
            problems.append("silent host %s: the exporter's answer did not come in time (up 0)"
                            % instance)
        duration = one_value(prom, 'scrape_duration_seconds{job="rbz"}', instance, problems)
        if duration is not None and not duration < scrape_timeout:
            problems.append("silent host %s: scrape took %.3f s, timeout %.1f s"
                            % (instance, duration, scrape_timeout))
        for metric in ("rbz_volume_state", "rbz_disk_state", "rbz_health"):
            if by_instance(prom.query(metric), instance):
                problems.append("silent host %s: has %s series" % (instance, metric))
        return

    if one_value(prom, 'rbz_up{job="rbz"}', instance, problems) not in (1.0, None):
        problems.append("%s host %s: rbz_up is not 1" % (state, instance))
        return
    if one_value(prom, "rbz_controller_info", instance, problems) not in (1.0, None):
        problems.append("%s host %s: rbz_controller_info is not 1" % (state, instance))

    volumes = series_states(prom, "rbz_volume_state", instance)
    raidsets = series_states(prom, "rbz_raidset_state", instance)
    disks = series_states(prom, "rbz_disk_state", instance)
    health = one_value(prom, "rbz_health", instance, problems)
    if not volumes or not raidsets or not disks:
        problems.append("%s host %s: %d volume, %d RAID set, %d drive state series"
                        % (state, instance, len(volumes), len(raidsets), len(disks)))
        return
    # Per state: the volume and RAID set states other than Normal, the failed
    # drives, the temperatures of 50 C or more, the rebuild progress and the
    # health (None: not checked for that state).
    volume_states, raidset_states, failed, hot, progress_values, wanted_health = EXPECTED_SERIES[state]
    odd = lambda objects: sorted(o["state"] for o in objects if o["state"] != "Normal")  # noqa: E731
    failed_disks = [(d["enclosure"], d["slot"]) for d in disks if d["state"] == "Failed"]
    temperatures = by_instance(prom.query("rbz_disk_temperature_celsius"), instance)
    hot_disks = [(labels["enclosure"], labels["slot"], value) for labels, value in temperatures if value >= 50]
    progress = by_instance(prom.query("rbz_volume_rebuild_progress_ratio"), instance)
    for what, got, wanted in (("volume states other than Normal", odd(volumes), volume_states),
                              ("RAID set states other than Normal", odd(raidsets), raidset_states),
                              ("failed drives", len(failed_disks), failed),
                              ("drives at 50 C or more", [t for _, _, t in hot_disks], hot),
                              ("rebuild progress", [round(v, 6) for _, v in progress], progress_values),
                              ("health", health, wanted_health)):
        if wanted is not None and got != wanted:
            problems.append("%s host %s: %s %r, expected %r" % (state, instance, what, got, wanted))
    rebuilding = [v["volume"] for v in volumes if v["state"] == "Rebuilding"]
    if progress and [labels.get("volume") for labels, _ in progress] != rebuilding:
        problems.append("%s host %s: rebuild progress of volumes %r, rebuilding %r"
                        % (state, instance, [labels.get("volume") for labels, _ in progress], rebuilding))
    for enc, slot, _ in hot_disks if hot else []:   # a drive over the critical limit
        disk_health = by_instance(prom.query('rbz_disk_health{enclosure="%s",slot="%s"}' % (enc, slot)), instance)
        if [v for _, v in disk_health] != [2.0]:
            problems.append("%s host %s: hot drive %s/%s health %r" % (state, instance, enc, slot, disk_health))


def check_alerts(prom, hosts, problems):
    raised = {}
    for alert in prom.api("alerts")["alerts"]:
        if alert.get("state") in ("pending", "firing"):
            raised.setdefault(alert["labels"].get("instance"), set()).add(alert["labels"]["alertname"])
    for state, instance in hosts.items():
        got = raised.get(instance, set())
        if got != EXPECTED_ALERTS[state]:
            problems.append("%s host %s: alerts %s, expected %s"
                            % (state, instance, sorted(got), sorted(EXPECTED_ALERTS[state])))


def run(options, work):
    started = []          # everything to stop, in the order of starting
    sims = []
    try:
        # The hosts: one simulator process each.
        hosts = {}
        for state in STATES + [SILENT]:
            extra = ["--silent"] if state == SILENT else ["--state", state]
            sims.append(simctl.start(options.sim, extra))
            hosts[state] = "127.0.0.1:%d" % sims[-1].port
        print("hosts: %s" % ", ".join("%s %s" % item for item in hosts.items()))

        # The exporter on a port of its choice (it says which on standard error).
        exporter = exporterctl.Exporter(options.exporter, exporter_config(20))
        started.append(exporter)
        exporter.wait_listening()
        exporter_address = "127.0.0.1:%d" % exporter.port

        # Prometheus, on a port of its own, data in the work folder.
        prom_config = os.path.join(work, "prometheus.yml")
        with open(prom_config, "w") as out:
            out.write(prometheus_config(list(hosts.values()), exporter_address,
                                        "%gs" % options.scrape_interval,
                                        "%gs" % options.scrape_timeout))
        # A port found free may be taken before Prometheus binds it: then
        # it ends at once, and another port is tried.
        for attempt in range(3):
            prom_address = "127.0.0.1:%d" % free_port()
            prometheus = exporterctl.Program("prometheus", [
                options.prometheus, "--config.file", prom_config,
                "--storage.tsdb.path", os.path.join(work, "data"),
                "--web.listen-address", prom_address,
                "--log.level", "warn"], work)
            started.append(prometheus)
            prom = Prometheus("http://%s" % prom_address)
            try:
                wait_until("Prometheus ready",
                           lambda: http_get(prom.base + "/-/ready", 1)[0] == 200, 30, prometheus)
                break
            except TestFailure:
                if attempt == 2 or prometheus.alive() or "address already in use" not in prometheus.log():
                    raise
                started.remove(prometheus)

        # Two scrapes of every host, then the checks, until they hold or
        # the time is up (a scrape that a loaded machine delays is waited for).
        deadline = time.monotonic() + options.wait
        scrapes_seen = False
        while True:
            if not prometheus.alive() or not exporter.alive():
                dead = prometheus if not prometheus.alive() else exporter
                raise TestFailure("%s ended (status %s):\n%s"
                                  % (dead.name, dead.process.returncode, dead.log()))
            problems = []
            counts = {labels.get("instance"): value for labels, value in
                      prom.query('count_over_time(up{job="rbz"}[10m])')}
            short = [i for i in hosts.values() if counts.get(i, 0) < 2]
            if short:
                problems.append("fewer than two scrapes of %s" % ", ".join(short))
            else:
                if not scrapes_seen:
                    print("two scrapes of every host after %.1f s"
                          % (options.wait - (deadline - time.monotonic())))
                    scrapes_seen = True
                for state, instance in hosts.items():
                    check_host(prom, state, instance, options.scrape_timeout, problems)
                check_alerts(prom, hosts, problems)
                if one_value(prom, 'up{job="rbz-exporter"}', exporter_address, problems) != 1.0:
                    problems.append("the exporter's own /metrics was not scraped")
                probes = prom.query('sum(rbz_exporter_probes_total)')
                if not probes or probes[0][1] < 2 * len(hosts):
                    problems.append("rbz_exporter_probes_total %r, expected >= %d"
                                    % (probes, 2 * len(hosts)))
            if not problems:
                break
            if time.monotonic() >= deadline:
                raise TestFailure("after %.0f s:\n  %s" % (options.wait, "\n  ".join(problems)))
            time.sleep(0.25)

        durations = {labels.get("instance"): value for labels, value in
                     prom.query('scrape_duration_seconds{job="rbz"}')}
        for state, instance in hosts.items():
            print("ok   %-11s %s  (last scrape %.3f s)" % (state, instance, durations.get(instance, -1)))
        print("ok   alerts pending or firing: %s" % ", ".join(
            "%s: %s" % (s, "+".join(sorted(a)) or "none") for s, a in EXPECTED_ALERTS.items()))

        # An orderly stop of both servers.
        for process in reversed(started):
            status = process.stop()
            if status != 0:
                raise TestFailure("%s stopped with status %s:\n%s"
                                  % (process.name, status, process.log()))
        started = []
    except (TestFailure, AssertionError):
        for process in started:
            print("---- %s output:\n%s" % (process.name, process.log()))
        raise
    finally:
        for process in reversed(started):
            process.stop()
        for sim in sims:
            sim.cleanup()


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--exporter", required=True, help="the rbz-exporter program")
    parser.add_argument("--sim", required=True, help="sim/rbz_sim.py")
    parser.add_argument("--prometheus", default="/usr/bin/prometheus")
    parser.add_argument("--sanitized", action="store_true",
                        help="the programs are an AddressSanitizer build: wider scrape timeout")
    parser.add_argument("--wait", type=float, default=40,
                        help="seconds for two scrapes and the checks to hold")
    options = parser.parse_args()
    # The programs run in the work folder.
    options.exporter = os.path.abspath(options.exporter)
    options.sim = os.path.abspath(options.sim)
    # Prometheus allows no scrape timeout above the interval.
    options.scrape_interval = 2.0 if options.sanitized else 1.0
    options.scrape_timeout = options.scrape_interval

    if not (os.path.isfile(options.prometheus) and os.access(options.prometheus, os.X_OK)):
        print("FAIL: %s not found: install Debian's prometheus package "
              "(scripts/deps.sh: . scripts/deps.sh; rbz_install_missing)" % options.prometheus)
        return 1
    for path in (options.exporter, options.sim, RULES):
        if not os.path.isfile(path):
            print("FAIL: %s not found" % path)
            return 1

    # ctest's timeout and ^C end the test through the same clean-up.
    def stop(signum, frame):
        raise TestFailure("stopped by signal %d" % signum)
    signal.signal(signal.SIGTERM, stop)
    signal.signal(signal.SIGINT, stop)

    work = tempfile.mkdtemp(prefix="rbz-prometheus-")
    start = time.monotonic()
    try:
        run(options, work)
    except (TestFailure, AssertionError, OSError, simctl.SimError) as error:
        print("FAIL: %s" % error)
        return 1
    finally:
        shutil.rmtree(work, ignore_errors=True)
    print("passed in %.1f s" % (time.monotonic() - start))
    return 0


if __name__ == "__main__":
    sys.exit(main())
