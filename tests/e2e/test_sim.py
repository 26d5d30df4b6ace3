#!/usr/bin/env python3
"""Self-test of the simulated CIM server (sim/rbz_sim.py) and of simctl:
what the end-to-end cases (tests/e2e/cases, rbz against the simulator) cannot
see.  Operations, method effects and refusals are left to those cases.

    python3 tests/e2e/test_sim.py [-v]      (RBZ_CIM_DTD: the CIM-XML DTD)
"""

import base64
import http.client
import os
import re
import shutil
import socket
import ssl
import subprocess
import sys
import tempfile
import time
import unittest
import xml.etree.ElementTree as ET

HERE = os.path.dirname(os.path.abspath(__file__))
REPO = os.path.dirname(os.path.dirname(HERE))
SIM = os.path.join(REPO, "sim", "rbz_sim.py")
DTD = os.environ.get("RBZ_CIM_DTD", os.path.join(REPO, "tests", "data", "cim-dtd", "DSP0203_2.3.1.dtd"))
sys.path.insert(0, HERE)
sys.path.insert(0, os.path.join(REPO, "sim"))

import simctl                                                  # noqa: E402
import sim_hostile                                             # noqa: E402
from sim_scenario import Scenario, ScenarioError, Scenarios    # noqa: E402

# ---------------------------------------------------------------------------
# Request documents in the shape rbz sends

XML_HEADER = ('<?xml version="1.0" encoding="utf-8" ?>\n<CIM CIMVERSION="2.0" DTDVERSION="2.0">\n'
              '<MESSAGE ID="4711" PROTOCOLVERSION="1.0"><SIMPLEREQ>')
XML_TRAILER = "</SIMPLEREQ>\n</MESSAGE></CIM>"
NAMESPACE = ('<LOCALNAMESPACEPATH><NAMESPACE NAME="quilo"/><NAMESPACE NAME="cimv2"/>'
             '</LOCALNAMESPACEPATH>\n')
NS_HEADER = "quilo%2Fcimv2"


def intrinsic(name, param, **flags):
    return (XML_HEADER + '<IMETHODCALL NAME="%s">' % name + NAMESPACE + param
            + "".join('<IPARAMVALUE NAME="%s"><VALUE>%s</VALUE></IPARAMVALUE>\n'
                      % (flag, "TRUE" if value else "FALSE") for flag, value in flags.items())
            + "</IMETHODCALL>" + XML_TRAILER)


def class_name(cls):
    return '<IPARAMVALUE NAME="ClassName"><CLASSNAME NAME="%s"/></IPARAMVALUE>\n' % cls


def enumerate_instances(cls):
    return intrinsic("EnumerateInstances", class_name(cls), DeepInheritance=True,
                     LocalOnly=False, IncludeQualifiers=False, IncludeClassOrigin=True)


def method_call(cls, method, params=()):
    return (XML_HEADER + '<METHODCALL NAME="%s"><LOCALCLASSPATH>' % method + NAMESPACE
            + '<CLASSNAME NAME="%s"/></LOCALCLASSPATH>' % cls
            + "".join('<PARAMVALUE NAME="%s"><VALUE>%s</VALUE></PARAMVALUE>' % p for p in params)
            + "</METHODCALL>" + XML_TRAILER)


def basic(credentials):
    return "Basic " + base64.b64encode(credentials.encode()).decode()


# ---------------------------------------------------------------------------
# A small client and the server fixture

TLS = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
TLS.check_hostname = False
TLS.verify_mode = ssl.CERT_NONE


