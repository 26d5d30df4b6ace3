#include "controller/reports.h"

#include <iterator>
#include <string_view>

#include "cim/url.h"
#include "controller/globals.h"
#include "controller/report_fields.h"
#include "xml/model.h"

namespace {

constexpr std::string_view kCelsius = "\xE2\x84\x83";  // U+2103, in UTF-8

// ---------------------------------------------------------------- sys info

constexpr std::string_view kVendor[] = {
    "Quilo Technology Co., Ltd.",
    "7F, No. 128, Lantern Bridge Road, Alder Park, Quilo City 40577",
    "Support: support@quilo-tech.example",
    "Web: https://www.quilo-tech.example",
};

constexpr Field kSystemFields[] = {
    Line("-ModelName=", "Model Name:", 2, Cut::Text),
    Line("-SerialNumber=", "Serial Number:", 2, Cut::Text),
    Line("-FirmVersion=", "Firmware Version:", 1, Cut::Text),
    Line("-BootVersion=", "Boot Code Version:", 1, Cut::Text),
    Line("-CurrentIP=", "Current IP:", 2, Cut::Text),
    Line("-MAC=", "MAC Address:", 2, Cut::Text),
    Line("-DCacheSize=", "CPU DCache Size:", 1, Cut::Int32, Form::Value, "Bytes"),
    Line("-ICacheSize=", "CPU ICache Size:", 1, Cut::Int32, Form::Value, "Bytes"),
    Line("-MemorySpeed=", "Memory Speed:", 2, Cut::Int32, Form::Value, "MHz"),
    Line("-MemorySize=", "Memory Size:", 2, Cut::Int32, Form::Value, "MB"),
};

// -------------------------------------------------------------- event info

// The values stand under the wrong headings ("Device" over the description,
// "Elapsed Time" over Data1, nothing under "Errors"); the layout is kept.
constexpr Column kEventColumns[] = {
    {"No.", 9},         {"Date-Time", 33},    {"Event Type", 33},
    {"Device", 33},     {"Elapsed Time", 33}, {"Errors", 33},
};
constexpr Field kEventRow[] = {
    Cell({}, 9, Cut::UInt32, Form::Index),
    Cell("-Time=", 33, Cut::Text),
    Cell("-Type=", 33, Cut::Text),
    Cell("-Description=", 33, Cut::Text),
    Cell("-Data1=", 20, Cut::Text),
};

// --------------------------------------------------------------- disk info

constexpr Column kDiskColumns[] = {
    {"No.", 9},       {"Enclosure No.", 16}, {"Slot No.", 16},
    {"ModelName", 28}, {"Device Type", 16},  {"Usage", 16},
};
// Unavailable drives are left out; their numbers stay unused.
constexpr Field kDiskRow[] = {
    Guard("-Usage=", Cut::Text, "Unavailable"),
    Cell({}, 9, Cut::UInt64, Form::Index),
    Cell("-Enc=", 16, Cut::Text),
    Cell("-Slot=", 16, Cut::Text),
    Cell("-ModelName=", 28, Cut::Text),
    Cell("-DeviceType=", 16, Cut::Text),
    Cell("-Usage=", 16, Cut::Text, Form::UsageOr, "-RaidSetNumber="),
};

// ---------------------------------------------------------------- disk inq

constexpr Field kDiskAvailable[] = {
    Guard("-Usage=", Cut::Text, "Unavailable",
          "Cim: (6) CIM_ERR_NOT_FOUND: The requested object could not be found"),
};

// The drive's device identifier is its serial number. The usage test looks
// at the slot number here, not at the RAID set number as the table does.
constexpr Field kDiskCommon[] = {
    Guard("-DeviceID=", Cut::Text, "", "None"),
    Line("-DeviceID=", "Serial Number:", 4, Cut::Text),
    Line("-ModelName=", "Model Name:", 4, Cut::Text),
    Line("-NumberOfBlocks=", "Capacity:", 4, Cut::Bytes, Form::BytesBlank),
    Line("-EnclosureNumber=", "Enclosure No.:", 4, Cut::UInt64, Form::PlusOne),
    Line("-SlotNumber=", "Slot No.:", 4, Cut::UInt64, Form::PlusOne),
    Line("-Usage=", "Usage:", 5, Cut::Text, Form::UsageOr, {}, "-SlotNumber="),
    Line("-FirmwareRevision=", "Firmware Rev.:", 4, Cut::Text),
    Line("-MediaErrorCount=", "Media Error Count:", 3, Cut::UInt64),
    Line("-TimeOutCount=", "TimeOut Count:", 4, Cut::UInt64),
    Line("-DeviceType=", "Device Type:", 4, Cut::Text),
};

constexpr Field kSataSection[] = {
    Line("-DeviceTemperatureStatus=", "Device Temperature:", 3, Cut::UInt64, Form::Value, kCelsius),
    Line("-SMARTReadErrorRateStatus=", "SMART Read Error Rate:", 3, Cut::UInt64),
    Line("-SMARTSpinupTimeStatus=", "SMART Spin up Time:", 3, Cut::UInt64),
    Line("-SMARTReallocationCountStatus=", "SMART Reallocation Count:", 2, Cut::UInt64),
    Line("-SMARTSeekErrorRateStatus=", "SMART Seek Error Rate:", 3, Cut::UInt64),
    Line("-SMARTSpinupRetriesStatus=", "SMART Spin up Retries:", 3, Cut::UInt64),
    Line("-SMARTCalibrationRetriesStatus=", "SMART Calibration Retries:", 2, Cut::UInt64, Form::NaIf255),
    Line("-SSDReservedSpaceStatus=", "SSD Reserved Space:", 3, Cut::UInt64, Form::NaIf255),
    Line("-SSDWearingIndicatorStatus=", "SSD Wearing Indicator:", 3, Cut::UInt64, Form::NaIf255),
};

// From the first hexadecimal field on, the stream stays in hex mode.
constexpr Field kSasSection[] = {
    Line("-RotationSpeed=", "Rotation Speed:", 4, Cut::UInt64, Form::Value, "(RPM)"),
    Line("-DeviceTemperature=", "Device Temperature:", 3, Cut::UInt64, Form::Value, kCelsius),
    Line("-ReadErrorsRecoveredWODelay=", "Read Errors Recovered W/O Delay:", 1, Cut::UInt64, Form::Hex),
    Line("-ReadErrorsRecoveredWDelay=", "Read Errors Recovered W Delay:", 2, Cut::UInt64, Form::Hex),
    Line("-ReadErrorsRecoveredWRetry=", "Read Errors Recovered W Retry:", 2, Cut::UInt64, Form::Hex),
    Line("-ReadErrorsRecovered=", "Read Errors Recovered:", 3, Cut::UInt64, Form::Hex),
    Line("-ReadTotalBytes=", "Read Total Bytes:", 3, Cut::UInt64, Form::Hex),
    Line("-ReadErrorsUnrecovered=", "Read Errors Unrecovered:", 2, Cut::UInt64, Form::Hex),
    Line("-WriteErrorsRecoveredWODelay=", "Write Errors Recovered W/O Delay:", 1, Cut::UInt64, Form::Hex),
    Line("-WriteErrorsRecoveredWDelay=", "Write Errors Recovered W Delay:", 2, Cut::UInt64, Form::Hex),
    Line("-WriteErrorsRecoveredWRetry=", "Write Errors Recovered W Retry:", 2, Cut::UInt64, Form::Hex),
    Line("-WriteErrorsRecovered=", "Write Errors Recovered:", 3, Cut::UInt64, Form::Hex),
    Line("-WriteTotalBytes=", "Write Total Bytes:", 3, Cut::UInt64, Form::Hex),
    Line("-WriteErrorsUnrecovered=", "Write Errors Unrecovered:", 2, Cut::UInt64, Form::Hex),
    Line("-VerifyErrorsRecoveredWODelay=", "Verify Errors Recovered W/O Delay:", 1, Cut::UInt64, Form::Hex),
    Line("-VerifyErrorsRecoveredWDelay=", "Verify Errors Recovered W Delay:", 1, Cut::UInt64, Form::Hex),
    Line("-VerifyErrorsRecoveredWRetry=", "Verify Errors Recovered W Retry:", 1, Cut::UInt64, Form::Hex),
    Line("-VerifyErrorsRecovered=", "Verify Errors Recovered:", 2, Cut::UInt64, Form::Hex),
    Line("-VerifyErrorsUnrecovered=", "Verify Errors Unrecovered:", 2, Cut::UInt64, Form::Hex),
    Line("-Non-MediumErrors=", "Non-Medium Errors:", 3, Cut::UInt64, Form::Hex),
    Line("-DefectPListBlockCount=", "Defect PList Block Count:", 2, Cut::UInt64, Form::Hex),
    Line("-DefectGListBlockCount=", "Defect GList Block Count:", 2, Cut::UInt64, Form::Hex),
};

// Only these two device types have a section of their own.
struct Section {
    std::string_view deviceType;
    const Field* fields;
    size_t count;
};
constexpr Section kDiskSections[] = {
    {"SATA", kSataSection, std::size(kSataSection)},
    {"SAS", kSasSection, std::size(kSasSection)},
};

// ---------------------------------------------------------------- vsf info

constexpr Column kVolumeColumns[] = {
    {"No.", 9},          {"VolumeSet Name", 22}, {"RAID Level", 18},
    {"RaidSet No.", 19}, {"Member Disks", 26},   {"Capacity", 16},
};
constexpr Field kVolumeRow[] = {
    Cell("-VolumeNo=", 9, Cut::UInt32),
    Cell("-ElementName=", 22, Cut::Text),
    Cell("-RAIDLevel=", 18, Cut::UInt32),
    Cell("-RaidSetNumber=", 19, Cut::UInt32, Form::NaIf255ElsePlusOne),
    Cell("-MemberDisks=", 26, Cut::UInt32),
    Cell("-Capacity=", 8, Cut::Bytes, Form::BytesField),
};

// ----------------------------------------------------------------- vsf inq

constexpr Field kVolumeLines[] = {
    Line("-ElementName=", "Volume Set Name:", 1, Cut::Text),
    Line("-Capacity=", "Capacity:", 2, Cut::Bytes, Form::BytesField),
    Line("-StripeSize=", "Stripe Size:", 2, Cut::UInt32, Form::Value, "K"),
    Line("-RAIDLevel=", "RAIDLevel:", 2, Cut::UInt32),
    Line("-Channel=", "SCSI CH:", 2, Cut::UInt32),
    Line("-ID=", "SCSI ID:", 2, Cut::UInt32),
    Line("-Lun=", "SCSI Lun:", 2, Cut::UInt32),
    Line("-CacheMode=", "Cache Mode:", 2, Cut::Text),
    Line("-WriteProtect=", "Write Protect:", 2, Cut::Text),
    Line("-TaggedQueuing=", "Tagged Queuing:", 2, Cut::Text),
    Line("-VolumeState=", "Volume State:", 2, Cut::Text, Form::StateProgress, {}, "-Progress="),
};

// ---------------------------------------------------------------- rsf info

constexpr Column kRaidSetColumns[] = {
    {"No.", 9},  {"RAID Set", 20},       {"Volumes", 12},           {"Members", 12},
    {"Raid Set State", 25}, {"Capacity", 19}, {"Free Raw Capacity", 26},
};
// A set without members ends its row after the number, with no line end:
// the next set's number follows on the same line. Kept as it is.
constexpr Field kRaidSetRow[] = {
    Cell("-RaidSetNumber=", 9, Cut::UInt32, Form::PlusOne),
    Guard("-MemberDisks=", Cut::UInt32),
    Cell("-InstanceID=", 20, Cut::Text),
    Cell("-Volumes=", 12, Cut::UInt32),
    Cell("-MemberDisks=", 12, Cut::UInt32),
    Cell("-RAIDState=", 25, Cut::Text),
    Cell("-Capacity=", 15, Cut::Bytes, Form::BytesField),
    Cell("-FreeRawCapacity=", 25, Cut::Bytes, Form::BytesField),
};

// ----------------------------------------------------------------- walkers

void PrintTitle(std::ostream& os, std::string_view title) {
    os << dashline << '\n' << title << '\n' << dashline << '\n';
}

}  // namespace

