#include "cli/usage.h"

#include <gtest/gtest.h>

#include <string>

#include "cli_test_support.h"
#include "tests/unit/param_names.h"

namespace {

// The texts as users have always seen them, misspellings included.
const char* const kGeneralUsage =
    "Description:\n"
    "Quilo CLI Utility for VMware ESXi:\n"
    "./rbz -i IP -u username sys|disk|rsf|vsf|event [option] [parameters]\n"
    "\tIP: the IP address on ESXi server\n"
    "\tusername: the name of a user for ESXi server\n"
    "\tsys: command for the RAID controller info\n"
    "\tdisk: command for disks info\n"
    "\tvsf: command for volumes info\n"
    "\trsf: command for RAIDSets info\n"
    "\tevent: command for RAID controllers events\n"
    "\toption: the option for the specific opeartion\n"
    "\tparameters: the parameters for the specific option of the sub-command\n";

const char* const kSysUsage =
    "./rbz: -i IP -u username sys [option] [parameters]\n"
    "\tIP: the IP address on ESXi server\n"
    "\tusername: the name of a user for ESXi server\n"
    "\tsys: the commands for info of the RAID controller\n"
    "For example: If IP address for the ESXi server is 192.168.0.38 and username on the ESXi server is root, \n"
    "\tSet Password: ./rbz -i 192.168.0.38 -u root sys chgpw\n"
    "\tUpdate Firmware: ./rbz -i 192.168.0.38 -u root sys updatefw /tmp/RQ7730FIRM.BIN\n"
    "\tSet the Beeper: ./rbz -i 192.168.0.38 -u root sys mutebeeper/beeperon/beeperoff\n"
    "\tSet NetMask: ./rbz -i 192.168.0.38 -u root sys netmask 255.255.255.0\n"
    "\tSet IP Address: ./rbz -i 192.168.0.38 -u root sys setip 192.168.0.38\n"
    "\tSet SMTP Port(7168..8191 Is Reserved): ./rbz -i 192.168.0.38 -u root sys smtpport 3000\n"
    "\tSet Gateway: ./rbz -i 192.168.0.38 -u root sys gateway 192.168.0.1\n"
    "\tSet Http Port(7168..8191 Is Reserved): ./rbz -i 192.168.0.38 -u root sys httpport 3000\n"
    "\tSet Telnet Port(7168..8191 Is Reserved): ./rbz -i 192.168.0.38 -u root sys telnetport 3000\n"
    "\tSet RAID/JBOD mode: ./rbz -i 192.168.0.38 -u root sys mode raid/jbod\n"
    "\tSet SAS Mux(RQ-5140 Only): ./rbz -i 192.168.0.38 -u root sys sasmux in/out/auto\n"
    "\tSet SES2 Support: ./rbz -i 192.168.0.38 -u root sys ses2support on/off\n"
    "\tSet Max Command Length: ./rbz -i 192.168.0.38 -u root sys maxcmdlen 148K/256K/512K/1M/2M/4M\n"
    "\tSet Disk Write Cache Mode: ./rbz -i 192.168.0.38 -u root sys diskcache on/off/auto\n"
    "\tSet HDD Read Ahead Cache: ./rbz -i 192.168.0.38 -u root sys hddreadahead on/off/off-MAXTOR\n"
    "\tSet Disk Capacity Truncation Modet: ./rbz -i 192.168.0.38 -u root sys truncation 10G/1G/off\n"
    "\tSet Auto Activate Incomplete RAIDs: ./rbz -i 192.168.0.38 -u root sys autoact on/off\n"
    "\tSet Controller Fan Detection: ./rbz -i 192.168.0.38 -u root sys cpufan on/off\n"
    "\tSet Empty HDD Slot LED: ./rbz -i 192.168.0.38 -u root sys hddled off/on\n"
    "\tSet Write Same Configuration: ./rbz -i 192.168.0.38 -u root sys writesame Dual/SAS/SATA/OFF\n"
    "\tSet Hot Plugged Disk For Rebuilding: ./rbz -i 192.168.0.38 -u root sys hpdforrebuilding off/on/blank\n"
    "\tSet VolumeSet Read-Ahead Configuration: ./rbz -i 192.168.0.38 -u root sys volreadahead off/nor/con/agg\n";

const char* const kEventUsage =
    "./rbz: -i IP -u username event [option] [parameters]\n"
    "\tIP: the IP address on ESXi server\n"
    "\tusername: the name of a user for ESXi server\n"
    "\tevent: the commands for events on the RAID controller\n"
    "For example: If IP address for the ESXi server is 192.168.0.38 and username on the ESXi server is root, \n"
    "\tPoll event: ./rbz -i 192.168.0.38 -u root event info\n"
    "\tclear event: ./rbz -i 192.168.0.38 -u root event clear\n";

const char* const kRsfUsage =
    "./rbz: -i IP -u username rsf [option] [parameters]\n"
    "\tIP: the IP address on ESXi server\n"
    "\tusername: the name of a user for ESXi server\n"
    "\trsf: the commands for RAIDSet on the RAID controller\n"
    "\tRAIDNo: RAIDSet number, which is greater than 0\n"
    "\tMemberDisks: the quantity of disks in the RAIDSet\n"
    "\tEnc: the enclosure number of disks in the RAIDSet\n"
    "\tDiskArray: the number for each disk in the RAIDSet\n"
    "For example: If IP address for the ESXi server is 192.168.0.38 and username on the ESXi server is root, \n"
    "\tInquire whole RAIDset's info: ./rbz -i 192.168.0.38 -u root rsf info\n"
    "\tDelete a RAIDSet: ./rbz -i 192.168.0.38 -u root rsf delete RAIDNo=1\n"
    "\tCreate a RAIDSet: ./rbz -i 192.168.0.38 -u root rsf create MemberDisks=3 Enc=2 Name=\"RAID#01\" DiskArray=14,15,16\n"
    "\tOffline a RAIDSet: ./rbz -i 192.168.0.38 -u root rsf offline RAIDNo=1\n";

const char* const kVsfUsage =
    "./rbz: -i IP -u username vsf [option] [parameters]\n"
    "\tIP: the IP address on ESXi server\n"
    "\tusername: the name of a user for ESXi server\n"
    "\tvsf: the command for volumes info\n"
    "\tid: SCSI id number, which is an integer\n"
    "\tlun: SCSI lun number, which is an integer\n"
    "\tRAIDNo: the number of RAID set where the volume set resides, which is greater than 1\n"
    "\tvol/num: the number of volume set, which is greater than 1\n"
    "\tstrp: volume stripe size(4|8|16|32|64|128|256|512|1024 KBytes)\n"
    "\tcache: cache(0(write through)|1(write back))\n"
    "\tfg: volume initialization mode\"(0(background initialization)|1(foreground initialization))\n"
    "\tgtt: greater two TB volume support(0(64BIT)|1(WIN))\n"
    "\tll: volume RAID level(0|1|3|5|6)\n"
    "\ttag: tagged command queuing(0(disable)|1(enable))\n"
    "For example: If IP address for the ESXi server is 192.168.0.38 and username on the ESXi server is root, \n"
    "\tInquire whole volumes' info: ./rbz -i 192.168.0.38 -u root vsf info\n"
    "\tInquire a specific volume: ./rbz -i 192.168.0.38 -u root vsf inq vol=1\n"
    "\tCreate a volume: ./rbz -i 192.168.0.38 -u root vsf create name=\"Vol#02\" id=0 lun=1 RAIDNo=1 strp=4 ll=0 cap=20 cache=1 fg=1 gtt=0 tag=1\n"
    "\tDelete a volume: ./rbz -i 192.168.0.38 -u root vsf delete num=2\n"
    "\tModify a volume: ./rbz -i 192.168.0.38 -u root vsf modify name=\"Vol#10\" id=0 lun=1 Num=1 strp=4 ll=0 cap=20 cache=1 tag=1\n";

const char* const kDiskUsage =
    "./rbz: -i IP -u username disk [option] [parameters]\n"
    "\tIP: the IP address on ESXi server\n"
    "\tusername: the name of a user for ESXi server\n"
    "\tdisk: the command for disks info\n"
    "\tcache: cache(0(write through)|1(write back))\n"
    "\ttag: tagged command queuing(0(disable)|1(enable))\n"
    "\tid: SCSI id number, which is an integer\n"
    "\tlun: SCSI lun number, which is an integer\n"
    "\tenc: number of enclosure which the disk stays\n"
    "\tslt: slot number of the enclosure which the disk is inserted\n"
    "For example: If IP address for the ESXi server is 192.168.0.38 and username on the ESXi server is root, \n"
    "\tInquire all disks controlled by HW RAID system: ./rbz -i 192.168.0.38 -u root disk info\n"
    "\tInquire a specific disk controlled by HW RAID system: ./rbz -i 192.168.0.38 -u root disk inq enc=2 slot=11\n"
    "\tDelete a pass-through disk controlled by HW RAID system: ./rbz -i 192.168.0.38 -u root disk dpt enc=2 slt=15\n"
    "\tCreate a pass-through disk: ./rbz -i 192.168.0.38 -u root disk cpt cache=1 tag=1 lun=0 id=1 enc=2 slt=14\n"
    "\tModify a pass-through disk: ./rbz -i 192.168.0.38 -u root disk mpt cache=1 tag=1 lun=0 id=1 enc=2 slt=14\n";

struct UsageCase {
    const char* name;
    void (*print)();
    const char* text;
};

const UsageCase kUsageCases[] = {
    {"General", GeneralUsage, kGeneralUsage}, {"Sys", SysUsage, kSysUsage},
    {"Event", EventUsage, kEventUsage},       {"Rsf", RsfUsage, kRsfUsage},
    {"Vsf", VsfUsage, kVsfUsage},             {"Disk", DiskUsage, kDiskUsage},
};

void PrintTo(const UsageCase& c, std::ostream* os) { *os << c.name; }

class Usage : public testing::TestWithParam<UsageCase> {};

TEST_P(Usage, PrintsItsTextOnStandardOutput) {
    const Captured c = Capture(GetParam().print);
    EXPECT_EQ(c.out, GetParam().text);
    EXPECT_EQ(c.err, "");
}

INSTANTIATE_TEST_SUITE_P(All, Usage, testing::ValuesIn(kUsageCases),
                         paramname::ByName());

}  // namespace
