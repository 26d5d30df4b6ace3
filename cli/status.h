// The controller's own status inside the reply text of a method call:
// ERROR CODE="74" for a failure, the letters OK for success. Both can stand
// in one reply.
#pragma once

#include <iostream>
#include <optional>
#include <string>
#include <string_view>

// The code after the first "ERROR CODE=", or nothing without that marker.
// Every character up to the second double quote (or the end of the reply)
// that is not a quote counts as a digit: code = code * 10 + (c - '0'), in
// 32 bits, wrapping.
std::optional<int> DecodeStatus(std::string_view reply);

// True when "OK" stands anywhere in the reply.
bool ReplyHasOk(std::string_view reply);

// The driver's text for a code; empty for a code it does not list.
std::string_view DriverStatusText(int code);

// The text the password check prints for a code; "Disk Test Failed" for
// every code it does not list.
std::string_view VerifyStatusText(int code);

// The method path's outcome: the driver's status text (if the reply holds a
// listed code) and, independently, " OK " when the reply holds "OK".
void PrintMethodStatus(std::string_view reply, std::ostream& os = std::cout);

// Rewrites an exception message in place: blank lines collapse, every
// further line begins with "* ", and %XX escapes with a high digit 0..7
// become their character (%00 disappears).
void CleanUpMsg(std::string& message);
