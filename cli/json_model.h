// The object model of replies as JSON, one writer per model type. Values are
// read from the model, typed by their CIM type: integers as exact JSON
// integers (all 64 bits), reals as numbers, booleans, strings with their
// entities and CDATA sections decoded, arrays as arrays, no value as null.
// A value that its CIM type cannot hold fails with ParseException.
#pragma once

#include <nlohmann/json.hpp>

#include <string>
#include <string_view>

#include "xml/classes.h"
#include "xml/envelope.h"
#include "xml/model.h"
#include "xml/xml_buffer.h"   // DecodeText

// Objects keep their members in the order they were written.
using Json = nlohmann::ordered_json;

// One value of CIM type `cimType` ("uint32", "string", ...; any other type
// reads as a string). `what` names the value in a failure message.
Json ValueJson(const ValueXml& value, const std::string& cimType, const std::string& what);

// {"type": CIM type or "reference", "array": true for an array property,
//  "value": the value or null}
Json PropertyJson(const PropertyXml& property);

// {"name": value, ...} for every property of the instance.
Json PropertiesJson(const InstanceXml& instance);

// {"name": value, ...}: key bindings typed by their VALUETYPE (string,
// boolean, numeric); a reference reads as its path text.
Json KeysJson(const ArrayXml<KeyBindingXml>& keys);
// The same for the keys of an object path the user wrote ("vol=1").
Json KeysJson(const ArrayXml<PropertyXml>& keys);

// {"class", "keys", "properties"}
Json InstanceJson(const InstanceXml& instance, Json keys);
Json NamedInstanceJson(const NamedInstanceXml& item);

// {"type", "value"} of one output parameter.
Json ParamvalueJson(const ParamvalueXml& param);

// {"returnValue": typed value or null, "outParameters": {"name": {"type", "value"}}}
Json MethodresponseJson(const MethodresponseXml& response);

// The text of a method's return value, decoded; empty when it holds none.
std::string ReturnValueText(const MethodresponseXml& response);

// Compact text of a document; bytes that are not UTF-8 become U+FFFD.
std::string Dump(const Json& document);
