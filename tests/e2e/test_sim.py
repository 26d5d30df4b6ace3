#!/usr/bin/env python3
# Self-test of the simulated CIM server (sim/rbz_sim.py) and of simctl: that
# it answers like a real server (typed values, the CIM-XML DTD, the layout),
# refuses what a real server refuses, and that the hooks the end-to-end cases
# use do what the cases' names say.  What rbz makes of it is left to those cases.
#
#     RBZ_CIM_DTD=<the CIM-XML DTD> python3 tests/e2e/test_sim.py [-v]

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
import unittest
import xml.etree.ElementTree as ET

HERE = os.path.dirname(os.path.abspath(__file__))
SIM = os.path.join(os.path.dirname(os.path.dirname(HERE)), "sim", "rbz_sim.py")
sys.path[:0] = [HERE, os.path.dirname(SIM)]

import simctl                                                  # noqa: E402
import sim_hostile                                             # noqa: E402
from sim_scenario import Scenario, ScenarioError, Scenarios    # noqa: E402
from sim_controller import Controller                          # noqa: E402
from sim_schema import DISK_DRIVE, STORAGE_POOL, STORAGE_VOLUME   # noqa: E402
from sim_states import StateError, apply_state, parse_settings   # noqa: E402

CLASSES = ["Quilo_RAIDControllerSystem", "Quilo_EventLog", "Quilo_DiskDrive", "Quilo_StorageVolume",
           "Quilo_StoragePool"]
SYS = "Quilo_RAIDControllerSystem"
NS = "quilo%2Fcimv2"
TLS = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
TLS.check_hostname = False
TLS.verify_mode = ssl.CERT_NONE


def document(call):
    """A request document in the shape rbz writes it."""
    return ('<?xml version="1.0" encoding="utf-8" ?>\n<CIM CIMVERSION="2.0" DTDVERSION="2.0">\n'
            '<MESSAGE ID="4711" PROTOCOLVERSION="1.0"><SIMPLEREQ>%s</SIMPLEREQ>\n</MESSAGE></CIM>' % call)


def intrinsic(name, param, **flags):
    return document('<IMETHODCALL NAME="%s"><LOCALNAMESPACEPATH><NAMESPACE NAME="quilo"/><NAMESPACE NAME="cimv2"/>'
                    '</LOCALNAMESPACEPATH>\n%s%s</IMETHODCALL>' % (name, param, "".join(
                        '<IPARAMVALUE NAME="%s"><VALUE>%s</VALUE></IPARAMVALUE>\n' % (f, str(v).upper())
                        for f, v in flags.items())))


def enumerate_instances(cls):
    return intrinsic("EnumerateInstances", '<IPARAMVALUE NAME="ClassName"><CLASSNAME NAME="%s"/></IPARAMVALUE>' % cls,
                     DeepInheritance=True, LocalOnly=False, IncludeQualifiers=False, IncludeClassOrigin=True)


def basic(credentials):
    return "Basic " + base64.b64encode(credentials.encode()).decode()


class SimTestCase(unittest.TestCase):
    sim_args = ()

    @classmethod
    def setUpClass(cls):
        cls.sim = simctl.start(SIM, list(cls.sim_args))
        cls.conn = http.client.HTTPSConnection("127.0.0.1", cls.sim.port, context=TLS, timeout=10)

    @classmethod
    def tearDownClass(cls):
        cls.conn.close()
        cls.sim.cleanup()

    def post(self, method, body, cim_object=NS, extra=(), drop=()):
        headers = {"CIMOperation": "MethodCall", "CIMMethod": method, "CIMObject": cim_object,
                   "CIMProtocolVersion": "1.0", "Authorization": basic("root:secret")}
        headers.update(extra)
        for name in drop:
            del headers[name]
        self.conn.request("POST", "/cimom", body=body.encode(), headers=headers)
        reply = self.conn.getresponse()
        return reply.status, reply.headers, reply.read()

    def call(self, method, param, value):
        return self.post(method, document('<METHODCALL NAME="%s"><LOCALCLASSPATH><LOCALNAMESPACEPATH><NAMESPACE '
                                          'NAME="quilo"/><NAMESPACE NAME="cimv2"/></LOCALNAMESPACEPATH><CLASSNAME '
                                          'NAME="%s"/></LOCALCLASSPATH><PARAMVALUE NAME="%s"><VALUE>%s</VALUE>'
                                          '</PARAMVALUE></METHODCALL>' % (method, SYS, param, value)),
                         NS + "%3A" + SYS)


