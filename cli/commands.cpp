#include "cli/commands.h"

#include <cstddef>
#include <iostream>
#include <string_view>

#include "cim/wipe.h"
#include "cli/password.h"
#include "xml/render_flags.h"

namespace {

// The quick filters: all words of one parser run together. A word passes when
// it occurs anywhere in the text, so pieces of words pass too. subsnmp_list
// really reads "sport1" and "port2" twice: "port3" never passes.
constexpr const char* cmnd_list = "mainsetrsfvsfdisksysadsyshddpwrneteventhwmailsnmpntpexit";
constexpr const char* subset_list = "savecfg";
constexpr const char* subrsf_list = "createdeleteexpandactivatecreatehsdeletehsofflineinfo";
constexpr const char* subvsf_list =
    "createcreate5060deletemodifycheckstopcheckgenkeygenkey2lockdlkeyscheckinfoinq";
constexpr const char* subdsk_list = "mptfailidentifysmartsttestinfoinqcptdpt";
constexpr const char* subsys_list =
    "authbeeperonbeeperoffmutebeeperchgpwmodechangeptncqhddqdepthsasmuxses2supportmaxcmdlen"
    "diskcachehddreadaheadtruncationautoactcpufanhddledvolreadaheadwritesamehpdforrebuilding"
    "smartopsmartpiupdatefwshowcfgsavebinrestorebininfosetipnetmaskgatewaysmtpporttelnetport"
    "httpportSetWaTP";
constexpr const char* subadsys_list =
    "tlertimeoutretrycntbufthrereadaheadavstreamsoptavrecopthdeditreadmarginwritemargin"
    "readdiscardspecifichddspeedinfo";
constexpr const char* subhddpwr_list = "spowerontlowpwridletlowrpmmodespindowninfo";
constexpr const char* subnet_list = "dhcpipaddrhttpporttelnetportsmtpportgatewaynetmaskinfo";
constexpr const char* submail_list = "accountsendermailto1mailto2mailto3mailto4info";
constexpr const char* subevent_list = "infoclear";
constexpr const char* subhw_list = "info";
constexpr const char* subsnmp_list =
    "ipaddr1ipaddr2ipaddr3sport1port2port2communitycontactnamelocationevtlevelpathinfo";
constexpr const char* subntp_list = "ipaddr1ipaddr2timezonedaylightsavinginfo";

bool PassesFilter(std::string_view list, std::string_view word) {
    return list.find(word) != std::string_view::npos;
}

// What ParseArguments does with an option value.
enum class ArgKind : unsigned char {
    prefix,    // append the method prefix
    accepted,  // append nothing
    rejected,  // refuse the command line
};

struct OptionRow {
    const char* word;  // null: no word yields the value
    subcmd value;
    ArgKind kind;
    const char* prefix;
};

constexpr OptionRow P(const char* word, subcmd value, const char* prefix) {
    return {word, value, ArgKind::prefix, prefix};
}
constexpr OptionRow A(const char* word, subcmd value) {
    return {word, value, ArgKind::accepted, ""};
}
constexpr OptionRow R(const char* word, subcmd value) {
    return {word, value, ArgKind::rejected, ""};
}

// Every option of every primary command, block by block.
constexpr OptionRow kOptions[] = {
    R("savecfg", subcmd::set_savecfg),

    P("create", subcmd::rsf_create, "CreateRAIDSet."),
    P("delete", subcmd::rsf_delete, "DeleteRAIDSet."),
    P("expand", subcmd::rsf_expand, "ExpandRAIDSet."),
    P("activate", subcmd::rsf_activate, "ActivateRAIDSet."),
    R("createhs", subcmd::rsf_createhs),
    A("deletehs", subcmd::rsf_deletehs),
    P("offline", subcmd::rsf_offline, "OfflineRAIDSet."),
    A("info", subcmd::rsf_info),

    P("create", subcmd::vsf_create, "CreateVolume."),
    R("create5060", subcmd::vsf_create5060),
    P("delete", subcmd::vsf_delete, "DeleteVolume."),
    P("modify", subcmd::vsf_modify, "ModifyVolume."),
    R("check", subcmd::vsf_check),
    R("stopcheck", subcmd::vsf_stopcheck),
    R("genkey", subcmd::vsf_genkey),
    R("genkey2", subcmd::vsf_genkey2),
    R("lock", subcmd::vsf_lock),
    R("dlkey", subcmd::vsf_dlkey),
    R("scheck", subcmd::vsf_scheck),
    A("info", subcmd::vsf_info),
    A("inq", subcmd::vsf_inq),

    P("mpt", subcmd::disk_mpt, "ModifyPassThrough."),
    P("cpt", subcmd::disk_cpt, "CreatePassThrough."),
    P("dpt", subcmd::disk_dpt, "DeletePassThrough."),
    R("fail", subcmd::disk_fail),
    R("identify", subcmd::disk_identify),
    R("smart", subcmd::disk_smart),
    R("sttest", subcmd::disk_sttest),
    A("info", subcmd::disk_info),
    A("inq", subcmd::disk_inq),

    P("mutebeeper", subcmd::sys_mutebeeper, "MuteBeeperNow"),
    P("beeperon", subcmd::sys_beeperon, "SetBeeper.Enable=Y"),
    P("beeperoff", subcmd::sys_beeperoff, "SetBeeper.Enable=N"),
    P("chgpw", subcmd::sys_chgpw, "ChangePassword.password="),
    P("mode", subcmd::sys_mode, "SetMode.Mode="),
    R("changept", subcmd::sys_changept),
    P("ncq", subcmd::sys_ncq, "SetNCQ.NCQ="),
    P("hddqdepth", subcmd::sys_hddqdepth, "SetHDDQd.Depth="),
    P("sasmux", subcmd::sys_sasmux, "SetSASMux.Mode="),
    P("setip", subcmd::sys_setip, "SetEthernetAddr.IP="),
    P("netmask", subcmd::sys_netmask, "SetNetMask.Mask="),
    P("gateway", subcmd::sys_gateway, "SetGateway.Gateway="),
    P("smtpport", subcmd::sys_smtpport, "SetSMTPPort.Port="),
    P("telnetport", subcmd::sys_telnetport, "SetTelnetPort.Port="),
    P("httpport", subcmd::sys_httpport, "SetHttpPort.Port="),
    P("ses2support", subcmd::sys_ses2support, "SetSES2Support.Enable="),
    P("maxcmdlen", subcmd::sys_maxcmdlen, "SetMAXCMDLen.Length="),
    P("diskcache", subcmd::sys_diskcache, "SetDiskCache.Mode="),
    P("hddreadahead", subcmd::sys_hddreadahead, "SetHDDReadAhead.Mode="),
    P("truncation", subcmd::sys_truncation, "SetTruncation.Mode="),
    P("autoact", subcmd::sys_autoact, "SetAutoActivate.Mode="),
    P("cpufan", subcmd::sys_cpufan, "SetCPUFan.Mode="),
    P("hddled", subcmd::sys_hddled, "SetHDDLED.Mode="),
    P("volreadahead", subcmd::sys_volreadahead, "SetVolReadAhead.Level="),
    P("writesame", subcmd::sys_writesame, "SetWriteSame.Mode="),
    P("hpdforrebuilding", subcmd::sys_hpdforrebuilding, "SetHPDRebuilding.Mode="),
    A("smartop", subcmd::sys_smartop),
    A("smartpi", subcmd::sys_smartpi),
    P("updatefw", subcmd::sys_updatefw, "UpdateFW.Path="),
    A("showcfg", subcmd::sys_showcfg),
    A("savebin", subcmd::sys_savebin),
    A("restorebin", subcmd::sys_restorebin),
    A("info", subcmd::sys_info),
    A("auth", subcmd::sys_auth),
    P("SetWaTP", subcmd::sys_SetWaTP, "SetWaTP.Period="),

    R("tler", subcmd::adsys_tler),
    R("timeout", subcmd::adsys_timeout),
    R("retrycnt", subcmd::adsys_retrycnt),
    R("bufthre", subcmd::adsys_bufthre),
    R("readahead", subcmd::adsys_readahead),
    R("avstreams", subcmd::adsys_avstreams),
    R("optavrec", subcmd::adsys_optavrec),
    R("opthdedit", subcmd::adsys_opthdedit),
    R("readmargin", subcmd::adsys_readmargin),
    R("writemargin", subcmd::adsys_writemargin),
    R("readdiscard", subcmd::adsys_readdiscard),
    R("specifichddspeed", subcmd::adsys_specifichddspeed),
    A("info", subcmd::adsys_info),

    R("spoweron", subcmd::hddpwr_spoweron),
    R("tlowpwridle", subcmd::hddpwr_tlowpwridle),
    R("tlowrpmmode", subcmd::hddpwr_tlowrpmmode),
    R("spindown", subcmd::hddpwr_spindown),
    A("info", subcmd::hddpwr_info),

    R("dhcp", subcmd::net_dhcp),
    R("ipaddr", subcmd::net_ipaddr),
    R("httpport", subcmd::net_httpport),
    R("telnetport", subcmd::net_telnetport),
    R("smtpport", subcmd::net_smtpport),
    R("gateway", subcmd::net_gateway),
    R("netmask", subcmd::net_netmask),
    A("info", subcmd::net_info),

    A(nullptr, subcmd::mail_block),
    R("account", subcmd::mail_account),
    R("sender", subcmd::mail_sender),
    R("mailto1", subcmd::mail_mailto1),
    R("mailto2", subcmd::mail_mailto2),
    R("mailto3", subcmd::mail_mailto3),
    R("mailto4", subcmd::mail_mailto4),
    A("info", subcmd::mail_info),

    A("info", subcmd::event_info),
    P("clear", subcmd::event_clear, "ClearLog"),

    A("info", subcmd::hw_info),

    A("ipaddr1", subcmd::snmp_ipaddr1),
    A("ipaddr2", subcmd::snmp_ipaddr2),
    A("ipaddr3", subcmd::snmp_ipaddr3),
    R("port1", subcmd::snmp_port1),
    R("port2", subcmd::snmp_port2),
    R("port3", subcmd::snmp_port3),
    R("community", subcmd::snmp_community),
    R("contact", subcmd::snmp_contact),
    R("name", subcmd::snmp_name),
    R("location", subcmd::snmp_location),
    R("evtlevel", subcmd::snmp_evtlevel),
    R("path", subcmd::snmp_path),
    A("info", subcmd::snmp_info),

    R("ipaddr1", subcmd::ntp_ipaddr1),
    R("ipaddr2", subcmd::ntp_ipaddr2),
    R("timezone", subcmd::ntp_timezone),
    R("daylightsaving", subcmd::ntp_daylightsaving),
    R("info", subcmd::ntp_info),
};

constexpr int BlockOf(subcmd value) { return static_cast<int>(value) >> 8; }

const OptionRow* FindOptionByValue(subcmd value) {
    for (const OptionRow& row : kOptions) {
        if (row.value == value) return &row;
    }
    return nullptr;
}

const OptionRow* FindOptionByWord(int block, std::string_view word) {
    for (const OptionRow& row : kOptions) {
        if (BlockOf(row.value) == block && row.word != nullptr && word == row.word) return &row;
    }
    return nullptr;
}

// The shape shared by the thirteen option parsers. `anyWord`, when set,
// is taken for every word that passes the filter (the one-word parsers).
struct OptionParser {
    const char* list;
    int block;
    subcmd anyWord;
};

constexpr OptionParser kSetParser{subset_list, 1, subcmd::set_savecfg};
constexpr OptionParser kRsfParser{subrsf_list, 2, subcmd::none};
constexpr OptionParser kVsfParser{subvsf_list, 3, subcmd::none};
constexpr OptionParser kDiskParser{subdsk_list, 4, subcmd::none};
constexpr OptionParser kSysParser{subsys_list, 5, subcmd::none};
constexpr OptionParser kAdSysParser{subadsys_list, 6, subcmd::none};
constexpr OptionParser kHddPwrParser{subhddpwr_list, 7, subcmd::none};
constexpr OptionParser kNetParser{subnet_list, 8, subcmd::none};
constexpr OptionParser kMailParser{submail_list, 9, subcmd::none};
constexpr OptionParser kEventParser{subevent_list, 10, subcmd::none};
constexpr OptionParser kHwParser{subhw_list, 11, subcmd::hw_info};
constexpr OptionParser kSnmpParser{subsnmp_list, 12, subcmd::none};
constexpr OptionParser kNtpParser{subntp_list, 13, subcmd::none};

bool ParseOption(const OptionParser& parser, char** words, subcmd* option,
                 std::string& parameters) {
    if (words[0] == nullptr) return false;  // the primary command was the last word
    const std::string_view word = words[0];
    if (!PassesFilter(parser.list, word)) return false;
    if (parser.anyWord != subcmd::none) {
        *option = parser.anyWord;
    } else if (const OptionRow* row = FindOptionByWord(parser.block, word)) {
        *option = row->value;
    }  // else: a piece of a word; the option keeps its value
    return ParseArguments(words + 1, option, parameters);
}

using OptionParserFn = bool (*)(char**, subcmd*, std::string&);

struct PrimaryRow {
    const char* word;
    pricmd value;
    OptionParserFn parse;  // null: recognised, never accepted
};

constexpr PrimaryRow kPrimaries[] = {
    {"main", pricmd::main, nullptr},
    {"set", pricmd::set, ParseSetCommands},
    {"rsf", pricmd::rsf, ParseRSFCommands},
    {"vsf", pricmd::vsf, ParseVSFCommands},
    {"disk", pricmd::disk, ParseDiskCommands},
    {"sys", pricmd::sys, ParseSySCommands},
    {"adsys", pricmd::adsys, ParseAdSysCommands},
    {"hddpwr", pricmd::hddpwr, ParseHDDPWRCommands},
    {"net", pricmd::net, ParseNetCommands},
    {"event", pricmd::event, ParseEventCommands},
    {"hw", pricmd::hw, ParseHWCommands},
    {"mail", pricmd::mail, ParseMailCommands},
    {"snmp", pricmd::snmp, ParseSNMPCommands},
    {"ntp", pricmd::ntp, ParseNTPCommands},
    {"exit", pricmd::exit, nullptr},
};

// Both prompts are always shown; only equal entries are taken.
bool ReadNewControllerPassword(std::string& parameters) {
    std::string first = getmypasswd("Enter NEW RAID Controller's PassWord:");
    WipeOnExit forgetFirst(first);
    std::string second = getmypasswd("Enter NEW RAID Controller's PassWord AGAIN:");
    WipeOnExit forgetSecond(second);
    if (first != second) return false;
    appendSecret(parameters, first);
    return true;
}

}  // namespace

