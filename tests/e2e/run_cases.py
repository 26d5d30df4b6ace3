#!/usr/bin/env python3
"""Plays end-to-end cases against the rbz binary.

A case file is a JSON list of cases. A case is one run of rbz, or several
runs against one simulated server ("runs"):

    {"name": "...",
     "args": ["-i", "127.0.0.1:{PORT}", "-u", "root", "sys", "info"],
     "stdin": "secret\\n",              # default "": a pipe already at its end
     "env": {"CURLDEBUG": "1"},         # added to the environment; null removes
     "stdout": "...", "stdout_contains": ["..."],
     "stderr": "...", "stderr_contains": ["..."],
     "status": 0,
     "sim": ["--scenario", "..."],      # start the simulated server with these
     "requests": [["GetClass", "..."]], # what it must have received
     "connections": 1,                  # TLS connections the run opened
     "max_rss_mb": 600,                 # peak resident memory of rbz, in MiB
     "kill_when_stdout": "waiting",     # kill rbz once its output holds this;
                                        # "status" is then null
     "json": {"instances": [{}]},       # a partial document stdout must match
     "jq": {".error.kind": "cim"},      # jq FILTER -> the value it must print
     "min_seconds": 2, "max_seconds": 3,  # bounds of the run's wall time
     "files": {"pw": {"text": "secret\\n", "mode": "600"}},
                                        # written into {TMP} before the run
     "runs": [{...}, ...]}              # instead of the run fields above

The simulated server is started when a case has "sim" or "requests" or
uses {PORT}; its control module (simctl, beside this file) is imported only
then.  In "args", "stdin" and "sim", {PORT} is its port, {SRC} the top folder
of the tree, {DATA} its test data folder (tests/data) and {TMP} a folder of
the case's own, which holds its "files" (each with its text and octal
permission bits, "600" when not given).  In "args", "stdin" and "sim", {N*TEXT} stands for TEXT written N times
(for words and passwords too long to spell out).  Texts are UTF-8; a lone
surrogate escape such as "\udcff" in "args" or "stdin" stands for that one
byte (0xff), so that words need not be valid UTF-8.

Every run, whatever its keys, must end by exit() and not by a signal, and
must not show a password on standard output or standard error.  The
passwords are the simulated server's two (--password, default "secret";
--controller-password, default "0000") and every line of the run's standard
input, which only password prompts read.  Only passwords of 6 characters or
more are looked for: shorter ones, like the controller's default "0000",
turn up in reports by chance.  The ESXi password is also looked for in its
HTTP Basic form, base64 of "user:password".  A run with CURLDEBUG on (set
and not "false") is exempt: libcurl's own trace shows the Authorization
header, which is what the user asked for.

Every run whose args hold "--json" (before a lone "--", as rbz reads
them) must write exactly one JSON document on standard output, valid against
the schema docs/rbz-output.schema.json (Draft 2020-12, python3-jsonschema;
a missing jsonschema fails the run), and nothing on standard error.  "json"
then matches the document in part: an object matches when each of its
members matches the document's member of that name, a list when it has as
many elements and each matches, a value when it is equal and of the same
JSON type (1 is not 1.0, nor true).  "jq" runs jq -c with each filter on
standard output and compares what it prints, read as JSON, the same way.

With --sanitized (the AddressSanitizer build), "max_rss_mb" is multiplied by
SANITIZED_RSS_FACTOR: the sanitizer's shadow memory and quarantine of freed
blocks add a multiple of the heap.
"""

import argparse
import base64
import difflib
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

RUN_KEYS = {"args", "stdin", "env", "stdout", "stdout_contains", "stderr",
            "stderr_contains", "status", "requests", "connections", "max_rss_mb",
            "kill_when_stdout", "json", "jq", "min_seconds", "max_seconds", "files"}
CASE_KEYS = RUN_KEYS | {"name", "sim", "runs", "comment"}
MULTI_RUN_CASE_KEYS = {"name", "sim", "runs", "comment", "env"}


SANITIZED_RSS_FACTOR = 3
MIN_SECRET_LENGTH = 6
_REPEAT = re.compile(r"\{([0-9]+)\*([^{}]*)\}")
SRC = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


SCHEMA = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "docs",
                      "rbz-output.schema.json")
_validator = None


