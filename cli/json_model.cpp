#include "cli/json_model.h"

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <optional>

#include "xml/errors.h"
#include "xml/text.h"
#include "xml/xml_buffer.h"

namespace {

std::string_view Trim(std::string_view text) {
    const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
    while (!text.empty() && blank(text.front())) text.remove_prefix(1);
    while (!text.empty() && blank(text.back())) text.remove_suffix(1);
    return text;
}

struct IntegerType {
    std::string_view name;
    bool isSigned;
    int bits;
};

constexpr IntegerType kIntegerTypes[] = {
    {"uint8", false, 8},  {"uint16", false, 16}, {"uint32", false, 32}, {"uint64", false, 64},
    {"sint8", true, 8},   {"sint16", true, 16},  {"sint32", true, 32},  {"sint64", true, 64},
};

const IntegerType* FindIntegerType(std::string_view cimType) {
    for (const IntegerType& type : kIntegerTypes)
        if (equalsNoCase(type.name, cimType)) return &type;
    return nullptr;
}

int DigitValue(char c, int base) {
    int value = -1;
    if (c >= '0' && c <= '9') value = c - '0';
    if (c >= 'a' && c <= 'f') value = c - 'a' + 10;
    if (c >= 'A' && c <= 'F') value = c - 'A' + 10;
    return value < base ? value : -1;
}

// Decimal, or hexadecimal after "0x", with an optional sign; nothing when the
// text is no such number or the type cannot hold it.
std::optional<Json> IntegerJson(std::string_view text, const IntegerType& type) {
    text = Trim(text);
    bool negative = false;
    if (!text.empty() && (text.front() == '+' || text.front() == '-')) {
        negative = text.front() == '-';
        text.remove_prefix(1);
    }
    int base = 10;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        base = 16;
        text.remove_prefix(2);
    }
    if (text.empty()) return std::nullopt;
    constexpr uint64_t kMax = std::numeric_limits<uint64_t>::max();
    uint64_t magnitude = 0;
    for (char c : text) {
        const int digit = DigitValue(c, base);
        if (digit < 0) return std::nullopt;
        const auto d = static_cast<uint64_t>(digit);
        if (magnitude > (kMax - d) / static_cast<uint64_t>(base)) return std::nullopt;
        magnitude = magnitude * static_cast<uint64_t>(base) + d;
    }
    if (!type.isSigned) {
        const uint64_t max = type.bits == 64 ? kMax : (uint64_t{1} << type.bits) - 1;
        if ((negative && magnitude != 0) || magnitude > max) return std::nullopt;
        return Json(magnitude);
    }
    const uint64_t lowest = uint64_t{1} << (type.bits - 1);   // magnitude of the type's minimum
    if (negative) {
        if (magnitude > lowest) return std::nullopt;
        if (magnitude == (uint64_t{1} << 63)) return Json(std::numeric_limits<int64_t>::min());
        return Json(-static_cast<int64_t>(magnitude));
    }
    if (magnitude >= lowest) return std::nullopt;
    return Json(static_cast<int64_t>(magnitude));
}

std::optional<Json> RealJson(std::string_view text) {
    const std::string copy(Trim(text));
    if (copy.empty()) return std::nullopt;
    errno = 0;
    char* end = nullptr;
    const double value = std::strtod(copy.c_str(), &end);
    if (end != copy.c_str() + copy.size() || !std::isfinite(value)) return std::nullopt;
    return Json(value);
}

std::optional<Json> BooleanJson(std::string_view text) {
    text = Trim(text);
    if (equalsNoCase(text, "true")) return Json(true);
    if (equalsNoCase(text, "false")) return Json(false);
    return std::nullopt;
}

[[noreturn]] void NotOfType(const std::string& what, const std::string& cimType, const std::string& text) {
    throw ParseException(what + " is not a " + cimType + ": \"" + text + "\"");
}

Json ScalarJson(std::string_view raw, const std::string& cimType, const std::string& what) {
    std::string text = DecodeText(raw);
    std::optional<Json> typed;
    if (const IntegerType* integer = FindIntegerType(cimType))
        typed = IntegerJson(text, *integer);
    else if (equalsNoCase(cimType, "real32") || equalsNoCase(cimType, "real64"))
        typed = RealJson(text);
    else if (equalsNoCase(cimType, "boolean"))
        typed = BooleanJson(text);
    else
        return Json(std::move(text));   // string, char16, datetime and the rest
    if (!typed) NotOfType(what, cimType, text);
    return *typed;
}

