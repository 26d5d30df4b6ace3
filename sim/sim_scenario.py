"""Test hooks: make the simulated server misbehave on chosen requests.

A scenario is one text, `SELECTOR:ACTION[:ACTION...]`:

    SELECTOR  [NAME][#N[+]]
              NAME is the value of the request's CIMMethod header (an intrinsic
              operation such as GetClass, or a method such as AuthPassword),
              compared ignoring case; empty or "*" selects every request.
              #N selects only the N-th request (from 1) that NAME selects,
              #N+ the N-th and every later one; without it every one.
    ACTION    status=CODE     answer with HTTP status CODE and an empty body
              close           close the connection without answering
              empty           answer 200 with an empty body
              body=FILE       answer 200 with the bytes of FILE as the body
              error=CODE      answer with an ERROR element of CIM status CODE
              return=TEXT     give an extrinsic method the status text TEXT
              random=N        answer 200 with N pseudo-random bytes
              bulk=N          answer 200 with N bytes: the XML declaration, the
                              CIM start tag, then blank lines
              nest=N          answer 200 with a reply whose return value is N
                              VALUE.ARRAY elements nested in each other
              desc=TEXT       the description for error= or cimstatus=
              cimstatus=TEXT  add the headers CIMStatusCode: TEXT and
                              CIMStatusDescription (desc=, else a standard text)
              truncate=N      send only the first N bytes of the body
              malformed       drop the "</SIMPLERSP>" line from the body
              headers=N       add N more header lines
              longheader=N    add one header line of N bytes (N >= 12)
              hangup=N        announce the whole body's length but send only
                              its first N bytes, then close the connection
              delay=MS        wait MS milliseconds before answering
              drip=MS         send the reply (status line, headers, body) one
                              byte at a time, MS milliseconds apart

At most one of status, close, empty, body, error, return, random, bulk and
nest.  With one of these the operation itself is not performed (a method
changes nothing); with the other actions alone it is, and the reply is then
altered.  The bodies of random, bulk and nest are made while they are sent,
so N may be hundreds of megabytes.  Texts cannot hold ":".  Requests refused before the scenarios
are looked at (HTTP checks and authentication) are not counted.  When several
scenarios select a request, every one counts it and the first given wins.
"""

import re
import threading

_SELECTOR = re.compile(r"^(?P<name>[^#]*)(?:#(?P<nth>[1-9][0-9]*)(?P<onward>\+?))?$")

REPLACING = ("status", "close", "empty", "body", "error", "return", "random", "bulk", "nest")
STREAMED = ("random", "bulk", "nest")
_FLAGS = ("close", "empty", "malformed")
_NUMBERS = ("status", "error", "truncate", "delay", "random", "bulk", "nest", "headers",
            "longheader", "hangup", "drip")
_TEXTS = ("desc", "return", "body", "cimstatus")
LONG_HEADER_NAME = "X-Sim-Long"


class ScenarioError(ValueError):
    pass


class Scenario:
    def __init__(self, text):
        self.text = text
        selector, sep, rest = text.partition(":")
        if not sep or not rest:
            raise ScenarioError("expected SELECTOR:ACTION")
        match = _SELECTOR.match(selector.strip())
        if match is None:
            raise ScenarioError("bad selector %r" % selector)
        name = match.group("name").strip()
        self.name = None if name in ("", "*") else name.lower()
        self.nth = int(match.group("nth")) if match.group("nth") else None
        self.onward = bool(match.group("onward"))
        self.actions = {}
        for action in rest.split(":"):
            self._add_action(action)
        replacing = [a for a in REPLACING if a in self.actions]
        if len(replacing) > 1:
            raise ScenarioError("only one of %s" % ", ".join(replacing))
        if "desc" in self.actions and not ("error" in self.actions or "cimstatus" in self.actions):
            raise ScenarioError("desc= goes with error= or cimstatus=")
        if "truncate" in self.actions and "malformed" in self.actions:
            raise ScenarioError("truncate and malformed exclude each other")
        if "malformed" in self.actions and any(a in self.actions for a in STREAMED):
            raise ScenarioError("malformed goes with a reply of the server's own")
        if "drip" in self.actions and any(a in self.actions for a in STREAMED + ("close",)):
            raise ScenarioError("drip goes with a reply that is sent whole")
        if self.actions.get("longheader", len(LONG_HEADER_NAME) + 2) < len(LONG_HEADER_NAME) + 2:
            raise ScenarioError("longheader needs at least %d bytes" % (len(LONG_HEADER_NAME) + 2))
        if "body" in self.actions:
            try:
                with open(self.actions["body"], "rb") as source:
                    self.actions["body"] = source.read()
            except OSError as error:
                raise ScenarioError("body file: %s" % error) from None
        self.seen = 0

    def _add_action(self, action):
        word, has_value, value = action.partition("=")
        word = word.strip().lower()
        if word in self.actions:
            raise ScenarioError("%s given twice" % word)
        if word in _FLAGS:
            if has_value:
                raise ScenarioError("%s takes no value" % word)
            self.actions[word] = True
        elif word in _NUMBERS:
            if not value.strip().isdigit():
                raise ScenarioError("%s needs a number" % word)
            number = int(value)
            if word == "status" and not 100 <= number <= 599:
                raise ScenarioError("status must be an HTTP status code")
            self.actions[word] = number
        elif word in _TEXTS:
            if not has_value or (word == "cimstatus" and not value):
                raise ScenarioError("%s needs a value" % word)
            self.actions[word] = value
        else:
            raise ScenarioError("unknown action %r" % action)

    def select(self, cim_method):
        """Count the request if this scenario's name selects it; True when it applies."""
        if self.name is not None and (cim_method or "").strip().lower() != self.name:
            return False
        self.seen += 1
        if self.nth is None:
            return True
        return self.seen == self.nth or (self.onward and self.seen > self.nth)


class Scenarios:
    def __init__(self, texts=()):
        self.items = []
        for text in texts:
            try:
                self.items.append(Scenario(text))
            except ScenarioError as error:
                raise ScenarioError("scenario %r: %s" % (text, error)) from None
        self._lock = threading.Lock()

    def pick(self, cim_method):
        """The actions for one request (an empty dict when no scenario applies)."""
        chosen = None
        with self._lock:
            for scenario in self.items:
                if scenario.select(cim_method) and chosen is None:
                    chosen = scenario
        return dict(chosen.actions) if chosen else {}