class Server(SimTestCase):
    def test_replies_are_typed_valid_and_laid_out_as_a_real_servers(self):
        dtd = os.environ.get("RBZ_CIM_DTD", "")
        self.assertTrue(os.path.isfile(dtd), "RBZ_CIM_DTD names no file: %r" % dtd)
        self.assertIsNotNone(shutil.which("xmllint"), "xmllint is needed (libxml2-utils)")
        replies = [self.post("EnumerateInstances", enumerate_instances(cls)) for cls in CLASSES]
        replies.append(self.post("GetClass", intrinsic(
            "GetClass", '<IPARAMVALUE NAME="ClassName"><CLASSNAME NAME="Quilo_StoragePool"/></IPARAMVALUE>',
            LocalOnly=False, IncludeQualifiers=True, IncludeClassOrigin=True)))
        for volume in ("1", "9"):               # an INSTANCE and an ERROR
            replies.append(self.post("GetInstance", intrinsic(
                "GetInstance", '<IPARAMVALUE NAME="InstanceName"><INSTANCENAME CLASSNAME="Quilo_StorageVolume">'
                '<KEYBINDING NAME="VolumeNo"><KEYVALUE VALUETYPE="numeric">%s</KEYVALUE></KEYBINDING>'
                '</INSTANCENAME></IPARAMVALUE>' % volume, LocalOnly=False, IncludeClassOrigin=True)))
        replies.append(self.call("AuthPassword", "password", "bad"))
        properties = [p for _, _, body in replies[:len(CLASSES)] for p in ET.fromstring(body).iter("PROPERTY")]
        for prop in properties:   # every property has a value of its type
            pattern = {"string": "^", "boolean": "^(TRUE|FALSE)$"}.get(prop.get("TYPE"), "^[0-9]+$")
            self.assertRegex(prop.get("TYPE") + " " + (prop.find("VALUE").text or ""),
                             r"^(string|boolean|uint(8|16|32|64)) " + pattern[1:], prop.get("NAME"))
        with tempfile.TemporaryDirectory() as work:
            for number, (status, headers, body) in enumerate(replies):
                text = re.sub(r"<!\[CDATA\[.*?\]\]>", "", body.decode("utf-8"))
                with self.subTest(reply=number):
                    self.assertEqual((status, headers["Content-Length"]), (200, str(len(body))))
                    self.assertTrue(text.startswith('<?xml version="1.0" encoding="utf-8" ?>\n'))
                    self.assertNotRegex(text, r"<QUALIFIER[^>]*/>")
                    self.assertNotIn("'", re.sub(r">[^<]*<", "><", text))  # attributes in "
                    self.assertTrue(all(line.count("<") <= 2 for line in text.splitlines()))
                with open(os.path.join(work, "%d.xml" % number), "wb") as out:
                    out.write(body)
            run = subprocess.run(["xmllint", "--noout", "--dtdvalid", dtd] + [os.path.join(work, "%d.xml" % n)
                                 for n in range(len(replies))], capture_output=True, text=True)
        self.assertEqual(run.returncode, 0, run.stderr)

    def test_refusals(self):
        doc = enumerate_instances("Quilo_DiskDrive")
        realm = {"WWW-Authenticate": 'Basic realm="cimom"', "Connection": None}   # the connection stays
        mismatch = {"CIMError": "header-mismatch"}
        for extra, drop, body, code, expected in [  # headers added, dropped, body, status, reply headers
                ({"Authorization": basic("root:wrong")}, (), doc, 401, realm),
                ({}, ("Authorization",), doc, 401, realm),
                ({"CIMMethod": "GetInstance"}, (), doc, 400, mismatch),
                ({"CIMObject": "quilo%2Fother"}, (), doc, 400, mismatch),
                ({}, ("CIMObject",), doc, 400, mismatch),
                ({"CIMProtocolVersion": "2.0"}, (), doc, 501, {"CIMError": "unsupported-protocol-version"}),
                ({}, (), doc[:-20], 400, {"CIMError": "request-not-well-formed"}),
                ({"CIMMethod": "Foo"}, (), "<?xml version='1.0'?><A/>", 400, {"CIMError": "request-not-valid"})]:
            with self.subTest(extra=extra, drop=drop):
                self.conn.close()      # a new connection: no reply is its 10th
                status, headers, reply = self.post("EnumerateInstances", body, NS, extra, drop)
                self.assertEqual((status, reply, headers["Content-Length"]), (code, b"", "0"))
                self.assertEqual({name: headers.get(name) for name in expected}, expected)
        head = ("POST /cimom HTTP/1.1\r\nHost: h\r\nAuthorization: %s\r\nCIMOperation: MethodCall\r\n"
                "CIMMethod: EnumerateInstances\r\nCIMObject: quilo%%2Fcimv2\r\n" % basic("root:secret"))
        for extra, code in (("Content-Length: 5\r\nExpect: 100-continue", 417), ("Transfer-Encoding: chunked", 411)):
            with self.subTest(extra=extra), socket.create_connection(("127.0.0.1", self.sim.port)) as plain, \
                    TLS.wrap_socket(plain) as tls:
                tls.sendall((head + extra + "\r\n\r\n").encode())   # no body: the close must not be a reset
                reply = b"".join(iter(lambda: tls.recv(4096), b"")).decode()
                self.assertRegex(reply, r"^HTTP/1.1 %d " % code)
                self.assertIn("\r\nContent-Length: 0\r\n", reply)
                self.assertIn("\r\nConnection: close\r\n", reply)

    def test_connection_closes_after_ten_requests_and_the_log_tells(self):
        self.conn.close()
        before, _ = self.sim.connections(), self.sim.requests()
        closing = [self.post("EnumerateInstances", enumerate_instances("Quilo_EventLog"))[1].get("Connection")
                   for _ in range(12)]
        self.conn.close()
        self.assertEqual((closing[9], closing.count("close")), ("close", 1))
        self.assertEqual(self.sim.connections() - before, 2)
        self.assertEqual(self.sim.requests(), [["EnumerateInstances", NS]] * 12)


