"""Start, watch and stop the simulated CIM server from tests.

    import simctl
    sim = simctl.start("sim/rbz_sim.py", ["--scenario", "GetClass#1:status=500"])
    ... run rbz against https://127.0.0.1:<sim.port> ...
    sim.requests()      # [[CIMMethod, CIMObject], ...] received since the last call
    sim.connections()   # TLS connections accepted so far
    sim.stop()

The simulator writes one JSON line per TLS connection and per request into a
temporary request log, before it answers; the handle reads that log.
"""

import json
import os
import select
import signal
import subprocess
import sys
import tempfile
import time

START_TIMEOUT = 30.0       # the first start also makes the certificate
STOP_TIMEOUT = 10.0


class SimError(RuntimeError):
    pass


class SimHandle:
    def __init__(self, process, port, log_path, stderr_path, work_dir):
        self.process = process
        self.port = port
        self.log_path = log_path
        self._stderr_path = stderr_path
        self._work_dir = work_dir
        self._offset = 0            # first byte of the log not yet handed out by requests()
        self.returncode = None

    def _records(self, start):
        """The complete JSON lines of the log from byte `start`; (records, end)."""
        with open(self.log_path, "rb") as log:
            log.seek(start)
            data = log.read()
        complete = data[:data.rfind(b"\n") + 1]     # a line being written stays for later
        records = [json.loads(line) for line in complete.splitlines() if line.strip()]
        return records, start + len(complete)

    def records(self):
        """Every record of the log so far (connections and requests), as dicts."""
        return self._records(0)[0]

    def requests(self):
        """[CIMMethod, CIMObject] of each request received since the previous call."""
        records, self._offset = self._records(self._offset)
        return [[r.get("method"), r.get("object")] for r in records if r.get("event") == "request"]

    def connections(self):
        """The number of TLS connections the simulator has accepted so far."""
        return sum(1 for r in self.records() if r.get("event") == "connection")

    def stderr(self):
        with open(self._stderr_path, "r", encoding="utf-8", errors="replace") as text:
            return text.read()

    def stop(self):
        """Stop with SIGTERM and wait; returns the exit status."""
        if self.returncode is None:
            if self.process.poll() is None:
                self.process.send_signal(signal.SIGTERM)
            try:
                self.returncode = self.process.wait(timeout=STOP_TIMEOUT)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.returncode = self.process.wait()
            if self.process.stdout:
                self.process.stdout.close()
        return self.returncode

    def cleanup(self):
        self.stop()
        for path in (self.log_path, self._stderr_path):
            try:
                os.remove(path)
            except OSError:
                pass
        try:
            os.rmdir(self._work_dir)
        except OSError:
            pass

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.cleanup()


def _read_port_line(process, deadline):
    line = b""
    fd = process.stdout.fileno()
    while not line.endswith(b"\n"):
        remaining = deadline - time.monotonic()
        if remaining <= 0:
            return None
        ready, _, _ = select.select([fd], [], [], remaining)
        if not ready:
            return None
        chunk = os.read(fd, 1)
        if not chunk:
            return None
        line += chunk
    return line.decode("ascii", errors="replace").strip()


def start(sim_path, extra_args=(), python=None):
    """Start the simulator on a free port; returns a SimHandle once it listens."""
    work_dir = tempfile.mkdtemp(prefix="rbz-sim-")
    log_path = os.path.join(work_dir, "requests.jsonl")
    stderr_path = os.path.join(work_dir, "stderr.txt")
    open(log_path, "w").close()
    with open(stderr_path, "w") as stderr:
        process = subprocess.Popen(
            [python or sys.executable, sim_path, "--port", "0", "--request-log", log_path]
            + list(extra_args),
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=stderr)
    line = _read_port_line(process, time.monotonic() + START_TIMEOUT)
    handle = SimHandle(process, None, log_path, stderr_path, work_dir)
    if line is None or not line.startswith("PORT ") or not line[5:].isdigit():
        handle.stop()
        message = handle.stderr()
        handle.cleanup()
        raise SimError("simulator did not start (first line %r): %s" % (line, message.strip()))
    handle.port = int(line[5:])
    return handle
