#!/usr/bin/env python3
"""rbz-exporter end to end: the real program, simulated hosts, HTTP on loopback.

    python3 tests/e2e/test_exporter.py --exporter build/rbz-exporter --sim sim/rbz_sim.py

Starts simulated hosts (healthy, degraded, rebuilding, silent), writes a
configuration with distinctive passwords, starts the exporter on a free port
and asks it for probes and its own metrics. promtool (Debian's prometheus
package) lints every answer. Passwords must never reach the exporter's
standard error.
"""

import argparse
import concurrent.futures
import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.error
import urllib.request

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import exporterctl  # noqa: E402
import simctl  # noqa: E402

ARGS = None
HOST_PASSWORD = "Pw-e2e-7f3K9"          # what the simulated hosts take
WRONG_PASSWORD = "Wrong-e2e-Q2x8"
FILE_PASSWORD_LINE = HOST_PASSWORD      # the same, read from a password file
SECRETS = (HOST_PASSWORD, WRONG_PASSWORD)


def http_get(port, path, headers=None, method="GET", timeout=30):
    """(status, content type, body text) of one request."""
    request = urllib.request.Request("http://127.0.0.1:%d%s" % (port, path), headers=headers or {},
                                     method=method)
    try:
        with urllib.request.urlopen(request, timeout=timeout) as reply:
            return reply.status, reply.headers.get("Content-Type"), reply.read().decode("utf-8")
    except urllib.error.HTTPError as error:
        return error.code, error.headers.get("Content-Type"), error.read().decode("utf-8")


def lint(text):
    """promtool's findings on a metrics text ('' when none) and its status."""
    done = subprocess.run(["promtool", "check", "metrics"], input=text.encode(), capture_output=True, timeout=60)
    return done.returncode, (done.stdout + done.stderr).decode()


def sample(text, name, **labels):
    """The value of the one sample of `name` whose labels include `labels`, or None."""
    found = []
    for line in text.splitlines():
        match = re.match(r'^([a-zA-Z_:][a-zA-Z0-9_:]*)(\{(.*)\})? (\S+)$', line)
        if not match or match.group(1) != name:
            continue
        have = dict(re.findall(r'([a-zA-Z_]+)="((?:[^"\\]|\\.)*)"', match.group(3) or ""))
        if all(have.get(k) == v for k, v in labels.items()):
            found.append(float(match.group(4)))
    if len(found) > 1:
        raise AssertionError("%d samples of %s %r" % (len(found), name, labels))
    return found[0] if found else None


def Exporter(config_text, extra=(), mode=0o600):
    return exporterctl.Exporter(ARGS.exporter, config_text, extra, mode)


def config_text(hosts_dir):
    password_file = os.path.join(hosts_dir, "esxi-password")
    with open(password_file, "w") as f:
        f.write(FILE_PASSWORD_LINE + "\n")
    os.chmod(password_file, 0o600)
    return (
        "modules:\n"
        "  default:\n"
        "    user: root\n"
        "    password: \"%s\"\n"
        "    timeout: 20\n"
        "  from_file:\n"
        "    user: root\n"
        "    password_file: %s\n"
        "  hot:\n"
        "    user: root\n"
        "    password: \"%s\"\n"
        "    warn_temp: 30\n"
        "    crit_temp: 35\n"
        "  wrong:\n"
        "    user: root\n"
        "    password: \"%s\"\n"
        "  short:\n"
        "    user: root\n"
        "    password: \"%s\"\n"
        "    timeout: 1.5\n"
    ) % (HOST_PASSWORD, password_file, HOST_PASSWORD, WRONG_PASSWORD, HOST_PASSWORD)