class Client:
    def __init__(self, port):
        self.conn = http.client.HTTPSConnection("127.0.0.1", port, context=TLS, timeout=10)

    def post(self, cim_method, cim_object, body, extra=None, drop=()):
        headers = {"Content-Type": 'application/xml; charset="utf-8"',
                   "Connection": "Keep-Alive, TE", "CIMProtocolVersion": "1.0",
                   "CIMOperation": "MethodCall", "CIMMethod": cim_method,
                   "CIMObject": cim_object, "Authorization": basic("root:secret")}
        headers.update(extra or {})
        for name in drop:
            del headers[name]
        self.conn.request("POST", "/cimom", body=body.encode("utf-8"), headers=headers)
        response = self.conn.getresponse()
        return response.status, response.headers, response.read()

    def enum(self, cls):
        return self.post("EnumerateInstances", NS_HEADER, enumerate_instances(cls))

    def call(self, cls, method, params=()):
        return self.post(method, NS_HEADER + "%3A" + cls, method_call(cls, method, params))


class SimTestCase(unittest.TestCase):
    sim_args = ()

    @classmethod
    def setUpClass(cls):
        cls.sim = simctl.start(SIM, list(cls.sim_args))
        cls.client = Client(cls.sim.port)

    @classmethod
    def tearDownClass(cls):
        cls.client.conn.close()
        cls.sim.cleanup()


# ---------------------------------------------------------------------------
# What the reports read, with the kind of value they cut

STRING, NUMBER = "string", "number"
REPORTED = {
    "Quilo_RAIDControllerSystem": {
        "ModelName": STRING, "SerialNumber": STRING, "FirmVersion": STRING, "BootVersion": STRING,
        "CurrentIP": STRING, "MAC": STRING, "DCacheSize": NUMBER, "ICacheSize": NUMBER,
        "MemorySpeed": NUMBER, "MemorySize": NUMBER},
    "Quilo_EventLog": {"Time": STRING, "Type": STRING, "Description": STRING, "Data1": STRING},
    "Quilo_DiskDrive": dict(
        {"Usage": STRING, "UsageExt": STRING, "Enc": STRING, "Slot": STRING, "ModelName": STRING,
         "DeviceType": STRING, "DeviceID": STRING, "FirmwareRevision": STRING,
         "RaidSetNumber": NUMBER, "NumberOfBlocks": NUMBER, "EnclosureNumber": NUMBER,
         "SlotNumber": NUMBER, "MediaErrorCount": NUMBER, "TimeOutCount": NUMBER},
        **{name: NUMBER for name in (
            "DeviceTemperatureStatus", "SMARTReadErrorRateStatus", "SMARTSpinupTimeStatus",
            "SMARTReallocationCountStatus", "SMARTSeekErrorRateStatus",
            "SMARTSpinupRetriesStatus", "SMARTCalibrationRetriesStatus",
            "SSDReservedSpaceStatus", "SSDWearingIndicatorStatus", "RotationSpeed",
            "DeviceTemperature", "ReadErrorsRecoveredWODelay", "ReadErrorsRecoveredWDelay",
            "ReadErrorsRecoveredWRetry", "ReadErrorsRecovered", "ReadTotalBytes",
            "ReadErrorsUnrecovered", "WriteErrorsRecoveredWODelay", "WriteErrorsRecoveredWDelay",
            "WriteErrorsRecoveredWRetry", "WriteErrorsRecovered", "WriteTotalBytes",
            "WriteErrorsUnrecovered", "VerifyErrorsRecoveredWODelay",
            "VerifyErrorsRecoveredWDelay", "VerifyErrorsRecoveredWRetry",
            "VerifyErrorsRecovered", "VerifyErrorsUnrecovered", "Non-MediumErrors",
            "DefectPListBlockCount", "DefectGListBlockCount")}),
    "Quilo_StorageVolume": {
        "VolumeNo": NUMBER, "ElementName": STRING, "RAIDLevel": NUMBER, "RaidSetNumber": NUMBER,
        "MemberDisks": NUMBER, "Capacity": NUMBER, "StripeSize": NUMBER, "Channel": NUMBER,
        "ID": NUMBER, "Lun": NUMBER, "CacheMode": STRING, "WriteProtect": STRING,
        "TaggedQueuing": STRING, "VolumeState": STRING, "Progress": NUMBER},
    "Quilo_StoragePool": {
        "RaidSetNumber": NUMBER, "MemberDisks": NUMBER, "InstanceID": STRING, "Volumes": NUMBER,
        "RAIDState": STRING, "Capacity": NUMBER, "FreeRawCapacity": NUMBER},
}
NUMERIC_TYPES = ("uint8", "uint16", "uint32", "uint64")