class HostileReplies(SimTestCase):
    """What hostile scenarios of tests/e2e/cases/hostile_server.json send, on
    the wire, where rbz's message does not pin it down."""

    sim_args = ("--scenario", "SetMode:random=5000", "--scenario", "SetHDDLED:bulk=3000000",
                "--scenario", "SetCPUFan:nest=1000", "--scenario", "SetNCQ:headers=50:cimstatus=x1",
                "--scenario", "SetBeeper:bulk=100000:hangup=10")

    def test_bodies_and_headers(self):
        self.assertEqual(self.call("SetMode", "Mode", "raid")[2], sim_hostile.random_bytes(5000).head(5000))
        body = self.call("SetHDDLED", "Mode", "off")[2]
        self.assertEqual((len(body), body[len(sim_hostile.PROLOG):].strip()), (3000000, b""))
        self.assertTrue(body.startswith(sim_hostile.PROLOG))
        value = ET.fromstring(self.call("SetCPUFan", "Mode", "on")[2]).find("./MESSAGE/SIMPLERSP/METHODRESPONSE/"
                                                                           "RETURNVALUE")
        depth = 0
        while value.find("VALUE.ARRAY") is not None:
            value, depth = value.find("VALUE.ARRAY"), depth + 1
        self.assertEqual(depth, 1000)
        _, headers, _ = self.call("SetNCQ", "NCQ", "on")
        names = list(headers.keys())
        self.assertEqual(names[names.index("CIMStatusCode") - 50:names.index("CIMStatusCode") + 1],
                         ["X-Sim-Filler-%05d" % n for n in range(1, 51)] + ["CIMStatusCode"])
        self.assertEqual(headers["CIMStatusCode"], "x1")
        with self.assertRaises(http.client.IncompleteRead) as caught:
            self.call("SetBeeper", "Enable", "Y")
        self.assertEqual((len(caught.exception.partial), caught.exception.expected), (10, 100000 - 10))