class ExporterEndToEnd(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.sims = {}
        for name, extra in (("healthy", ["--state", "healthy"]), ("degraded", ["--state", "degraded"]),
                            ("rebuilding", ["--state", "rebuilding"]), ("hot", ["--state", "hot-disk"]),
                            ("silent", ["--silent"])):
            cls.sims[name] = simctl.start(ARGS.sim, ["--password", HOST_PASSWORD] + extra)
        cls.dir = tempfile.mkdtemp(prefix="rbz-exporter-hosts-")
        cls.exporter = Exporter(config_text(cls.dir), ["--probes.max", "4"]).wait_listening()

    @classmethod
    def tearDownClass(cls):
        cls.exporter.stop()
        for sim in cls.sims.values():
            sim.cleanup()
        shutil.rmtree(cls.dir, ignore_errors=True)

    def probe(self, host, module=None, headers=None):
        path = "/probe?target=127.0.0.1:%d" % self.sims[host].port
        if module:
            path += "&module=" + module
        return http_get(self.exporter.port, path, headers)

    def assertLintClean(self, text):
        status, findings = lint(text)
        self.assertEqual((status, findings), (0, ""), text)

    def metrics(self):
        status, _, body = http_get(self.exporter.port, "/metrics")
        self.assertEqual(status, 200)
        self.assertLintClean(body)
        return body

    def test_states_and_lint(self):
        # Each state's series in detail: test_prometheus.py, through the same /probe.
        for host, health in (("healthy", 0), ("degraded", 2), ("rebuilding", 1)):
            status, content_type, body = self.probe(host)
            self.assertEqual((status, content_type), (200, "text/plain; version=0.0.4; charset=utf-8"))
            self.assertLintClean(body)
            self.assertEqual(sample(body, "rbz_up"), 1, host)
            self.assertEqual(sample(body, "rbz_health"), health, host)
            self.assertEqual(sample(body, "rbz_controller_info", model="RQ-7730", serial="Y915CAB12345"), 1)
            self.assertIsNotNone(sample(body, "rbz_probe_duration_seconds"))

    def test_module_thresholds_and_password_file(self):
        # The hot drive's own verdict: test_prometheus.py; here the module's password file and thresholds.
        self.assertEqual(sample(self.probe("hot", "from_file")[2], "rbz_up"), 1)
        # With warn 30 and crit 35 the healthy host's drives (at 29 C to 39 C
        # in the simulator) are not all OK any more.
        _, _, healthy = self.probe("healthy", "hot")
        self.assertEqual(sample(healthy, "rbz_up"), 1)
        self.assertGreaterEqual(sample(healthy, "rbz_health"), 1)

    def test_wrong_password_and_refused_connection(self):
        with socket.socket() as unused:   # a port where nothing listens
            unused.bind(("127.0.0.1", 0))
            closed = unused.getsockname()[1]
        for port, module in ((self.sims["healthy"].port, "wrong"), (closed, "default")):
            before = self.metrics()
            status, _, body = http_get(self.exporter.port, "/probe?target=127.0.0.1:%d&module=%s" % (port, module))
            self.assertEqual(status, 200)
            self.assertLintClean(body)
            self.assertEqual(sample(body, "rbz_up"), 0)
            self.assertIsNone(sample(body, "rbz_health"))
            was = sample(before, "rbz_exporter_probe_failures_total", module=module, reason="http") or 0
            self.assertEqual(sample(self.metrics(), "rbz_exporter_probe_failures_total", module=module,
                                    reason="http"), was + 1)
            self.assertIn("probe of 127.0.0.1:%d (module %s) failed: http: " % (port, module), self.exporter.stderr())

    def test_silent_host_within_the_scrape_or_module_timeout(self):
        for module, headers in ((None, {"X-Prometheus-Scrape-Timeout-Seconds": "2.5"}), ("short", None)):
            start = time.monotonic()
            status, _, body = self.probe("silent", module, headers)
            took = time.monotonic() - start
            self.assertEqual(status, 200)
            self.assertLintClean(body)
            self.assertEqual(sample(body, "rbz_up"), 0)
            self.assertTrue(1.4 <= took < 2.5, (module, took))
            self.assertLess(sample(body, "rbz_probe_duration_seconds"), 2.5)
        self.assertGreater(sample(self.metrics(), "rbz_exporter_probe_failures_total", module="default",
                                  reason="timeout"), 0)

    def test_unknown_module_and_bad_requests(self):
        # Every path, method and parameter: ExporterAnswers in probe_test.cpp; here the HTTP server's part.
        port = self.exporter.port
        status, _, body = self.probe("healthy", "nosuch")
        self.assertEqual(status, 400)
        self.assertIn('Unknown module "nosuch"', body)
        self.assertEqual(http_get(port, "/probe?target=127.0.0.1&password=x")[0], 400)
        self.assertEqual(http_get(port, "/metrics", method="POST")[0], 405)
        status, content_type, body = http_get(port, "/")
        self.assertEqual(status, 200)
        self.assertTrue(content_type.startswith("text/html"))
        self.assertIn("/probe?target=", body)

    def test_counters_move_with_concurrent_probes(self):
        before = self.metrics()
        hosts = ["healthy", "degraded", "rebuilding", "hot"] * 3
        with concurrent.futures.ThreadPoolExecutor(max_workers=len(hosts)) as pool:
            answers = list(pool.map(lambda host: self.probe(host), hosts))
        for host, (status, _, body) in zip(hosts, answers):
            self.assertEqual(status, 200)
            self.assertEqual(sample(body, "rbz_up"), 1, host)
        # Each answer is its own host's: the degraded one's volume state.
        for host, (_, _, body) in zip(hosts, answers):
            self.assertEqual('state="Degraded"' in body, host == "degraded", host)
        after = self.metrics()
        self.assertEqual(sample(after, "rbz_exporter_probes_total", module="default"),
                         sample(before, "rbz_exporter_probes_total", module="default") + len(hosts))
        self.assertEqual(sample(after, "rbz_exporter_probe_duration_seconds_count"),
                         sample(before, "rbz_exporter_probe_duration_seconds_count") + len(hosts))
        self.assertEqual(sample(after, "rbz_exporter_probes_in_flight"), 0)
        self.assertEqual(sample(after, "rbz_exporter_build_info"), 1)

    def test_zz_no_password_on_standard_error(self):
        # Runs last (by name): every probe above has logged what it logs.
        self.probe("healthy", "wrong")
        text = self.exporter.stderr()
        self.assertIn("failed:", text)
        for secret in SECRETS:
            self.assertNotIn(secret, text)


TLS_DATA = os.path.join(os.path.dirname(os.path.abspath(__file__)), os.pardir, "data", "tls")
OTHER_SERVER_PIN = "sha256//B/8hc/UqOO/VvYk40+OFKg89So0qoQw86swE/zUMIHQ="


class ExporterTlsChecks(unittest.TestCase):
    """A module's cacert, verify and pin reach the probe's TLS checks."""

    @classmethod
    def setUpClass(cls):
        cls.ca_signed = simctl.start(ARGS.sim, ["--password", HOST_PASSWORD,
                                                "--cert", os.path.join(TLS_DATA, "server.pem")])
        cls.other_ca = simctl.start(ARGS.sim, ["--password", HOST_PASSWORD,
                                               "--cert", os.path.join(TLS_DATA, "other-server.pem")])
        cls.exporter = Exporter(
            "modules:\n"
            "  default: {user: root, password: \"%s\"}\n"
            "  verified: {user: root, password: \"%s\", verify: true, cacert: %s}\n"
            "  pinned: {user: root, password: \"%s\", pin: \"%s\"}\n"
            % (HOST_PASSWORD, HOST_PASSWORD, os.path.abspath(os.path.join(TLS_DATA, "ca.pem")), HOST_PASSWORD,
               OTHER_SERVER_PIN)).wait_listening()

    @classmethod
    def tearDownClass(cls):
        cls.exporter.stop()
        cls.ca_signed.cleanup()
        cls.other_ca.cleanup()

    def up(self, sim, module):
        status, _, body = http_get(self.exporter.port, "/probe?target=127.0.0.1:%d&module=%s" % (sim.port, module))
        self.assertEqual(status, 200)
        return sample(body, "rbz_up")

    def test_checks_pass_and_fail(self):
        rows = ((self.ca_signed, "default", 1), (self.other_ca, "default", 1),
                (self.ca_signed, "verified", 1), (self.other_ca, "verified", 0),
                (self.other_ca, "pinned", 1), (self.ca_signed, "pinned", 0))
        for sim, module, up in rows:
            self.assertEqual(self.up(sim, module), up, (sim.port, module))
        _, _, metrics = http_get(self.exporter.port, "/metrics")
        self.assertEqual(sample(metrics, "rbz_exporter_probe_failures_total", module="verified", reason="tls"), 1)
        self.assertEqual(sample(metrics, "rbz_exporter_probe_failures_total", module="pinned", reason="tls"), 1)
        self.assertIn("(module verified) failed: tls: ", self.exporter.stderr())


class ExporterProgram(unittest.TestCase):
    def test_help_and_version(self):
        done = subprocess.run([ARGS.exporter, "--help"], capture_output=True, text=True, timeout=10)
        self.assertEqual(done.returncode, 0)
        for word in ("--config.file", "--web.listen-address", "--probes.max", "/probe?target="):
            self.assertIn(word, done.stdout)
        self.assertNotIn("--probe.child", done.stdout)
        done = subprocess.run([ARGS.exporter, "--version"], capture_output=True, text=True, timeout=10)
        self.assertEqual(done.returncode, 0)
        self.assertRegex(done.stdout, r"^rbz-exporter \d+(\.\d+)+\n$")
        done = subprocess.run([ARGS.exporter, "--bogus"], capture_output=True, text=True, timeout=10)
        self.assertEqual(done.returncode, 2)
        self.assertIn("unknown option --bogus", done.stderr)

    def test_probe_child_refuses_a_bad_request(self):
        # A good request: every probe above goes through a child.
        odd_hex = ('{"target":"127.0.0.1:1","user_hex":"726f6f7","password_hex":"00","seconds":20,"warn_temp":50,'
                   '"crit_temp":60,"cacert":"","client_cert":"","client_key":"","verify":false,"pin":""}')
        for garbage in ("", "not json", '{"target":"h"}', odd_hex):
            done = subprocess.run([ARGS.exporter, "--probe.child"], input=garbage, capture_output=True, text=True,
                                  timeout=60)
            self.assertEqual(done.returncode, 0)
            self.assertRegex(done.stdout, r"^rbz-probe down internal the probe's request: [^\n]+\n$")

    def test_unsafe_or_mistyped_config_is_refused(self):
        rows = (("modules:\n  default: {user: root, password: \"%s\"}\n" % HOST_PASSWORD, 0o644,
                 ("has mode 0644", "chmod 600")),
                ("modules:\n  default:\n    user: root\n    pasword: x\n", 0o600,
                 ('unknown key "pasword" in module "default"',)))
        for text, mode, messages in rows:
            exporter = Exporter(text, mode=mode)
            try:
                self.assertEqual(exporter.wait_exit(), 1)
                for message in messages:
                    self.assertIn(message, exporter.stderr())
                self.assertNotIn(HOST_PASSWORD, exporter.stderr())
            finally:
                exporter.stop()

    def test_sigterm_during_a_probe_stops_at_once(self):
        with simctl.start(ARGS.sim, ["--silent"]) as silent:
            exporter = Exporter("modules:\n  default: {user: root, password: \"%s\", timeout: 30}\n"
                                % HOST_PASSWORD).wait_listening()
            try:
                with concurrent.futures.ThreadPoolExecutor(max_workers=1) as pool:
                    pending = pool.submit(http_get, exporter.port, "/probe?target=127.0.0.1:%d" % silent.port)
                    time.sleep(0.5)
                    start = time.monotonic()
                    exporter.process.send_signal(signal.SIGTERM)
                    self.assertEqual(exporter.wait_exit(), 0)
                    self.assertLess(time.monotonic() - start, 5)
                    try:
                        status, _, body = pending.result(timeout=10)
                        self.assertEqual(sample(body, "rbz_up"), 0)
                    except (urllib.error.URLError, ConnectionError):
                        pass  # the connection went with the exporter: also a clean stop
                self.assertIn("stopped", exporter.stderr())
            finally:
                exporter.stop()


def main():
    global ARGS
    parser = argparse.ArgumentParser()
    parser.add_argument("--exporter", required=True)
    parser.add_argument("--sim", required=True)
    ARGS, rest = parser.parse_known_args()
    if shutil.which("promtool") is None:
        print("FAIL: promtool not found (apt-get install prometheus; scripts/deps.sh installs it)")
        return 1
    program = unittest.main(argv=[sys.argv[0]] + rest, exit=False, verbosity=2)
    return 0 if program.result.wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main())
