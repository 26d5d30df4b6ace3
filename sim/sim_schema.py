"""The provider's classes as the simulated CIM server declares them.

Each class lists its properties in the order the instances carry them, the
properties its instance names are built from, and its extrinsic methods with
their declared parameters.  Only the properties the client names in its object
paths carry the Key qualifier (VolumeNo; EnclosureNumber and SlotNumber): the
client refuses a method call whose path lacks a binding for any key property of
the class, and it never writes keys for the other classes.
"""

from typing import NamedTuple, Tuple

NAMESPACE = "quilo/cimv2"


class Prop(NamedTuple):
    name: str
    type: str
    key: bool = False
    array: bool = False


class Param(NamedTuple):
    name: str
    type: str
    array: bool = False


class Method(NamedTuple):
    name: str
    params: Tuple[Param, ...]
    handler: str          # name of the Controller operation that serves it


class CimClass(NamedTuple):
    name: str
    description: str
    properties: Tuple[Prop, ...]
    name_keys: Tuple[str, ...]     # properties written as KEYBINDINGs of instance names
    methods: Tuple[Method, ...]

    def prop(self, name):
        wanted = name.lower()
        for prop in self.properties:
            if prop.name.lower() == wanted:
                return prop
        return None

    def method(self, name):
        wanted = name.lower()
        for method in self.methods:
            if method.name.lower() == wanted:
                return method
        return None

    def key_props(self):
        return tuple(p for p in self.properties if p.key)


def _uint32(*names):
    return tuple(Param(n, "uint32") for n in names)


# Settings of the controller: method, its one parameter, the property that
# keeps the value, the property's CIM type, and the accepted values.  A dict
# maps the value the user types (compared ignoring case) to the stored text; a
# name selects one of the validators in sim_controller.
ON_OFF = {"on": "Enabled", "off": "Disabled", "enable": "Enabled", "disable": "Disabled",
          "enabled": "Enabled", "disabled": "Disabled"}


class Setting(NamedTuple):
    method: str
    param: str
    prop: str
    type: str
    accepts: object


SETTINGS = (
    Setting("SetBeeper", "Enable", "BeeperSetting", "string", {"y": "Enabled", "n": "Disabled"}),
    Setting("SetMode", "Mode", "OperationMode", "string", {"raid": "RAID", "jbod": "JBOD"}),
    Setting("SetNCQ", "NCQ", "NCQSupport", "string", ON_OFF),
    Setting("SetHDDQd", "Depth", "HDDQueueDepth", "uint8",
            {"1": 1, "2": 2, "4": 4, "8": 8, "16": 16, "32": 32}),
    Setting("SetSASMux", "Mode", "SASMuxMode", "string", {"in": "In", "out": "Out", "auto": "Auto"}),
    Setting("SetEthernetAddr", "IP", "CurrentIP", "string", "ipv4"),
    Setting("SetNetMask", "Mask", "NetMask", "string", "netmask"),
    Setting("SetGateway", "Gateway", "Gateway", "string", "ipv4"),
    Setting("SetSMTPPort", "Port", "SMTPPort", "uint16", "port"),
    Setting("SetTelnetPort", "Port", "TelnetPort", "uint16", "port"),
    Setting("SetHttpPort", "Port", "HttpPort", "uint16", "port"),
    Setting("SetSES2Support", "Enable", "SES2Support", "string", ON_OFF),
    Setting("SetMAXCMDLen", "Length", "MaxCommandLength", "string",
            {"128k": "128K", "148k": "148K", "256k": "256K", "512k": "512K",
             "1m": "1M", "2m": "2M", "4m": "4M"}),
    Setting("SetDiskCache", "Mode", "DiskWriteCache", "string",
            {"on": "Enabled", "off": "Disabled", "auto": "Auto"}),
    Setting("SetHDDReadAhead", "Mode", "HDDReadAhead", "string",
            {"on": "Enabled", "off": "Disabled", "off-maxtor": "Disabled-MAXTOR"}),
    Setting("SetTruncation", "Mode", "CapacityTruncation", "string",
            {"10g": "To Multiples of 10G", "1g": "To Multiples of 1G", "off": "Disabled"}),
    Setting("SetAutoActivate", "Mode", "AutoActivate", "string", ON_OFF),
    Setting("SetCPUFan", "Mode", "CPUFanDetection", "string", ON_OFF),
    Setting("SetHDDLED", "Mode", "EmptySlotLED", "string", {"on": "On", "off": "Off"}),
    Setting("SetVolReadAhead", "Level", "VolumeReadAhead", "string",
            {"off": "Disabled", "nor": "Normal", "con": "Conservative", "agg": "Aggressive"}),
    Setting("SetWriteSame", "Mode", "WriteSame", "string",
            {"dual": "SAS And SATA", "sas": "SAS Only", "sata": "SATA Only", "off": "Disabled"}),
    Setting("SetHPDRebuilding", "Mode", "HotPlugRebuild", "string",
            {"off": "Disabled", "on": "Enabled", "blank": "Blank Disk Only"}),
    Setting("SetWaTP", "Period", "WaitPeriod", "uint8", "period"),
)

