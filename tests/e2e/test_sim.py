#!/usr/bin/env python3
"""Self-test of the simulated CIM server (sim/rbz_sim.py) and of simctl.

Runs the simulator as a subprocess and talks to it over HTTPS with request
documents written byte for byte the way rbz writes them.  Replies are parsed,
checked against what rbz's reports read, and a sample is validated against the
CIM-XML DTD with xmllint.

    python3 tests/e2e/test_sim.py [-v]

Environment: RBZ_CIM_DTD overrides the DTD path (default
<repo>/../shared/cim-dtd/DSP0203_2.3.1.dtd).
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
DTD = os.environ.get("RBZ_CIM_DTD",
                     os.path.join(os.path.dirname(REPO), "shared", "cim-dtd", "DSP0203_2.3.1.dtd"))
sys.path.insert(0, HERE)
sys.path.insert(0, os.path.join(REPO, "sim"))

import simctl                      # noqa: E402
import sim_cimxml                  # noqa: E402
import sim_controller              # noqa: E402
import sim_schema                  # noqa: E402
from sim_scenario import Scenario, ScenarioError, Scenarios   # noqa: E402

# ---------------------------------------------------------------------------
# Request documents as rbz writes them

XML_HEADER = ('<?xml version="1.0" encoding="utf-8" ?>\n<CIM CIMVERSION="2.0" DTDVERSION="2.0">\n'
              '<MESSAGE ID="4711" PROTOCOLVERSION="1.0"><SIMPLEREQ>')
XML_TRAILER = "</SIMPLEREQ>\n</MESSAGE></CIM>"
NS = ("quilo", "cimv2")


def flag(name, value):
    return '<IPARAMVALUE NAME="%s"><VALUE>%s</VALUE></IPARAMVALUE>\n' % (
        name, "TRUE" if value else "FALSE")


def keybindings(keys):
    return "".join('<KEYBINDING NAME="%s"><KEYVALUE VALUETYPE="%s">%s</KEYVALUE></KEYBINDING>'
                   % (name, "numeric" if value.isdigit() else "string", value)
                   for name, value in keys)


def enumerate_instances(cls):
    return (XML_HEADER + '<IMETHODCALL NAME="EnumerateInstances"><LOCALNAMESPACEPATH>'
            + "".join('<NAMESPACE NAME="%s"></NAMESPACE>' % n for n in NS)
            + "</LOCALNAMESPACEPATH>\n"
            + '<IPARAMVALUE NAME="ClassName"><CLASSNAME NAME="%s"/></IPARAMVALUE>\n' % cls
            + flag("DeepInheritance", True) + flag("LocalOnly", False)
            + flag("IncludeQualifiers", False) + flag("IncludeClassOrigin", True)
            + "</IMETHODCALL>" + XML_TRAILER)


def get_instance(cls, keys):
    return (XML_HEADER + '<IMETHODCALL NAME="GetInstance"><LOCALNAMESPACEPATH>'
            + "".join('<NAMESPACE NAME="%s"></NAMESPACE>' % n for n in NS)
            + "</LOCALNAMESPACEPATH>\n"
            + flag("LocalOnly", False) + flag("IncludeQualifiers", False)
            + flag("IncludeClassOrigin", True)
            + '<IPARAMVALUE NAME="InstanceName"><INSTANCENAME CLASSNAME="%s">' % cls
            + keybindings(keys) + "</INSTANCENAME></IPARAMVALUE>\n</IMETHODCALL>" + XML_TRAILER)


def get_class(cls):
    return (XML_HEADER + '<IMETHODCALL NAME="GetClass">\n<LOCALNAMESPACEPATH>\n'
            + "".join('<NAMESPACE NAME="%s"/>\n' % n for n in NS)
            + "</LOCALNAMESPACEPATH>\n"
            + '<IPARAMVALUE NAME="ClassName"><CLASSNAME NAME="%s"/></IPARAMVALUE>\n' % cls
            + flag("LocalOnly", False) + flag("IncludeQualifiers", True)
            + flag("IncludeClassOrigin", True) + "</IMETHODCALL>" + XML_TRAILER)


def method_call(cls, method, params=(), keys=()):
    doc = XML_HEADER + '<METHODCALL NAME="%s">' % method
    doc += "<LOCALINSTANCEPATH>" if keys else "<LOCALCLASSPATH>"
    doc += ("<LOCALNAMESPACEPATH>" + "".join('<NAMESPACE NAME="%s"/>' % n for n in NS)
            + "</LOCALNAMESPACEPATH>")
    if keys:
        doc += ('<INSTANCENAME CLASSNAME="%s">' % cls + keybindings(keys)
                + "</INSTANCENAME></LOCALINSTANCEPATH>")
    else:
        doc += '<CLASSNAME NAME="%s"/></LOCALCLASSPATH>' % cls
    for name, value in params:
        doc += '<PARAMVALUE NAME="%s">' % name
        if isinstance(value, list):
            doc += ("<VALUE.ARRAY>" + "".join("<VALUE>%s</VALUE>" % v for v in value)
                    + "</VALUE.ARRAY>")
        else:
            doc += "<VALUE>%s</VALUE>" % value
        doc += "</PARAMVALUE>"
    return doc + "</METHODCALL>" + XML_TRAILER


def object_header(cls=None, keys=()):
    text = "%2F".join(NS)
    if cls:
        text += "%3A" + cls
        if keys:
            text += "." + ",".join('%s=%s' % (n, v if v.isdigit() else '"%s"' % v)
                                   for n, v in keys)
    return text


# ---------------------------------------------------------------------------
# A small client

class Client:
    def __init__(self, port, user="root", password="secret"):
        self.port = port
        self.auth = "Basic " + base64.b64encode(("%s:%s" % (user, password)).encode()).decode()
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
        context.check_hostname = False
        context.verify_mode = ssl.CERT_NONE
        self.context = context
        self.conn = http.client.HTTPSConnection("127.0.0.1", port, context=context, timeout=10)

    def close(self):
        self.conn.close()

    def post(self, cim_method, cim_object, body, extra=None, drop=()):
        headers = {
            "Content-Type": 'application/xml; charset="utf-8"',
            "Connection": "Keep-Alive, TE",
            "CIMProtocolVersion": "1.0",
            "CIMOperation": "MethodCall",
            "CIMMethod": cim_method,
            "CIMObject": cim_object,
            "Authorization": self.auth,
        }
        headers.update(extra or {})
        for name in drop:
            headers.pop(name, None)
        self.conn.request("POST", "/cimom", body=body.encode("utf-8"), headers=headers)
        response = self.conn.getresponse()
        return response.status, response.headers, response.read()

    def enum(self, cls):
        return self.post("EnumerateInstances", object_header(), enumerate_instances(cls))

    def instances(self, cls):
        status, _, body = self.enum(cls)
        assert status == 200, status
        root = ET.fromstring(body)
        return [properties(i) for i in root.iter("INSTANCE")]

    def call(self, cls, method, params=(), keys=()):
        status, _, body = self.post(method, object_header(cls, keys),
                                    method_call(cls, method, params, keys))
        assert status == 200, status
        return body.decode("utf-8")


def properties(instance):
    """{name: (TYPE, text or list)} of one INSTANCE element."""
    result = {}
    for prop in instance:
        if prop.tag == "PROPERTY":
            value = prop.find("VALUE")
            result[prop.get("NAME")] = (prop.get("TYPE"), None if value is None else value.text or "")
        elif prop.tag == "PROPERTY.ARRAY":
            result[prop.get("NAME")] = (prop.get("TYPE"),
                                        [v.text or "" for v in prop.iter("VALUE")])
    return result


def return_text(body):
    return ET.fromstring(body).find(".//RETURNVALUE/VALUE").text


def error_code(body):
    error = ET.fromstring(body).find(".//ERROR")
    return None if error is None else int(error.get("CODE"))


def validate(testcase, body):
    """Validate one reply document against the CIM-XML DTD."""
    with tempfile.NamedTemporaryFile("wb", suffix=".xml", delete=False) as doc:
        doc.write(body)
    try:
        run = subprocess.run(["xmllint", "--noout", "--dtdvalid", DTD, doc.name],
                             capture_output=True, text=True)
    finally:
        os.remove(doc.name)
    testcase.assertEqual(run.returncode, 0, run.stderr)


class SimTestCase(unittest.TestCase):
    sim_args = ()

    @classmethod
    def setUpClass(cls):
        cls.sim = simctl.start(SIM, list(cls.sim_args))
        cls.client = Client(cls.sim.port)

    @classmethod
    def tearDownClass(cls):
        cls.client.close()
        cls.returncode = cls.sim.stop()
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


class InitialContents(SimTestCase):
    def test_every_reported_property_has_a_value_of_the_kind_the_report_cuts(self):
        for cls, wanted in REPORTED.items():
            instances = self.client.instances(cls)
            self.assertTrue(instances, cls)
            for props in instances:
                for name, kind in wanted.items():
                    with self.subTest(cls=cls, prop=name):
                        self.assertIn(name, props)
                        cim_type, value = props[name]
                        self.assertIsNotNone(value, "%s has no VALUE" % name)
                        if kind == STRING:
                            self.assertEqual(cim_type, "string")
                        else:
                            self.assertIn(cim_type, NUMERIC_TYPES)
                            self.assertRegex(value, r"^[0-9]+$")

    def test_drives_cover_the_kinds_the_reports_distinguish(self):
        drives = self.client.instances("Quilo_DiskDrive")
        self.assertGreaterEqual(len(drives), 8)
        kinds = {d["DeviceType"][1] for d in drives}
        self.assertTrue({"SATA", "SAS"} <= kinds and kinds - {"SATA", "SAS"}, kinds)
        usages = [d["Usage"][1] for d in drives]
        self.assertIn("Unavailable", usages)
        self.assertIn("Pass Through", usages)
        free = [d for d in drives if d["Usage"][1] == "" and d["UsageExt"][1]]
        self.assertTrue(free)
        self.assertTrue(any(d["RaidSetNumber"][1] != "255" for d in free))
        sata_na = [d for d in drives if d["DeviceType"][1] == "SATA"
                   and "255" in (d["SMARTCalibrationRetriesStatus"][1],
                                 d["SSDWearingIndicatorStatus"][1])]
        self.assertTrue(sata_na)
        sas_counts = [d for d in drives if d["DeviceType"][1] == "SAS"
                      and int(d["ReadErrorsRecovered"][1]) > 0]
        self.assertTrue(sas_counts)

    def test_sets_volumes_and_log(self):
        pools = self.client.instances("Quilo_StoragePool")
        self.assertEqual(len(pools), 2)
        volumes = self.client.instances("Quilo_StorageVolume")
        self.assertEqual(len(volumes), 3)
        rebuilding = [v for v in volumes if v["VolumeState"][1] == "Rebuilding"]
        self.assertEqual(len(rebuilding), 1)
        self.assertGreater(int(rebuilding[0]["Progress"][1]), 0)
        self.assertGreaterEqual(len(self.client.instances("Quilo_EventLog")), 20)
        system = self.client.instances("Quilo_RAIDControllerSystem")
        self.assertEqual(len(system), 1)

    def test_instance_names_carry_the_key_bindings(self):
        status, _, body = self.client.enum("Quilo_DiskDrive")
        names = ET.fromstring(body).findall(".//VALUE.NAMEDINSTANCE/INSTANCENAME")
        self.assertGreaterEqual(len(names), 8)
        for name in names:
            bindings = {k.get("NAME"): k.find("KEYVALUE") for k in name.findall("KEYBINDING")}
            self.assertEqual(set(bindings), {"EnclosureNumber", "SlotNumber"})
            self.assertEqual(bindings["SlotNumber"].get("VALUETYPE"), "numeric")
        status, _, body = self.client.enum("Quilo_EventLog")
        keys = [tuple(k.find("KEYVALUE").text for k in n.findall("KEYBINDING"))
                for n in ET.fromstring(body).findall(".//INSTANCENAME")]
        self.assertEqual(len(keys), len(set(keys)), "event instance names must differ")

    def test_replies_validate_against_the_dtd(self):
        self.assertTrue(os.path.exists(DTD), "CIM-XML DTD not found at " + DTD)
        self.assertIsNotNone(shutil.which("xmllint"), "xmllint is needed (libxml2-utils)")
        samples = [self.client.enum(cls)[2] for cls in REPORTED]
        samples.append(self.client.post("GetClass", object_header(),
                                        get_class("Quilo_StoragePool"))[2])
        samples.append(self.client.post("GetInstance", object_header(),
                                        get_instance("Quilo_StorageVolume", [("VolumeNo", "9")]))[2])
        samples.append(self.client.post("AuthPassword",
                                        object_header("Quilo_RAIDControllerSystem"),
                                        method_call("Quilo_RAIDControllerSystem", "AuthPassword",
                                                    [("password", "bad")]))[2])
        for body in samples:
            validate(self, body)

    def test_reply_layout(self):
        _, headers, body = self.client.post("GetClass", object_header(),
                                            get_class("Quilo_DiskDrive"))
        text = body.decode()
        self.assertTrue(text.startswith('<?xml version="1.0" encoding="utf-8" ?>\n'))
        self.assertNotRegex(text, r"<QUALIFIER[^>]*/>")
        self.assertNotIn("'", re.sub(r">[^<]*<", "><", text))      # attributes in double quotes
        self.assertTrue(all(line.count("<") <= 2 for line in text.splitlines()))
        self.assertEqual(headers["Content-Length"], str(len(body)))


class Operations(SimTestCase):
    def test_get_instance_by_keys(self):
        cases = [
            ("Quilo_StorageVolume", [("VolumeNo", "1")], None),
            ("Quilo_StorageVolume", [("VolumeNo", "1"), ("name", "x")], None),
            ("Quilo_StorageVolume", [("VolumeNo", "9")], 6),
            ("Quilo_StorageVolume", [], 6),
            ("Quilo_DiskDrive", [("EnclosureNumber", "2"), ("SlotNumber", "11")], None),
            ("Quilo_DiskDrive", [("SlotNumber", "11"), ("EnclosureNumber", "2")], None),
            ("Quilo_DiskDrive", [("EnclosureNumber", "2")], 6),
            ("Quilo_RAIDControllerSystem", [], None),
            ("Quilo_NoSuchClass", [], 5),
        ]
        for cls, keys, code in cases:
            with self.subTest(cls=cls, keys=keys):
                status, _, body = self.client.post("GetInstance", object_header(),
                                                   get_instance(cls, keys))
                self.assertEqual(status, 200)
                self.assertEqual(error_code(body), code)
                if code is None:
                    self.assertEqual(ET.fromstring(body).find(".//INSTANCE").get("CLASSNAME"), cls)
        _, _, body = self.client.post("GetInstance", object_header(), get_instance(
            "Quilo_DiskDrive", [("EnclosureNumber", "2"), ("SlotNumber", "11")]))
        props = properties(ET.fromstring(body).find(".//INSTANCE"))
        self.assertEqual(props["SlotNumber"][1], "11")
        self.assertEqual(props["Slot"][1], "11")

    def test_get_class_declares_keys_and_parameters(self):
        key_props = {}
        for cls in sim_schema.CLASSES:
            status, _, body = self.client.post("GetClass", object_header(), get_class(cls.name))
            self.assertEqual(status, 200)
            declaration = ET.fromstring(body).find(".//CLASS")
            self.assertEqual(declaration.get("NAME"), cls.name)
            key_props[cls.name] = {p.get("NAME") for p in declaration.iter("PROPERTY")
                                   if any(q.get("NAME") == "Key" for q in p.findall("QUALIFIER"))}
            if cls.name == "Quilo_StoragePool":
                create = [m for m in declaration.findall("METHOD")
                          if m.get("NAME") == "CreateRAIDSet"][0]
                params = {p.get("NAME"): (p.tag, p.get("TYPE")) for p in create}
                self.assertEqual(params["DiskArray"], ("PARAMETER.ARRAY", "uint32"))
                self.assertEqual(params["MemberDisks"][0], "PARAMETER")
                self.assertEqual(params["Name"], ("PARAMETER", "string"))
        self.assertEqual(key_props, {
            "Quilo_RAIDControllerSystem": set(), "Quilo_DiskDrive": {"EnclosureNumber", "SlotNumber"},
            "Quilo_StoragePool": set(), "Quilo_StorageVolume": {"VolumeNo"},
            "Quilo_EventLog": set()})
        status, _, body = self.client.post("GetClass", object_header(), get_class("Nope"))
        self.assertEqual(error_code(body), 6)

    def test_cim_errors(self):
        cases = [
            ("quilo%2Fcimv2%3AQuilo_StoragePool", method_call("Quilo_StoragePool", "Explode"),
             "Explode", 17),
            ("quilo%2Fcimv2%3AQuilo_Nothing", method_call("Quilo_Nothing", "ClearLog"),
             "ClearLog", 6),
            ("quilo%2Fcimv2", enumerate_instances("Quilo_Nothing"), "EnumerateInstances", 5),
            ("root%2Fcimv2", enumerate_instances("Quilo_DiskDrive").replace(
                '"quilo"', '"root"'), "EnumerateInstances", 3),
            ("quilo%2Fcimv2", enumerate_instances("Quilo_DiskDrive").replace(
                "EnumerateInstances", "ExecQuery"), "ExecQuery", 7),
        ]
        for obj, doc, method, code in cases:
            with self.subTest(method=method, code=code):
                status, _, body = self.client.post(method, obj, doc)
                self.assertEqual(status, 200)
                self.assertEqual(error_code(body), code)

    def test_header_checks(self):
        doc = enumerate_instances("Quilo_DiskDrive")
        cases = [
            ({"CIMMethod": "GetInstance"}, (), "header-mismatch"),
            ({"CIMObject": "quilo%2Fother"}, (), "header-mismatch"),
            ({"CIMOperation": "MethodResponse"}, (), "header-mismatch"),
            ({}, ("CIMOperation",), "header-mismatch"),
            ({}, ("CIMMethod",), "header-mismatch"),
            ({}, ("CIMObject",), "header-mismatch"),
        ]
        for extra, drop, cim_error in cases:
            with self.subTest(extra=extra, drop=drop):
                status, headers, _ = self.client.post("EnumerateInstances", "quilo%2Fcimv2", doc,
                                                      extra, drop)
                self.assertEqual(status, 400)
                self.assertEqual(headers["CIMError"], cim_error)
        status, headers, _ = self.client.post("EnumerateInstances", "quilo%2Fcimv2", doc[:-20])
        self.assertEqual((status, headers["CIMError"]), (400, "request-not-well-formed"))
        status, headers, _ = self.client.post("Foo", "quilo%2Fcimv2", "<?xml version='1.0'?><A/>",
                                              {"CIMMethod": "Foo"})
        self.assertEqual((status, headers["CIMError"]), (400, "request-not-valid"))

    def test_authentication(self):
        for user, password in (("root", "wrong"), ("admin", "secret"), ("root", "")):
            with self.subTest(user=user, password=password):
                other = Client(self.sim.port, user, password)
                status, headers, _ = other.enum("Quilo_DiskDrive")
                other.close()
                self.assertEqual(status, 401)
                self.assertEqual(headers["WWW-Authenticate"], 'Basic realm="cimom"')
        status, headers, _ = self.client.post("EnumerateInstances", object_header(),
                                              enumerate_instances("Quilo_DiskDrive"),
                                              drop=("Authorization",))
        self.assertEqual(status, 401)


class ControllerMethods(SimTestCase):
    sim_args = ("--controller-password", "1234")

    def status(self, cls, method, params=(), keys=()):
        body = self.client.call(cls, method, params, keys)
        return return_text(body), body

    def test_auth_and_change_password(self):
        sys_class = "Quilo_RAIDControllerSystem"
        text, body = self.status(sys_class, "AuthPassword", [("password", "0000")])
        self.assertEqual(text, 'ERROR CODE="74"')
        self.assertIn('<![CDATA[ERROR CODE="74"]]>', body)
        self.assertNotIn("OK", body)
        self.assertEqual(self.status(sys_class, "AuthPassword", [("password", "")])[0],
                         'ERROR CODE="74"')
        text, body = self.status(sys_class, "AuthPassword", [("PASSWORD", "1234")])
        self.assertEqual(text, "OK")
        self.assertIn("<![CDATA[OK]]>", body)
        self.assertEqual(self.status(sys_class, "ChangePassword", [("password", "s3cret")])[0], "OK")
        self.assertEqual(self.status(sys_class, "AuthPassword", [("password", "1234")])[0],
                         'ERROR CODE="74"')
        self.assertEqual(self.status(sys_class, "AuthPassword", [("password", "s3cret")])[0], "OK")
        self.assertEqual(self.status(sys_class, "ChangePassword", [("password", "x" * 16)])[0],
                         'ERROR CODE="71"')

    def test_settings_are_stored(self):
        sys_class = "Quilo_RAIDControllerSystem"
        cases = [
            ("SetEthernetAddr", "IP", "192.168.0.38", "CurrentIP", "192.168.0.38"),
            ("SetEthernetAddr", "IP", "192.168.0.300", None, None),
            ("SetNetMask", "Mask", "255.255.0.0", "NetMask", "255.255.0.0"),
            ("SetNetMask", "Mask", "255.0.255.0", None, None),
            ("SetHttpPort", "Port", "3000", "HttpPort", "3000"),
            ("SetHttpPort", "Port", "7200", None, None),
            ("SetBeeper", "Enable", "N", "BeeperSetting", "Disabled"),
            ("SetMode", "Mode", "jbod", "OperationMode", "JBOD"),
            ("SetVolReadAhead", "Level", "agg", "VolumeReadAhead", "Aggressive"),
            ("SetMAXCMDLen", "Length", "4M", "MaxCommandLength", "4M"),
            ("SetHDDQd", "Depth", "3", None, None),
            ("SetWaTP", "Period", "2", "WaitPeriod", "2"),
            ("SetCPUFan", "Mode", "", None, None),
        ]
        for method, param, value, prop, stored in cases:
            with self.subTest(method=method, value=value):
                text, _ = self.status(sys_class, method, [(param, value)])
                self.assertEqual(text, "OK" if prop else 'ERROR CODE="71"')
                if prop:
                    system = self.client.instances(sys_class)[0]
                    self.assertEqual(system[prop][1], stored)
        self.assertEqual(self.status(sys_class, "MuteBeeperNow")[0], "OK")
        self.assertEqual(self.client.instances(sys_class)[0]["BeeperMuted"][1], "TRUE")

    def test_update_firmware(self):
        with tempfile.NamedTemporaryFile(suffix=".BIN") as image, \
                tempfile.NamedTemporaryFile(suffix=".BIN") as empty:
            image.write(b"\x7fFIRMWARE" * 100)
            image.flush()
            cases = [("", 'ERROR CODE="71"'), ("/nonexistent/RQ7730FIRM.BIN", 'ERROR CODE="51"'),
                     (empty.name, 'ERROR CODE="81"'), (image.name, "OK")]
            for path, expected in cases:
                with self.subTest(path=path):
                    self.assertEqual(self.status("Quilo_RAIDControllerSystem", "UpdateFW",
                                                 [("Path", path)])[0], expected)

    def test_refused_replies_hold_no_ok(self):
        refused = [
            ("Quilo_StoragePool", "DeleteRAIDSet", [("RAIDNo", "9")], 'ERROR CODE="68"'),
            ("Quilo_StoragePool", "DeleteRAIDSet", [("RAIDNo", "0")], 'ERROR CODE="71"'),
            ("Quilo_StorageVolume", "DeleteVolume", [("num", "9")], 'ERROR CODE="69"'),
            ("Quilo_DiskDrive", "DeletePassThrough", [("enc", "2"), ("slt", "30")],
             'ERROR CODE="70"'),
            ("Quilo_StoragePool", "CreateRAIDSet",
             [("MemberDisks", "2"), ("Enc", "2"), ("DiskArray", ["14", "15", "16"])],
             'ERROR CODE="49"'),
            ("Quilo_StoragePool", "CreateRAIDSet",
             [("MemberDisks", "2"), ("Enc", "2"), ("DiskArray", ["8", "14"])], 'ERROR CODE="70"'),
            ("Quilo_StoragePool", "CreateRAIDSet", [("MemberDisks", "1"), ("Enc", "2")],
             'ERROR CODE="71"'),
        ]
        for cls, method, params, expected in refused:
            with self.subTest(method=method, params=params):
                text, body = self.status(cls, method, params)
                self.assertEqual(text, expected)
                self.assertNotIn("OK", body)


class RaidLifecycle(SimTestCase):
    def status(self, cls, method, params=(), keys=()):
        return return_text(self.client.call(cls, method, params, keys))

    def pools(self):
        return {p["InstanceID"][1]: p for p in self.client.instances("Quilo_StoragePool")}

    def drive(self, slot):
        return [d for d in self.client.instances("Quilo_DiskDrive")
                if d["SlotNumber"][1] == str(slot)][0]

    def test_raid_set_volume_and_pass_through_lifecycle(self):
        pool, vol, disk = "Quilo_StoragePool", "Quilo_StorageVolume", "Quilo_DiskDrive"
        events_before = len(self.client.instances("Quilo_EventLog"))
        self.assertEqual(self.status(pool, "CreateRAIDSet", [
            ("MemberDisks", "3"), ("Enc", "2"), ("Name", "RAID#01"),
            ("DiskArray", ["14", "15", "16"])]), "OK")
        created = self.pools()["RAID#01"]
        self.assertEqual(created["RaidSetNumber"][1], "2")
        self.assertEqual(created["MemberDisks"][1], "3")
        self.assertEqual(created["FreeRawCapacity"][1], created["Capacity"][1])
        self.assertEqual(self.drive(14)["Usage"][1], "RAID#01")
        # the drives are taken now
        self.assertEqual(self.status(pool, "CreateRAIDSet", [
            ("MemberDisks", "1"), ("Enc", "2"), ("DiskArray", ["14"])]), 'ERROR CODE="70"')

        self.assertEqual(self.status(vol, "CreateVolume", [
            ("name", "Vol#02"), ("id", "0"), ("lun", "1"), ("RAIDNo", "3"), ("strp", "4"),
            ("ll", "5"), ("cap", "20"), ("cache", "1"), ("fg", "1"), ("gtt", "0"),
            ("tag", "1")]), "OK")
        volumes = {v["ElementName"][1]: v for v in self.client.instances(vol)}
        new = volumes["Vol#02"]
        self.assertEqual((new["VolumeNo"][1], new["RaidSetNumber"][1], new["Capacity"][1],
                          new["VolumeState"][1]), ("4", "2", str(20 * 10 ** 9), "Initializing"))
        after = self.pools()["RAID#01"]
        self.assertEqual(int(after["Capacity"][1]) - int(after["FreeRawCapacity"][1]), 30 * 10 ** 9)
        self.assertEqual(after["Volumes"][1], "1")
        cases = [
            ([("RAIDNo", "3"), ("ll", "5"), ("cap", "99999")], 'ERROR CODE="75"'),
            ([("RAIDNo", "3"), ("ll", "7"), ("cap", "1")], 'ERROR CODE="71"'),
            ([("RAIDNo", "3"), ("ll", "1"), ("cap", "1")], 'ERROR CODE="71"'),
            ([("RAIDNo", "3"), ("ll", "0"), ("cap", "1"), ("id", "0"), ("lun", "1")],
             'ERROR CODE="71"'),
            ([("RAIDNo", "8"), ("ll", "0"), ("cap", "1")], 'ERROR CODE="68"'),
            ([("RAIDNo", "3"), ("ll", "0"), ("cap", "1"), ("strp", "48")], 'ERROR CODE="71"'),
        ]
        for params, expected in cases:
            with self.subTest(params=params):
                self.assertEqual(self.status(vol, "CreateVolume", params), expected)

        # modify and delete through the instance path, as `vsf ... vol=N` sends it
        self.assertEqual(self.status(vol, "ModifyVolume", [("vol", "4"), ("name", "Vol#10")],
                                     keys=[("VolumeNo", "4")]), "OK")
        self.assertIn("Vol#10", {v["ElementName"][1] for v in self.client.instances(vol)})
        self.assertEqual(self.status(vol, "ModifyVolume", [("Num", "4"), ("cap", "10")]),
                         'ERROR CODE="71"')
        self.assertEqual(self.status(vol, "DeleteVolume", keys=[("VolumeNo", "4")]), "OK")
        self.assertEqual(self.status(vol, "DeleteVolume", [("num", "4")]), 'ERROR CODE="69"')

        self.assertEqual(self.status(pool, "OfflineRAIDSet", [("RAIDNo", "1")]), "OK")
        self.assertEqual(self.pools()["Raid Set # 000"]["RAIDState"][1], "Offline")
        self.assertEqual(self.status(pool, "OfflineRAIDSet", [("RAIDNo", "1")]), 'ERROR CODE="66"')
        self.assertEqual(self.status(pool, "ActivateRAIDSet", [("RAIDNo", "1")]), "OK")
        self.assertEqual(self.pools()["Raid Set # 000"]["RAIDState"][1], "Normal")

        self.assertEqual(self.status(pool, "DeleteRAIDSet", [("RAIDNo", "3")]), "OK")
        self.assertNotIn("RAID#01", self.pools())
        self.assertEqual((self.drive(14)["Usage"][1], self.drive(14)["UsageExt"][1]), ("", "Free"))

        # pass-through disks: addressed by parameters or by the instance path
        self.assertEqual(self.status(disk, "CreatePassThrough", [
            ("cache", "1"), ("tag", "1"), ("lun", "0"), ("id", "1"), ("enc", "2"), ("slt", "14")]),
            "OK")
        self.assertEqual(self.drive(14)["Usage"][1], "Pass Through")
        self.assertEqual(self.status(disk, "CreatePassThrough", [
            ("lun", "1"), ("id", "1"), ("enc", "2"), ("slt", "14")]), 'ERROR CODE="70"')
        self.assertEqual(self.status(disk, "ModifyPassThrough", [("cache", "0")],
                                     keys=[("EnclosureNumber", "2"), ("SlotNumber", "14")]), "OK")
        self.assertEqual(self.drive(14)["PassThroughCacheMode"][1], "Write Through")
        self.assertEqual(self.status(disk, "DeletePassThrough", [("enc", "2"), ("slt", "14")]), "OK")
        self.assertEqual(self.status(disk, "DeletePassThrough", [("enc", "2"), ("slt", "14")]),
                         'ERROR CODE="70"')

        self.assertGreater(len(self.client.instances("Quilo_EventLog")), events_before)
        self.assertEqual(self.status("Quilo_EventLog", "ClearLog"), "OK")
        status, _, body = self.client.enum("Quilo_EventLog")
        self.assertEqual(ET.fromstring(body).find(".//IRETURNVALUE").findall("*"), [])


class KeepAlive(SimTestCase):
    sim_args = ("--idle-timeout", "1")

    def test_connection_closes_after_ten_requests(self):
        before = self.sim.connections()
        self.sim.requests()
        client = Client(self.sim.port)
        closing = []
        for _ in range(12):
            status, headers, _ = client.enum("Quilo_EventLog")
            self.assertEqual(status, 200)
            closing.append(headers.get("Connection"))
        client.close()
        self.assertEqual(closing[9], "close")
        self.assertEqual(closing.count("close"), 1)
        self.assertEqual(self.sim.connections() - before, 2)
        self.assertEqual(self.sim.requests(), [["EnumerateInstances", "quilo%2Fcimv2"]] * 12)
        self.assertEqual(self.sim.requests(), [])

    def test_idle_connection_is_closed(self):
        client = Client(self.sim.port)
        self.assertEqual(client.enum("Quilo_EventLog")[0], 200)
        time.sleep(1.5)
        with self.assertRaises((http.client.RemoteDisconnected, ConnectionError, ssl.SSLError)):
            client.conn.sock.sendall(b"x")
            client.conn.sock.settimeout(2)
            if client.conn.sock.recv(1) == b"":
                raise ConnectionResetError("closed")
        client.close()

    def raw(self, request):
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
        context.check_hostname = False
        context.verify_mode = ssl.CERT_NONE
        with socket.create_connection(("127.0.0.1", self.sim.port), timeout=5) as plain:
            with context.wrap_socket(plain) as tls:
                tls.sendall(request)
                data = b""
                while True:
                    chunk = tls.recv(4096)
                    if not chunk:
                        return data.decode("latin-1")
                    data += chunk

    def test_expect_and_missing_length_are_refused(self):
        auth = base64.b64encode(b"root:secret").decode()
        head = ("POST /cimom HTTP/1.1\r\nHost: 127.0.0.1\r\nAuthorization: Basic %s\r\n"
                "CIMOperation: MethodCall\r\nCIMMethod: EnumerateInstances\r\n"
                "CIMObject: quilo%%2Fcimv2\r\n" % auth)
        reply = self.raw((head + "Content-Length: 5\r\nExpect: 100-continue\r\n\r\n").encode())
        self.assertRegex(reply, r"^HTTP/1.1 417 ")
        self.assertIn("Content-Length: 0\r\n", reply)
        self.assertIn("Connection: close\r\n", reply)
        reply = self.raw((head + "Transfer-Encoding: chunked\r\n\r\n0\r\n\r\n").encode())
        self.assertRegex(reply, r"^HTTP/1.1 411 ")
        self.assertIn("Connection: close\r\n", reply)

    def test_curl_keeps_the_connection(self):
        curl = shutil.which("curl")
        if curl is None:
            self.skipTest("curl not installed")
        with tempfile.NamedTemporaryFile("w", suffix=".xml", delete=False) as doc:
            doc.write(enumerate_instances("Quilo_RAIDControllerSystem"))
        before = self.sim.connections()
        url = "https://127.0.0.1:%d/cimom" % self.sim.port
        try:
            run = subprocess.run(
                [curl, "-sk", "-u", "root:secret", "-H", "CIMOperation: MethodCall",
                 "-H", "CIMMethod: EnumerateInstances", "-H", "CIMObject: quilo%2Fcimv2",
                 "-H", 'Content-Type: application/xml; charset="utf-8"',
                 "--data-binary", "@" + doc.name, url, "--next", "-sk", "-u", "root:secret",
                 "-H", "CIMOperation: MethodCall", "-H", "CIMMethod: EnumerateInstances",
                 "-H", "CIMObject: quilo%2Fcimv2", "--data-binary", "@" + doc.name, url],
                capture_output=True, text=True, timeout=20)
        finally:
            os.remove(doc.name)
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertEqual(run.stdout.count("<VALUE>RQ-7730</VALUE>"), 2)
        self.assertEqual(self.sim.connections() - before, 1)


class ScenarioHooks(SimTestCase):
    @classmethod
    def setUpClass(cls):
        cls.body_file = tempfile.NamedTemporaryFile("wb", suffix=".xml", delete=False)
        cls.body_file.write(b"<custom/>")
        cls.body_file.close()
        cls.sim_args = (
            "--scenario", "GetClass#2:status=500",
            "--scenario", "EnumerateClassNames:cimstatus=6:desc=x",
            "--scenario", "SetNCQ:error=4",
            "--scenario", "SetBeeper#1:return=ERROR CODE=\"65\"",
            "--scenario", "ClearLog#1:empty",
            "--scenario", "ClearLog#2:close",
            "--scenario", "EnumerateInstanceNames:truncate=20",
            "--scenario", "SetHDDLED:malformed",
            "--scenario", "SetCPUFan:delay=300",
            "--scenario", "SetHDDQd#2+:body=" + cls.body_file.name,
        )
        super().setUpClass()

    @classmethod
    def tearDownClass(cls):
        super().tearDownClass()
        os.remove(cls.body_file.name)

    def call(self, cls, method, params=()):
        return self.client.post(method, object_header(cls), method_call(cls, method, params))

    def test_occurrence_selects_one_request(self):
        statuses = [self.client.post("GetClass", object_header(), get_class("Quilo_EventLog"))[0]
                    for _ in range(3)]
        self.assertEqual(statuses, [200, 500, 200])

    def test_cim_status_headers(self):
        doc = enumerate_instances("x").replace("EnumerateInstances", "EnumerateClassNames")
        status, headers, body = self.client.post("EnumerateClassNames", object_header(), doc)
        self.assertEqual((status, headers["CIMStatusCode"], headers["CIMStatusDescription"]),
                         (200, "6", "x"))

    def test_error_and_return_replace_the_method(self):
        sys_class = "Quilo_RAIDControllerSystem"
        _, _, body = self.call(sys_class, "SetNCQ", [("NCQ", "off")])
        self.assertEqual(error_code(body), 4)
        _, _, body = self.call(sys_class, "SetBeeper", [("Enable", "N")])
        self.assertEqual(return_text(body), 'ERROR CODE="65"')
        self.assertEqual(self.client.instances(sys_class)[0]["BeeperSetting"][1], "Enabled")
        _, _, body = self.call(sys_class, "SetBeeper", [("Enable", "N")])
        self.assertEqual(return_text(body), "OK")

    def test_body_replacements(self):
        status, headers, body = self.call("Quilo_EventLog", "ClearLog")
        self.assertEqual((status, body, headers["Content-Length"]), (200, b"", "0"))
        with self.assertRaises((http.client.RemoteDisconnected, ConnectionError)):
            self.call("Quilo_EventLog", "ClearLog")
        self.client.close()
        self.assertEqual(len(self.client.instances("Quilo_EventLog")), 22)   # neither cleared
        doc = enumerate_instances("Quilo_DiskDrive").replace("EnumerateInstances",
                                                             "EnumerateInstanceNames")
        for name in ("DeepInheritance", "LocalOnly", "IncludeQualifiers", "IncludeClassOrigin"):
            doc = re.sub('<IPARAMVALUE NAME="%s">.*?</IPARAMVALUE>\n' % name, "", doc)
        status, _, body = self.client.post("EnumerateInstanceNames", object_header(), doc)
        self.assertEqual((status, body), (200, b'<?xml version="1.0" '))
        status, _, body = self.call("Quilo_RAIDControllerSystem", "SetHDDLED", [("Mode", "off")])
        self.assertNotIn(b"</SIMPLERSP>", body)
        with self.assertRaises(ET.ParseError):
            ET.fromstring(body)
        replies = [self.call("Quilo_RAIDControllerSystem", "SetHDDQd", [("Depth", "8")])[2]
                   for _ in range(3)]
        self.assertEqual(return_text(replies[0]), "OK")
        self.assertEqual(replies[1:], [b"<custom/>"] * 2)

    def test_delay(self):
        started = time.monotonic()
        status, _, _ = self.call("Quilo_RAIDControllerSystem", "SetCPUFan", [("Mode", "on")])
        self.assertEqual(status, 200)
        self.assertGreaterEqual(time.monotonic() - started, 0.3)


# ---------------------------------------------------------------------------
# Parts tested without the server

class ScenarioGrammar(unittest.TestCase):
    def test_accepted(self):
        cases = [
            ("GetClass#1:status=500", "getclass", 1, False, {"status": 500}),
            ("EnumerateInstances:cimstatus=6:desc=x", "enumerateinstances", None, False,
             {"cimstatus": 6, "desc": "x"}),
            ("*:error=6", None, None, False, {"error": 6}),
            (":empty", None, None, False, {"empty": True}),
            ("#3+:truncate=10:delay=5", None, 3, True, {"truncate": 10, "delay": 5}),
            ('AuthPassword:return=ERROR CODE="74"', "authpassword", None, False,
             {"return": 'ERROR CODE="74"'}),
        ]
        for text, name, nth, onward, actions in cases:
            with self.subTest(text=text):
                scenario = Scenario(text)
                self.assertEqual((scenario.name, scenario.nth, scenario.onward, scenario.actions),
                                 (name, nth, onward, actions))

    def test_refused(self):
        for text in ("GetClass", "GetClass:", "x:unknown", ":status=abc", ":status=99",
                     ":error=6:empty", ":desc=x", "#0:empty", ":truncate=1:malformed",
                     ":empty=1", ":delay=1:delay=2", ":body=/nonexistent/file", "a#b:empty"):
            with self.subTest(text=text):
                with self.assertRaises(ScenarioError):
                    Scenario(text)

    def test_counting(self):
        scenarios = Scenarios(["GetClass#2:status=500", "*#4:empty", "GetClass#2+:status=503"])
        picked = [scenarios.pick(m) for m in
                  ("GetClass", "SetWaTP", "GetClass", "GetClass", "getclass")]
        self.assertEqual(picked, [{}, {}, {"status": 500}, {"empty": True}, {"status": 503}])


class ControllerModel(unittest.TestCase):
    def setUp(self):
        self.controller = sim_controller.Controller()

    def invoke(self, cls, method, params, keys=None):
        return self.controller.invoke(cls, method, keys or {}, params)

    def test_parameter_names_ignore_case_and_duplicates_are_refused(self):
        sys_class = sim_schema.CONTROLLER
        self.assertEqual(self.invoke(sys_class, "setbeeper", [("ENABLE", "y")]), "OK")
        self.assertEqual(self.invoke(sys_class, "SetBeeper", [("Enable", "Y"), ("enable", "N")]),
                         'ERROR CODE="71"')
        self.assertEqual(self.invoke(sys_class, "SetBeeper", [("Other", "Y")]), 'ERROR CODE="71"')
        with self.assertRaises(sim_controller.CimError):
            self.invoke(sys_class, "NoSuchMethod", [])

    def test_cim_error_texts_never_hold_the_success_marker(self):
        # rbz takes any "OK" in a method's reply body for success.
        for code, text in sim_cimxml.CIM_ERROR_TEXTS.items():
            with self.subTest(code=code):
                self.assertNotIn("OK", text)

    def test_raw_space_per_raid_level(self):
        cases = [(0, 3, 300, 300), (1, 2, 100, 200), (3, 3, 100, 150), (5, 4, 300, 400),
                 (6, 4, 100, 200), (5, 3, 1, 2)]
        for level, members, capacity, raw in cases:
            with self.subTest(level=level, members=members):
                self.assertEqual(sim_controller._raw_size(level, members, capacity), raw)

    def test_netmask_and_port_checks(self):
        good = [("255.255.255.0", sim_controller._check_netmask), ("0.0.0.0",
                sim_controller._check_netmask), ("8191", None), ("3000", sim_controller._check_port)]
        for text, check in good:
            if check:
                with self.subTest(text=text):
                    check(text)
        for text, check in [("255.0.255.0", sim_controller._check_netmask),
                            ("7168", sim_controller._check_port),
                            ("8191", sim_controller._check_port),
                            ("0", sim_controller._check_port),
                            ("1.2.3", sim_controller._check_ipv4)]:
            with self.subTest(text=text):
                with self.assertRaises(sim_controller.Refused):
                    check(text)

    def test_volume_addressing(self):
        vol = sim_schema.STORAGE_VOLUME
        cases = [([("Num", "2")], {}, "OK"), ([("vol", "1")], {"volumeno": "1"}, "OK"),
                 ([], {"volumeno": "3"}, "OK"), ([], {}, 'ERROR CODE="71"'),
                 ([("num", "1"), ("vol", "3")], {}, 'ERROR CODE="71"')]
        for params, keys, expected in cases:
            with self.subTest(params=params, keys=keys):
                controller = sim_controller.Controller()
                self.assertEqual(controller.invoke(vol, "DeleteVolume", keys, params), expected)


class SimCtl(unittest.TestCase):
    def test_bad_scenario_fails_to_start_with_the_reason(self):
        with self.assertRaises(simctl.SimError) as raised:
            simctl.start(SIM, ["--scenario", ":bogus"])
        self.assertIn("unknown action", str(raised.exception))

    def test_stop_ends_cleanly(self):
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
