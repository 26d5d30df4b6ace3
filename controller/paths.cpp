#include "controller/paths.h"

#include <string_view>

namespace {

constexpr std::string_view kSystemClass = "Quilo_RAIDControllerSystem";
constexpr std::string_view kPoolClass = "Quilo_StoragePool";
constexpr std::string_view kVolumeClass = "Quilo_StorageVolume";
constexpr std::string_view kDiskClass = "Quilo_DiskDrive";
constexpr std::string_view kEventClass = "Quilo_EventLog";

// Spellings of the volume number, tried in this order; the first one present
// anywhere in the text wins.
constexpr std::string_view kVolumeKeys[] = {"Vol=", "VOL=", "vol="};

// Spellings of enclosure and slot, tried pair by pair; the first pair whose
// two members both occur is used.
struct DiskKeys {
    std::string_view enclosure;
    std::string_view slot;
};
constexpr DiskKeys kDiskKeys[] = {
    {"Enc=", "Slot="},
    {"enc=", "slot="},
    {"Enc=", "slot="},
    {"enc=", "Slot="},
};

// "https://" user ":" password "@" host "/" namespace ":" class. Nothing is
// escaped: the object path parser sees the text as it is.
void AppendPrefix(std::string& path, const std::string& user, const std::string& password,
                  const std::string& host, std::string_view className) {
    path += "https://";
    path += user;
    path += ':';
    path += password;
    path += '@';
    path += host;
    path += '/';
    path += ns;
    path += ':';
    path += className;
}

// The value of the key standing first: up to the next "," or blank. With both
// keys in one word there is no such terminator, and the rest of the text is
// the value.
std::string_view ValueToTerminator(std::string_view text, size_t start) {
    size_t end = text.find_first_of(", ", start);
    return text.substr(start, end == std::string_view::npos ? std::string_view::npos : end - start);
}

using Builder = void (*)(std::string&, const std::string&, const std::string&, const std::string&,
                         const std::string&);

struct Route {
    pricmd primary;
    Builder build;
};

// Only these primary commands address a class; every other one leaves the
// path empty.
constexpr Route kRoutes[] = {
    {pricmd::rsf,
     [](std::string& p, const std::string&, const std::string& u, const std::string& pw, const std::string& h) {
         BuildRAIDSetFnURLString(p, u, pw, h);
     }},
    {pricmd::vsf, BuildVolumeSetFnURLVSFString},
    {pricmd::disk, BuildDiskFnURLString},
    {pricmd::sys,
     [](std::string& p, const std::string&, const std::string& u, const std::string& pw, const std::string& h) {
         BuildSystemFnURLString(p, u, pw, h);
     }},
    {pricmd::event,
     [](std::string& p, const std::string&, const std::string& u, const std::string& pw, const std::string& h) {
         BuildEventFnURLString(p, u, pw, h);
     }},
};

}  // namespace

void BuildURL(pricmd primary, std::string& path, const std::string& parameters, const std::string& user,
              const std::string& password, const std::string& host) {
    for (const Route& route : kRoutes)
        if (route.primary == primary) return route.build(path, parameters, user, password, host);
}

size_t PathCapacity(const std::string& user, const std::string& password, const std::string& host,
                    const std::string& parameters) {
    // Scheme and separators (12), the key names (29), the longest class name,
    // and the key values, each at most the whole parameter text.
    return 64 + kSystemClass.size() + ns.size() + user.size() + password.size() + host.size() +
           2 * parameters.size();
}

void BuildRAIDSetFnURLString(std::string& path, const std::string& user, const std::string& password,
                             const std::string& host) {
    AppendPrefix(path, user, password, host, kPoolClass);
}

void BuildSystemFnURLString(std::string& path, const std::string& user, const std::string& password,
                            const std::string& host) {
    AppendPrefix(path, user, password, host, kSystemClass);
}

void BuildEventFnURLString(std::string& path, const std::string& user, const std::string& password,
                           const std::string& host) {
    AppendPrefix(path, user, password, host, kEventClass);
}

// The provider knows a volume by "VolumeNo" alone. The value is everything
// after the "=": further parameters ride along as further bindings.
void BuildVolumeSetFnURLVSFString(std::string& path, const std::string& parameters, const std::string& user,
                                  const std::string& password, const std::string& host) {
    AppendPrefix(path, user, password, host, kVolumeClass);
    for (std::string_view key : kVolumeKeys) {
        size_t at = parameters.find(key);
        if (at == std::string::npos) continue;
        path += ".VolumeNo=";
        path.append(parameters, at + key.size(), std::string::npos);
        return;
    }
}

// The provider knows a drive by "EnclosureNumber" and "SlotNumber". The key
// standing first in the text ends at the next "," or blank; the later one
// runs to the end of the text.
void BuildDiskFnURLString(std::string& path, const std::string& parameters, const std::string& user,
                          const std::string& password, const std::string& host) {
    AppendPrefix(path, user, password, host, kDiskClass);
    const std::string_view text = parameters;
    for (const DiskKeys& keys : kDiskKeys) {
        size_t enc = text.find(keys.enclosure);
        size_t slot = text.find(keys.slot);
        if (enc == std::string_view::npos || slot == std::string_view::npos) continue;
        size_t encValue = enc + keys.enclosure.size();
        size_t slotValue = slot + keys.slot.size();
        std::string_view encText, slotText;
        if (enc < slot) {
            encText = ValueToTerminator(text, encValue);
            slotText = text.substr(slotValue);
        } else {
            slotText = ValueToTerminator(text, slotValue);
            encText = text.substr(encValue);
        }
        path += ".EnclosureNumber=";
        path += encText;
        path += ",SlotNumber=";
        path += slotText;
        return;
    }
}

int hexValue(char c) {
    const int v = static_cast<signed char>(c);
    if (v - '0' <= 9) return v - '0';
    if (v >= 'a' && v <= 'f') return v - 'a' + 10;
    if (v >= 'A' && v <= 'F') return v - 'A' + 10;
    return -1;
}
