"""The CIM server proper: checks a request's CIM headers and answers its operation.

`Service.handle` takes the HTTP headers and body of one POST that already passed
the HTTP checks (authentication, length) and returns the `Reply` to send.
"""

import threading
import urllib.parse
from dataclasses import dataclass, field
from typing import List, Optional, Tuple

import sim_cimxml
import sim_schema
from sim_cimxml import RequestError, Writer
from sim_controller import CimError, Controller

REPLY_HEADERS = (
    ("Content-Type", 'application/xml; charset="utf-8"'),
    ("CIMOperation", "MethodResponse"),
    ("Cache-Control", "no-cache"),
)


@dataclass
class Reply:
    status: int = 200
    body: bytes = b""
    headers: List[Tuple[str, str]] = field(default_factory=list)
    close: bool = False          # send "Connection: close" and close after the reply
    drop: bool = False           # close the connection without any reply
    delay_ms: int = 0
    hangup: Optional[int] = None  # send only this many bytes of the body, then close
    drip_ms: int = 0             # send the whole reply one byte at a time, this far apart


def cim_reply(body):
    return Reply(200, body, list(REPLY_HEADERS))


def bad_request(cim_error, status=400):
    return Reply(status, b"", [("CIMError", cim_error)])


def _flag(value, default):
    if value is None:
        return default
    text = value.strip().upper() if isinstance(value, str) else ""
    if text not in ("TRUE", "FALSE"):
        raise CimError(4, "Boolean parameter expected")
    return text == "TRUE"


def _property_list(value):
    if value is None:
        return None
    if not isinstance(value, list):
        raise CimError(4, "PropertyList must be an array")
    return {name.lower() for name in value}


