"""CIM-XML for the simulated server: reading request documents, writing replies.

Requests are parsed with xml.etree and checked against the shape of a simple
request (CIM / MESSAGE / SIMPLEREQ / IMETHODCALL or METHODCALL).  Replies are
written the way the CIM servers of ESXi hosts format them: one element per
line, elements without children in their empty form, attribute values in
double quotes with the five XML special characters as entities.  QUALIFIER
elements always get an end tag: the client skips a qualifier by searching for
the next "</QUALIFIER>".
"""

import xml.etree.ElementTree as ET
from typing import List, NamedTuple, Optional, Tuple


class RequestError(Exception):
    """A request that is not a CIM operation request: HTTP 400 with a CIMError header."""

    def __init__(self, cim_error, detail):
        super().__init__(detail)
        self.cim_error = cim_error
        self.detail = detail


class KeyBinding(NamedTuple):
    name: str
    value_type: str
    value: str


class InstanceName(NamedTuple):
    class_name: str
    keys: Tuple[KeyBinding, ...]


class Request(NamedTuple):
    message_id: str
    intrinsic: bool
    name: str                                  # operation or method name
    namespace: str                             # components joined by "/"
    iparams: dict                              # intrinsic: parameter name -> value
    class_name: Optional[str] = None           # extrinsic: target class
    keys: Optional[Tuple[KeyBinding, ...]] = None   # extrinsic: instance path keys
    params: Tuple[Tuple[str, object], ...] = ()     # extrinsic: (name, text or [texts])


# ---------------------------------------------------------------------------
# Requests

def _children(element, *allowed):
    kids = list(element)
    for kid in kids:
        if kid.tag not in allowed:
            raise RequestError("request-not-valid",
                               "unexpected element %s in %s" % (kid.tag, element.tag))
    return kids


def _one_child(element, *allowed):
    kids = _children(element, *allowed)
    if len(kids) != 1:
        raise RequestError("request-not-valid", "%s must hold exactly one element" % element.tag)
    return kids[0]


def _attr(element, name):
    value = element.get(name)
    if value is None:
        raise RequestError("request-not-valid", "%s lacks the %s attribute" % (element.tag, name))
    return value


def _text(element):
    return "".join(element.itertext())


def _namespace(element):
    if element.tag != "LOCALNAMESPACEPATH":
        raise RequestError("request-not-valid", "expected LOCALNAMESPACEPATH, got " + element.tag)
    parts = [_attr(ns, "NAME") for ns in _children(element, "NAMESPACE")]
    if not parts:
        raise RequestError("request-not-valid", "empty LOCALNAMESPACEPATH")
    return "/".join(parts)


def _instance_name(element):
    if element.tag != "INSTANCENAME":
        raise RequestError("request-not-valid", "expected INSTANCENAME, got " + element.tag)
    keys = []
    for kid in _children(element, "KEYBINDING", "KEYVALUE", "VALUE.REFERENCE"):
        if kid.tag != "KEYBINDING":
            raise RequestError("request-not-valid", "unnamed keys are not supported")
        value = _one_child(kid, "KEYVALUE", "VALUE.REFERENCE")
        if value.tag != "KEYVALUE":
            raise RequestError("request-not-valid", "reference keys are not supported")
        value_type = value.get("VALUETYPE", "string")
        if value_type not in ("string", "boolean", "numeric"):
            raise RequestError("request-not-valid", "bad VALUETYPE " + value_type)
        keys.append(KeyBinding(_attr(kid, "NAME"), value_type, _text(value)))
    return InstanceName(_attr(element, "CLASSNAME"), tuple(keys))


def _value(element):
    """The value of an IPARAMVALUE or PARAMVALUE: text, list of texts, or parsed name."""
    kids = list(element)
    if not kids:
        return None
    if len(kids) > 1:
        raise RequestError("request-not-valid", "%s holds more than one value" % element.tag)
    kid = kids[0]
    if kid.tag == "VALUE":
        return _text(kid)
    if kid.tag == "VALUE.ARRAY":
        return [_text(v) for v in _children(kid, "VALUE", "VALUE.NULL") if v.tag == "VALUE"]
    if kid.tag == "CLASSNAME":
        return _attr(kid, "NAME")
    if kid.tag == "INSTANCENAME":
        return _instance_name(kid)
    raise RequestError("request-not-valid", "unsupported value element " + kid.tag)