class Server(SimTestCase):
    def test_every_reported_property_has_a_value_of_the_kind_the_report_cuts(self):
        for cls, wanted in REPORTED.items():
            instances = ET.fromstring(self.client.enum(cls)[2]).findall(".//INSTANCE")
            self.assertTrue(instances, cls)
            for instance in instances:
                props = {p.get("NAME"): p for p in instance.findall("PROPERTY")}
                for name, kind in wanted.items():
                    with self.subTest(cls=cls, prop=name):
                        self.assertIn(name, props)
                        value = props[name].find("VALUE")
                        self.assertIsNotNone(value, "%s has no VALUE" % name)
                        self.assertIn(props[name].get("TYPE"),
                                      ("string",) if kind == STRING else NUMERIC_TYPES)
                        if kind == NUMBER:
                            self.assertRegex(value.text or "", r"^[0-9]+$")

    def test_replies_validate_against_the_dtd_and_keep_the_layout(self):
        self.assertTrue(os.path.exists(DTD), "CIM-XML DTD not found at " + DTD)
        self.assertIsNotNone(shutil.which("xmllint"), "xmllint is needed (libxml2-utils)")
        replies = [self.client.enum(cls) for cls in REPORTED]
        replies.append(self.client.post("GetClass", NS_HEADER, intrinsic(
            "GetClass", class_name("Quilo_StoragePool"), LocalOnly=False,
            IncludeQualifiers=True, IncludeClassOrigin=True)))
        for volume in ("1", "9"):               # an INSTANCE and an ERROR
            replies.append(self.client.post("GetInstance", NS_HEADER, intrinsic(
                "GetInstance", '<IPARAMVALUE NAME="InstanceName"><INSTANCENAME CLASSNAME='
                '"Quilo_StorageVolume"><KEYBINDING NAME="VolumeNo"><KEYVALUE VALUETYPE='
                '"numeric">%s</KEYVALUE></KEYBINDING></INSTANCENAME></IPARAMVALUE>\n' % volume,
                LocalOnly=False, IncludeQualifiers=False, IncludeClassOrigin=True)))
        replies.append(self.client.call("Quilo_RAIDControllerSystem", "AuthPassword",
                                        [("password", "bad")]))
        with tempfile.TemporaryDirectory() as work:
            paths = []
            for number, (status, headers, body) in enumerate(replies):
                text = re.sub(r"<!\[CDATA\[.*?\]\]>", "", body.decode("utf-8"))
                with self.subTest(reply=number):
                    self.assertEqual(status, 200)
                    self.assertEqual(headers["Content-Length"], str(len(body)))
                    self.assertTrue(text.startswith('<?xml version="1.0" encoding="utf-8" ?>\n'))
                    self.assertNotRegex(text, r"<QUALIFIER[^>]*/>")
                    self.assertNotIn("'", re.sub(r">[^<]*<", "><", text))  # attributes in "
                    self.assertTrue(all(line.count("<") <= 2 for line in text.splitlines()))
                paths.append(os.path.join(work, "reply%d.xml" % number))
                with open(paths[-1], "wb") as out:
                    out.write(body)
            run = subprocess.run(["xmllint", "--noout", "--dtdvalid", DTD] + paths,
                                 capture_output=True, text=True)
        self.assertEqual(run.returncode, 0, run.stderr)

    def test_expect_and_missing_length_are_refused_and_the_connection_closed(self):
        head = ("POST /cimom HTTP/1.1\r\nHost: 127.0.0.1\r\nAuthorization: %s\r\n"
                "CIMOperation: MethodCall\r\nCIMMethod: EnumerateInstances\r\n"
                "CIMObject: quilo%%2Fcimv2\r\n" % basic("root:secret"))
        # No body follows: bytes the server leaves unread would turn its close
        # into a reset that can swallow the reply.
        for extra, code in (("Content-Length: 5\r\nExpect: 100-continue", 417),
                            ("Content-Length: 5\r\nExpect: something-else", 417),
                            ("Transfer-Encoding: chunked", 411)):
            with self.subTest(extra=extra), \
                    socket.create_connection(("127.0.0.1", self.sim.port), timeout=5) as plain, \
                    TLS.wrap_socket(plain) as tls:
                tls.sendall((head + extra + "\r\n\r\n").encode())
                reply = b"".join(iter(lambda: tls.recv(4096), b"")).decode()  # up to the close
                self.assertRegex(reply, r"^HTTP/1.1 %d " % code)
                self.assertIn("\r\nContent-Length: 0\r\n", reply)
                self.assertIn("\r\nConnection: close\r\n", reply)

    def test_authentication_and_cim_header_checks(self):
        doc = enumerate_instances("Quilo_DiskDrive")
        realm = {"WWW-Authenticate": 'Basic realm="cimom"', "Connection": None}
        mismatch = {"CIMError": "header-mismatch"}
        cases = [  # (headers added, headers dropped, body, status, reply headers)
            ({"Authorization": basic("root:wrong")}, (), doc, 401, realm),
            ({"Authorization": basic("admin:secret")}, (), doc, 401, realm),
            ({"Authorization": basic("root:")}, (), doc, 401, realm),
            ({}, ("Authorization",), doc, 401, realm),
            ({"CIMMethod": "GetInstance"}, (), doc, 400, mismatch),
            ({"CIMObject": "quilo%2Fother"}, (), doc, 400, mismatch),
            ({"CIMOperation": "MethodResponse"}, (), doc, 400, mismatch),
            ({}, ("CIMOperation",), doc, 400, mismatch),
            ({}, ("CIMMethod",), doc, 400, mismatch),
            ({}, ("CIMObject",), doc, 400, mismatch),
            ({"CIMProtocolVersion": "2.0"}, (), doc, 501,
             {"CIMError": "unsupported-protocol-version"}),
            ({}, (), doc[:-20], 400, {"CIMError": "request-not-well-formed"}),
            ({"CIMMethod": "Foo"}, (), "<?xml version='1.0'?><A/>", 400,
             {"CIMError": "request-not-valid"}),
        ]
        for extra, drop, body, code, expected in cases:
            with self.subTest(extra=extra, drop=drop):
                self.client.conn.close()      # a new connection: no reply is its 10th
                status, headers, reply = self.client.post("EnumerateInstances", NS_HEADER,
                                                          body, extra, drop)
                self.assertEqual((status, reply, headers["Content-Length"]), (code, b"", "0"))
                for name, value in expected.items():
                    self.assertEqual(headers[name], value, name)