SETTING_BY_METHOD = {s.method.lower(): s for s in SETTINGS}

CONTROLLER = CimClass(
    "Quilo_RAIDControllerSystem",
    "The RAID controller: identity, network port and operating settings",
    (
        Prop("CreationClassName", "string"),
        Prop("Name", "string"),
        Prop("ModelName", "string"),
        Prop("SerialNumber", "string"),
        Prop("FirmVersion", "string"),
        Prop("BootVersion", "string"),
        Prop("ProcessorType", "string"),
        Prop("DCacheSize", "uint32"),
        Prop("ICacheSize", "uint32"),
        Prop("MemoryType", "string"),
        Prop("MemorySpeed", "uint32"),
        Prop("MemorySize", "uint32"),
        Prop("CurrentIP", "string"),
        Prop("NetMask", "string"),
        Prop("Gateway", "string"),
        Prop("MAC", "string"),
        Prop("HttpPort", "uint16"),
        Prop("TelnetPort", "uint16"),
        Prop("SMTPPort", "uint16"),
        Prop("BeeperSetting", "string"),
        Prop("BeeperMuted", "boolean"),
        Prop("OperationMode", "string"),
        Prop("NCQSupport", "string"),
        Prop("HDDQueueDepth", "uint8"),
        Prop("SASMuxMode", "string"),
        Prop("SES2Support", "string"),
        Prop("MaxCommandLength", "string"),
        Prop("DiskWriteCache", "string"),
        Prop("HDDReadAhead", "string"),
        Prop("CapacityTruncation", "string"),
        Prop("AutoActivate", "string"),
        Prop("CPUFanDetection", "string"),
        Prop("EmptySlotLED", "string"),
        Prop("VolumeReadAhead", "string"),
        Prop("WriteSame", "string"),
        Prop("HotPlugRebuild", "string"),
        Prop("WaitPeriod", "uint8"),
        Prop("PendingFirmware", "string"),
    ),
    ("CreationClassName", "Name"),
    (
        Method("AuthPassword", (Param("password", "string"),), "auth_password"),
        Method("ChangePassword", (Param("password", "string"),), "change_password"),
        Method("MuteBeeperNow", (), "mute_beeper"),
    )
    + tuple(Method(s.method, (Param(s.param, s.type if s.type != "uint8" else "uint32"),),
                   "apply_setting") for s in SETTINGS)
    + (Method("UpdateFW", (Param("Path", "string"),), "update_firmware"),),
)

DISK_DRIVE = CimClass(
    "Quilo_DiskDrive",
    "A physical drive attached to the controller",
    (
        Prop("EnclosureNumber", "uint8", key=True),
        Prop("SlotNumber", "uint8", key=True),
        Prop("CreationClassName", "string"),
        Prop("DeviceID", "string"),
        Prop("Enc", "string"),
        Prop("Slot", "string"),
        Prop("ModelName", "string"),
        Prop("DeviceType", "string"),
        Prop("FirmwareRevision", "string"),
        Prop("NumberOfBlocks", "uint64"),
        Prop("Usage", "string"),
        Prop("UsageExt", "string"),
        Prop("RaidSetNumber", "uint8"),
        Prop("MediaErrorCount", "uint32"),
        Prop("TimeOutCount", "uint32"),
        Prop("PassThroughID", "uint8"),
        Prop("PassThroughLun", "uint8"),
        Prop("PassThroughCacheMode", "string"),
        Prop("PassThroughTaggedQueuing", "string"),
        Prop("DeviceTemperatureStatus", "uint8"),
        Prop("SMARTReadErrorRateStatus", "uint8"),
        Prop("SMARTSpinupTimeStatus", "uint8"),
        Prop("SMARTReallocationCountStatus", "uint8"),
        Prop("SMARTSeekErrorRateStatus", "uint8"),
        Prop("SMARTSpinupRetriesStatus", "uint8"),
        Prop("SMARTCalibrationRetriesStatus", "uint8"),
        Prop("SSDReservedSpaceStatus", "uint8"),
        Prop("SSDWearingIndicatorStatus", "uint8"),
        Prop("RotationSpeed", "uint32"),
        Prop("DeviceTemperature", "uint8"),
        Prop("ReadErrorsRecoveredWODelay", "uint64"),
        Prop("ReadErrorsRecoveredWDelay", "uint64"),
        Prop("ReadErrorsRecoveredWRetry", "uint64"),
        Prop("ReadErrorsRecovered", "uint64"),
        Prop("ReadTotalBytes", "uint64"),
        Prop("ReadErrorsUnrecovered", "uint64"),
        Prop("WriteErrorsRecoveredWODelay", "uint64"),
        Prop("WriteErrorsRecoveredWDelay", "uint64"),
        Prop("WriteErrorsRecoveredWRetry", "uint64"),
        Prop("WriteErrorsRecovered", "uint64"),
        Prop("WriteTotalBytes", "uint64"),
        Prop("WriteErrorsUnrecovered", "uint64"),
        Prop("VerifyErrorsRecoveredWODelay", "uint64"),
        Prop("VerifyErrorsRecoveredWDelay", "uint64"),
        Prop("VerifyErrorsRecoveredWRetry", "uint64"),
        Prop("VerifyErrorsRecovered", "uint64"),
        Prop("VerifyErrorsUnrecovered", "uint64"),
        Prop("Non-MediumErrors", "uint64"),
        Prop("DefectPListBlockCount", "uint32"),
        Prop("DefectGListBlockCount", "uint32"),
    ),
    ("EnclosureNumber", "SlotNumber"),
    (
        Method("CreatePassThrough", _uint32("cache", "tag", "lun", "id", "enc", "slt"),
               "create_pass_through"),
        Method("ModifyPassThrough", _uint32("cache", "tag", "lun", "id", "enc", "slt"),
               "modify_pass_through"),
        Method("DeletePassThrough", _uint32("enc", "slt"), "delete_pass_through"),
    ),
)

