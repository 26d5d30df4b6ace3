#!/usr/bin/env python3
"""Writes the seed inputs of the fuzz targets cmdline, status, paths and
reports into fuzz/corpus/<target>/, named seed-*. Existing seed-* files of
those targets are replaced; every other file (inputs the fuzzer found, crash
regressions) is left alone.

    fuzz/seeds.py

The seeds, by target (the input layouts are described in the targets'
*_replay.h):
  cmdline  every distinct command line (with its typed passwords) of the
           end-to-end cases, under the stand-in server's default answers, and
           a few lines under each of its other answers;
  status   the marker with every code of the status tables, the replies the
           end-to-end cases have the simulator send, and the clean-up cases;
  paths    the worked examples of the path builders and their edge cases;
  reports  the instances of tests/data/ as report inputs (modes 1 to 7), their
           renderings as cut inputs (mode 0), and edge cases of the cuts.
"""

import glob
import json
import os
import re
import xml.etree.ElementTree as ET

SRC = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
CORPUS = os.path.join(SRC, "fuzz", "corpus")


def slug(text, limit=48):
    s = re.sub(r"[^A-Za-z0-9]+", "-", text).strip("-").lower()
    return s[:limit].rstrip("-") or "empty"


class Seeds:
    def __init__(self, target):
        self.dir = os.path.join(CORPUS, target)
        self.files = {}
        self.seen = set()

    def add(self, name, data):
        if isinstance(data, str):
            data = data.encode("utf-8", "surrogateescape")
        if data in self.seen:
            return
        self.seen.add(data)
        base = "seed-" + slug(name)
        name, n = base, 2
        while name in self.files:
            name, n = "%s-%d" % (base, n), n + 1
        self.files[name] = data

    def write(self):
        os.makedirs(self.dir, exist_ok=True)
        for old in glob.glob(os.path.join(self.dir, "seed-*")):
            os.remove(old)
        for name, data in self.files.items():
            with open(os.path.join(self.dir, name), "wb") as f:
                f.write(data)
        print("%s: %d seeds" % (self.dir, len(self.files)))


# ------------------------------------------------------------------ cmdline

def cmdline_input(scenario, typed, words):
    return bytes([scenario]) + "\0".join([typed] + words).encode("utf-8", "surrogateescape")


def e2e_runs():
    for path in sorted(glob.glob(os.path.join(SRC, "tests", "e2e", "cases", "*.json"))):
        with open(path) as f:
            cases = json.load(f)
        for case in cases:
            for run in case.get("runs", [case]):
                args = [a.replace("{PORT}", "5989") for a in run.get("args", [])]
                yield case["name"], run.get("stdin", ""), ["./rbz"] + args, case.get("sim", [])


