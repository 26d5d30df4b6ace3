"""Host states the simulator can be started in, and single properties forced.

`--state NAME` changes the initial contents of the controller into one of the
states below; `--set CLASS:KEYS:PROPERTY=VALUE` forces one property of the
instances that KEYS select, in every reply (see sim/README.md).
"""

import sim_schema

STATE_NAMES = ("healthy", "degraded", "rebuilding", "failed-disk", "hot-disk")

# The drive that the initial contents hold failed, the one made hot, and the
# RAID set, volume and member drive that degrade or rebuild.
_FAILED_DRIVE = (2, 17)
_HOT_DRIVE = (2, 11)
_HOT_CELSIUS = 65
_SECOND_SET = 1            # RaidSetNumber of "Raid Set # 001" (volume 3, drives 2/11, 2/12)
_SECOND_SET_VOLUME = 3
_DEGRADED_MEMBER = (2, 12)


class StateError(Exception):
    """A --state or --set the simulator cannot apply."""


def _fail(drive):
    """Failed, as the controller shows a drive it has given up: no temperature either."""
    drive.update(Usage="Unavailable", UsageExt="Failed", RaidSetNumber=255,
                 DeviceTemperature=0, DeviceTemperatureStatus=0)


def _healthy(controller):
    """Every RAID set and volume Normal, every drive usable, no media errors,
    all temperatures below 45 C."""
    for pool in controller.pools.values():
        pool["state"] = "Normal"
    for volume in controller.volumes.values():
        volume.update(VolumeState="Normal", Progress=0)
    failed = controller.drives[_FAILED_DRIVE]
    controller._make_free(failed)
    failed.update(DeviceTemperature=30, DeviceTemperatureStatus=30, SMARTReallocationCountStatus=200,
                  TimeOutCount=0)
    for drive in controller.drives.values():
        drive["MediaErrorCount"] = 0


def _degraded(controller):
    _healthy(controller)
    controller.pools[_SECOND_SET]["state"] = "Degraded"
    controller.volumes[_SECOND_SET_VOLUME]["VolumeState"] = "Degraded"
    _fail(controller.drives[_DEGRADED_MEMBER])


def _rebuilding(controller):
    _healthy(controller)
    controller.pools[_SECOND_SET]["state"] = "Rebuilding"
    controller.volumes[_SECOND_SET_VOLUME].update(VolumeState="Rebuilding", Progress=453)


def _failed_disk(controller):
    _healthy(controller)
    _fail(controller.drives[_FAILED_DRIVE])


def _hot_disk(controller):
    _healthy(controller)
    controller.drives[_HOT_DRIVE].update(DeviceTemperature=_HOT_CELSIUS,
                                         DeviceTemperatureStatus=_HOT_CELSIUS)


_STATES = {
    "healthy": _healthy,
    "degraded": _degraded,
    "rebuilding": _rebuilding,
    "failed-disk": _failed_disk,
    "hot-disk": _hot_disk,
}


def apply_state(controller, name):
    _STATES[name](controller)


_INTEGER_TYPES = ("uint8", "uint16", "uint32", "uint64", "sint8", "sint16", "sint32", "sint64")


def _typed(prop, text):
    """The value of `text` in the property's type."""
    if prop.type in _INTEGER_TYPES:
        try:
            return int(text, 0)
        except ValueError:
            raise StateError("%s is a %s: %r" % (prop.name, prop.type, text)) from None
    if prop.type == "boolean":
        if text.lower() not in ("true", "false"):
            raise StateError("%s is a boolean: %r" % (prop.name, text))
        return text.lower() == "true"
    return text


class Setting:
    """One --set: the class, the key values that select instances, and the
    property given."""

    def __init__(self, text):
        parts = text.split(":")
        if len(parts) != 3 or "=" not in parts[2]:
            raise StateError("--set %r: expected CLASS:NAME=VALUE[,NAME=VALUE...]:PROPERTY=VALUE" % text)
        self.cls = sim_schema.find_class(parts[0])
        if self.cls is None:
            raise StateError("--set %r: no class %s" % (text, parts[0]))
        self.keys = []
        for pair in parts[1].split(",") if parts[1] else []:
            name, equals, value = pair.partition("=")
            prop = self.cls.prop(name)
            if not equals or prop is None:
                raise StateError("--set %r: %r names no property of %s" % (text, pair, self.cls.name))
            self.keys.append((prop.name, _typed(prop, value)))
        name, _, value = parts[2].partition("=")
        prop = self.cls.prop(name)
        if prop is None or prop.array:
            raise StateError("--set %r: %s is no plain property of %s" % (text, name, self.cls.name))
        self.name = prop.name
        self.value = _typed(prop, value)

    def apply(self, cls, values):
        if cls is self.cls and all(values.get(k) == v for k, v in self.keys):
            values[self.name] = self.value


def parse_settings(texts):
    return [Setting(text) for text in texts]