// Sys info has no columns: the vendor's lines come before its title, and
// each instance is a block of labelled lines.
struct ListLayout {
    std::string_view title;
    const Column* columns;
    size_t columnCount;
    const Field* fields;
    size_t fieldCount;
};

const ListLayout kSystemInfoReport = {"RAID Controller Information:", nullptr, 0, kSystemFields,
                                      std::size(kSystemFields)};
const ListLayout kEventInfoReport = {"Event Log:", kEventColumns, std::size(kEventColumns), kEventRow,
                                     std::size(kEventRow)};
const ListLayout kDiskInfoReport = {"Disk(s) Information:", kDiskColumns, std::size(kDiskColumns), kDiskRow,
                                    std::size(kDiskRow)};
const ListLayout kVolumeInfoReport = {"Volume Set(s) Information:", kVolumeColumns, std::size(kVolumeColumns),
                                      kVolumeRow, std::size(kVolumeRow)};
const ListLayout kRaidSetInfoReport = {"RAID Set(s) Information:", kRaidSetColumns, std::size(kRaidSetColumns),
                                       kRaidSetRow, std::size(kRaidSetRow)};

// A new block is not filled with zeros: only what is written is touched.
HeldText::int_type HeldText::overflow(int_type c) {
    if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
    blocks.emplace_back(new char[kBlockSize]);
    char* const block = blocks.back().get();
    setp(block, block + kBlockSize);
    *pptr() = traits_type::to_char_type(c);
    pbump(1);
    return c;
}