def cmdline_seeds():
    seeds = Seeds("cmdline")
    for name, typed, words, _ in e2e_runs():
        seeds.add("e2e-" + name, cmdline_input(0, typed, words))
    host = ["./rbz", "-i", "10.0.0.5", "-u", "root"]
    # The stand-in server's other answers (see cmdline_replay.h, Scenario).
    for auth, what in ((1, "refused"), (2, "empty"), (3, "status-and-ok")):
        seeds.add("auth-" + what, cmdline_input(auth, "secret\n0000\n", host + ["sys", "beeperon"]))
    queries = (["sys", "info"], ["event", "info"], ["disk", "info"], ["disk", "inq", "enc=1", "slot=4"],
               ["vsf", "info"], ["vsf", "inq", "vol=1"], ["rsf", "info"])
    for variant in range(1, 8):
        for q in queries:
            seeds.add("query-%d-%s" % (variant, "-".join(q)), cmdline_input(variant << 2, "secret\n", host + q))
    for method, what in ((1, "code-74"), (2, "code-7x"), (3, "empty")):
        seeds.add("method-" + what, cmdline_input(method << 5, "secret\n0000\n", host + ["vsf", "delete", "vol=2"]))
    seeds.add("transport-down", cmdline_input(0x80, "secret\n", host + ["sys", "info"]))
    # Lines the end-to-end cases do not have.
    more = {
        "no-words": [],
        "empty-words": ["", "", ""],
        "trailing-i": ["./rbz", "sys", "info", "-i"],
        "wait-hex": ["./rbz", "-w", "0x10", "-i", "h", "-u", "u", "sys", "info"],
        "wait-forever": ["./rbz", "-w", "-1", "-i", "h", "-u", "u", "sys", "info"],
        "host-is-command": ["./rbz", "-i", "sys", "-u", "root", "disk", "info"],
        "chgpw-help": ["./rbz", "sys", "chgpw", "-h"],
        "chgpw": host + ["sys", "chgpw"],
        "certificates": host + ["-cacert", "ca.pem", "-clientcert", "c.pem", "-clientkey", "k.pem", "sys", "info"],
        "ipv6-zone": ["./rbz", "-i", "[fe80::1%eth0]:5989", "-u", "root", "sys", "info"],
        "disk-one-word-keys": host + ["disk", "inq", "enc=2slot=3"],
        "vsf-value-runs-on": host + ["vsf", "modify", "vol=1", "name=x"],
        "quilo-in-user": ["./rbz", "-i", "h", "-u", "Quilo_x", "sys", "info"],
        "rsf-create": host + ["rsf", "create", "MemberDisks=3", "Enc=2", "Name=RAID#01", "DiskArray=14,15,16"],
        "disk-dpt-ref": host + ["disk", "dpt", "enc=2", "slt=15", "Drive=Quilo_DiskDrive.EnclosureNumber=1"],
        "net-info": host + ["net", "info"],
        "ntp-refused": host + ["ntp", "info"],
        "mail-piece": host + ["mail", "nfo"],
    }
    for name, words in more.items():
        seeds.add("edge-" + name, cmdline_input(0, "secret\nnew\nnew\n0000\n", words))
    seeds.add("edge-chgpw-mismatch", cmdline_input(0, "a\nb\n", host + ["sys", "chgpw"]))
    seeds.add("edge-no-line-feed", cmdline_input(0, "secret", host + ["sys", "info"]))
    seeds.add("edge-crlf", cmdline_input(0, "secret\r\n0000\r\n", host + ["event", "clear"]))
    seeds.write()


# ------------------------------------------------------------------- status

DRIVER_CODES = [49, 51] + list(range(66, 89)) + [176]


def status_seeds():
    seeds = Seeds("status")
    for code in DRIVER_CODES + [0, 50, 65, 89, 175, 255, 4294967295]:
        seeds.add("code-%d" % code, 'ERROR CODE="%d"' % code)
    for name, _, _, sim in e2e_runs():
        for word in sim:
            m = re.search(r"return=(.*)$", word)
            if m:
                seeds.add("e2e-" + m.group(1), m.group(1))
    reply = ('<?xml version="1.0" encoding="utf-8" ?>\n<CIM CIMVERSION="2.0" DTDVERSION="2.0">\n'
             '<MESSAGE ID="4711" PROTOCOLVERSION="1.0">\n<SIMPLERSP>\n<METHODRESPONSE NAME="SetBeeper">\n'
             '<RETURNVALUE PARAMTYPE="string">\n<VALUE>%s</VALUE>\n</RETURNVALUE>\n</METHODRESPONSE>\n'
             '</SIMPLERSP>\n</MESSAGE>\n</CIM>\n')
    for value in ('ERROR CODE="74"', "OK", 'ERROR CODE="65" OK', ""):
        seeds.add("reply-" + (value or "empty"), reply % value)
    edges = {
        "code-7x": 'ERROR CODE="7x"',
        "code-unclosed": 'ERROR CODE="74',
        "code-no-quotes": "ERROR CODE=74",
        "code-at-end": "ERROR CODE=",
        "two-markers": 'ERROR CODE="1" ERROR CODE="74"',
        "ok-only": "xOKx",
        "lines-collapse": "a\n\nb",
        "line-gets-star": "a\nb",
        "line-has-star": "a\n*b",
        "blank-lines-many": "a\n\n\n\nb\n\n",
        "escape-slash": "x%2Fy",
        "escape-high": "x%C3y",
        "escape-nul": "a%00b%00",
        "escape-line-feed": "a%0Ab\n%0A",
        "escape-at-end": "ab%4",
        "escape-percent-percent": "%%41%",
        "escape-below-zero": "% !%!0",
        "message": "Http Exception: Unable to connect\nCouldn't connect to server\n\nat 10.0.0.5%3A5989",
    }
    for name, text in edges.items():
        seeds.add(name, text)
    seeds.write()


