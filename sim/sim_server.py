"""HTTPS front of the simulated CIM server.

Strict in the ways the CIM servers of ESXi hosts are: HTTP/1.1 with keep-alive
and a Content-Length on every reply; Basic authentication; no "Expect:" (417)
and no body without Content-Length (411); a kept-alive connection is closed
after a number of requests or after an idle time.  Each TLS connection is
counted, and each request is written to the request log as one JSON line.
"""

import base64
import binascii
import http
import http.client
import http.server
import json
import socketserver
import ssl
import sys
import threading
import time
import traceback
import urllib.parse

import sim_cimxml
import sim_hostile
from sim_scenario import LONG_HEADER_NAME
from sim_service import REPLY_HEADERS, Reply

MAX_BODY = 4 * 1024 * 1024
# Request header lines are read up to 1 MiB (the standard library stops at
# 64 KiB and drops the connection while the client may still be sending), so
# that very long credentials reach the authentication check and get a 401.
http.client._MAXLINE = max(http.client._MAXLINE, 1 << 20)
_connection = threading.local()


class RequestLog:
    """JSON lines: {"event": "connection", ...} and {"event": "request", ...}."""

    def __init__(self, path):
        self._file = open(path, "a", encoding="utf-8") if path else None
        self._lock = threading.Lock()

    def write(self, record):
        if self._file is None:
            return
        line = json.dumps(record, ensure_ascii=False) + "\n"
        with self._lock:
            self._file.write(line)
            self._file.flush()

    def close(self):
        if self._file is not None:
            self._file.close()


def apply_scenario(service, headers, body, actions):
    """The reply to a request that passed the HTTP checks, with the scenario's actions."""
    if "close" in actions:
        reply = Reply(drop=True)
    elif "status" in actions:
        reply = Reply(actions["status"])
        if actions["status"] == 401:
            reply.headers.append(("WWW-Authenticate", 'Basic realm="cimom"'))
    elif "empty" in actions:
        reply = Reply(200, b"", list(REPLY_HEADERS))
    elif "body" in actions:
        reply = Reply(200, actions["body"], list(REPLY_HEADERS))
    elif "random" in actions:
        reply = Reply(200, sim_hostile.random_bytes(actions["random"]), list(REPLY_HEADERS))
    elif "bulk" in actions:
        reply = Reply(200, sim_hostile.bulk(actions["bulk"]), list(REPLY_HEADERS))
    elif "nest" in actions:
        # Intrinsic operations name only the namespace in CIMObject.
        intrinsic = ":" not in urllib.parse.unquote(headers.get("CIMObject") or "")
        reply = Reply(200, sim_hostile.nested(actions["nest"], (headers.get("CIMMethod") or "").strip(),
                                              intrinsic), list(REPLY_HEADERS))
    else:
        override = None
        if "error" in actions:
            override = ("error", actions["error"], actions.get("desc"))
        elif "return" in actions:
            override = ("return", actions["return"])
        reply = service.handle(headers, body, override)
    if "malformed" in actions:
        broken = reply.body.replace(b"</SIMPLERSP>\n", b"", 1)
        reply.body = broken if broken != reply.body else reply.body + b"<"
    if "truncate" in actions:
        if isinstance(reply.body, sim_hostile.StreamedBody):
            reply.body = reply.body.truncated(actions["truncate"])
        else:
            reply.body = reply.body[:actions["truncate"]]
    # The filler comes first, so that CIM status headers follow the flood.
    for number in range(1, actions.get("headers", 0) + 1):
        reply.headers.append(("X-Sim-Filler-%05d" % number, "filler"))
    if "cimstatus" in actions:
        code = actions["cimstatus"]
        if code.isdigit():
            description = sim_cimxml.error_description(int(code), actions.get("desc"))
        else:
            description = actions.get("desc", "CIM error " + code)
        reply.headers.append(("CIMStatusCode", code))
        reply.headers.append(("CIMStatusDescription", description))
    if "longheader" in actions:
        reply.headers.append((LONG_HEADER_NAME, "x" * (actions["longheader"] - len(LONG_HEADER_NAME) - 2)))
    if "hangup" in actions:
        reply.hangup = actions["hangup"]
    reply.drip_ms = actions.get("drip", 0)
    reply.delay_ms += actions.get("delay", 0)
    return reply


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    server_version = "QuiloCIMSim/1.0"
    # A reply goes out in two writes (headers, body); with Nagle's algorithm
    # on, the body would wait for the client's delayed acknowledgement of the
    # headers, about 40 ms per request.
    disable_nagle_algorithm = True

    def version_string(self):
        return self.server_version

    def setup(self):
        self.timeout = self.server.idle_timeout
        super().setup()
        self.served = 0
        self.connection_id = getattr(_connection, "id", 0)

    def handle_expect_100(self):
        # Never "100 Continue": the POST handler answers 417 to any Expect.
        return True

    def log_message(self, format, *args):       # noqa: A002 (the base class's name)
        if self.server.verbose:
            sys.stderr.write("rbz_sim: %s %s\n" % (self.address_string(), format % args))

    def do_POST(self):
        self._serve(True)

    def do_GET(self):
        self._serve(False)

    do_HEAD = do_PUT = do_DELETE = do_OPTIONS = do_PATCH = do_GET

    # -- one request ------------------------------------------------------------

    def _serve(self, is_post):
        self.served += 1
        body = b""
        if not is_post:
            # Any body it may carry is not read, so the connection cannot go on.
            reply = Reply(405, headers=[("Allow", "POST")], close=True)
        else:
            reply, body = self._checked_post()
        if reply is None:                        # the client left in the middle of the body
            self.close_connection = True
            return
        self.server.log.write({
            "event": "request",
            "connection": self.connection_id,
            "verb": self.command,
            "path": self.path,
            "operation": self.headers.get("CIMOperation"),
            "method": self.headers.get("CIMMethod"),
            "object": self.headers.get("CIMObject"),
            "status": None if reply.drop else reply.status,
            "body": body.decode("utf-8", errors="replace"),
        })
        delay = reply.delay_ms + self.server.delay_ms
        if delay:
            time.sleep(delay / 1000.0)
        if reply.drop:
            self.close_connection = True
            return
        last = reply.close or reply.hangup is not None or self.served >= self.server.max_requests
        if reply.drip_ms:
            self._drip(reply, last)
            return
        self.send_response(reply.status)
        for name, value in reply.headers:
            self.send_header(name, value)
        streamed = isinstance(reply.body, sim_hostile.StreamedBody)
        # A streamed body's length may be beyond what len() can report.
        self.send_header("Content-Length", str(reply.body.length if streamed else len(reply.body)))
        if last and reply.hangup is None:
            self.send_header("Connection", "close")
        self.end_headers()
        if self.command != "HEAD":
            if streamed:
                for chunk in reply.body.chunks(reply.hangup):
                    self.wfile.write(chunk)
            else:
                self.wfile.write(reply.body if reply.hangup is None else reply.body[:reply.hangup])
        if last:
            self.close_connection = True

    def _drip(self, reply, last):
        """The whole reply, one byte at a time: a server that is never silent
        for long and never done."""
        lines = ["HTTP/1.1 %d %s" % (reply.status, http.HTTPStatus(reply.status).phrase)]
        lines += ["%s: %s" % (name, value) for name, value in reply.headers]
        body = reply.body if reply.hangup is None else reply.body[:reply.hangup]
        lines.append("Content-Length: %d" % len(reply.body))
        if last:
            lines.append("Connection: close")
        data = ("\r\n".join(lines) + "\r\n\r\n").encode("latin-1") + body
        for i in range(len(data)):
            self.wfile.write(data[i:i + 1])
            time.sleep(reply.drip_ms / 1000.0)
        self.close_connection = True

    def _checked_post(self):
        """(reply, body) for a POST; reply None when the body did not arrive whole."""
        if self.headers.get("Expect") is not None:
            return Reply(417, close=True), b""
        length = self.headers.get("Content-Length")
        if length is None:
            return Reply(411, close=True), b""
        length = length.strip()
        if not length.isdigit() or self.headers.get("Transfer-Encoding") is not None:
            return Reply(400, close=True), b""
        if int(length) > MAX_BODY:
            return Reply(413, close=True), b""
        body = self.rfile.read(int(length))
        if len(body) < int(length):
            return None, body
        if urllib.parse.urlsplit(self.path).path != "/cimom":
            return Reply(404), body
        if not self._authorized():
            return Reply(401, headers=[("WWW-Authenticate", 'Basic realm="cimom"')]), body
        actions = self.server.scenarios.pick(self.headers.get("CIMMethod"))
        try:
            return apply_scenario(self.server.service, self.headers, body, actions), body
        except Exception:                        # a fault of the simulator itself
            traceback.print_exc(file=sys.stderr)
            return Reply(500), body

    def _authorized(self):
        scheme, _, encoded = (self.headers.get("Authorization") or "").strip().partition(" ")
        if scheme.lower() != "basic":
            return False
        try:
            decoded = base64.b64decode(encoded.strip(), validate=True).decode("utf-8")
        except (binascii.Error, UnicodeDecodeError):
            return False
        user, sep, password = decoded.partition(":")
        return bool(sep) and (user, password) == self.server.credentials