class KeepAlive(SimTestCase):
    IDLE = 0.5
    sim_args = ("--idle-timeout", str(IDLE))

    def test_connection_closes_after_ten_requests_and_the_log_tells(self):
        before = self.sim.connections()
        self.sim.requests()
        replies = [self.client.enum("Quilo_EventLog") for _ in range(12)]
        self.assertEqual([status for status, _, _ in replies], [200] * 12)
        closing = [headers.get("Connection") for _, headers, _ in replies]
        self.client.conn.close()
        self.assertEqual(closing[9], "close")
        self.assertEqual(closing.count("close"), 1)
        self.assertEqual(self.sim.connections() - before, 2)
        self.assertEqual(self.sim.requests(), [["EnumerateInstances", NS_HEADER]] * 12)
        self.assertEqual(self.sim.requests(), [])

    def test_idle_connection_is_closed(self):
        client = Client(self.sim.port)
        self.assertEqual(client.enum("Quilo_EventLog")[0], 200)
        started = time.monotonic()
        client.conn.sock.settimeout(5)
        try:
            self.assertEqual(client.conn.sock.recv(1), b"")
        except (ConnectionError, ssl.SSLError):
            pass
        self.assertGreaterEqual(time.monotonic() - started, self.IDLE / 2)
        client.conn.close()