def wants_json(args):
    """Whether rbz reads --json on this line: before its first lone "--"."""
    for word in args:
        if word == "--":
            return False
        if word == "--json":
            return True
    return False


def schema_validator():
    """The validator of the output schema; ImportError without jsonschema."""
    global _validator
    if _validator is None:
        import jsonschema   # python3-jsonschema
        with open(SCHEMA, encoding="utf-8") as f:
            schema = json.load(f)
        jsonschema.Draft202012Validator.check_schema(schema)
        _validator = jsonschema.Draft202012Validator(schema)
    return _validator


def json_mismatch(expected, actual, where="document"):
    """Why `actual` does not match the partial `expected`, or None."""
    if isinstance(expected, dict):
        if not isinstance(actual, dict):
            return "%s: expected an object, got %s" % (where, json.dumps(actual))
        for key, value in expected.items():
            if key not in actual:
                return "%s: no member %r" % (where, key)
            why = json_mismatch(value, actual[key], "%s.%s" % (where, key))
            if why:
                return why
        return None
    if isinstance(expected, list):
        if not isinstance(actual, list) or len(actual) != len(expected):
            return "%s: expected a list of %d, got %s" % (where, len(expected), json.dumps(actual)[:200])
        for i, (e, a) in enumerate(zip(expected, actual)):
            why = json_mismatch(e, a, "%s[%d]" % (where, i))
            if why:
                return why
        return None
    if type(expected) is not type(actual) or expected != actual:
        return "%s: expected %s, got %s" % (where, json.dumps(expected), json.dumps(actual)[:200])
    return None


def check_json(run, out, err):
    """The checks of a --json run; a list of failure descriptions."""
    if err:
        return ["a --json run wrote on stderr:\n" + err]
    try:
        document = json.loads(out)
    except ValueError as e:
        return ["stdout is not one JSON document (%s):\n%s" % (e, out[:2000])]
    try:
        validator = schema_validator()
    except ImportError:
        return ["jsonschema is missing for %s: install python3-jsonschema" % sys.executable]
    failures = ["schema: %s at %s" % (e.message, "/".join(str(p) for p in e.absolute_path))
                for e in validator.iter_errors(document)]
    if "json" in run:
        why = json_mismatch(run["json"], document)
        if why:
            failures.append("json: " + why)
    for jq_filter, expected in run.get("jq", {}).items():
        try:
            done = subprocess.run(["jq", "-c", jq_filter], input=out.encode("utf-8"),
                                  stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=30)
        except OSError as e:
            failures.append("jq could not run: %s" % e)
            continue
        if done.returncode != 0:
            failures.append("jq %s failed: %s" % (jq_filter, done.stderr.decode("utf-8", "replace")))
            continue
        why = json_mismatch(expected, json.loads(done.stdout), "jq " + jq_filter)
        if why:
            failures.append(why)
    return failures


class CaseError(Exception):
    """A case file that cannot be played as written."""


def expand(text):
    """The text with every {N*TEXT} written out."""
    return _REPEAT.sub(lambda m: m.group(2) * int(m.group(1)), text)


def place(text, port, tmp):
    """The text with {SRC}, {DATA}, {TMP} and {PORT} filled in."""
    text = text.replace("{SRC}", SRC).replace("{DATA}", DATA_DIR).replace("{TMP}", tmp)
    if "{PORT}" in text:
        if port is None:
            raise CaseError("{PORT} used without a simulated server")
        text = text.replace("{PORT}", port)
    return text


def write_files(run, tmp):
    for name, spec in run.get("files", {}).items():
        if "/" in name:
            raise CaseError("a file of \"files\" is named without folders")
        path = os.path.join(tmp, name)
        with open(path, "w", encoding="utf-8", newline="") as f:
            f.write(expand(spec.get("text", "")))
        os.chmod(path, int(spec.get("mode", "600"), 8))


DATA_DIR = os.path.join(SRC, "tests", "data")


def simulator_args(case):
    """The case's simulator options, written out."""
    return [expand(place(a, None, "")) for a in case.get("sim", [])]


def sim_option(sim_args, name, default):
    """The value of a simulator option in a case's "sim" list (the last one wins)."""
    value = default
    for i, word in enumerate(sim_args[:-1]):
        if word == name:
            value = sim_args[i + 1]
    return value