# -------------------------------------------------------------------- paths

PRIMARY = {"main": 0, "set": 1, "rsf": 2, "vsf": 3, "disk": 4, "sys": 5, "adsys": 6, "hddpwr": 7, "net": 8,
           "event": 9, "hw": 10, "mail": 11, "snmp": 12, "ntp": 13, "exit": 14, "beyond": 15}


def paths_input(primary, params, user="root", password="pw", host="10.0.0.5"):
    return bytes([PRIMARY[primary]]) + "\0".join([params, user, password, host]).encode()


def paths_seeds():
    seeds = Seeds("paths")
    examples = [
        ("rsf", "CreateRAIDSet.MemberDisks=3,Enc=2,Name=RAID#01,DiskArray=14,15,16"),
        ("vsf", "DeleteVolume.vol=2"),
        ("vsf", "DeleteVolume.num=2"),
        ("sys", "SetBeeper.Enable=Y"),
        ("disk", "enc=2,slot=11"),
        ("disk", "slot=11,enc=2"),
        ("event", ""),
        ("vsf", "Vol=1,vol=3"),
        ("vsf", "vol=3,Vol=1"),
        ("vsf", "ModifyVolume.vol=1,name=x"),
        ("vsf", "VOL=4"),
        ("disk", "Enc=1,slot=2,enc=3"),
        ("disk", "cache=1,tag=1,lun=0,id=1,enc=2,slt=14"),
        ("disk", "enc=2slot=3"),
        ("disk", "Slot=5 Enc=6"),
        ("disk", "ModifyPassThrough.cache=1,Enc=1,Slot=2"),
    ]
    for primary, params in examples:
        seeds.add("%s-%s" % (primary, params), paths_input(primary, params))
    for primary in PRIMARY:
        seeds.add("primary-" + primary, paths_input(primary, "vol=1,enc=1,slot=2"))
    seeds.add("password-with-at", paths_input("sys", "", password="p@ss:word"))
    seeds.add("host-with-port", paths_input("sys", "", host="10.0.0.5:5989"))
    seeds.add("host-ipv6-zone", paths_input("sys", "", host="[fe80::1%eth0]:5989"))
    seeds.add("empty-user-host", paths_input("event", "", user="", password="", host=""))
    seeds.add("quilo-in-user", paths_input("vsf", "vol=1", user="Quilo_x"))
    seeds.write()


# ------------------------------------------------------------------ reports

MODES = {"RAIDControllerSystem": [1], "EventLog": [2], "DiskDrive": [3, 6], "StorageVolume": [4, 7],
         "StoragePool": [5]}


def records(path):
    """The instances of a reply file: (keys, properties, rendering) each."""
    tree = ET.parse(path)
    out = []
    for inst in tree.iter("INSTANCE"):
        parent_keys = []
        out.append((parent_keys, inst))
    for named in tree.iter("VALUE.NAMEDINSTANCE"):
        keys = []
        for kb in named.iter("KEYBINDING"):
            kv = kb.find("KEYVALUE")
            value = kv.text or ""
            if kv.get("VALUETYPE") == "string":
                value = '"%s"' % value
            keys.append("%s=%s" % (kb.get("NAME"), value))
        inst = named.find("INSTANCE")
        for i, (k, candidate) in enumerate(out):
            if candidate is inst:
                out[i] = (keys, inst)
    result = []
    for keys, inst in out:
        props, rendering = [], ""
        for p in inst:
            if p.tag == "PROPERTY":
                v = p.find("VALUE")
                value = "" if v is None else (v.text or "")
            elif p.tag == "PROPERTY.ARRAY":
                value = ",".join(v.text or "" for v in p.iter("VALUE"))
            else:
                continue
            if p.get("TYPE") == "string":
                props.append('%s="%s"' % (p.get("NAME"), value))
                rendering += '-%s="%s"\n' % (p.get("NAME"), value)
            else:
                props.append("%s=%s" % (p.get("NAME"), value))
                rendering += "-%s=%s\n" % (p.get("NAME"), value)
        result.append((keys, props, rendering))
    return result