bool ParseCommands(char** words, pricmd* primary, subcmd* option, std::string& parameters) {
    if (words == nullptr || words[0] == nullptr) return false;
    const std::string_view word = words[0];
    if (!PassesFilter(cmnd_list, word)) return false;
    for (const PrimaryRow& row : kPrimaries) {
        if (word == row.word) {
            *primary = row.value;
            return row.parse != nullptr && row.parse(words + 1, option, parameters);
        }
    }
    return false;
}

bool ParseSetCommands(char** words, subcmd* option, std::string& parameters) {
    return ParseOption(kSetParser, words, option, parameters);
}
bool ParseRSFCommands(char** words, subcmd* option, std::string& parameters) {
    return ParseOption(kRsfParser, words, option, parameters);
}
bool ParseVSFCommands(char** words, subcmd* option, std::string& parameters) {
    return ParseOption(kVsfParser, words, option, parameters);
}
bool ParseDiskCommands(char** words, subcmd* option, std::string& parameters) {
    return ParseOption(kDiskParser, words, option, parameters);
}
bool ParseSySCommands(char** words, subcmd* option, std::string& parameters) {
    return ParseOption(kSysParser, words, option, parameters);
}
bool ParseAdSysCommands(char** words, subcmd* option, std::string& parameters) {
    return ParseOption(kAdSysParser, words, option, parameters);
}
bool ParseHDDPWRCommands(char** words, subcmd* option, std::string& parameters) {
    return ParseOption(kHddPwrParser, words, option, parameters);
}
bool ParseNetCommands(char** words, subcmd* option, std::string& parameters) {
    return ParseOption(kNetParser, words, option, parameters);
}
bool ParseEventCommands(char** words, subcmd* option, std::string& parameters) {
    return ParseOption(kEventParser, words, option, parameters);
}
bool ParseHWCommands(char** words, subcmd* option, std::string& parameters) {
    return ParseOption(kHwParser, words, option, parameters);
}
bool ParseMailCommands(char** words, subcmd* option, std::string& parameters) {
    return ParseOption(kMailParser, words, option, parameters);
}
bool ParseSNMPCommands(char** words, subcmd* option, std::string& parameters) {
    return ParseOption(kSnmpParser, words, option, parameters);
}
bool ParseNTPCommands(char** words, subcmd* option, std::string& parameters) {
    return ParseOption(kNtpParser, words, option, parameters);
}

bool ParseArguments(char** words, subcmd* option, std::string& parameters) {
    bool result = true;
    const OptionRow* row = FindOptionByValue(*option);
    if (row == nullptr || row->kind == ArgKind::rejected) {
        result = false;
    } else if (row->kind == ArgKind::prefix) {
        parameters += row->prefix;
    }
    if (*option == subcmd::sys_chgpw && !ReadNewControllerPassword(parameters)) result = false;

    if (!quietOutput) std::cout << '\r';

    // The text may hold a new password already: it grows without leaving
    // copies behind.
    for (std::size_t i = 0; words != nullptr && words[i] != nullptr; ++i) {
        if (i > 0) appendSecret(parameters, ",");
        appendSecret(parameters, words[i]);
    }
    return result;
}