def secrets(case, stdin_text):
    """The texts that must not show in a run's output: (label, text) pairs."""
    found = []
    if "sim" in case or needs_server(case, case["runs"] if "runs" in case else [case]):
        sim_args = simulator_args(case)
        user = sim_option(sim_args, "--user", "root")
        password = sim_option(sim_args, "--password", "secret")
        found.append(("the ESXi password", password))
        basic = (user + ":" + password).encode("utf-8", "surrogateescape")
        found.append(("the ESXi password in Basic form", base64.b64encode(basic).decode("ascii")))
        found.append(("the controller password",
                      sim_option(sim_args, "--controller-password", "0000")))
    for number, line in enumerate(stdin_text.split("\n"), 1):
        found.append(("password line %d of standard input" % number, line.rstrip("\r")))
    for run in case["runs"] if "runs" in case else [case]:
        for name, spec in run.get("files", {}).items():
            for number, line in enumerate(expand(spec.get("text", "")).split("\n"), 1):
                found.append(("line %d of the file %s" % (number, name), line.rstrip("\r")))
    return [(label, text) for label, text in found if len(text) >= MIN_SECRET_LENGTH]


def curl_debug_on(env):
    value = env.get("CURLDEBUG")
    return value is not None and value.lower() != "false"


class Finished:
    """What one run of rbz left: exit status (negative: the signal), output,
    peak resident memory in KiB, and whether the runner killed it, for taking
    too long or on the output it waited for."""

    def __init__(self, returncode, stdout, stderr, max_rss_kb, timed_out, killed_on_output):
        self.returncode = returncode
        self.stdout = stdout
        self.stderr = stderr
        self.max_rss_kb = max_rss_kb
        self.timed_out = timed_out
        self.killed_on_output = killed_on_output


def run_child(argv, stdin, env, timeout, kill_when=None):
    """Runs argv to its end and collects, unlike subprocess.run, the child's
    own resource usage (wait4), so that its peak memory is known.  With
    `kill_when` (bytes), the child is killed as soon as its standard output
    holds them."""
    child = subprocess.Popen(argv, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                             stderr=subprocess.PIPE, env=env)
    collected = {}
    seen = threading.Event()

    def drain(name, stream):
        data = b""
        while True:
            piece = stream.read1(65536)
            if not piece:
                break
            data += piece
            if name == "stdout" and kill_when is not None and kill_when in data and not seen.is_set():
                seen.set()
                child.kill()
        collected[name] = data
        stream.close()

    def feed():
        try:
            child.stdin.write(stdin)
        except (BrokenPipeError, OSError):
            pass   # rbz ended without reading all of it
        finally:
            try:
                child.stdin.close()
            except (BrokenPipeError, OSError):
                pass

    workers = [threading.Thread(target=drain, args=("stdout", child.stdout)),
               threading.Thread(target=drain, args=("stderr", child.stderr)),
               threading.Thread(target=feed)]
    for worker in workers:
        worker.start()
    expired = threading.Event()

    def kill():
        expired.set()
        child.kill()

    timer = threading.Timer(timeout, kill)
    timer.start()
    try:
        _, status, usage = os.wait4(child.pid, 0)
    finally:
        timer.cancel()
    child.returncode = os.waitstatus_to_exitcode(status)   # the Popen must not wait again
    for worker in workers:
        worker.join()
    return Finished(child.returncode, collected.get("stdout", b""), collected.get("stderr", b""),
                    usage.ru_maxrss, expired.is_set(), seen.is_set())


def visible(line):
    """The line with its control characters spelt out, so that a stray
    carriage return or a tab in place of blanks shows in a diff."""
    body, end = (line[:-1], "\n") if line.endswith("\n") else (line, "\n")
    out = []
    for ch in body:
        if ch == "\\":
            out.append("\\\\")
        elif ch == "\t":
            out.append("\\t")
        elif ch == "\r":
            out.append("\\r")
        elif ord(ch) < 32 or ord(ch) == 127:
            out.append("\\x%02x" % ord(ch))
        else:
            out.append(ch)
    return "".join(out) + end


def diff(label, expected, actual):
    lines = difflib.unified_diff(
        [visible(l) for l in expected.splitlines(keepends=True)],
        [visible(l) for l in actual.splitlines(keepends=True)],
        fromfile="expected " + label, tofile="actual " + label)
    return "".join(lines)