class ScenarioHooks(unittest.TestCase):
    def test_selectors_count_their_requests(self):
        scenarios = Scenarios(["GetClass#2:status=500", "*#4:empty", "GetClass#2+:status=503"])
        self.assertEqual([scenarios.pick(m) for m in ("GetClass", "SetWaTP", "GetClass", "GetClass", "getclass")],
                         [{}, {}, {"status": 500}, {"empty": True}, {"status": 503}])

    def test_a_bad_scenario_stops_the_simulator_with_the_reason(self):
        for text in ("GetClass", "x:unknown", ":status=abc", ":error=6:empty", ":desc=x", "#0:empty",
                     ":delay=1:delay=2", ":body=/nonexistent/file", ":random=5:malformed", ":longheader=11"):
            with self.subTest(text=text), self.assertRaises(ScenarioError):
                Scenario(text)
        with self.assertRaisesRegex(simctl.SimError, "unknown action"):
            simctl.start(SIM, ["--scenario", ":bogus"])


class HostStates(unittest.TestCase):
    def test_a_forced_property_applies_to_the_instances_its_keys_select(self):
        controller = Controller()
        controller.settings = parse_settings(["Quilo_DiskDrive:EnclosureNumber=2,SlotNumber=0x9:MediaErrorCount=4",
                                              "quilo_storagevolume::volumestate=Foo"])
        errors = {d.values["SlotNumber"]: d.values["MediaErrorCount"] for d in controller.instances(DISK_DRIVE)}
        self.assertEqual((errors[9], errors[10], errors[17]), (4, 2, 37))
        self.assertEqual({v.values["VolumeState"] for v in controller.instances(STORAGE_VOLUME)}, {"Foo"})

    def test_states_change_the_initial_contents(self):
        for name, pools, volumes, failed, hot in (
                ("healthy", ["Normal", "Normal"], ["Normal"] * 3, [], []),
                ("degraded", ["Normal", "Degraded"], ["Normal", "Normal", "Degraded"], [12], []),
                ("rebuilding", ["Normal", "Rebuilding"], ["Normal", "Normal", "Rebuilding"], [], []),
                ("failed-disk", ["Normal", "Normal"], ["Normal"] * 3, [17], []),
                ("hot-disk", ["Normal", "Normal"], ["Normal"] * 3, [], [11])):
            with self.subTest(state=name):
                controller = Controller()
                apply_state(controller, name)
                drives = [d.values for d in controller.instances(DISK_DRIVE)]
                self.assertEqual([p.values["RAIDState"] for p in controller.instances(STORAGE_POOL)], pools)
                self.assertEqual([v.values["VolumeState"] for v in controller.instances(STORAGE_VOLUME)], volumes)
                self.assertEqual([d["SlotNumber"] for d in drives if d["UsageExt"] == "Failed"], failed)
                self.assertEqual([d["SlotNumber"] for d in drives if d["DeviceTemperature"] >= 45], hot)
                self.assertEqual(sum(d["MediaErrorCount"] for d in drives), 0)

    def test_a_bad_setting_stops_the_simulator_with_the_reason(self):
        for text in ("Quilo_DiskDrive", "Nope::x=1", "Quilo_DiskDrive:Bogus=1:Usage=x",
                     "Quilo_DiskDrive::SlotNumber=abc", "Quilo_StoragePool::MemberDrives=x"):
            with self.subTest(text=text), self.assertRaises(StateError):
                parse_settings([text])
        with self.assertRaisesRegex(simctl.SimError, "no class Nope"):
            simctl.start(SIM, ["--set", "Nope::x=1"])


if __name__ == "__main__":
    unittest.main()
