#!/usr/bin/env python3
"""A static HTTPS server for the whole-run benchmark (bench/whole_run.py).

    python3 bench/static_server.py [--events N] [--drives M] [--pad BYTES] [--request-log FILE]

Listens on 127.0.0.1 and answers POST /cimom from memory. The replies are
the simulator's own (sim/*.py, imported and used as they are) for a
controller whose event log holds N entries and which has M drives: every
reply is made once, on the first request that asks for it (the benchmark's
warm-up run makes all of them), and kept as bytes. Later requests with the
same CIMMethod, CIMObject and body get those bytes without any work, so a
timed run costs the server one dictionary look-up and one send.

With --pad, the first instance of every GetInstance or EnumerateInstances
reply gets extra string properties (PadNNNNNN, a value of 1,000 bytes each)
until the reply is about BYTES long: a large reply for commands whose
instances the simulator keeps few and small (`vsf inq`, `disk inq`,
`sys info`, ...). The commands print none of these properties.

Each reply goes out in one write (status line, headers and body together)
on a socket with TCP_NODELAY, so that no reply waits for the client's
delayed acknowledgement.

HTTP as the simulator speaks it: HTTP/1.1 with keep-alive, HTTP Basic
authentication, Content-Length on every reply; an Expect header gets 417.
The first line on standard output is "PORT <n>"; SIGTERM stops it.

The request log (one JSON line per connection and per request) holds every
request header and the body, so that the benchmark can send the very same
requests with curl, and whether the reply was made ("built": true) or
served from memory.
"""

import argparse
import base64
import json
import os
import signal
import socket
import ssl
import sys
import threading

HERE = os.path.dirname(os.path.abspath(__file__))
SIM_DIR = os.path.join(os.path.dirname(HERE), "sim")
sys.path.insert(0, SIM_DIR)

import sim_controller                      # noqa: E402
from rbz_sim import tls_context            # noqa: E402
from sim_service import Service            # noqa: E402

MAX_HEADER_BYTES = 64 * 1024
MAX_BODY = 4 * 1024 * 1024


# ---------------------------------------------------------------------------
# The data set

def scaled_controller(events, drives):
    """The simulator's controller with `events` log entries and `drives` drives.

    Entries and drives are copies of the simulator's own, renumbered: event
    names stay unique, and drive i sits in enclosure i // 100, slot i % 100
    with a serial number of its own. Every tenth drive is the simulator's
    failed ("Unavailable") one, which `disk info` leaves out.
    """
    controller = sim_controller.Controller()
    if events is not None:
        template = list(controller.events)          # newest first
        scaled = []
        for i in range(events):
            entry = dict(template[i % len(template)])
            entry["Name"] = "Event:%06d" % (events - i)
            scaled.append(entry)
        controller.events = scaled
    if drives is not None:
        template = [controller.drives[key] for key in sorted(controller.drives)]
        scaled = {}
        for i in range(drives):
            drive = dict(template[i % len(template)])
            enc, slot = i // 100, i % 100
            drive.update(EnclosureNumber=enc, SlotNumber=slot, Enc=str(enc), Slot=str(slot),
                         DeviceID="%s-%05d" % (drive["DeviceID"], i))
            scaled[(enc, slot)] = drive
        controller.drives = scaled
    return controller


PAD_VALUE = ("0123456789abcdefghijklmnopqrstuvwxyz" * 28)[:1000]
PADDED_METHODS = ("GetInstance", "EnumerateInstances")