class ScenarioHooks(SimTestCase):
    """The actions no end-to-end case uses; status, cimstatus, error, return and
    empty are played against rbz there.  body= serves this very file."""

    sim_args = ("--scenario", "ClearLog:close", "--scenario", "SetMode:truncate=20",
                "--scenario", "SetHDDLED:malformed", "--scenario", "SetCPUFan:delay=200",
                "--scenario", "SetHDDQd#2+:body=" + os.path.abspath(__file__))

    def test_actions(self):
        sys_class = "Quilo_RAIDControllerSystem"
        with self.assertRaises((http.client.RemoteDisconnected, ConnectionError)):
            self.client.call("Quilo_EventLog", "ClearLog")
        self.client.conn.close()
        self.assertIn(b"<INSTANCE ", self.client.enum("Quilo_EventLog")[2])   # not cleared
        self.assertEqual(self.client.call(sys_class, "SetMode", [("Mode", "raid")])[2],
                         b'<?xml version="1.0" ')
        body = self.client.call(sys_class, "SetHDDLED", [("Mode", "off")])[2]
        self.assertNotIn(b"</SIMPLERSP>", body)
        self.assertRaises(ET.ParseError, ET.fromstring, body)
        started = time.monotonic()
        self.assertEqual(self.client.call(sys_class, "SetCPUFan", [("Mode", "on")])[0], 200)
        self.assertGreaterEqual(time.monotonic() - started, 0.2)
        replies = [self.client.call(sys_class, "SetHDDQd", [("Depth", "8")])[2] for _ in range(3)]
        self.assertEqual(ET.fromstring(replies[0]).find(".//RETURNVALUE/VALUE").text, "OK")
        with open(__file__, "rb") as this:
            self.assertEqual(replies[1:], [this.read()] * 2)


class HostileReplies(SimTestCase):
    """The actions of a hostile server, on the wire; rbz meets them in
    tests/e2e/cases/hostile_server.json."""

    sim_args = ("--scenario", "SetMode:random=5000", "--scenario", "SetHDDLED:bulk=3000000",
                "--scenario", "SetCPUFan:nest=1000", "--scenario", "SetNCQ:headers=50:cimstatus=x1",
                "--scenario", "SetSASMux:longheader=60000", "--scenario", "SetBeeper:bulk=100000:hangup=10",
                "--scenario", "EnumerateInstances:nest=3:truncate=250")

    SYS = "Quilo_RAIDControllerSystem"

    def test_random_and_bulk_bodies(self):
        body = self.client.call(self.SYS, "SetMode", [("Mode", "raid")])[2]
        self.assertEqual(body, sim_hostile.random_bytes(5000).head(5000))
        self.assertNotEqual(body, sim_hostile.random_bytes(5001).head(5000))
        body = self.client.call(self.SYS, "SetHDDLED", [("Mode", "off")])[2]
        self.assertEqual(len(body), 3000000)
        self.assertTrue(body.startswith(sim_hostile.PROLOG))
        self.assertEqual(body[len(sim_hostile.PROLOG):].strip(), b"")

    def test_nested_reply_is_well_formed(self):
        body = self.client.call(self.SYS, "SetCPUFan", [("Mode", "on")])[2]
        root = ET.fromstring(body)                       # a whole document
        value = root.find("./MESSAGE/SIMPLERSP/METHODRESPONSE/RETURNVALUE")
        depth = 0
        while value is not None:
            value = value.find("VALUE.ARRAY")
            depth += value is not None
        self.assertEqual(depth, 1000)
        cut = self.client.enum("Quilo_EventLog")[2]     # intrinsic: IRETURNVALUE
        self.assertEqual(len(cut), 250)
        self.assertIn(b'<IMETHODRESPONSE NAME="EnumerateInstances">\n<IRETURNVALUE>\n'
                      b'<VALUE.ARRAY><VALUE.ARRAY><VALUE.ARRAY></VALUE.ARRAY>', cut)

    def test_headers(self):
        status, headers, _ = self.client.call(self.SYS, "SetNCQ", [("NCQ", "on")])
        self.assertEqual(status, 200)
        names = [name for name in headers.keys() if name.startswith("X-Sim-Filler-")]
        self.assertEqual(len(names), 50)
        self.assertEqual(list(headers.keys()).index("CIMStatusCode"), list(headers.keys()).index(names[-1]) + 1)
        self.assertEqual(headers["CIMStatusCode"], "x1")
        _, headers, _ = self.client.call(self.SYS, "SetSASMux", [("Mode", "auto")])
        self.assertEqual(len("X-Sim-Long: " + headers["X-Sim-Long"]), 60000)

    def test_hangup_promises_more_than_it_sends(self):
        with self.assertRaises(http.client.IncompleteRead) as caught:
            self.client.call(self.SYS, "SetBeeper", [("Enable", "Y")])
        self.assertEqual(len(caught.exception.partial), 10)
        self.assertEqual(caught.exception.expected, 100000 - 10)
        self.client.conn.close()