def parse_request(body):
    """Parse one request document; raises RequestError when it is not one."""
    try:
        root = ET.fromstring(body)
    except ET.ParseError as error:
        raise RequestError("request-not-well-formed", str(error)) from None
    if root.tag != "CIM":
        raise RequestError("request-not-valid", "root element is " + root.tag)
    _attr(root, "CIMVERSION")
    _attr(root, "DTDVERSION")
    message = _one_child(root, "MESSAGE")
    message_id = _attr(message, "ID")
    _attr(message, "PROTOCOLVERSION")
    if len(message) == 1 and message[0].tag == "MULTIREQ":
        raise RequestError("multiple-requests-unsupported", "MULTIREQ")
    simple = _one_child(message, "SIMPLEREQ")
    call = _one_child(simple, "IMETHODCALL", "METHODCALL")
    name = _attr(call, "NAME")
    kids = list(call)
    if not kids:
        raise RequestError("request-not-valid", call.tag + " without a path")
    if call.tag == "IMETHODCALL":
        namespace = _namespace(kids[0])
        iparams = {}
        for param in kids[1:]:
            if param.tag != "IPARAMVALUE":
                raise RequestError("request-not-valid", "unexpected element " + param.tag)
            iparams[_attr(param, "NAME")] = _value(param)
        return Request(message_id, True, name, namespace, iparams)
    path = kids[0]
    if path.tag == "LOCALCLASSPATH":
        parts = _children(path, "LOCALNAMESPACEPATH", "CLASSNAME")
        if len(parts) != 2 or parts[1].tag != "CLASSNAME":
            raise RequestError("request-not-valid", "bad LOCALCLASSPATH")
        namespace, class_name, keys = _namespace(parts[0]), _attr(parts[1], "NAME"), None
    elif path.tag == "LOCALINSTANCEPATH":
        parts = _children(path, "LOCALNAMESPACEPATH", "INSTANCENAME")
        if len(parts) != 2:
            raise RequestError("request-not-valid", "bad LOCALINSTANCEPATH")
        namespace = _namespace(parts[0])
        instance = _instance_name(parts[1])
        class_name, keys = instance.class_name, instance.keys
    else:
        raise RequestError("request-not-valid", "METHODCALL needs a local class or instance path")
    params = []
    for param in kids[1:]:
        if param.tag != "PARAMVALUE":
            raise RequestError("request-not-valid", "unexpected element " + param.tag)
        params.append((_attr(param, "NAME"), _value(param)))
    return Request(message_id, False, name, namespace, {}, class_name, keys, tuple(params))


# ---------------------------------------------------------------------------
# Replies

def escape(text):
    return (text.replace("&", "&amp;").replace("<", "&lt;").replace(">", "&gt;")
            .replace('"', "&quot;").replace("'", "&apos;"))


def cdata(text):
    """Text as CDATA sections, so that it stands literally in the body."""
    return "<![CDATA[" + text.replace("]]>", "]]]]><![CDATA[>") + "]]>"


def value_text(cim_type, value):
    if cim_type == "boolean":
        return "TRUE" if value else "FALSE"
    return str(value)


def key_value_type(cim_type):
    if cim_type == "string":
        return "string"
    if cim_type == "boolean":
        return "boolean"
    return "numeric"