def padded(body, size):
    """`body` with PadNNNNNN properties in its first instance, about `size` bytes in all."""
    end = body.find(b"</INSTANCE>")
    if end < 0:
        return body
    one = len(b'<PROPERTY NAME="Pad000000" TYPE="string">\n<VALUE></VALUE>\n</PROPERTY>\n') + \
        len(PAD_VALUE)
    count = max(0, (size - len(body)) // one)
    pad = "".join('<PROPERTY NAME="Pad%06d" TYPE="string">\n<VALUE>%s</VALUE>\n</PROPERTY>\n'
                  % (i, PAD_VALUE) for i in range(count))
    return body[:end] + pad.encode("ascii") + body[end:]


class ReplyCache:
    """Replies by (CIMMethod, CIMObject, body); made by the simulator's service once."""

    def __init__(self, service, pad=None):
        self.service = service
        self.pad = pad
        self.replies = {}
        self.lock = threading.Lock()

    def get(self, headers, body):
        key = (headers.get("cimmethod"), headers.get("cimobject"), body)
        with self.lock:
            reply = self.replies.get(key)
            if reply is not None:
                return reply, False
            made = self.service.handle(HeaderView(headers), body)
            if self.pad and made.status == 200 and headers.get("cimmethod") in PADDED_METHODS:
                made.body = padded(made.body, self.pad)
            # Only good replies are kept; anything else is answered as it is.
            if made.status == 200 and not made.drop:
                self.replies[key] = made
            return made, True


class HeaderView:
    """The case-insensitive get() the simulator's service expects."""

    def __init__(self, headers):
        self.headers = headers

    def get(self, name, default=None):
        return self.headers.get(name.lower(), default)


# ---------------------------------------------------------------------------
# HTTP

class Log:
    def __init__(self, path):
        self.file = open(path, "a", encoding="utf-8") if path else None
        self.lock = threading.Lock()

    def write(self, record):
        if self.file is None:
            return
        line = json.dumps(record, ensure_ascii=False) + "\n"
        with self.lock:
            self.file.write(line)
            self.file.flush()


def read_head(stream):
    """Request line and headers, up to the empty line; None at end of input."""
    lines = []
    total = 0
    while True:
        line = stream.readline(MAX_HEADER_BYTES + 1)
        if not line:
            return None
        total += len(line)
        if total > MAX_HEADER_BYTES:
            raise ValueError("header too long")
        if line in (b"\r\n", b"\n"):
            break
        lines.append(line.decode("latin-1").rstrip("\r\n"))
    if not lines:
        return None
    return lines[0], lines[1:]


def send(tls, status, reason, headers, body, close):
    head = ["HTTP/1.1 %d %s" % (status, reason)]
    head += ["%s: %s" % (name, value) for name, value in headers]
    head.append("Content-Length: %d" % len(body))
    if close:
        head.append("Connection: close")
    # One write: a reply sent as two would leave its second part waiting
    # for the acknowledgement of the first.
    tls.sendall(("\r\n".join(head) + "\r\n\r\n").encode("latin-1") + body)


class Server:
    def __init__(self, port, context, cache, credentials, log):
        self.context = context
        self.cache = cache
        self.expected_auth = "Basic " + base64.b64encode(
            ("%s:%s" % credentials).encode("utf-8")).decode("ascii")
        self.log = log
        self.connections = 0
        self.count_lock = threading.Lock()
        self.listener = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
        self.listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.listener.bind(("127.0.0.1", port))
        self.listener.listen(64)
        self.port = self.listener.getsockname()[1]
        self.running = True

    def serve_forever(self):
        while self.running:
            try:
                conn, _ = self.listener.accept()
            except OSError:
                break
            threading.Thread(target=self.connection, args=(conn,), daemon=True).start()

    def stop(self):
        self.running = False
        try:
            self.listener.shutdown(socket.SHUT_RDWR)
        except OSError:
            pass
        self.listener.close()

    def connection(self, conn):
        conn.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        # Long enough for a slow reader (a run under valgrind) to take 200 MB.
        conn.settimeout(600)
        try:
            tls = self.context.wrap_socket(conn, server_side=True)
        except (ssl.SSLError, OSError):
            conn.close()
            return
        with self.count_lock:
            self.connections += 1
            number = self.connections
        self.log.write({"event": "connection", "connection": number})
        stream = tls.makefile("rb")
        try:
            while self.request(number, tls, stream):
                pass
        except (OSError, ValueError):
            pass
        finally:
            stream.close()
            tls.close()

    def request(self, number, tls, stream):
        """Serves one request; returns whether the connection stays open."""
        head = read_head(stream)
        if head is None:
            return False
        request_line, header_lines = head
        parts = request_line.split()
        if len(parts) != 3:
            send(tls, 400, "Bad Request", [], b"", True)
            return False
        verb, path, version = parts
        headers = {}
        ordered = []
        for line in header_lines:
            name, _, value = line.partition(":")
            headers[name.strip().lower()] = value.strip()
            ordered.append([name.strip(), value.strip()])
        keep = (version == "HTTP/1.1" and "close" not in headers.get("connection", "").lower())
        if "expect" in headers and headers["expect"]:
            send(tls, 417, "Expectation Failed", [], b"", True)
            return False
        length = headers.get("content-length")
        if verb != "POST" or length is None or not length.isdigit() or int(length) > MAX_BODY:
            send(tls, 400, "Bad Request", [], b"", True)
            return False
        body = stream.read(int(length))
        if len(body) < int(length):
            return False
        record = {"event": "request", "connection": number, "verb": verb, "path": path,
                  "method": headers.get("cimmethod"), "object": headers.get("cimobject"),
                  "headers": ordered, "body": body.decode("utf-8", errors="replace")}
        if path != "/cimom":
            record.update(status=404)
            self.log.write(record)
            send(tls, 404, "Not Found", [], b"", not keep)
            return keep
        if headers.get("authorization") != self.expected_auth:
            record.update(status=401)
            self.log.write(record)
            send(tls, 401, "Unauthorized", [("WWW-Authenticate", 'Basic realm="cimom"')], b"",
                 not keep)
            return keep
        reply, built = self.cache.get(headers, body)
        record.update(status=reply.status, built=built, bytes=len(reply.body))
        self.log.write(record)
        if reply.drop:
            return False
        send(tls, reply.status, "OK" if reply.status == 200 else "Error", reply.headers,
             reply.body, not keep or reply.close)
        return keep and not reply.close


def main(argv=None):
    parser = argparse.ArgumentParser(prog="static_server.py",
                                     description="Serves the simulator's replies from memory.")
    parser.add_argument("--port", type=int, default=0)
    parser.add_argument("--events", type=int, default=None, help="event log entries")
    parser.add_argument("--drives", type=int, default=None, help="drives")
    parser.add_argument("--pad", type=int, default=None, metavar="BYTES",
                        help="pad the first instance of instance replies to about BYTES")
    parser.add_argument("--user", default="root")
    parser.add_argument("--password", default="secret")
    parser.add_argument("--request-log", metavar="FILE")
    parser.add_argument("--cache-dir", default=os.path.join(SIM_DIR, ".cache"),
                        help="where the simulator keeps its certificate")
    args = parser.parse_args(argv)

    context = tls_context(args.cache_dir)
    service = Service(scaled_controller(args.events, args.drives))
    server = Server(args.port, context, ReplyCache(service, args.pad), (args.user, args.password),
                    Log(args.request_log))

    def stop(signum, frame):
        server.stop()

    signal.signal(signal.SIGTERM, stop)
    signal.signal(signal.SIGINT, stop)
    print("PORT %d" % server.port, flush=True)
    server.serve_forever()
    print("static_server: %d TLS connection(s)" % server.connections, file=sys.stderr)
    return 0


if __name__ == "__main__":
    sys.exit(main())
