#!/usr/bin/env python3
"""Simulated ESXi CIM server with the Quilo RAID controller's provider.

    python3 sim/rbz_sim.py --port 0 [--user root] [--password secret]
        [--controller-password 0000] [--scenario SPEC]... [--request-log FILE]
        [--delay-ms N] [--cert FILE [--key FILE]] [--silent]
        [--state NAME] [--set CLASS:KEYS:PROPERTY=VALUE]...

Listens on 127.0.0.1 over HTTPS and answers CIM-XML operations on the classes
of the namespace quilo/cimv2.  The first line on standard output is
"PORT <n>"; SIGTERM or SIGINT stops it.  See sim/README.md.
"""

import argparse
import os
import signal
import ssl
import subprocess
import sys
import tempfile
import threading

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from sim_controller import Controller        # noqa: E402
from sim_scenario import ScenarioError, Scenarios   # noqa: E402
from sim_server import RequestLog, SimServer  # noqa: E402
from sim_service import Service               # noqa: E402
from sim_states import STATE_NAMES, StateError, apply_state, parse_settings   # noqa: E402

DEFAULT_CACHE = os.path.join(os.path.dirname(os.path.abspath(__file__)), ".cache")
CERT_FILE = "localhost.pem"


def make_certificate(cache_dir):
    """The cached self-signed certificate and key (one PEM file), made on first use."""
    os.makedirs(cache_dir, exist_ok=True)
    target = os.path.join(cache_dir, CERT_FILE)
    if os.path.exists(target):
        return target
    # Made in a private directory and moved into place in one step, so that
    # simulators starting side by side never read a half-written file.
    with tempfile.TemporaryDirectory(dir=cache_dir) as work:
        key = os.path.join(work, "key.pem")
        cert = os.path.join(work, "cert.pem")
        subprocess.run(
            ["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "3650",
             "-subj", "/CN=localhost", "-addext", "subjectAltName=DNS:localhost,IP:127.0.0.1",
             "-keyout", key, "-out", cert],
            check=True, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        combined = os.path.join(work, "combined.pem")
        with open(combined, "wb") as out:
            for part in (key, cert):
                with open(part, "rb") as source:
                    out.write(source.read())
        os.replace(combined, target)
    return target


def tls_context(cache_dir, cert=None, key=None):
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.minimum_version = ssl.TLSVersion.TLSv1_2
    if cert:
        context.load_cert_chain(cert, key)
        return context
    pem = make_certificate(cache_dir)
    try:
        context.load_cert_chain(pem)
    except ssl.SSLError:
        os.remove(pem)                  # a damaged cache: make a new pair once
        context.load_cert_chain(make_certificate(cache_dir))
    return context


def parse_args(argv):
    parser = argparse.ArgumentParser(
        prog="rbz_sim.py",
        description="Simulated ESXi CIM server with the Quilo RAID controller provider.")
    parser.add_argument("--port", type=int, default=0, help="TCP port on 127.0.0.1 (0: any free)")
    parser.add_argument("--user", default="root", help="ESXi user name (default root)")
    parser.add_argument("--password", default="secret", help="ESXi password (default secret)")
    parser.add_argument("--controller-password", default="0000",
                        help="the RAID controller's password (default 0000)")
    parser.add_argument("--scenario", action="append", default=[], metavar="SPEC",
                        help="misbehave on chosen requests (repeatable; see README)")
    parser.add_argument("--request-log", metavar="FILE", help="append JSON lines for each request")
    parser.add_argument("--delay-ms", type=int, default=0, help="wait before every reply")
    parser.add_argument("--cache-dir", default=DEFAULT_CACHE,
                        help="where the self-signed certificate is kept")
    parser.add_argument("--max-requests", type=int, default=10,
                        help="requests per kept-alive connection (default 10)")
    parser.add_argument("--idle-timeout", type=float, default=15.0,
                        help="seconds a kept-alive connection may stay idle (default 15)")
    parser.add_argument("--cert", metavar="FILE",
                        help="the server's certificate chain (PEM) instead of the self-signed one")
    parser.add_argument("--key", metavar="FILE", help="its private key (default: in --cert's file)")
    parser.add_argument("--silent", action="store_true",
                        help="accept connections and never answer, not even the TLS handshake")
    parser.add_argument("--state", choices=STATE_NAMES,
                        help="start with the host in this state instead of the initial contents")
    parser.add_argument("--set", action="append", default=[], metavar="CLASS:KEYS:PROPERTY=VALUE",
                        help="force a property of the instances KEYS select, in every reply (repeatable)")
    parser.add_argument("--verbose", action="store_true", help="trace requests on standard error")
    args = parser.parse_args(argv)
    if args.key and not args.cert:
        parser.error("--key goes with --cert")
    if args.delay_ms < 0 or args.max_requests < 1 or args.idle_timeout <= 0:
        parser.error("--delay-ms, --max-requests and --idle-timeout must be positive")
    return args


def main(argv=None):
    args = parse_args(sys.argv[1:] if argv is None else argv)
    try:
        scenarios = Scenarios(args.scenario)
    except ScenarioError as error:
        print("rbz_sim: %s" % error, file=sys.stderr)
        return 2
    try:
        context = tls_context(args.cache_dir, args.cert, args.key)
    except (OSError, subprocess.CalledProcessError, ssl.SSLError) as error:
        print("rbz_sim: no certificate: %s" % error, file=sys.stderr)
        return 1
    controller = Controller(args.controller_password)
    try:
        if args.state:
            apply_state(controller, args.state)
        controller.settings = parse_settings(args.set)
    except StateError as error:
        print("rbz_sim: %s" % error, file=sys.stderr)
        return 2
    log = RequestLog(args.request_log)
    server = SimServer(args.port, context, Service(controller),
                       scenarios, log, (args.user, args.password), args.delay_ms,
                       args.max_requests, args.idle_timeout, args.verbose, args.silent)

    def stop(signum, frame):
        # serve_forever runs on this thread: shutdown() must come from another.
        threading.Thread(target=server.shutdown, daemon=True).start()

    signal.signal(signal.SIGTERM, stop)
    signal.signal(signal.SIGINT, stop)
    print("PORT %d" % server.server_address[1], flush=True)
    try:
        server.serve_forever(poll_interval=0.1)
    finally:
        server.server_close()
        log.close()
    print("rbz_sim: %d TLS connection(s), %d failed handshake(s)"
          % (server.connections, server.failed_handshakes), file=sys.stderr)
    return 0


if __name__ == "__main__":
    sys.exit(main())
