#include "cli/check.h"

#include <cstdio>
#include <exception>
#include <iostream>
#include <sstream>
#include <string_view>
#include <vector>

#include "cim/cimom.h"
#include "cim/wipe.h"
#include "cli/dispatch.h"
#include "cli/password.h"
#include "cli/password_file.h"
#include "xml/envelope.h"
#include "xml/errors.h"
#include "xml/render_flags.h"

namespace {

constexpr int kUnknown = static_cast<int>(Health::unknown);
// The summary names this many objects with problems at most.
constexpr size_t kSummaryProblems = 5;

// ------------------------------------------------------------ the command line

struct CheckOption {
    const char* word;
    std::string CommandLine::*text;    // -i, -u
    const char* CommandLine::*file;    // the certificate files
};

constexpr CheckOption kCheckOptions[] = {
    {"-i", &CommandLine::host, nullptr},
    {"-u", &CommandLine::user, nullptr},
    {"-cacert", nullptr, &CommandLine::caCert},
    {"-clientcert", nullptr, &CommandLine::clientCert},
    {"-clientkey", nullptr, &CommandLine::clientKey},
};

const CheckOption* FindOption(std::string_view word) {
    for (const CheckOption& option : kCheckOptions)
        if (word == option.word) return &option;
    return nullptr;
}

// The options a check takes, each with its value; the first occurrence of
// an option counts, as for every command. Throws CmdException.
void ScanCheckLine(int argc, char** argv, CommandLine& cmd) {
    std::vector<const CheckOption*> seen;
    for (int i = 1; i < argc && argv[i] != nullptr; ++i) {
        const CheckOption* option = FindOption(argv[i]);
        if (option == nullptr)
            throw CmdException(std::string("\"") + argv[i] + "\" is not taken with --check");
        if (i + 1 >= argc || argv[i + 1] == nullptr)
            throw CmdException(std::string(option->word) + " needs a value");
        char* value = argv[++i];
        bool first = true;
        for (const CheckOption* s : seen) first = first && s != option;
        if (!first) continue;
        seen.push_back(option);
        if (option->text)
            cmd.*(option->text) = value;
        else
            cmd.*(option->file) = value;
    }
    if (cmd.host.empty() || cmd.user.empty())
        throw CmdException("--check needs -i HOST[:PORT] and -u USER");
}

// ------------------------------------------------------------ failures

// A message without the "Http Exception: " (and the like) in front.
std::string Bare(const std::string& message) {
    const size_t colon = message.find(": ");
    if (colon == std::string::npos) return message;
    const std::string_view head(message.data(), colon);
    constexpr std::string_view tail = "Exception";
    if (head.size() >= tail.size() && head.substr(head.size() - tail.size()) == tail)
        return message.substr(colon + 2);
    return message;
}

std::string Seconds(double seconds) {
    std::ostringstream text;
    text << seconds;
    return text.str();
}

// The reason of the exception in flight, as the UNKNOWN line gives it.
std::string FailureReason(double timeLimit) {
    try {
        throw;
    } catch (const TimeoutException&) {
        return "timeout: no complete answer within " + Seconds(timeLimit) + " s";
    } catch (const HttpException& e) {
        if (e.httpStatus != 0) return "http " + std::to_string(e.httpStatus) + ": " + Bare(e.getMsg());
        return "http: " + Bare(e.getMsg());
    } catch (const ErrorXml& e) {
        return "cim " + e.code + ": " + e.description;
    } catch (const URLException& e) {
        return "url: " + Bare(e.getMsg());
    } catch (const ParseException& e) {
        return "parse: " + Bare(e.getMsg());
    } catch (const CmdException& e) {
        return "invocation: " + Bare(e.getMsg());
    } catch (const PasswordFileExhausted& e) {
        std::string message = e.getMsg();
        if (message.rfind("rbz: ", 0) == 0) message.erase(0, 5);
        return "password file: " + message;
    } catch (const NoReturnValue&) {
        return "parse: Nothing Returned";
    } catch (const EmptyValue&) {
        return "parse: The response carries no return value";
    } catch (const XmlException& e) {
        return "internal: " + Bare(e.getMsg());
    } catch (const DoesNotExist& e) {
        return "internal: " + e.getMsg();
    } catch (const std::exception& e) {
        return std::string("internal: ") + e.what();
    } catch (...) {
        return "internal: unknown failure";
    }
}

// ------------------------------------------------------------ the report

// "1 disk", "2 disks".
std::string Count(std::uint64_t count, const char* what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string Quoted(const std::string& name) { return "\"" + name + "\""; }

std::string Name(const RaidSetFacts& set) { return "raidset " + std::to_string(set.number) + " " + Quoted(set.name); }
std::string Name(const VolumeFacts& volume) {
    return "volume " + std::to_string(volume.number) + " " + Quoted(volume.name);
}
std::string Name(const DiskFacts& disk) { return "disk enc " + disk.enclosure + " slot " + disk.slot; }

std::string Percent(double ratio) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f%%", ratio * 100);
    return text;
}

// A label of the performance data: letters, digits and "_" only.
std::string Label(std::string text) {
    for (char& c : text) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        if (!plain) c = '_';
    }
    return text;
}
std::string DiskLabel(const char* what, const DiskFacts& disk) {
    return Label(std::string(what) + "_enc" + disk.enclosure + "_slot" + disk.slot);
}

std::string Joined(const std::vector<std::string>& parts, const char* separator) {
    std::string text;
    for (const std::string& part : parts) {
        if (!text.empty()) text += separator;
        text += part;
    }
    return text;
}

struct Problem {
    Health level;
    std::string text;   // the object's name and its findings
};