def report_input(mode, recs):
    text = "\x1e".join("\x1f".join(["." + k for k in keys] + props) for keys, props in recs)
    return bytes([mode]) + text.encode()


def reports_seeds():
    seeds = Seeds("reports")
    for path in sorted(glob.glob(os.path.join(SRC, "tests", "data", "*.xml"))):
        cls = next((c for c in MODES if c in os.path.basename(path)), None)
        if cls is None:
            continue
        recs = [(k, p) for k, p, _ in records(path)]
        if not recs:
            continue
        base = os.path.basename(path)[:-4]
        for mode in MODES[cls]:
            if mode in (6, 7):
                for i, rec in enumerate(recs):
                    seeds.add("%d-%s-%d" % (mode, base, i), report_input(mode, [rec]))
            else:
                seeds.add("%d-%s" % (mode, base), report_input(mode, recs))
        for i, (keys, _, rendering) in enumerate(records(path)):
            name = "%s.%s\n" % (cls, ",".join(keys))
            seeds.add("0-%s-%d" % (base, i), b"\0" + (name + rendering).encode())
    # Complete instances: every key each report reads.
    controller = ['ModelName="ARC-1886"', 'SerialNumber="Y1"', 'FirmVersion="V1.56"', 'BootVersion="V1.2"',
                  'CurrentIP="10.0.0.9"', 'MAC="00.1B.4D"', "DCacheSize=32768", "ICacheSize=32768",
                  "MemorySpeed=1866", "MemorySize=4096"]
    events = [['Time="2015-09-16 10:0%d:00"' % i, 'Type="Info"', 'Description="Volume created"',
               'Data1="VOL#00%d"' % i] for i in range(3)]
    disk = ["EnclosureNumber=1", "SlotNumber=4", 'Enc="1"', 'Slot="4"', 'DeviceID="Z1X"', 'ModelName="ST4000NM"',
            'FirmwareRevision="SN04"', "NumberOfBlocks=7814037168", "RaidSetNumber=0", "MediaErrorCount=0",
            "TimeOutCount=2", 'UsageExt="Free"', 'Usage="RaidSet Member"']
    sata = ["DeviceTemperatureStatus=38", "SMARTReadErrorRateStatus=1", "SMARTSpinupTimeStatus=2",
            "SMARTReallocationCountStatus=3", "SMARTSeekErrorRateStatus=4", "SMARTSpinupRetriesStatus=5",
            "SMARTCalibrationRetriesStatus=255", "SSDReservedSpaceStatus=255", "SSDWearingIndicatorStatus=90"]
    sas = ["RotationSpeed=7200", "DeviceTemperature=41"] + ["%s=%d" % (k, i) for i, k in enumerate([
        "ReadErrorsRecoveredWODelay", "ReadErrorsRecoveredWDelay", "ReadErrorsRecoveredWRetry",
        "ReadErrorsRecovered", "ReadTotalBytes", "ReadErrorsUnrecovered", "WriteErrorsRecoveredWODelay",
        "WriteErrorsRecoveredWDelay", "WriteErrorsRecoveredWRetry", "WriteErrorsRecovered", "WriteTotalBytes",
        "WriteErrorsUnrecovered", "VerifyErrorsRecoveredWODelay", "VerifyErrorsRecoveredWDelay",
        "VerifyErrorsRecoveredWRetry", "VerifyErrorsRecovered", "VerifyErrorsUnrecovered", "Non-MediumErrors",
        "DefectPListBlockCount", "DefectGListBlockCount"])]
    volume = ["VolumeNo=1", 'ElementName="VOL#000"', "RAIDLevel=5", "RaidSetNumber=0", "MemberDisks=3",
              "Capacity=2000398934016", "StripeSize=64", "Channel=0", "ID=0", "Lun=1", 'CacheMode="Write Back"',
              'WriteProtect="Disabled"', 'TaggedQueuing="Enabled"', 'VolumeState="Rebuilding"', "Progress=453"]
    pool = ["RaidSetNumber=0", "MemberDisks=3", 'InstanceID="Raid Set # 000"', "Volumes=1", 'RAIDState="Normal"',
            "Capacity=12000000000000", "FreeRawCapacity=999"]
    complete = [
        (1, "system", [([], controller)]),
        (2, "events", [([], e) for e in events]),
        (3, "disks", [([], disk + ['DeviceType="SATA"']), ([], disk + ['DeviceType="SAS"'])]),
        (4, "volumes", [([], volume), ([], volume[:3] + ["RaidSetNumber=255"] + volume[4:])]),
        (5, "pools", [([], pool), ([], pool[:1] + ["MemberDisks=0"] + pool[2:])]),
        (6, "sata", [(["EnclosureNumber=1", "SlotNumber=4"], disk + sata + ['DeviceType="SATA"'])]),
        (6, "sas", [(["EnclosureNumber=1", "SlotNumber=4"], disk + sas + ['DeviceType="SAS"'])]),
        (7, "volume", [(["VolumeNo=1"], volume)]),
    ]
    for mode, name, recs in complete:
        seeds.add("%d-complete-%s" % (mode, name), report_input(mode, recs))
    cuts = {
        "key-absent": "-Other=1\n",
        "unterminated-quote": '-ModelName="abc\n-Usage=""\n',
        "no-line-end": "-VolumeNo=12",
        "wraps-32": "-VolumeNo=4294967297\n-RaidSetNumber=255\n",
        "wraps-64": "-Capacity=18446744073709551617\n-SlotNumber=18446744073709551616\n",
        "signs-and-points": "-VolumeNo=-1.5 e3\n-Capacity=1,000,000.5\n",
        "usage-ext": '-Usage=""\n-RaidSetNumber=0\n-UsageExt="Free"\n',
        "usage-255": '-Usage=""\n-RaidSetNumber=255\n-UsageExt="Free"\n',
        "rebuilding": '-VolumeState="Rebuilding"\n-Progress=453\n',
        "initializing-no-progress": '-VolumeState="Initializing"\n',
        "unavailable": '-DeviceType="Unavailable"\n',
        "quote-in-key-line": '-ModelName=x"y"\n',
        "capacities": "-Capacity=999\n-Capacity=1001\n",
    }
    for name, text in cuts.items():
        seeds.add("0-" + name, b"\0" + text.encode())
    edges = [
        (3, "unavailable-between", [([], ['Usage="Unavailable"']), ([], ['Usage="x"'])]),
        (5, "zero-members", [([], ["RaidSetNumber=0", "MemberDisks=0"]), ([], ["RaidSetNumber=1", "MemberDisks=0"])]),
        (6, "unavailable", [(["EnclosureNumber=1", "SlotNumber=2"], ['Usage="Unavailable"'])]),
        (6, "no-device-id", [(["EnclosureNumber=1", "SlotNumber=2"], ['Usage="x"', 'DeviceID=""'])]),
        (7, "value-with-line-feed", [(["VolumeNo=1"], ['ElementName="a\nb"', "Capacity=5\n6"])]),
        (1, "empty", [([], [])]),
    ]
    for mode, name, recs in edges:
        seeds.add("%d-%s" % (mode, name), report_input(mode, recs))
    seeds.write()


if __name__ == "__main__":
    cmdline_seeds()
    status_seeds()
    paths_seeds()
    reports_seeds()
