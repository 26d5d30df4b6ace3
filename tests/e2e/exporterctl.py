"""Start, watch and stop rbz-exporter (and other servers) from tests.

    exporter = exporterctl.Exporter("build/rbz-exporter", config_text).wait_listening()
    ... GET http://127.0.0.1:<exporter.port>/probe?target=... ...
    exporter.stderr()
    exporter.stop()

The exporter's configuration is written (mode 0600 unless asked otherwise)
into a temporary folder, which also keeps what it writes. A Program is any
server run the same way in a folder of the caller's.
"""

import ctypes
import os
import re
import shutil
import signal
import subprocess
import tempfile
import time


def _die_with_parent():
    """In a child before exec: SIGKILL it when the test process dies, so that
    nothing is left behind even when the test is killed itself."""
    try:
        ctypes.CDLL(None, use_errno=True).prctl(1, signal.SIGKILL)   # PR_SET_PDEATHSIG
    except Exception:
        pass


class Program:
    """A started program; its standard output and error in `folder`/NAME.log."""

    def __init__(self, name, argv, folder):
        self.name = name
        self.dir = folder
        self.stderr_path = os.path.join(folder, name + ".log")
        with open(self.stderr_path, "w") as log:
            self.process = subprocess.Popen(argv, stdin=subprocess.DEVNULL, stdout=log, stderr=log, cwd=folder,
                                            preexec_fn=_die_with_parent)

    def alive(self):
        return self.process.poll() is None

    def stderr(self):
        with open(self.stderr_path, encoding="utf-8", errors="replace") as f:
            return f.read()

    def log(self):
        try:
            return self.stderr()
        except OSError:     # gone with its folder
            return ""

    def wait_exit(self, timeout=20):
        try:
            return self.process.wait(timeout=timeout)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
            raise

    def stop(self):
        """SIGTERM (unless it has ended), SIGKILL after 20 s; returns the exit status."""
        if self.alive():
            self.process.send_signal(signal.SIGTERM)
        try:
            return self.wait_exit()
        except subprocess.TimeoutExpired:
            return self.process.returncode


class Exporter(Program):
    """The exporter running with a configuration text, on a port of its choice."""

    def __init__(self, program, config_text, extra=(), mode=0o600):
        folder = tempfile.mkdtemp(prefix="rbz-exporter-e2e-")
        self.config = os.path.join(folder, "rbz-exporter.yml")
        with open(self.config, "w") as f:
            f.write(config_text)
        os.chmod(self.config, mode)
        super().__init__("rbz-exporter", [program, "--config.file", self.config,
                                          "--web.listen-address", "127.0.0.1:0"] + list(extra), folder)
        self.port = None

    def wait_listening(self):
        deadline = time.monotonic() + 20
        while time.monotonic() < deadline:
            match = re.search(r"listening on 127\.0\.0\.1:(\d+),", self.stderr())
            if match:
                self.port = int(match.group(1))
                return self
            if not self.alive():
                raise AssertionError("the exporter ended with %s: %s" % (self.process.returncode, self.stderr()))
            time.sleep(0.05)
        raise AssertionError("the exporter did not say where it listens: " + self.stderr())

    def stop(self):
        status = super().stop()
        shutil.rmtree(self.dir, ignore_errors=True)
        return status
