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
     "runs": [{...}, ...]}              # instead of the run fields above

The simulated server is started when a case has "sim" or "requests" or
uses {PORT}; its control module (simctl, beside this file) is imported only
then.
"""

import argparse
import difflib
import json
import os
import subprocess
import sys

RUN_KEYS = {"args", "stdin", "env", "stdout", "stdout_contains", "stderr",
            "stderr_contains", "status", "requests", "connections"}
CASE_KEYS = RUN_KEYS | {"name", "sim", "runs", "comment"}
MULTI_RUN_CASE_KEYS = {"name", "sim", "runs", "comment", "env"}


class CaseError(Exception):
    """A case file that cannot be played as written."""


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
        if not isinstance(run.get("args", []), list):
            raise CaseError("\"args\" is a list of words")


def environment(shared, own):
    env = dict(os.environ)
    for extra in (shared or {}, own or {}):
        for key, value in extra.items():
            if value is None:
                env.pop(key, None)
            else:
                env[key] = str(value)
    return env


def play_run(options, run, shared_env, server):
    """Runs rbz once; returns a list of failure descriptions."""
    port = str(server.port) if server is not None else None
    args = []
    for word in run.get("args", []):
        if "{PORT}" in word:
            if port is None:
                raise CaseError("{PORT} used without a simulated server")
            word = word.replace("{PORT}", port)
        args.append(word)

    stdin = run.get("stdin", "").encode("utf-8")
    connections_before = server.connections() if server is not None else 0
    try:
        done = subprocess.run([options.rbz] + args, input=stdin, capture_output=True,
                              env=environment(shared_env, run.get("env")),
                              timeout=options.timeout)
    except subprocess.TimeoutExpired:
        return ["rbz %s did not end within %ss" % (" ".join(args), options.timeout)]

    out = done.stdout.decode("utf-8", "surrogateescape")
    err = done.stderr.decode("utf-8", "surrogateescape")
    failures = []
    for label, actual in (("stdout", out), ("stderr", err)):
        if label in run and actual != run[label]:
            failures.append(diff(label, run[label], actual))
        for piece in run.get(label + "_contains", []):
            if piece not in actual:
                failures.append("%s lacks %r; it was:\n%s" % (label, piece, actual))
    if done.returncode != run["status"]:
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
        server = simctl.start(options.sim, case.get("sim", []))
    try:
        if server is not None:
            server.requests()  # whatever start-up itself caused
        failures = []
        for number, run in enumerate(runs, 1):
            for failure in play_run(options, run, shared_env, server):
                prefix = "run %d: " % number if len(runs) > 1 else ""
                failures.append(prefix + failure)
        return failures
    finally:
        if server is not None:
            server.stop()


def main():
    parser = argparse.ArgumentParser(description="Play rbz end-to-end cases.")
    parser.add_argument("--rbz", required=True, help="the rbz binary")
    parser.add_argument("--sim", help="the simulated server's script")
    parser.add_argument("--timeout", type=float, default=60.0, help="seconds per run")
    parser.add_argument("--filter", default="", help="play only cases whose name contains this")
    parser.add_argument("files", nargs="+", help="case files")
    options = parser.parse_args()

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
    print("%d passed, %d failed" % (passed, failed))
    return 1 if failed or passed == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
