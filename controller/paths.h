// Target paths: the object-path text of the provider class a primary command
// touches, with the key bindings the provider identifies volumes and drives
// by. The texts are parsed later by URL; nothing here validates them.
#pragma once

#include <cstddef>
#include <string>

#include "controller/globals.h"

// Appends the target path of `primary` to `path` (which the caller passes
// empty). Commands that reach no class leave `path` as it is.
void BuildURL(pricmd primary, std::string& path, const std::string& parameters, const std::string& user,
              const std::string& password, const std::string& host);

// At least the length of any path BuildURL makes from these texts: a path
// reserved this long is built without moving (and so without leaving copies
// of the password it carries in freed memory).
size_t PathCapacity(const std::string& user, const std::string& password, const std::string& host,
                    const std::string& parameters);

// One builder per class. The parameter text feeds the keys of volumes
// ("Vol=", "VOL=", "vol=") and drives ("Enc="/"enc=" with "Slot="/"slot=").
void BuildRAIDSetFnURLString(std::string& path, const std::string& user, const std::string& password,
                             const std::string& host);
void BuildVolumeSetFnURLVSFString(std::string& path, const std::string& parameters, const std::string& user,
                                  const std::string& password, const std::string& host);
void BuildDiskFnURLString(std::string& path, const std::string& parameters, const std::string& user,
                          const std::string& password, const std::string& host);
void BuildSystemFnURLString(std::string& path, const std::string& user, const std::string& password,
                            const std::string& host);
void BuildEventFnURLString(std::string& path, const std::string& user, const std::string& password,
                           const std::string& host);

// The value of a hexadecimal digit, -1 for letters outside a..f / A..F.
// Characters below '0' give their (negative) distance to '0': the test is a
// signed "at most 9" with no lower bound, and callers rely on that.
int hexValue(char c);
