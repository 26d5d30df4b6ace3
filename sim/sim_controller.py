"""The simulated RAID controller: its drives, RAID sets, volume sets and event log.

Everything lives in memory while the simulator runs.  The extrinsic methods of
the provider classes land in the operations of `Controller`; each answers with
the controller's status text, "OK" or `ERROR CODE="NN"` with one of the
controller's status codes.

Numbering, as the controller shows it:
- drives are addressed by their enclosure and slot numbers as stored
  (EnclosureNumber, SlotNumber; the same numbers stand in the Enc and Slot
  texts of `disk info`);
- RAID sets are stored from 0 (RaidSetNumber) and addressed by the user from 1
  (RAIDNo=1 is RaidSetNumber 0), as the reports show them;
- volume sets are numbered from 1 (VolumeNo), addressed by the same number.
"""

import datetime
import ipaddress
import os

import sim_schema
from sim_schema import CONTROLLER, DISK_DRIVE, STORAGE_POOL, STORAGE_VOLUME, EVENT_LOG

# Controller status codes the simulated firmware answers with.
ARGUMENT_NUMBER = 49
FILE_ACCESS_DENIED = 51
RAIDSET_NOT_NORMAL = 66
VOLUMESET_NOT_NORMAL = 67
NO_RAID_SET = 68
NO_VOLUME_SET = 69
NO_PHYSICAL_DRIVE = 70
PARAMETER_ERROR = 71
INVALID_PASSWORD = 74
NO_DISK_SPACE = 75
FIRMWARE_INVALID = 81

OK_TEXT = "OK"

GB = 1000 ** 3
MAX_NAME = 15            # the firmware keeps names and passwords in 16-byte fields
MAX_RAID_SETS = 128
MAX_VOLUMES = 128
MAX_VOLUMES_PER_SET = 16
MAX_MEMBERS = 32
NO_RAID_SET_NUMBER = 255
STRIPE_SIZES = (4, 8, 16, 32, 64, 128, 256, 512, 1024)

# RAID level: (fewest members, most members, data drives out of n members).
RAID_LEVELS = {
    0: (1, MAX_MEMBERS, lambda n: n),
    1: (2, 2, lambda n: 1),
    3: (3, MAX_MEMBERS, lambda n: n - 1),
    5: (3, MAX_MEMBERS, lambda n: n - 1),
    6: (4, MAX_MEMBERS, lambda n: n - 2),
}


def status_text(code):
    return 'ERROR CODE="%d"' % code


class Refused(Exception):
    """The controller refuses an operation with one of its status codes."""

    def __init__(self, code):
        super().__init__(code)
        self.code = code


class CimError(Exception):
    """A failure the CIM server itself reports, as an ERROR element."""

    def __init__(self, code, description=None):
        super().__init__(code, description)
        self.code = code
        self.description = description


class Instance:
    """One instance as the server hands it out: its class and property values."""

    def __init__(self, cls, values):
        self.cls = cls
        self.values = values

    def keybindings(self):
        return [(self.cls.prop(name), self.values[name]) for name in self.cls.name_keys]


class Args:
    """The parameters of one method call, looked up by name ignoring case."""

    def __init__(self, method, params):
        declared = {p.name.lower(): p for p in method.params}
        self._values = {}
        for name, value in params:
            low = name.lower()
            if low not in declared or low in self._values:
                raise Refused(PARAMETER_ERROR)
            self._values[low] = value

    def given(self, *names):
        return any(n.lower() in self._values for n in names)

    def text(self, name, default=None):
        value = self._values.get(name.lower())
        if value is None:
            if default is None:
                raise Refused(PARAMETER_ERROR)
            return default
        if isinstance(value, list):
            if len(value) != 1:
                raise Refused(PARAMETER_ERROR)
            value = value[0]
        return value

    def number(self, name, low, high, default=None):
        value = self._values.get(name.lower())
        if value is None:
            if default is None:
                raise Refused(PARAMETER_ERROR)
            return default
        return _to_number(self.text(name), low, high)

    def numbers(self, name, low, high):
        value = self._values.get(name.lower())
        if value is None:
            raise Refused(PARAMETER_ERROR)
        items = value if isinstance(value, list) else [value]
        items = [item for item in items if item != ""]
        if not items:
            raise Refused(PARAMETER_ERROR)
        return [_to_number(item, low, high) for item in items]


def _to_number(text, low, high):
    text = text.strip()
    if not text.isdigit():
        raise Refused(PARAMETER_ERROR)
    value = int(text)
    if not low <= value <= high:
        raise Refused(PARAMETER_ERROR)
    return value