// A key's VALUETYPE: "numeric" reads as an integer if it is one, else as a
// real; a numeric text that is neither stays a string, as does any other type.
Json KeyValueJson(const std::string& valueType, std::string_view raw) {
    std::string text = DecodeText(raw);
    std::optional<Json> typed;
    if (equalsNoCase(valueType, "boolean")) {
        typed = BooleanJson(text);
    } else if (equalsNoCase(valueType, "numeric")) {
        typed = IntegerJson(text, *FindIntegerType("sint64"));
        if (!typed) typed = IntegerJson(text, *FindIntegerType("uint64"));
        if (!typed) typed = RealJson(text);
    }
    return typed ? *typed : Json(std::move(text));
}

std::string ReferenceText(const ValueXml& value) {
    std::string text;
    value.toStringBuffer(text, "");
    return text;
}

}  // namespace

Json ValueJson(const ValueXml& value, const std::string& cimType, const std::string& what) {
    switch (value.kind) {
    case ValueXml::Value:
        return ScalarJson(value.text(), cimType, what);
    case ValueXml::Array: {
        Json list = Json::array();
        for (const ValueXml& element : value.elements) list.push_back(ValueJson(element, cimType, what));
        return list;
    }
    case ValueXml::Reference:
        return ReferenceText(value);
    default:
        return nullptr;
    }
}

Json PropertyJson(const PropertyXml& property) {
    const bool reference = property.kind == PropertyXml::Reference;
    Json out;
    out["type"] = reference ? std::string("reference") : property.type.str();
    if (property.kind == PropertyXml::Array) out["array"] = true;
    out["value"] = property.value.exists()
                       ? ValueJson(property.value.val(), property.type.str(), "property " + property.name.str())
                       : Json(nullptr);
    return out;
}

Json PropertiesJson(const InstanceXml& instance) {
    Json out = Json::object();
    for (const PropertyXml& property : instance.properties) out[property.name.str()] = PropertyJson(property);
    return out;
}

Json KeysJson(const ArrayXml<KeyBindingXml>& keys) {
    Json out = Json::object();
    for (const KeyBindingXml& key : keys) {
        out[key.name.str()] = key.kind == KeyBindingXml::Reference
                            ? Json(ReferenceText(key.refValue))
                            : KeyValueJson(key.keyValue.valueType.str(), key.keyValue.value);
    }
    return out;
}

Json KeysJson(const ArrayXml<PropertyXml>& keys) {
    Json out = Json::object();
    for (const PropertyXml& key : keys) {
        if (!key.value.exists()) {
            out[key.name.str()] = nullptr;
            continue;
        }
        const ValueXml& value = key.value.val();
        out[key.name.str()] = value.kind == ValueXml::Value ? KeyValueJson(key.type.str(), value.text())
                                                      : Json(ReferenceText(value));
    }
    return out;
}

Json InstanceJson(const InstanceXml& instance, Json keys) {
    Json out;
    out["class"] = instance.className.str();
    out["keys"] = std::move(keys);
    out["properties"] = PropertiesJson(instance);
    return out;
}

Json NamedInstanceJson(const NamedInstanceXml& item) { return InstanceJson(item.instance, KeysJson(item.name.keys)); }

Json ParamvalueJson(const ParamvalueXml& param) {
    Json out;
    out["type"] = param.paramType;
    out["value"] = param.value ? ValueJson(*param.value, param.paramType, "output parameter " + param.name)
                               : Json(nullptr);
    return out;
}

namespace {

const ValueXml* ReturnValue(const MethodresponseXml& response) {
    if (!response.returnValue || !response.returnValue->result) return nullptr;
    const RetValXml& result = *response.returnValue->result;
    if (result.type != TypeValue) throw ParseException("Unexpected return value type");
    return &static_cast<const ValueXml&>(result);
}

}  // namespace

Json MethodresponseJson(const MethodresponseXml& response) {
    Json out;
    const ValueXml* value = ReturnValue(response);
    out["returnValue"] = value ? ValueJson(*value, response.returnValue->paramType, "the return value")
                               : Json(nullptr);
    Json params = Json::object();
    if (response.outParms)
        for (const ParamvalueXml& param : *response.outParms) params[param.name] = ParamvalueJson(param);
    out["outParameters"] = std::move(params);
    return out;
}

std::string ReturnValueText(const MethodresponseXml& response) {
    const ValueXml* value = ReturnValue(response);
    return value && value->kind == ValueXml::Value ? DecodeText(value->text()) : std::string();
}

std::string Dump(const Json& document) { return document.dump(-1, ' ', false, Json::error_handler_t::replace); }