# ---------------------------------------------------------------------------
# Parts tested without the server

class ScenarioGrammar(unittest.TestCase):
    def test_accepted(self):
        # status, cimstatus, desc, error, return and empty are given by the cases too
        cases = [
            ("GetClass#1:status=500", "getclass", 1, False, {"status": 500}),
            ("*:error=6", None, None, False, {"error": 6}),
            ("#3+:truncate=10:delay=5", None, 3, True, {"truncate": 10, "delay": 5}),
            ("GetClass:cimstatus=abc:headers=3", "getclass", None, False,
             {"cimstatus": "abc", "headers": 3}),
            (":bulk=200000000:hangup=100", None, None, False, {"bulk": 200000000, "hangup": 100}),
            (":nest=10:truncate=5:longheader=12", None, None, False,
             {"nest": 10, "truncate": 5, "longheader": 12}),
        ]
        for text, name, nth, onward, actions in cases:
            with self.subTest(text=text):
                scenario = Scenario(text)
                self.assertEqual((scenario.name, scenario.nth, scenario.onward, scenario.actions),
                                 (name, nth, onward, actions))

    def test_refused(self):
        for text in ("GetClass", "GetClass:", "x:unknown", ":status=abc", ":status=99",
                     ":error=6:empty", ":desc=x", "#0:empty", ":truncate=1:malformed",
                     ":empty=1", ":delay=1:delay=2", ":body=/nonexistent/file", "a#b:empty",
                     ":random=5:bulk=5", ":random=5:malformed", ":nest=x", ":cimstatus=",
                     ":longheader=11", ":hangup"):
            with self.subTest(text=text):
                with self.assertRaises(ScenarioError):
                    Scenario(text)

    def test_counting(self):
        scenarios = Scenarios(["GetClass#2:status=500", "*#4:empty", "GetClass#2+:status=503"])
        picked = [scenarios.pick(m) for m in
                  ("GetClass", "SetWaTP", "GetClass", "GetClass", "getclass")]
        self.assertEqual(picked, [{}, {}, {"status": 500}, {"empty": True}, {"status": 503}])


class SimCtl(unittest.TestCase):
    def test_bad_scenario_fails_to_start_with_the_reason(self):
        with self.assertRaisesRegex(simctl.SimError, "unknown action"):
            simctl.start(SIM, ["--scenario", ":bogus"])

    def test_sigterm_ends_cleanly(self):
        sim = simctl.start(SIM, [])
        try:
            self.assertGreater(sim.port, 0)
            self.assertEqual(sim.connections(), 0)
            self.assertEqual(sim.stop(), 0)
            self.assertIn("0 TLS connection(s)", sim.stderr())
        finally:
            sim.cleanup()


if __name__ == "__main__":
    unittest.main()
