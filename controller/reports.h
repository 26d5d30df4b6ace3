// The seven reports of the query commands. Each renders the provider's
// instances to text, cuts the values it prints out of that text, and writes
// fixed layouts between separator lines. `work` is the caller's scratch
// buffer. A key the rendering lacks throws std::out_of_range.
#pragma once

#include <exception>
#include <iostream>
#include <memory>
#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

#include "controller/report_fields.h"
#include "xml/envelope.h"

class InstanceXml;
class NamedInstancesXml;
class URL;

// What a list report writes: its title and heading, a record per instance,
// its closing line.
struct ListLayout;
extern const ListLayout kSystemInfoReport, kEventInfoReport, kDiskInfoReport, kVolumeInfoReport,
    kRaidSetInfoReport;

// Text written to it is kept in blocks until writeTo(): a long report is
// not copied each time it outgrows its room, as a string stream's would be.
class HeldText final : public std::streambuf {
public:
    void writeTo(std::ostream& os) const;

protected:
    int_type overflow(int_type c) override;

private:
    static constexpr size_t kBlockSize = 64 * 1024;
    std::vector<std::unique_ptr<char[]>> blocks;
};

// A list report fed one instance at a time, so it can take an enumeration's
// instances while the reply is read (a NamedInstanceSink) and none has to be
// kept. What it writes is held (HeldText) until print(). A failure
// to report an instance is held as well, and thrown by print() after the
// records before it: a reply that turns out to be broken further on shows
// its own error, and nothing of the report, as when the reply is read first.
// The held stream starts from the target's format state, and the target
// takes over the state the report leaves, as if written to directly.
class ListReport final : public NamedInstanceSink {
public:
    ListReport(const ListLayout& layout, std::string& work, std::ostream& target = std::cout);
    void take(NamedInstanceXml& item) override;
    // Writes the report to the target, at once.
    void print();

private:
    const ListLayout& layout;
    std::string& work;
    std::ostream& target;
    HeldText text;
    std::ostream held{&text};   // written out by print()
    size_t records = 0;
    std::exception_ptr failure;
};

// sys info, event info
void DisplaySystemInfo(std::string& work, NamedInstancesXml& instances, std::ostream& os = std::cout);
void DisplayEventInfo(std::string& work, NamedInstancesXml& instances, std::ostream& os = std::cout);

// disk info, disk inq
void DisplayDiskInfo(std::string& work, NamedInstancesXml& instances, std::ostream& os = std::cout);
void DisplayDiskInquiry(URL& path, std::string& work, InstanceXml& instance, std::ostream& os = std::cout);

// vsf info, vsf inq, rsf info
void DisplayVolumeInfo(std::string& work, NamedInstancesXml& instances, std::ostream& os = std::cout);
void DisplayVolumeInquiry(URL& path, std::string& work, InstanceXml& instance, std::ostream& os = std::cout);
void DisplayRAIDSetInfo(std::string& work, NamedInstancesXml& instances, std::ostream& os = std::cout);