class Service:
    def __init__(self, controller=None):
        self.controller = controller or Controller()
        self.lock = threading.Lock()
        self._intrinsic = {
            "enumerateinstances": (self._enumerate_instances, {
                "classname", "localonly", "deepinheritance", "includequalifiers",
                "includeclassorigin", "propertylist"}),
            "enumerateinstancenames": (self._enumerate_instance_names, {"classname"}),
            "getinstance": (self._get_instance, {
                "instancename", "localonly", "includequalifiers", "includeclassorigin",
                "propertylist"}),
            "getclass": (self._get_class, {
                "classname", "localonly", "includequalifiers", "includeclassorigin",
                "propertylist"}),
            "enumerateclasses": (self._enumerate_classes, {
                "classname", "deepinheritance", "localonly", "includequalifiers",
                "includeclassorigin"}),
            "enumerateclassnames": (self._enumerate_class_names, {"classname", "deepinheritance"}),
        }

    # -- HTTP level --------------------------------------------------------------

    def handle(self, headers, body, override=None):
        """Answer one request.  `headers` is a case-insensitive mapping.

        `override` replaces the operation's result: ("error", code, description)
        answers with an ERROR element, ("return", text) gives an extrinsic method
        that status text; in both cases the operation is not performed.
        """
        operation = headers.get("CIMOperation")
        if operation is None or operation.strip().lower() != "methodcall":
            return bad_request("header-mismatch")
        version = headers.get("CIMProtocolVersion")
        if version is not None and not version.strip().startswith("1."):
            return bad_request("unsupported-protocol-version", 501)
        method_header = headers.get("CIMMethod")
        object_header = headers.get("CIMObject")
        if method_header is None or object_header is None:
            return bad_request("header-mismatch")
        try:
            request = sim_cimxml.parse_request(body)
        except RequestError as error:
            return bad_request(error.cim_error, 501 if error.cim_error.startswith("multiple") else 400)
        if method_header.strip() != request.name:
            return bad_request("header-mismatch")
        if not self._object_matches(urllib.parse.unquote(object_header.strip()), request):
            return bad_request("header-mismatch")
        with self.lock:
            return cim_reply(self._answer(request, override))

    @staticmethod
    def _object_matches(target, request):
        target = target.lower()
        namespace = request.namespace.lower()
        if request.intrinsic:
            return target == namespace
        path = namespace + ":" + request.class_name.lower()
        return target == path or target.startswith(path + ".")

    # -- CIM level ----------------------------------------------------------------

    def _answer(self, request, override):
        if override and override[0] == "error":
            return sim_cimxml.error_reply(request, override[1], override[2])
        try:
            if request.namespace.lower() != sim_schema.NAMESPACE:
                raise CimError(3)
            if request.intrinsic:
                return self._intrinsic_call(request)
            if override and override[0] == "return":
                return sim_cimxml.method_reply(request, override[1])
            return self._method_call(request)
        except CimError as error:
            return sim_cimxml.error_reply(request, error.code, error.description)

    def _intrinsic_call(self, request):
        entry = self._intrinsic.get(request.name.lower())
        if entry is None:
            raise CimError(7)
        operation, allowed = entry
        params = {}
        for name, value in request.iparams.items():
            if name.lower() not in allowed:
                raise CimError(4, "Unknown parameter " + name)
            params[name.lower()] = value
        writer = Writer()
        writer.add("<IRETURNVALUE>")
        operation(writer, params)
        writer.add("</IRETURNVALUE>")
        return writer.document(request.message_id, "IMETHODRESPONSE", request.name)

    def _method_call(self, request):
        cls = sim_schema.find_class(request.class_name)
        if cls is None:
            raise CimError(6)
        keys = {k.name.lower(): k.value for k in (request.keys or ())}
        status = self.controller.invoke(cls, request.name, keys, list(request.params))
        return sim_cimxml.method_reply(request, status)

    @staticmethod
    def _class_param(params, missing_code=4):
        name = params.get("classname")
        if not isinstance(name, str):
            raise CimError(missing_code, "ClassName parameter required")
        return name

    @staticmethod
    def _existing_class(name, code):
        cls = sim_schema.find_class(name)
        if cls is None:
            raise CimError(code)
        return cls

    def _enumerate_instances(self, writer, params):
        cls = self._existing_class(self._class_param(params), 5)
        _flag(params.get("localonly"), True)
        _flag(params.get("deepinheritance"), True)
        _flag(params.get("includequalifiers"), False)
        origin = _flag(params.get("includeclassorigin"), False)
        wanted = _property_list(params.get("propertylist"))
        for instance in self.controller.instances(cls):
            writer.named_instance(instance, wanted, origin)

    def _enumerate_instance_names(self, writer, params):
        cls = self._existing_class(self._class_param(params), 5)
        for instance in self.controller.instances(cls):
            writer.instance_name(instance)

    def _get_instance(self, writer, params):
        name = params.get("instancename")
        if not isinstance(name, sim_cimxml.InstanceName):
            raise CimError(4, "InstanceName parameter required")
        cls = self._existing_class(name.class_name, 5)
        _flag(params.get("localonly"), True)
        _flag(params.get("includequalifiers"), False)
        origin = _flag(params.get("includeclassorigin"), False)
        wanted = _property_list(params.get("propertylist"))
        writer.instance(self._find_instance(cls, name.keys), wanted, origin)

    def _find_instance(self, cls, keys):
        """The one instance the key bindings name.

        A class with key properties is matched on those keys alone (all must be
        given; other bindings are ignored).  A class without key properties is
        matched on whichever given bindings name one of its properties.
        """
        given = {k.name.lower(): k.value for k in keys}
        declared = [p for p in cls.properties if p.key]
        if declared:
            if any(p.name.lower() not in given for p in declared):
                raise CimError(6)
            compared = declared
        else:
            compared = [p for p in cls.properties if p.name.lower() in given]
        found = [i for i in self.controller.instances(cls)
                 if all(_key_equals(p, i.values[p.name], given[p.name.lower()]) for p in compared)]
        if not found:
            raise CimError(6)
        if len(found) > 1:
            raise CimError(4, "The instance name does not identify one instance")
        return found[0]

    def _get_class(self, writer, params):
        cls = self._existing_class(self._class_param(params), 6)
        _flag(params.get("localonly"), True)
        qualifiers = _flag(params.get("includequalifiers"), True)
        origin = _flag(params.get("includeclassorigin"), False)
        writer.class_declaration(cls, _property_list(params.get("propertylist")), qualifiers, origin)

    def _enumerate_classes(self, writer, params):
        qualifiers = _flag(params.get("includequalifiers"), True)
        origin = _flag(params.get("includeclassorigin"), False)
        for cls in self._top_classes(params):
            writer.class_declaration(cls, None, qualifiers, origin)

    def _enumerate_class_names(self, writer, params):
        for cls in self._top_classes(params):
            writer.add('<CLASSNAME NAME="%s"/>' % cls.name)

    def _top_classes(self, params):
        _flag(params.get("deepinheritance"), False)
        name = params.get("classname")
        if name is None:
            return sim_schema.CLASSES
        self._existing_class(self._class_param(params), 5)
        return ()                     # the provider's classes have no subclasses


def _key_equals(prop, value, text):
    if prop.type == "string":
        return str(value) == text
    if prop.type == "boolean":
        return text.strip().lower() == ("true" if value else "false")
    text = text.strip()
    return text.isdigit() and int(text) == value