template <typename Facts>
void Collect(const std::vector<Facts>& objects, std::vector<Problem>& problems) {
    for (const Facts& object : objects)
        if (object.verdict.level != Health::ok)
            problems.push_back({object.verdict.level, Name(object) + " " + Joined(object.verdict.problems, ", ")});
}

// Every object whose verdict is not OK, the gravest first, otherwise in
// the order raid sets, volumes, drives.
std::vector<Problem> Problems(const HealthReading& reading) {
    std::vector<Problem> all;
    Collect(reading.raidSets, all);
    Collect(reading.volumes, all);
    Collect(reading.disks, all);
    std::vector<Problem> sorted;
    for (Health level : {Health::critical, Health::warning})
        for (const Problem& problem : all)
            if (problem.level == level) sorted.push_back(problem);
    return sorted;
}

std::string Summary(const HealthReading& reading, const std::vector<Problem>& problems) {
    if (problems.empty())
        return Count(reading.raidSets.size(), "raidset") + ", " + Count(reading.volumes.size(), "volume") + ", " +
               Count(reading.disks.size(), "disk");
    std::string text;
    for (size_t i = 0; i < problems.size() && i < kSummaryProblems; ++i) {
        if (i > 0) text += "; ";
        text += problems[i].text;
    }
    if (problems.size() > kSummaryProblems)
        text += "; and " + std::to_string(problems.size() - kSummaryProblems) + " more";
    return text;
}

std::string PerformanceData(const HealthReading& reading, const std::vector<Problem>& problems,
                            const Thresholds& thresholds) {
    size_t critical = 0;
    for (const Problem& problem : problems) critical += problem.level == Health::critical;
    std::string data = "raidsets=" + std::to_string(reading.raidSets.size()) +
                       " volumes=" + std::to_string(reading.volumes.size()) +
                       " disks=" + std::to_string(reading.disks.size()) +
                       " problems=" + std::to_string(problems.size()) + " critical=" + std::to_string(critical) +
                       " warning=" + std::to_string(problems.size() - critical);
    for (const VolumeFacts& volume : reading.volumes)
        if (volume.state == "Rebuilding" && volume.progress)
            data += " " + Label("rebuild_volume" + std::to_string(volume.number)) + "=" + Percent(*volume.progress) +
                    ";;;0;100";
    for (const DiskFacts& disk : reading.disks) {
        if (disk.temperatureCelsius)
            data += " " + DiskLabel("temp", disk) + "=" + std::to_string(*disk.temperatureCelsius) + ";" +
                    std::to_string(thresholds.warnTemperature) + ";" + std::to_string(thresholds.critTemperature);
        data += " " + DiskLabel("media_errors", disk) + "=" + std::to_string(disk.mediaErrors) + "c";
    }
    return data;
}

void PrintObjects(std::ostream& os, const HealthReading& reading) {
    for (const RaidSetFacts& set : reading.raidSets)
        os << Name(set) << ": " << set.state << ", " << Count(set.memberDisks, "disk") << ", "
           << Count(set.volumes, "volume") << '\n';
    for (const VolumeFacts& volume : reading.volumes) {
        os << Name(volume) << ": " << volume.state;
        if (volume.progress) os << ' ' << Percent(*volume.progress);
        os << ", RAID level " << volume.raidLevel;
        if (volume.raidSet) os << ", raidset " << *volume.raidSet;
        os << '\n';
    }
    for (const DiskFacts& disk : reading.disks) {
        os << Name(disk) << ": " << disk.state << ", " << disk.type << ' ' << disk.model;
        if (disk.temperatureCelsius) os << ", " << *disk.temperatureCelsius << " C";
        os << ", " << Count(disk.mediaErrors, "media error") << '\n';
    }
}

}  // namespace

HealthReading ReadHostHealth(Cimom& cimom, CommandLine& cmd) {
    cmd.primary = pricmd::sys;
    cmd.option = subcmd::sys_info;
    HealthReading reading;
    ServeTarget(cimom, cmd, [&cimom, &reading](URL& controller) {
        reading = ReadHealth(cimom, controller);
        return 0;
    });
    return reading;
}

void PrintCheck(std::ostream& os, const HealthReading& reading, Health health, const Thresholds& thresholds) {
    const std::vector<Problem> problems = Problems(reading);
    os << "RAID " << HealthName(health) << " - " << Summary(reading, problems) << " | "
       << PerformanceData(reading, problems, thresholds) << '\n';
    for (const Problem& problem : problems) os << HealthName(problem.level) << ": " << problem.text << '\n';
    PrintObjects(os, reading);
}

int PrintCheckUnknown(const std::string& reason) {
    std::cout << "RAID UNKNOWN - " << reason << '\n' << std::flush;
    return kUnknown;
}

int PrintCheckRefused(const std::string& message) {
    const bool passwordFile = message.rfind("--password-file ", 0) == 0;
    return PrintCheckUnknown((passwordFile ? "password file: " : "invocation: ") + message);
}

int RunCheck(int argc, char** argv, Cimom& cimom, const Thresholds& thresholds, double timeLimit) {
    quietOutput = 1;
    CommandLine cmd;
    WipeOnExit forgetPassword(cmd.password);
    try {
        ScanCheckLine(argc, argv, cmd);
        std::string typed = getmypasswd("Enter ESXi Server PassWord: ");
        WipeOnExit forgetTyped(typed);
        appendSecret(cmd.password, typed);
        HealthReading reading = ReadHostHealth(cimom, cmd);
        const Health health = Judge(reading, thresholds);
        std::ostringstream report;
        PrintCheck(report, reading, health, thresholds);
        std::cout << report.str() << std::flush;
        return static_cast<int>(health);
    } catch (...) {
        return PrintCheckUnknown(FailureReason(timeLimit));
    }
}
