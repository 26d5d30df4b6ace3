// The seven reports of the query commands. Each renders the provider's
// instances to text, cuts the values it prints out of that text, and writes
// fixed layouts between separator lines. `work` is the caller's scratch
// buffer. A key the rendering lacks throws std::out_of_range.
#pragma once

#include <iostream>
#include <string>

class InstanceXml;
class NamedInstancesXml;
class URL;

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
