// rbz --check: the controller's health as a monitoring plugin reports it
// (Nagios, Icinga, Naemon and the like): one line
//     RAID <STATE> - <summary> | <performance data>
// then detail lines, and the exit status 0 OK, 1 WARNING, 2 CRITICAL,
// 3 UNKNOWN. Anything that keeps the controller from being read is UNKNOWN
// with its reason; nothing is written on standard error.
#pragma once

#include <ostream>
#include <string>

#include "cli/serve.h"
#include "controller/health.h"

class Cimom;

// The network time a check may take when --timeout does not say.
constexpr double kCheckTimeLimit = 30;

// The served-command preparation (certificate files, the controller's path
// with the credentials, the wait period "Period=2" sent first), then
// ReadHealth over the same connection. `cmd` needs host, user, password and
// the certificate files; its command fields are set here. Failures travel as
// exceptions (the XmlException family).
HealthReading ReadHostHealth(Cimom& cimom, CommandLine& cmd);

// Runs a check from the argument vector without its long options: only
// -i HOST[:PORT], -u USER, -cacert, -clientcert and -clientkey are taken.
// `timeLimit` is the network time the transport was given, for the reason
// of a timeout. Returns the exit status.
int RunCheck(int argc, char** argv, Cimom& cimom, const Thresholds& thresholds, double timeLimit);

// The plugin output of a judged reading; `health` is what Judge returned.
void PrintCheck(std::ostream& os, const HealthReading& reading, Health health, const Thresholds& thresholds);

// "RAID UNKNOWN - <reason>" on standard output; returns 3.
int PrintCheckUnknown(const std::string& reason);

// The same for a line whose long options were refused (LongOptionError):
// "password file: ..." for a password file that cannot be used,
// "invocation: ..." for the rest.
int PrintCheckRefused(const std::string& message);