class SimServer(socketserver.ThreadingMixIn, socketserver.TCPServer):
    """Accepts plain TCP and does each TLS handshake in the connection's own thread."""

    daemon_threads = True
    block_on_close = False
    allow_reuse_address = True

    def __init__(self, port, ssl_context, service, scenarios, log, credentials,
                 delay_ms=0, max_requests=10, idle_timeout=15.0, verbose=False, silent=False):
        self.ssl_context = ssl_context
        self.silent = silent
        self.service = service
        self.scenarios = scenarios
        self.log = log
        self.credentials = credentials
        self.delay_ms = delay_ms
        self.max_requests = max_requests
        self.idle_timeout = idle_timeout
        self.verbose = verbose
        self.connections = 0
        self.failed_handshakes = 0
        self._count_lock = threading.Lock()
        super().__init__(("127.0.0.1", port), Handler)

    def finish_request(self, request, client_address):
        if self.silent:
            # The connection stays open and unanswered, TLS handshake
            # included, until the simulator stops.
            threading.Event().wait()
        request.settimeout(self.idle_timeout)
        try:
            tls = self.ssl_context.wrap_socket(request, server_side=True)
        except (ssl.SSLError, OSError) as error:
            with self._count_lock:
                self.failed_handshakes += 1
            if self.verbose:
                sys.stderr.write("rbz_sim: TLS handshake failed: %s\n" % error)
            return
        with self._count_lock:
            self.connections += 1
            _connection.id = self.connections
        self.log.write({"event": "connection", "connection": _connection.id})
        try:
            self.RequestHandlerClass(tls, client_address, self)
        except OSError:
            pass                       # the client went away; nothing to answer
        finally:
            tls.close()

    def handle_error(self, request, client_address):
        if self.verbose:
            super().handle_error(request, client_address)