def needs_server(case, runs):
    if "sim" in case:
        return True
    for run in runs:
        if "requests" in run or any("{PORT}" in a for a in run.get("args", [])):
            return True
    return False


def check_keys(case):
    unknown = set(case) - CASE_KEYS
    if unknown:
        raise CaseError("unknown keys: %s" % ", ".join(sorted(unknown)))
    if "runs" in case:
        extra = set(case) - MULTI_RUN_CASE_KEYS
        if extra:
            raise CaseError("with \"runs\", put %s in each run" % ", ".join(sorted(extra)))
        for run in case["runs"]:
            unknown = set(run) - RUN_KEYS
            if unknown:
                raise CaseError("unknown run keys: %s" % ", ".join(sorted(unknown)))
    runs = case["runs"] if "runs" in case else [case]
    for run in runs:
        if "status" not in run:
            raise CaseError("every run states its \"status\"")
        if (run["status"] is None) != ("kill_when_stdout" in run):
            raise CaseError("\"status\" is null exactly when \"kill_when_stdout\" is given")
        if not isinstance(run.get("args", []), list):
            raise CaseError("\"args\" is a list of words")
        if ("json" in run or "jq" in run) and not wants_json(run.get("args", [])):
            raise CaseError("\"json\" and \"jq\" need \"--json\" in \"args\"")


def environment(shared, own):
    env = dict(os.environ)
    for extra in (shared or {}, own or {}):
        for key, value in extra.items():
            if value is None:
                env.pop(key, None)
            else:
                env[key] = str(value)
    return env


def shown(args):
    """The words of a command line, long ones shortened, for messages."""
    return " ".join(a if len(a) <= 60 else "%s...(%d bytes)" % (a[:20], len(a)) for a in args)


def play_run(options, case, run, shared_env, server):
    """Runs rbz once; returns a list of failure descriptions."""
    port = str(server.port) if server is not None else None
    tmp = tempfile.mkdtemp(prefix="rbz-case-")
    try:
        return play_run_in(options, case, run, shared_env, server, port, tmp)
    finally:
        shutil.rmtree(tmp, ignore_errors=True)


def play_run_in(options, case, run, shared_env, server, port, tmp):
    args = [os.fsencode(expand(place(word, port, tmp))) for word in run.get("args", [])]
    write_files(run, tmp)
    stdin_text = expand(place(run.get("stdin", ""), port, tmp))
    env = environment(shared_env, run.get("env"))
    connections_before = server.connections() if server is not None else 0
    kill_when = run.get("kill_when_stdout")
    started = time.monotonic()
    done = run_child([os.fsencode(options.rbz)] + args,
                     stdin_text.encode("utf-8", "surrogateescape"), env, options.timeout,
                     None if kill_when is None else kill_when.encode("utf-8"))
    if done.timed_out:
        return ["rbz %s did not end within %ss" % (shown([os.fsdecode(a) for a in args]),
                                                    options.timeout)]

    took = time.monotonic() - started
    out = done.stdout.decode("utf-8", "surrogateescape")
    err = done.stderr.decode("utf-8", "surrogateescape")
    failures = []
    if "min_seconds" in run and took < run["min_seconds"]:
        failures.append("rbz ended after %.2f s, before %s s" % (took, run["min_seconds"]))
    if "max_seconds" in run and took > run["max_seconds"]:
        failures.append("rbz took %.2f s, more than %s s" % (took, run["max_seconds"]))
    if options.times and ("min_seconds" in run or "max_seconds" in run):
        options.notes.append("run took %.2f s" % took)
    if done.returncode < 0 and not done.killed_on_output:
        failures.append("rbz was killed by signal %d (%s)"
                        % (-done.returncode, signal.Signals(-done.returncode).name))
    if not curl_debug_on(env):
        for label, secret in secrets(case, stdin_text):
            for stream, text in (("stdout", out), ("stderr", err)):
                if secret in text:
                    failures.append("%s shows %s" % (stream, label))
    if "max_rss_mb" in run:
        limit = run["max_rss_mb"] * (SANITIZED_RSS_FACTOR if options.sanitized else 1)
        peak = done.max_rss_kb / 1024.0
        if peak > limit:
            failures.append("rbz took %.0f MiB of memory at its peak; at most %d allowed"
                            % (peak, limit))
        if options.times:
            options.notes.append("peak memory %.0f MiB (limit %d)" % (peak, limit))
    for label, actual in (("stdout", out), ("stderr", err)):
        if label in run and actual != run[label]:
            failures.append(diff(label, run[label], actual))
        for piece in run.get(label + "_contains", []):
            if piece not in actual:
                failures.append("%s lacks %r; it was:\n%s" % (label, piece, actual))
    if wants_json(run.get("args", [])):
        failures.extend(check_json(run, out, err))
    if run["status"] is not None and done.returncode != run["status"]:
        failures.append("status %d, expected %d" % (done.returncode, run["status"]))
        if "stderr" not in run and err:
            failures.append("stderr was:\n" + err)
    if server is not None:
        received = [list(r) for r in server.requests()]
        if "requests" in run:
            expected = [list(r) for r in run["requests"]]
            if received != expected:
                failures.append(diff("requests",
                                     "".join(json.dumps(r) + "\n" for r in expected),
                                     "".join(json.dumps(r) + "\n" for r in received)))
        if "connections" in run:
            opened = server.connections() - connections_before
            if opened != run["connections"]:
                failures.append("%d TLS connections, expected %d" % (opened, run["connections"]))
    return failures