class Writer:
    """Collects the lines of one reply document."""

    def __init__(self):
        self.lines: List[str] = []

    def add(self, line):
        self.lines.append(line)

    def value(self, text):
        # An empty string gets start and end tag: an empty-form VALUE reads as
        # "no value" to some parsers, and the property must still have one.
        self.add("<VALUE>%s</VALUE>" % escape(text))

    def qualifier(self, name, cim_type, text):
        self.add('<QUALIFIER NAME="%s" TYPE="%s">' % (name, cim_type))
        self.value(text)
        self.add("</QUALIFIER>")

    def keybindings(self, bindings):
        for prop, value in bindings:
            self.add('<KEYBINDING NAME="%s">' % escape(prop.name))
            self.add('<KEYVALUE VALUETYPE="%s">%s</KEYVALUE>'
                     % (key_value_type(prop.type), escape(value_text(prop.type, value))))
            self.add("</KEYBINDING>")

    def instance_name(self, instance):
        self.add('<INSTANCENAME CLASSNAME="%s">' % instance.cls.name)
        self.keybindings(instance.keybindings())
        self.add("</INSTANCENAME>")

    def _property_open(self, prop, class_origin):
        tag = "PROPERTY.ARRAY" if prop.array else "PROPERTY"
        origin = ' CLASSORIGIN="%s"' % class_origin if class_origin else ""
        self.add('<%s NAME="%s"%s TYPE="%s">' % (tag, escape(prop.name), origin, prop.type))
        return tag

    def property(self, prop, value, class_origin=None):
        tag = self._property_open(prop, class_origin)
        if prop.array:
            self.add("<VALUE.ARRAY>")
            for item in value:
                self.value(value_text(prop.type, item))
            self.add("</VALUE.ARRAY>")
        else:
            self.value(value_text(prop.type, value))
        self.add("</%s>" % tag)

    def instance(self, instance, wanted, class_origin):
        cls = instance.cls
        self.add('<INSTANCE CLASSNAME="%s">' % cls.name)
        for prop in cls.properties:
            if wanted is None or prop.name.lower() in wanted:
                self.property(prop, instance.values[prop.name],
                              cls.name if class_origin else None)
        self.add("</INSTANCE>")

    def named_instance(self, instance, wanted, class_origin):
        self.add("<VALUE.NAMEDINSTANCE>")
        self.instance_name(instance)
        self.instance(instance, wanted, class_origin)
        self.add("</VALUE.NAMEDINSTANCE>")

    def class_declaration(self, cls, wanted, qualifiers, class_origin):
        origin = ' CLASSORIGIN="%s"' % cls.name if class_origin else ""
        self.add('<CLASS NAME="%s">' % cls.name)
        if qualifiers:
            self.qualifier("Description", "string", cls.description)
            self.qualifier("Provider", "string", "cmpi:Quilo_RAIDProvider")
        for prop in cls.properties:
            if wanted is not None and prop.name.lower() not in wanted:
                continue
            tag = self._property_open(prop, cls.name if class_origin else None)
            if qualifiers and prop.key:
                self.qualifier("Key", "boolean", "TRUE")
            self.add("</%s>" % tag)
        for method in cls.methods:
            self.add('<METHOD NAME="%s" TYPE="string"%s>' % (method.name, origin))
            for param in method.params:
                tag = "PARAMETER.ARRAY" if param.array else "PARAMETER"
                start = '<%s NAME="%s" TYPE="%s"' % (tag, param.name, param.type)
                if qualifiers:
                    self.add(start + ">")
                    self.qualifier("IN", "boolean", "TRUE")
                    self.add("</%s>" % tag)
                else:
                    self.add(start + "/>")
            self.add("</METHOD>")
        self.add("</CLASS>")

    def error(self, code, description):
        self.add('<ERROR CODE="%d" DESCRIPTION="%s"/>' % (code, escape(description)))

    def document(self, message_id, response_tag, name):
        head = [
            '<?xml version="1.0" encoding="utf-8" ?>',
            '<CIM CIMVERSION="2.0" DTDVERSION="2.0">',
            '<MESSAGE ID="%s" PROTOCOLVERSION="1.0">' % escape(message_id),
            "<SIMPLERSP>",
            '<%s NAME="%s">' % (response_tag, escape(name)),
        ]
        tail = ["</%s>" % response_tag, "</SIMPLERSP>", "</MESSAGE>", "</CIM>"]
        return ("\n".join(head + self.lines + tail) + "\n").encode("utf-8")


# Descriptions of the CIM status codes, as CIM servers word them.
CIM_ERROR_TEXTS = {
    1: "A general error occurred that is not covered by a more specific error code",
    2: "Access to a CIM resource was not available to the client",
    3: "The target namespace does not exist",
    4: "One or more parameter values passed to the method were invalid",
    5: "The specified Class does not exist",
    6: "The requested object could not be found",
    7: "The requested operation is not supported",
    8: "Operation cannot be carried out on this class since it has subclasses",
    9: "Operation cannot be carried out on this class since it has instances",
    10: "Operation cannot be carried out since the specified superclass does not exist",
    11: "Operation cannot be carried out because an object already exists",
    12: "The specified property does not exist",
    13: "The value supplied is incompatible with the type",
    14: "The query language is not recognized or supported",
    15: "The query is not valid for the specified query language",
    16: "The extrinsic method could not be executed",
    17: "The specified extrinsic method does not exist",
}


def error_description(code, description=None):
    if description is not None:
        return description
    return CIM_ERROR_TEXTS.get(code, "CIM error %d" % code)


def error_reply(request, code, description=None):
    writer = Writer()
    writer.error(code, error_description(code, description))
    tag = "IMETHODRESPONSE" if request.intrinsic else "METHODRESPONSE"
    return writer.document(request.message_id, tag, request.name)


def method_reply(request, status):
    writer = Writer()
    writer.add('<RETURNVALUE PARAMTYPE="string">')
    writer.add("<VALUE>%s</VALUE>" % cdata(status))
    writer.add("</RETURNVALUE>")
    return writer.document(request.message_id, "METHODRESPONSE", request.name)