STORAGE_POOL = CimClass(
    "Quilo_StoragePool",
    "A RAID set: the drives that volume sets are carved from",
    (
        Prop("InstanceID", "string"),
        Prop("RaidSetNumber", "uint8"),
        Prop("RAIDState", "string"),
        Prop("MemberDisks", "uint8"),
        Prop("MemberDrives", "string", array=True),
        Prop("Volumes", "uint8"),
        Prop("Capacity", "uint64"),
        Prop("FreeRawCapacity", "uint64"),
    ),
    ("InstanceID",),
    (
        Method("CreateRAIDSet",
               (Param("MemberDisks", "uint32"), Param("Enc", "uint32"), Param("Name", "string"),
                Param("DiskArray", "uint32", array=True)),
               "create_raid_set"),
        Method("DeleteRAIDSet", _uint32("RAIDNo"), "delete_raid_set"),
        Method("ExpandRAIDSet",
               (Param("RAIDNo", "uint32"), Param("MemberDisks", "uint32"), Param("Enc", "uint32"),
                Param("DiskArray", "uint32", array=True)),
               "expand_raid_set"),
        Method("ActivateRAIDSet", _uint32("RAIDNo"), "activate_raid_set"),
        Method("OfflineRAIDSet", _uint32("RAIDNo"), "offline_raid_set"),
    ),
)

STORAGE_VOLUME = CimClass(
    "Quilo_StorageVolume",
    "A volume set: a logical drive in a RAID set",
    (
        Prop("VolumeNo", "uint32", key=True),
        Prop("CreationClassName", "string"),
        Prop("DeviceID", "string"),
        Prop("SystemCreationClassName", "string"),
        Prop("SystemName", "string"),
        Prop("ElementName", "string"),
        Prop("RaidSetNumber", "uint8"),
        Prop("RAIDLevel", "uint8"),
        Prop("MemberDisks", "uint8"),
        Prop("Capacity", "uint64"),
        Prop("StripeSize", "uint32"),
        Prop("Channel", "uint8"),
        Prop("ID", "uint8"),
        Prop("Lun", "uint8"),
        Prop("CacheMode", "string"),
        Prop("WriteProtect", "string"),
        Prop("TaggedQueuing", "string"),
        Prop("InitializationMode", "string"),
        Prop("AddressingMode", "string"),
        Prop("VolumeState", "string"),
        Prop("Progress", "uint16"),
    ),
    ("VolumeNo",),
    (
        Method("CreateVolume",
               (Param("name", "string"),) + _uint32("id", "lun", "RAIDNo", "strp", "ll")
               + (Param("cap", "uint64"),) + _uint32("cache", "fg", "gtt", "tag"),
               "create_volume"),
        Method("DeleteVolume", _uint32("Num", "Vol"), "delete_volume"),
        Method("ModifyVolume",
               (Param("name", "string"),) + _uint32("id", "lun", "Num", "Vol", "strp", "ll")
               + (Param("cap", "uint64"),) + _uint32("cache", "tag"),
               "modify_volume"),
    ),
)

EVENT_LOG = CimClass(
    "Quilo_EventLog",
    "One entry of the controller's event log",
    (
        Prop("CreationClassName", "string"),
        Prop("Name", "string"),
        Prop("Time", "string"),
        Prop("Type", "string"),
        Prop("Description", "string"),
        Prop("Data1", "string"),
    ),
    ("CreationClassName", "Name"),
    (Method("ClearLog", (), "clear_log"),),
)

CLASSES = (CONTROLLER, DISK_DRIVE, STORAGE_POOL, STORAGE_VOLUME, EVENT_LOG)


def find_class(name):
    wanted = (name or "").lower()
    for cls in CLASSES:
        if cls.name.lower() == wanted:
            return cls
    return None