def _check_ipv4(text):
    try:
        return str(ipaddress.IPv4Address(text.strip()))
    except ValueError:
        raise Refused(PARAMETER_ERROR) from None


def _check_netmask(text):
    address = _check_ipv4(text)
    bits = int(ipaddress.IPv4Address(address))
    inverted = ~bits & 0xFFFFFFFF
    if inverted & (inverted + 1):          # the one bits must be contiguous from the top
        raise Refused(PARAMETER_ERROR)
    return address


def _check_port(text):
    port = _to_number(text, 1, 65535)
    if 7168 <= port <= 8191:               # reserved for the controller's own services
        raise Refused(PARAMETER_ERROR)
    return port


VALIDATORS = {
    "ipv4": _check_ipv4,
    "netmask": _check_netmask,
    "port": _check_port,
    "period": lambda text: _to_number(text, 0, 255),
}


def _convert_setting(setting, text):
    if isinstance(setting.accepts, dict):
        value = setting.accepts.get(text.strip().lower())
        if value is None:
            raise Refused(PARAMETER_ERROR)
        return value
    return VALIDATORS[setting.accepts](text)


def _raw_size(level, members, capacity):
    """Bytes of the RAID set's raw capacity that a volume of `capacity` bytes takes."""
    data = RAID_LEVELS[level][2](members)
    return -(-capacity * members // data)


def _drive_label(enc, slot):
    return "Enc#%d Slot#%d" % (enc, slot)


# ---------------------------------------------------------------------------
# Initial contents

_SATA_HDD_SMART = dict(SMARTReadErrorRateStatus=200, SMARTSpinupTimeStatus=172,
                       SMARTReallocationCountStatus=200, SMARTSeekErrorRateStatus=200,
                       SMARTSpinupRetriesStatus=100, SMARTCalibrationRetriesStatus=100,
                       SSDReservedSpaceStatus=255, SSDWearingIndicatorStatus=255)
_NO_SATA_SMART = dict(SMARTReadErrorRateStatus=255, SMARTSpinupTimeStatus=255,
                      SMARTReallocationCountStatus=255, SMARTSeekErrorRateStatus=255,
                      SMARTSpinupRetriesStatus=255, SMARTCalibrationRetriesStatus=255,
                      SSDReservedSpaceStatus=255, SSDWearingIndicatorStatus=255)
_SAS_COUNTER_NAMES = (
    "ReadErrorsRecoveredWODelay", "ReadErrorsRecoveredWDelay", "ReadErrorsRecoveredWRetry",
    "ReadErrorsRecovered", "ReadTotalBytes", "ReadErrorsUnrecovered",
    "WriteErrorsRecoveredWODelay", "WriteErrorsRecoveredWDelay", "WriteErrorsRecoveredWRetry",
    "WriteErrorsRecovered", "WriteTotalBytes", "WriteErrorsUnrecovered",
    "VerifyErrorsRecoveredWODelay", "VerifyErrorsRecoveredWDelay", "VerifyErrorsRecoveredWRetry",
    "VerifyErrorsRecovered", "VerifyErrorsUnrecovered", "Non-MediumErrors",
    "DefectPListBlockCount", "DefectGListBlockCount",
)


def _sas_counters(*values):
    return dict(zip(_SAS_COUNTER_NAMES, values))


_NO_SAS_COUNTERS = _sas_counters(*([0] * len(_SAS_COUNTER_NAMES)))

# enclosure, slot, type, model, serial, firmware, bytes, rpm, temperature, extra values
_DRIVES = (
    (2, 8, "SAS", "ST600MM0006", "S0M1A2B3", "0004", 600127266816, 10000, 38,
     _sas_counters(26, 3, 1, 30, 0x2D4F81A2C00, 0, 0, 0, 0, 0, 0x1B2E44F1000, 0,
                   5, 0, 0, 5, 0, 2, 74, 0)),
    (2, 9, "SAS", "ST600MM0006", "S0M1A2B4", "0004", 600127266816, 10000, 39,
     _sas_counters(0, 0, 0, 0, 0x2D1A0035800, 0, 0, 0, 0, 0, 0x1B0F2A4C000, 0,
                   0, 0, 0, 0, 0, 0, 51, 2)),
    (2, 10, "SAS", "ST600MM0006", "S0M1A2B5", "0004", 600127266816, 10000, 37,
     _sas_counters(412, 0, 0, 412, 0x2E02B8F4400, 1, 3, 0, 0, 3, 0x1C4A3E50000, 0,
                   0, 0, 0, 0, 0, 0, 96, 7)),
    (2, 11, "SATA", "WDC WD2003FYYS-02W0B1", "WD-WMAY04212345", "01.01D02", 2000398934016, 7200,
     34, _SATA_HDD_SMART),
    (2, 12, "SATA", "WDC WD2003FYYS-02W0B1", "WD-WMAY04212789", "01.01D02", 2000398934016, 7200,
     33, _SATA_HDD_SMART),
    (2, 13, "SATA", "INTEL SSDSC2BB480G4", "BTWL3405012Y480QGN", "D2010370", 480103981056, 0, 29,
     dict(_SATA_HDD_SMART, SMARTSpinupTimeStatus=100, SMARTCalibrationRetriesStatus=255,
          SSDReservedSpaceStatus=100, SSDWearingIndicatorStatus=97)),
    (2, 14, "SATA", "ST2000NM0033-9ZM175", "Z1X0ABCD", "SN04", 2000398934016, 7200, 31,
     dict(_SATA_HDD_SMART, SMARTCalibrationRetriesStatus=255)),
    (2, 15, "SAS", "HUC109090CSS600", "KXG0R2TF", "A440", 900185481216, 10000, 36,
     _sas_counters(0, 0, 0, 0, 0x3A2B1C000, 0, 0, 0, 0, 0, 0x11F0E2000, 0,
                   0, 0, 0, 0, 0, 0, 12, 0)),
    (2, 16, "NVMe", "INTEL SSDPE2MD800G4", "CVFT5170000Q800HGN", "8DV10171", 800166076416, 0, 32,
     {}),
    (2, 17, "SATA", "WDC WD2003FYYS-02W0B1", "WD-WMAY04219876", "01.01D02", 2000398934016, 7200,
     0, dict(_SATA_HDD_SMART, SMARTReallocationCountStatus=3)),
)

_EVENTS = (   # oldest first: time, device, event type, elapsed time
    ("2015-09-12 08:01:15", "H/W Monitor", "Raid Powered On", ""),
    ("2015-09-12 08:03:40", "192.168.0.10", "HTTP Log In", ""),
    ("2015-09-12 08:05:02", "Raid Set # 000", "Create RaidSet", ""),
    ("2015-09-12 08:05:31", "ARC-VOL#000", "Create Volume", ""),
    ("2015-09-12 08:05:31", "ARC-VOL#000", "Start Initialize", ""),
    ("2015-09-12 08:06:10", "ARC-VOL#001", "Create Volume", ""),
    ("2015-09-12 08:06:10", "ARC-VOL#001", "Start Initialize", ""),
    ("2015-09-12 08:37:15", "ARC-VOL#001", "Complete Init", "000:31:05"),
    ("2015-09-12 10:20:08", "ARC-VOL#000", "Complete Init", "002:14:37"),
    ("2015-09-12 10:24:55", "Raid Set # 001", "Create RaidSet", ""),
    ("2015-09-12 10:25:20", "ARC-VOL#002", "Create Volume", ""),
    ("2015-09-12 10:25:20", "ARC-VOL#002", "Start Initialize", ""),
    ("2015-09-12 13:28:11", "ARC-VOL#002", "Complete Init", "003:02:51"),
    ("2015-09-12 13:30:02", _drive_label(2, 13), "PassThrough Disk Created", ""),
    ("2015-09-15 23:00:04", "H/W Monitor", "Raid Powered On", ""),
    ("2015-09-16 08:15:02", _drive_label(2, 17), "Time Out Error", ""),
    ("2015-09-16 08:15:02", _drive_label(2, 17), "Device Failed", ""),
    ("2015-09-16 09:41:37", _drive_label(2, 12), "Device Removed", ""),
    ("2015-09-16 09:41:37", "Raid Set # 001", "RaidSet Degraded", ""),
    ("2015-09-16 09:41:37", "ARC-VOL#002", "Volume Degraded", ""),
    ("2015-09-16 09:58:10", _drive_label(2, 12), "Device Inserted", ""),
    ("2015-09-16 09:58:12", "ARC-VOL#002", "Start Rebuilding", ""),
)

# The simulated clock of new events starts after the last stored one and
# advances by a fixed step, so that runs are repeatable.
_CLOCK_START = datetime.datetime(2015, 9, 16, 10, 5, 0)
_CLOCK_STEP = datetime.timedelta(seconds=37)


class Controller:
    """The controller's state and the operations of the provider's methods."""

    def __init__(self, password="0000"):
        self.password = password
        self.system = self._initial_system()
        self.drives = {}
        self.pools = {}
        self.volumes = {}
        self.events = []
        self._event_serial = 0
        self._clock = _CLOCK_START
        # Properties forced in every reply (--set): objects with apply(cls, values).
        self.settings = []
        self._load_drives()
        self._load_sets()
        for entry in _EVENTS:
            self._store_event(*entry)

    # -- initial state -----------------------------------------------------

    @staticmethod
    def _initial_system():
        return {
            "CreationClassName": CONTROLLER.name,
            "Name": "RQ-7730:Y915CAB12345",
            "ModelName": "RQ-7730",
            "SerialNumber": "Y915CAB12345",
            "FirmVersion": "V1.52 2015-08-20",
            "BootVersion": "V1.52 2015-07-03",
            "ProcessorType": "1200MHz PPC476",
            "DCacheSize": 32768,
            "ICacheSize": 32768,
            "MemoryType": "DDR3-1333 ECC",
            "MemorySpeed": 1333,
            "MemorySize": 2048,
            "CurrentIP": "192.168.0.100",
            "NetMask": "255.255.255.0",
            "Gateway": "192.168.0.1",
            "MAC": "00:1B:4D:0A:2C:5E",
            "HttpPort": 80,
            "TelnetPort": 23,
            "SMTPPort": 25,
            "BeeperSetting": "Enabled",
            "BeeperMuted": False,
            "OperationMode": "RAID",
            "NCQSupport": "Enabled",
            "HDDQueueDepth": 32,
            "SASMuxMode": "Auto",
            "SES2Support": "Enabled",
            "MaxCommandLength": "512K",
            "DiskWriteCache": "Auto",
            "HDDReadAhead": "Enabled",
            "CapacityTruncation": "To Multiples of 10G",
            "AutoActivate": "Disabled",
            "CPUFanDetection": "Enabled",
            "EmptySlotLED": "On",
            "VolumeReadAhead": "Normal",
            "WriteSame": "SAS And SATA",
            "HotPlugRebuild": "Disabled",
            "WaitPeriod": 0,
            "PendingFirmware": "",
        }

    def _load_drives(self):
        for enc, slot, kind, model, serial, firmware, size, rpm, temp, extra in _DRIVES:
            drive = {
                "EnclosureNumber": enc, "SlotNumber": slot,
                "CreationClassName": DISK_DRIVE.name,
                "DeviceID": serial, "Enc": str(enc), "Slot": str(slot),
                "ModelName": model, "DeviceType": kind, "FirmwareRevision": firmware,
                "NumberOfBlocks": size, "MediaErrorCount": 0, "TimeOutCount": 0,
                "RotationSpeed": rpm, "DeviceTemperature": temp,
                "DeviceTemperatureStatus": temp,
            }
            drive.update(_NO_SATA_SMART)
            drive.update(_NO_SAS_COUNTERS)
            drive.update(extra)
            self._make_free(drive)
            self.drives[(enc, slot)] = drive
        failed = self.drives[(2, 17)]
        failed.update(Usage="Unavailable", UsageExt="Failed", RaidSetNumber=NO_RAID_SET_NUMBER,
                      MediaErrorCount=37, TimeOutCount=12)
        self.drives[(2, 10)]["MediaErrorCount"] = 2
        self._make_pass_through(self.drives[(2, 13)], 0, 4, "Write Back", "Enabled")

    def _load_sets(self):
        # id 0 lun 1 and id 1 stay free: the usage texts' examples take them.
        self._add_pool(0, "Raid Set # 000", [(2, 8), (2, 9), (2, 10)])
        self._add_pool(1, "Raid Set # 001", [(2, 11), (2, 12)])
        self.pools[1]["state"] = "Rebuilding"
        self._add_volume(1, "ARC-VOL#000", 0, 5, 800 * GB, 64, 0, 0, "Write Back", "Enabled",
                         "Background", "64bit LBA", "Normal")
        self._add_volume(2, "ARC-VOL#001", 0, 0, 200 * GB, 128, 0, 2, "Write Through", "Enabled",
                         "Background", "64bit LBA", "Normal")
        self._add_volume(3, "ARC-VOL#002", 1, 1, 1000 * GB, 64, 0, 3, "Write Back", "Enabled",
                         "Foreground", "64bit LBA", "Rebuilding")
        self.volumes[3]["Progress"] = 453

    # -- state helpers -------------------------------------------------------

    @staticmethod
    def _make_free(drive):
        drive.update(Usage="", UsageExt="Free", RaidSetNumber=0,
                     PassThroughID=0, PassThroughLun=0,
                     PassThroughCacheMode="", PassThroughTaggedQueuing="")

    @staticmethod
    def _make_pass_through(drive, scsi_id, lun, cache, tagged):
        drive.update(Usage="Pass Through", UsageExt="", RaidSetNumber=NO_RAID_SET_NUMBER,
                     PassThroughID=scsi_id, PassThroughLun=lun,
                     PassThroughCacheMode=cache, PassThroughTaggedQueuing=tagged)

    @staticmethod
    def _is_free(drive):
        return drive["Usage"] == "" and drive["UsageExt"] == "Free"

    def _add_pool(self, number, name, members):
        self.pools[number] = {"number": number, "name": name, "members": list(members),
                              "state": "Normal", "saved_states": {}}
        for key in members:
            self.drives[key].update(Usage=name, UsageExt="RaidSet Member", RaidSetNumber=number)

    def _add_volume(self, number, name, pool_number, level, capacity, stripe, scsi_id, lun,
                    cache, tagged, init_mode, addressing, state):
        pool = self.pools[pool_number]
        members = len(pool["members"])
        self.volumes[number] = {
            "VolumeNo": number, "ElementName": name, "RaidSetNumber": pool_number,
            "RAIDLevel": level, "Capacity": capacity, "StripeSize": stripe, "Channel": 0,
            "ID": scsi_id, "Lun": lun, "CacheMode": cache, "WriteProtect": "Disabled",
            "TaggedQueuing": tagged, "InitializationMode": init_mode,
            "AddressingMode": addressing, "VolumeState": state, "Progress": 0,
            "raw": _raw_size(level, members, capacity),
        }

    def _pool_free(self, pool):
        used = sum(v["raw"] for v in self.volumes.values() if v["RaidSetNumber"] == pool["number"])
        return self._pool_capacity(pool) - used

    def _pool_capacity(self, pool):
        # Every member contributes as much as the smallest one.
        sizes = [self.drives[key]["NumberOfBlocks"] for key in pool["members"]]
        return min(sizes) * len(sizes) if sizes else 0

    def _pool_volumes(self, pool):
        return [v for v in self.volumes.values() if v["RaidSetNumber"] == pool["number"]]

    def _scsi_address_used(self, scsi_id, lun, skip=None):
        for volume in self.volumes.values():
            if volume is not skip and (volume["ID"], volume["Lun"]) == (scsi_id, lun):
                return True
        for drive in self.drives.values():
            if (drive is not skip and drive["Usage"] == "Pass Through"
                    and (drive["PassThroughID"], drive["PassThroughLun"]) == (scsi_id, lun)):
                return True
        return False

    def _free_lun(self, scsi_id):
        for lun in range(8):
            if not self._scsi_address_used(scsi_id, lun):
                return lun
        raise Refused(PARAMETER_ERROR)

    def _store_event(self, time, device, kind, elapsed):
        self._event_serial += 1
        self.events.insert(0, {
            "CreationClassName": EVENT_LOG.name,
            "Name": "Event:%05d" % self._event_serial,
            "Time": time, "Type": kind, "Description": device, "Data1": elapsed,
        })

    def _log(self, device, kind, elapsed=""):
        self._clock += _CLOCK_STEP
        self._store_event(self._clock.strftime("%Y-%m-%d %H:%M:%S"), device, kind, elapsed)

    # -- instances -------------------------------------------------------------

    def instances(self, cls):
        """All instances of a class, in the order an enumeration lists them,
        with the forced properties (settings) in place."""
        found = self._instances(cls)
        for instance in found:
            for setting in self.settings:
                setting.apply(cls, instance.values)
        return found

    def _instances(self, cls):
        if cls is CONTROLLER:
            return [Instance(cls, dict(self.system))]
        if cls is DISK_DRIVE:
            return [Instance(cls, dict(self.drives[key])) for key in sorted(self.drives)]
        if cls is STORAGE_POOL:
            return [Instance(cls, self._pool_values(self.pools[n])) for n in sorted(self.pools)]
        if cls is STORAGE_VOLUME:
            return [Instance(cls, self._volume_values(self.volumes[n]))
                    for n in sorted(self.volumes)]
        if cls is EVENT_LOG:
            return [Instance(cls, dict(e)) for e in self.events]
        return []

    def _pool_values(self, pool):
        return {
            "InstanceID": pool["name"],
            "RaidSetNumber": pool["number"],
            "RAIDState": pool["state"],
            "MemberDisks": len(pool["members"]),
            "MemberDrives": [_drive_label(*key) for key in pool["members"]],
            "Volumes": len(self._pool_volumes(pool)),
            "Capacity": self._pool_capacity(pool),
            "FreeRawCapacity": self._pool_free(pool),
        }

    def _volume_values(self, volume):
        values = {k: v for k, v in volume.items() if k != "raw"}
        pool = self.pools.get(volume["RaidSetNumber"])
        values.update(
            CreationClassName=STORAGE_VOLUME.name,
            DeviceID="VOL#%03d" % volume["VolumeNo"],
            SystemCreationClassName=CONTROLLER.name,
            SystemName=self.system["Name"],
            MemberDisks=len(pool["members"]) if pool else 0,
        )
        return values

    # -- method dispatch -------------------------------------------------------

    def invoke(self, cls, method_name, keys, params):
        """Run one extrinsic method; returns the controller's status text.

        `keys` maps lower-case key names of the target path to their texts (empty
        for a class path); `params` is the list of (name, value) pairs of the
        call, a value being a text or a list of texts.
        """
        method = cls.method(method_name)
        if method is None:
            raise CimError(17)
        try:
            args = Args(method, params)
            getattr(self, method.handler)(method, keys, args)
        except Refused as refused:
            return status_text(refused.code)
        return OK_TEXT

    # -- Quilo_RAIDControllerSystem --------------------------------------------

    def auth_password(self, method, keys, args):
        if args.text("password") != self.password:
            raise Refused(INVALID_PASSWORD)

    def change_password(self, method, keys, args):
        new = args.text("password")
        if len(new) > MAX_NAME:
            raise Refused(PARAMETER_ERROR)
        self.password = new
        self._log("API Interface", "Password Changed")

    def mute_beeper(self, method, keys, args):
        self.system["BeeperMuted"] = True

    def apply_setting(self, method, keys, args):
        setting = sim_schema.SETTING_BY_METHOD[method.name.lower()]
        self.system[setting.prop] = _convert_setting(setting, args.text(setting.param))

    def update_firmware(self, method, keys, args):
        path = args.text("Path").strip()
        if not path:
            raise Refused(PARAMETER_ERROR)
        try:
            with open(path, "rb") as image:
                header = image.read(64)
        except OSError:
            raise Refused(FILE_ACCESS_DENIED) from None
        if not header or os.path.isdir(path):
            raise Refused(FIRMWARE_INVALID)
        self.system["PendingFirmware"] = path
        self._log("API Interface", "Firmware Updated")

    # -- Quilo_StoragePool -------------------------------------------------------

    def _raid_set(self, args):
        number = args.number("RAIDNo", 1, MAX_RAID_SETS) - 1
        pool = self.pools.get(number)
        if pool is None:
            raise Refused(NO_RAID_SET)
        return pool

    def _new_members(self, args):
        count = args.number("MemberDisks", 1, MAX_MEMBERS)
        enc = args.number("Enc", 0, 255)
        slots = args.numbers("DiskArray", 0, 255)
        if len(slots) != count:
            raise Refused(ARGUMENT_NUMBER)
        if len(set(slots)) != len(slots):
            raise Refused(PARAMETER_ERROR)
        members = [(enc, slot) for slot in slots]
        for key in members:
            drive = self.drives.get(key)
            if drive is None or not self._is_free(drive):
                raise Refused(NO_PHYSICAL_DRIVE)
        return members

    def create_raid_set(self, method, keys, args):
        members = self._new_members(args)
        free = [n for n in range(MAX_RAID_SETS) if n not in self.pools]
        if not free:
            raise Refused(PARAMETER_ERROR)
        number = free[0]
        name = args.text("Name", default="Raid Set # %03d" % number)
        if not name or len(name) > MAX_NAME:
            raise Refused(PARAMETER_ERROR)
        self._add_pool(number, name, members)
        self._log(name, "Create RaidSet")

    def delete_raid_set(self, method, keys, args):
        pool = self._raid_set(args)
        for volume in self._pool_volumes(pool):
            del self.volumes[volume["VolumeNo"]]
            self._log(volume["ElementName"], "Delete Volume")
        for key in pool["members"]:
            self._make_free(self.drives[key])
        del self.pools[pool["number"]]
        self._log(pool["name"], "Delete RaidSet")

    def expand_raid_set(self, method, keys, args):
        pool = self._raid_set(args)
        members = self._new_members(args)
        if pool["state"] != "Normal":
            raise Refused(RAIDSET_NOT_NORMAL)
        if len(pool["members"]) + len(members) > MAX_MEMBERS:
            raise Refused(PARAMETER_ERROR)
        pool["members"].extend(members)
        for key in members:
            self.drives[key].update(Usage=pool["name"], UsageExt="RaidSet Member",
                                    RaidSetNumber=pool["number"])
        self._log(pool["name"], "Expand RaidSet")

    def activate_raid_set(self, method, keys, args):
        pool = self._raid_set(args)
        if pool["state"] != "Offline":
            raise Refused(PARAMETER_ERROR)
        pool["state"] = pool["saved_states"].pop("pool", "Normal")
        for volume in self._pool_volumes(pool):
            volume["VolumeState"] = pool["saved_states"].pop(volume["VolumeNo"], "Normal")
        self._log(pool["name"], "Activate RaidSet")

    def offline_raid_set(self, method, keys, args):
        pool = self._raid_set(args)
        if pool["state"] == "Offline":
            raise Refused(RAIDSET_NOT_NORMAL)
        pool["saved_states"] = {"pool": pool["state"]}
        pool["state"] = "Offline"
        for volume in self._pool_volumes(pool):
            pool["saved_states"][volume["VolumeNo"]] = volume["VolumeState"]
            volume["VolumeState"] = "Offline"
        self._log(pool["name"], "Offline RaidSet")

    # -- Quilo_StorageVolume ------------------------------------------------------

    def _volume(self, keys, args):
        numbers = {args.number(name, 1, MAX_VOLUMES) for name in ("Num", "Vol") if args.given(name)}
        if not numbers and "volumeno" in keys:
            numbers = {_to_number(keys["volumeno"], 0, 2 ** 32 - 1)}
        if len(numbers) != 1:
            raise Refused(PARAMETER_ERROR)
        volume = self.volumes.get(numbers.pop())
        if volume is None:
            raise Refused(NO_VOLUME_SET)
        return volume

    @staticmethod
    def _level(args, members, default=None):
        level = args.number("ll", 0, 6, default)
        if level not in RAID_LEVELS:
            raise Refused(PARAMETER_ERROR)
        fewest, most, _ = RAID_LEVELS[level]
        if not fewest <= members <= most:
            raise Refused(PARAMETER_ERROR)
        return level

    @staticmethod
    def _stripe(args, default):
        stripe = args.number("strp", 1, 1024, default)
        if stripe not in STRIPE_SIZES:
            raise Refused(PARAMETER_ERROR)
        return stripe

    @staticmethod
    def _name(args, default):
        name = args.text("name", default=default)
        if not name or len(name) > MAX_NAME:
            raise Refused(PARAMETER_ERROR)
        return name

    def create_volume(self, method, keys, args):
        pool = self._raid_set(args)
        members = len(pool["members"])
        level = self._level(args, members)
        capacity = args.number("cap", 1, 10 ** 6) * GB
        stripe = self._stripe(args, 64)
        scsi_id = args.number("id", 0, 15, 0)
        lun = args.number("lun", 0, 7) if args.given("lun") else self._free_lun(scsi_id)
        cache = args.number("cache", 0, 1, 1)
        foreground = args.number("fg", 0, 1, 0)
        windows = args.number("gtt", 0, 1, 0)
        tagged = args.number("tag", 0, 1, 1)
        free_numbers = [n for n in range(1, MAX_VOLUMES + 1) if n not in self.volumes]
        if not free_numbers or len(self._pool_volumes(pool)) >= MAX_VOLUMES_PER_SET:
            raise Refused(PARAMETER_ERROR)
        number = free_numbers[0]
        name = self._name(args, "ARC-VOL#%03d" % (number - 1))
        if self._scsi_address_used(scsi_id, lun):
            raise Refused(PARAMETER_ERROR)
        if pool["state"] == "Offline":
            raise Refused(RAIDSET_NOT_NORMAL)
        if _raw_size(level, members, capacity) > self._pool_free(pool):
            raise Refused(NO_DISK_SPACE)
        self._add_volume(number, name, pool["number"], level, capacity, stripe, scsi_id, lun,
                         ("Write Through", "Write Back")[cache], ("Disabled", "Enabled")[tagged],
                         ("Background", "Foreground")[foreground],
                         ("64bit LBA", "For Windows")[windows], "Initializing")
        self._log(name, "Create Volume")
        self._log(name, "Start Initialize")

    def delete_volume(self, method, keys, args):
        volume = self._volume(keys, args)
        del self.volumes[volume["VolumeNo"]]
        self._log(volume["ElementName"], "Delete Volume")

    def modify_volume(self, method, keys, args):
        volume = self._volume(keys, args)
        pool = self.pools[volume["RaidSetNumber"]]
        members = len(pool["members"])
        if not args.given("name", "id", "lun", "strp", "ll", "cap", "cache", "tag"):
            raise Refused(PARAMETER_ERROR)
        name = self._name(args, volume["ElementName"])
        level = self._level(args, members, volume["RAIDLevel"])
        stripe = self._stripe(args, volume["StripeSize"])
        capacity = args.number("cap", 1, 10 ** 6, volume["Capacity"] // GB) * GB
        if capacity < volume["Capacity"]:
            raise Refused(PARAMETER_ERROR)          # a volume set only grows
        scsi_id = args.number("id", 0, 15, volume["ID"])
        lun = args.number("lun", 0, 7, volume["Lun"])
        cache = args.number("cache", 0, 1, int(volume["CacheMode"] == "Write Back"))
        tagged = args.number("tag", 0, 1, int(volume["TaggedQueuing"] == "Enabled"))
        if self._scsi_address_used(scsi_id, lun, skip=volume):
            raise Refused(PARAMETER_ERROR)
        if volume["VolumeState"] == "Offline":
            raise Refused(VOLUMESET_NOT_NORMAL)
        raw = _raw_size(level, members, capacity)
        if raw - volume["raw"] > self._pool_free(pool):
            raise Refused(NO_DISK_SPACE)
        migrating = (level, stripe, capacity) != (volume["RAIDLevel"], volume["StripeSize"],
                                                  volume["Capacity"])
        volume.update(ElementName=name, RAIDLevel=level, StripeSize=stripe, Capacity=capacity,
                      ID=scsi_id, Lun=lun, raw=raw,
                      CacheMode=("Write Through", "Write Back")[cache],
                      TaggedQueuing=("Disabled", "Enabled")[tagged])
        if migrating:
            volume.update(VolumeState="Migrating", Progress=0)
        self._log(name, "Modify Volume")

    # -- Quilo_DiskDrive -----------------------------------------------------------

    def _drive(self, keys, args):
        enc = args.number("enc", 0, 255) if args.given("enc") else keys.get("enclosurenumber")
        slot = args.number("slt", 0, 255) if args.given("slt") else keys.get("slotnumber")
        if enc is None or slot is None:
            raise Refused(PARAMETER_ERROR)
        drive = self.drives.get((_to_number(str(enc), 0, 255), _to_number(str(slot), 0, 255)))
        if drive is None:
            raise Refused(NO_PHYSICAL_DRIVE)
        return drive

    def _pass_through(self, keys, args):
        drive = self._drive(keys, args)
        if drive["Usage"] != "Pass Through":
            raise Refused(NO_PHYSICAL_DRIVE)
        return drive

    def create_pass_through(self, method, keys, args):
        drive = self._drive(keys, args)
        scsi_id = args.number("id", 0, 15, 0)
        lun = args.number("lun", 0, 7) if args.given("lun") else self._free_lun(scsi_id)
        cache = args.number("cache", 0, 1, 1)
        tagged = args.number("tag", 0, 1, 1)
        if not self._is_free(drive):
            raise Refused(NO_PHYSICAL_DRIVE)
        if self._scsi_address_used(scsi_id, lun):
            raise Refused(PARAMETER_ERROR)
        self._make_pass_through(drive, scsi_id, lun, ("Write Through", "Write Back")[cache],
                                ("Disabled", "Enabled")[tagged])
        self._log(_drive_label(drive["EnclosureNumber"], drive["SlotNumber"]),
                  "PassThrough Disk Created")

    def modify_pass_through(self, method, keys, args):
        drive = self._pass_through(keys, args)
        if not args.given("id", "lun", "cache", "tag"):
            raise Refused(PARAMETER_ERROR)
        scsi_id = args.number("id", 0, 15, drive["PassThroughID"])
        lun = args.number("lun", 0, 7, drive["PassThroughLun"])
        cache = args.number("cache", 0, 1, int(drive["PassThroughCacheMode"] == "Write Back"))
        tagged = args.number("tag", 0, 1, int(drive["PassThroughTaggedQueuing"] == "Enabled"))
        if self._scsi_address_used(scsi_id, lun, skip=drive):
            raise Refused(PARAMETER_ERROR)
        self._make_pass_through(drive, scsi_id, lun, ("Write Through", "Write Back")[cache],
                                ("Disabled", "Enabled")[tagged])
        self._log(_drive_label(drive["EnclosureNumber"], drive["SlotNumber"]),
                  "PassThrough Disk Modified")

    def delete_pass_through(self, method, keys, args):
        drive = self._pass_through(keys, args)
        self._make_free(drive)
        self._log(_drive_label(drive["EnclosureNumber"], drive["SlotNumber"]),
                  "PassThrough Disk Deleted")

    # -- Quilo_EventLog --------------------------------------------------------------

    def clear_log(self, method, keys, args):
        self.events = []
