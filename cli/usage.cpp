#include "cli/usage.h"

#include <cstddef>
#include <iostream>

namespace {

struct Example {
    const char* label;
    const char* command;
};

template <std::size_t N>
void PrintLines(std::ostream& os, const char* const (&lines)[N]) {
    for (const char* line : lines) os << line << '\n';
}

// The layout shared by the five command usages: synopsis, the connection
// lines, the command's own lines, then one example line per entry.
template <std::size_t L, std::size_t E>
void PrintCommandUsage(std::ostream& os, const char* word, const char* const (&lines)[L],
                       const Example (&examples)[E]) {
    os << "./rbz: -i IP -u username " << word << " [option] [parameters]" << '\n';
    os << "\tIP: the IP address on ESXi server" << '\n';
    os << "\tusername: the name of a user for ESXi server" << '\n';
    PrintLines(os, lines);
    os << "For example: If IP address for the ESXi server is 192.168.0.38 and username on "
                 "the ESXi server is root, "
              << '\n';
    for (const Example& example : examples) {
        os << '\t' << example.label << ": ./rbz -i 192.168.0.38 -u root " << example.command
                  << '\n';
    }
}

constexpr const char* kGeneralLines[] = {
    "Description:",
    "Quilo CLI Utility for VMware ESXi:",
    "./rbz -i IP -u username sys|disk|rsf|vsf|event [option] [parameters]",
    "\tIP: the IP address on ESXi server",
    "\tusername: the name of a user for ESXi server",
    "\tsys: command for the RAID controller info",
    "\tdisk: command for disks info",
    "\tvsf: command for volumes info",
    "\trsf: command for RAIDSets info",
    "\tevent: command for RAID controllers events",
    "\toption: the option for the specific opeartion",
    "\tparameters: the parameters for the specific option of the sub-command",
};

constexpr const char* kSysLines[] = {
    "\tsys: the commands for info of the RAID controller",
};
constexpr Example kSysExamples[] = {
    {"Set Password", "sys chgpw"},
    {"Update Firmware", "sys updatefw /tmp/RQ7730FIRM.BIN"},
    {"Set the Beeper", "sys mutebeeper/beeperon/beeperoff"},
    {"Set NetMask", "sys netmask 255.255.255.0"},
    {"Set IP Address", "sys setip 192.168.0.38"},
    {"Set SMTP Port(7168..8191 Is Reserved)", "sys smtpport 3000"},
    {"Set Gateway", "sys gateway 192.168.0.1"},
    {"Set Http Port(7168..8191 Is Reserved)", "sys httpport 3000"},
    {"Set Telnet Port(7168..8191 Is Reserved)", "sys telnetport 3000"},
    {"Set RAID/JBOD mode", "sys mode raid/jbod"},
    {"Set SAS Mux(RQ-5140 Only)", "sys sasmux in/out/auto"},
    {"Set SES2 Support", "sys ses2support on/off"},
    {"Set Max Command Length", "sys maxcmdlen 148K/256K/512K/1M/2M/4M"},
    {"Set Disk Write Cache Mode", "sys diskcache on/off/auto"},
    {"Set HDD Read Ahead Cache", "sys hddreadahead on/off/off-MAXTOR"},
    {"Set Disk Capacity Truncation Modet", "sys truncation 10G/1G/off"},
    {"Set Auto Activate Incomplete RAIDs", "sys autoact on/off"},
    {"Set Controller Fan Detection", "sys cpufan on/off"},
    {"Set Empty HDD Slot LED", "sys hddled off/on"},
    {"Set Write Same Configuration", "sys writesame Dual/SAS/SATA/OFF"},
    {"Set Hot Plugged Disk For Rebuilding", "sys hpdforrebuilding off/on/blank"},
    {"Set VolumeSet Read-Ahead Configuration", "sys volreadahead off/nor/con/agg"},
};

constexpr const char* kEventLines[] = {
    "\tevent: the commands for events on the RAID controller",
};
constexpr Example kEventExamples[] = {
    {"Poll event", "event info"},
    {"clear event", "event clear"},
};

constexpr const char* kRsfLines[] = {
    "\trsf: the commands for RAIDSet on the RAID controller",
    "\tRAIDNo: RAIDSet number, which is greater than 0",
    "\tMemberDisks: the quantity of disks in the RAIDSet",
    "\tEnc: the enclosure number of disks in the RAIDSet",
    "\tDiskArray: the number for each disk in the RAIDSet",
};
constexpr Example kRsfExamples[] = {
    {"Inquire whole RAIDset's info", "rsf info"},
    {"Delete a RAIDSet", "rsf delete RAIDNo=1"},
    {"Create a RAIDSet", "rsf create MemberDisks=3 Enc=2 Name=\"RAID#01\" DiskArray=14,15,16"},
    {"Offline a RAIDSet", "rsf offline RAIDNo=1"},
};

constexpr const char* kVsfLines[] = {
    "\tvsf: the command for volumes info",
    "\tid: SCSI id number, which is an integer",
    "\tlun: SCSI lun number, which is an integer",
    "\tRAIDNo: the number of RAID set where the volume set resides, which is greater than 1",
    "\tvol/num: the number of volume set, which is greater than 1",
    "\tstrp: volume stripe size(4|8|16|32|64|128|256|512|1024 KBytes)",
    "\tcache: cache(0(write through)|1(write back))",
    ("\tfg: volume initialization mode\"(0(background initialization)|1(foreground "
     "initialization))"),
    "\tgtt: greater two TB volume support(0(64BIT)|1(WIN))",
    "\tll: volume RAID level(0|1|3|5|6)",
    "\ttag: tagged command queuing(0(disable)|1(enable))",
};
constexpr Example kVsfExamples[] = {
    {"Inquire whole volumes' info", "vsf info"},
    {"Inquire a specific volume", "vsf inq vol=1"},
    {"Create a volume",
     "vsf create name=\"Vol#02\" id=0 lun=1 RAIDNo=1 strp=4 ll=0 cap=20 cache=1 fg=1 gtt=0 tag=1"},
    {"Delete a volume", "vsf delete num=2"},
    {"Modify a volume",
     "vsf modify name=\"Vol#10\" id=0 lun=1 Num=1 strp=4 ll=0 cap=20 cache=1 tag=1"},
};

constexpr const char* kDiskLines[] = {
    "\tdisk: the command for disks info",
    "\tcache: cache(0(write through)|1(write back))",
    "\ttag: tagged command queuing(0(disable)|1(enable))",
    "\tid: SCSI id number, which is an integer",
    "\tlun: SCSI lun number, which is an integer",
    "\tenc: number of enclosure which the disk stays",
    "\tslt: slot number of the enclosure which the disk is inserted",
};
constexpr Example kDiskExamples[] = {
    {"Inquire all disks controlled by HW RAID system", "disk info"},
    {"Inquire a specific disk controlled by HW RAID system", "disk inq enc=2 slot=11"},
    {"Delete a pass-through disk controlled by HW RAID system", "disk dpt enc=2 slt=15"},
    {"Create a pass-through disk", "disk cpt cache=1 tag=1 lun=0 id=1 enc=2 slt=14"},
    {"Modify a pass-through disk", "disk mpt cache=1 tag=1 lun=0 id=1 enc=2 slt=14"},
};

}  // namespace

void GeneralUsage(std::ostream& os) { PrintLines(os, kGeneralLines); }
void SysUsage(std::ostream& os) { PrintCommandUsage(os, "sys", kSysLines, kSysExamples); }
void EventUsage(std::ostream& os) { PrintCommandUsage(os, "event", kEventLines, kEventExamples); }
void RsfUsage(std::ostream& os) { PrintCommandUsage(os, "rsf", kRsfLines, kRsfExamples); }
void VsfUsage(std::ostream& os) { PrintCommandUsage(os, "vsf", kVsfLines, kVsfExamples); }
void DiskUsage(std::ostream& os) { PrintCommandUsage(os, "disk", kDiskLines, kDiskExamples); }