void HeldText::writeTo(std::ostream& os) const {
    for (size_t i = 0; i < blocks.size(); ++i) {
        const char* const block = blocks[i].get();
        const size_t used = i + 1 < blocks.size() ? kBlockSize : static_cast<size_t>(pptr() - block);
        os.write(block, static_cast<std::streamsize>(used));
    }
}

ListReport::ListReport(const ListLayout& layout, std::string& work, std::ostream& target)
    : layout(layout), work(work), target(target) {
    held.copyfmt(target);
    ResetStream(held);
    if (layout.columns) {
        PrintTitle(held, layout.title);
        PrintHeading(held, layout.columns, layout.columnCount);
    } else {
        held << dashline << '\n';
        for (std::string_view line : kVendor) held << line << '\n';
        PrintTitle(held, layout.title);
    }
}

void ListReport::take(NamedInstanceXml& item) {
    if (failure) return;
    try {
        RenderNamedInstance(work, item);
        if (!layout.columns)
            PrintFields(held, work, layout.fields, layout.fieldCount, 0);
        else if (PrintFields(held, work, layout.fields, layout.fieldCount, records))
            held << '\n';
        ++records;
    } catch (...) {
        failure = std::current_exception();
    }
}

void ListReport::print() {
    if (!failure) held << dashline << '\n';
    text.writeTo(target);
    target.copyfmt(held);
    if (failure) std::rethrow_exception(failure);
}

