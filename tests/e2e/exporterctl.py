"""Start, watch and stop rbz-exporter from tests.

    exporter = exporterctl.Exporter("build/rbz-exporter", config_text).wait_listening()
    ... GET http://127.0.0.1:<exporter.port>/probe?target=... ...
    exporter.stderr()
    exporter.stop()

The configuration is written (mode 0600 unless asked otherwise) into a
temporary folder, which also keeps the exporter's standard error.
"""

import os
import re
import shutil
import signal
import subprocess
import tempfile
import time


class Exporter:
    """The exporter running with a configuration text; stderr kept in a file."""

    def __init__(self, program, config_text, extra=(), mode=0o600):
        self.dir = tempfile.mkdtemp(prefix="rbz-exporter-e2e-")
        self.config = os.path.join(self.dir, "rbz-exporter.yml")
        with open(self.config, "w") as f:
            f.write(config_text)
        os.chmod(self.config, mode)
        self.stderr_path = os.path.join(self.dir, "stderr.txt")
        with open(self.stderr_path, "w") as stderr:
            self.process = subprocess.Popen(
                [program, "--config.file", self.config, "--web.listen-address", "127.0.0.1:0"]
                + list(extra), stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=stderr)
        self.port = None

    def wait_listening(self):
        deadline = time.monotonic() + 20
        while time.monotonic() < deadline:
            match = re.search(r"listening on 127\.0\.0\.1:(\d+),", self.stderr())
            if match:
                self.port = int(match.group(1))
                return self
            if self.process.poll() is not None:
                raise AssertionError("the exporter ended with %s: %s" % (self.process.returncode, self.stderr()))
            time.sleep(0.05)
        raise AssertionError("the exporter did not say where it listens: " + self.stderr())

    def wait_exit(self, timeout=20):
        try:
            return self.process.wait(timeout=timeout)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
            raise

    name = "rbz-exporter"

    def alive(self):
        return self.process.poll() is None

    def log(self):
        try:
            return self.stderr()
        except OSError:     # gone with its folder
            return ""

    def stderr(self):
        with open(self.stderr_path, encoding="utf-8", errors="replace") as f:
            return f.read()

    def stop(self):
        """SIGTERM (unless it has ended) and wait; returns the exit status."""
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
            self.wait_exit()
        shutil.rmtree(self.dir, ignore_errors=True)
        return self.process.returncode