def play_case(options, case):
    check_keys(case)
    runs = case["runs"] if "runs" in case else [case]
    shared_env = case.get("env") if "runs" in case else None
    server = None
    if needs_server(case, runs):
        here = os.path.dirname(os.path.abspath(__file__))
        if here not in sys.path:
            sys.path.insert(0, here)
        import simctl  # only cases that talk to the simulated server need it
        if not options.sim or not os.path.exists(options.sim):
            raise CaseError("the simulated server %r is not there" % options.sim)
        server = simctl.start(options.sim, simulator_args(case))
    try:
        if server is not None:
            server.requests()  # whatever start-up itself caused
        failures = []
        for number, run in enumerate(runs, 1):
            for failure in play_run(options, case, run, shared_env, server):
                prefix = "run %d: " % number if len(runs) > 1 else ""
                failures.append(prefix + failure)
        return failures
    finally:
        if server is not None:
            server.cleanup()   # stops it and removes its log and work directory


def main():
    parser = argparse.ArgumentParser(description="Play rbz end-to-end cases.")
    parser.add_argument("--rbz", required=True, help="the rbz binary")
    parser.add_argument("--sim", help="the simulated server's script")
    parser.add_argument("--timeout", type=float, default=60.0, help="seconds per run")
    parser.add_argument("--filter", default="", help="play only cases whose name contains this")
    parser.add_argument("--sanitized", action="store_true",
                        help="rbz is an AddressSanitizer build (memory limits are widened)")
    parser.add_argument("--times", action="store_true",
                        help="show each case's wall time and measured peak memory")
    parser.add_argument("files", nargs="+", help="case files")
    options = parser.parse_args()
    options.notes = []

    passed = failed = 0
    for path in options.files:
        try:
            with open(path, encoding="utf-8") as f:
                cases = json.load(f)
            if not isinstance(cases, list):
                raise CaseError("a case file holds a list of cases")
        except (OSError, ValueError, CaseError) as e:
            print("FAIL %s: %s" % (path, e))
            failed += 1
            continue
        for index, case in enumerate(cases):
            name = "%s: %s" % (os.path.basename(path), case.get("name", "#%d" % index))
            if options.filter not in name:
                continue
            started = time.monotonic()
            try:
                failures = play_case(options, case)
            except CaseError as e:
                failures = ["case error: %s" % e]
            except Exception as e:  # a broken server or runner: report, go on
                failures = ["%s: %s" % (type(e).__name__, e)]
            if failures:
                failed += 1
                print("FAIL " + name)
                for failure in failures:
                    print("    " + failure.rstrip("\n").replace("\n", "\n    "))
            else:
                passed += 1
                print("ok   " + name)
            if options.times:
                for note in options.notes + ["%.2f s" % (time.monotonic() - started)]:
                    print("     " + note)
                options.notes.clear()
    print("%d passed, %d failed" % (passed, failed))
    return 1 if failed or passed == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