namespace {

void PrintList(const ListLayout& layout, std::string& work, NamedInstancesXml& instances, std::ostream& os) {
    ListReport report(layout, work, os);
    for (NamedInstanceXml& item : instances.items) report.take(item);
    report.print();
}

}  // namespace

void DisplaySystemInfo(std::string& work, NamedInstancesXml& instances, std::ostream& os) {
    PrintList(kSystemInfoReport, work, instances, os);
}

void DisplayEventInfo(std::string& work, NamedInstancesXml& instances, std::ostream& os) {
    PrintList(kEventInfoReport, work, instances, os);
}

void DisplayDiskInfo(std::string& work, NamedInstancesXml& instances, std::ostream& os) {
    PrintList(kDiskInfoReport, work, instances, os);
}

void DisplayVolumeInfo(std::string& work, NamedInstancesXml& instances, std::ostream& os) {
    PrintList(kVolumeInfoReport, work, instances, os);
}

void DisplayRAIDSetInfo(std::string& work, NamedInstancesXml& instances, std::ostream& os) {
    PrintList(kRaidSetInfoReport, work, instances, os);
}

// No closing separator line after an inquiry.
void DisplayDiskInquiry(URL& path, std::string& work, InstanceXml& instance, std::ostream& os) {
    ResetStream(os);
    RenderInquiry(work, path, instance);
    if (!PrintFields(os, work, kDiskAvailable)) return;
    PrintTitle(os, "Disk Information:");
    if (!PrintFields(os, work, kDiskCommon)) return;
    const std::string_view type = CutString(work, "-DeviceType=");
    for (const Section& section : kDiskSections)
        if (type == section.deviceType) PrintFields(os, work, section.fields, section.count, 0);
}

void DisplayVolumeInquiry(URL& path, std::string& work, InstanceXml& instance, std::ostream& os) {
    ResetStream(os);
    RenderInquiry(work, path, instance);
    PrintTitle(os, " Volume Information:");
    PrintFields(os, work, kVolumeLines);
}
