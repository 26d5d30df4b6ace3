#include "cli/commands.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cli_test_support.h"
#include "tests/unit/param_names.h"

namespace {

enum Outcome { kPrefix, kAccepted, kRejected };

// The option table as the provider's vocabulary defines it: block, word
// (null where no word yields the value), value, what ParseArguments does and
// the method prefix.
struct OptionCase {
    const char* block;
    const char* word;
    int value;
    Outcome outcome;
    const char* prefix;
};

const OptionCase kOptionCases[] = {
    {"set", "savecfg", 256, kRejected, ""},
    {"rsf", "create", 512, kPrefix, "CreateRAIDSet."},
    {"rsf", "delete", 513, kPrefix, "DeleteRAIDSet."},
    {"rsf", "expand", 514, kPrefix, "ExpandRAIDSet."},
    {"rsf", "activate", 515, kPrefix, "ActivateRAIDSet."},
    {"rsf", "createhs", 516, kRejected, ""},
    {"rsf", "deletehs", 517, kAccepted, ""},
    {"rsf", "offline", 518, kPrefix, "OfflineRAIDSet."},
    {"rsf", "info", 519, kAccepted, ""},
    {"vsf", "create", 768, kPrefix, "CreateVolume."},
    {"vsf", "create5060", 769, kRejected, ""},
    {"vsf", "delete", 770, kPrefix, "DeleteVolume."},
    {"vsf", "modify", 771, kPrefix, "ModifyVolume."},
    {"vsf", "check", 772, kRejected, ""},
    {"vsf", "stopcheck", 773, kRejected, ""},
    {"vsf", "genkey", 774, kRejected, ""},
    {"vsf", "genkey2", 775, kRejected, ""},
    {"vsf", "lock", 776, kRejected, ""},
    {"vsf", "dlkey", 777, kRejected, ""},
    {"vsf", "scheck", 778, kRejected, ""},
    {"vsf", "info", 779, kAccepted, ""},
    {"vsf", "inq", 780, kAccepted, ""},
    {"disk", "mpt", 1024, kPrefix, "ModifyPassThrough."},
    {"disk", "cpt", 1025, kPrefix, "CreatePassThrough."},
    {"disk", "dpt", 1026, kPrefix, "DeletePassThrough."},
    {"disk", "fail", 1027, kRejected, ""},
    {"disk", "identify", 1028, kRejected, ""},
    {"disk", "smart", 1029, kRejected, ""},
    {"disk", "sttest", 1030, kRejected, ""},
    {"disk", "info", 1031, kAccepted, ""},
    {"disk", "inq", 1032, kAccepted, ""},
    {"sys", "mutebeeper", 1280, kPrefix, "MuteBeeperNow"},
    {"sys", "beeperon", 1281, kPrefix, "SetBeeper.Enable=Y"},
    {"sys", "beeperoff", 1282, kPrefix, "SetBeeper.Enable=N"},
    {"sys", "chgpw", 1283, kPrefix, "ChangePassword.password="},
    {"sys", "mode", 1284, kPrefix, "SetMode.Mode="},
    {"sys", "changept", 1285, kRejected, ""},
    {"sys", "ncq", 1286, kPrefix, "SetNCQ.NCQ="},
    {"sys", "hddqdepth", 1287, kPrefix, "SetHDDQd.Depth="},
    {"sys", "sasmux", 1288, kPrefix, "SetSASMux.Mode="},
    {"sys", "setip", 1289, kPrefix, "SetEthernetAddr.IP="},
    {"sys", "netmask", 1290, kPrefix, "SetNetMask.Mask="},
    {"sys", "gateway", 1291, kPrefix, "SetGateway.Gateway="},
    {"sys", "smtpport", 1292, kPrefix, "SetSMTPPort.Port="},
    {"sys", "telnetport", 1293, kPrefix, "SetTelnetPort.Port="},
    {"sys", "httpport", 1294, kPrefix, "SetHttpPort.Port="},
    {"sys", "ses2support", 1295, kPrefix, "SetSES2Support.Enable="},
    {"sys", "maxcmdlen", 1296, kPrefix, "SetMAXCMDLen.Length="},
    {"sys", "diskcache", 1297, kPrefix, "SetDiskCache.Mode="},
    {"sys", "hddreadahead", 1298, kPrefix, "SetHDDReadAhead.Mode="},
    {"sys", "truncation", 1299, kPrefix, "SetTruncation.Mode="},
    {"sys", "autoact", 1300, kPrefix, "SetAutoActivate.Mode="},
    {"sys", "cpufan", 1301, kPrefix, "SetCPUFan.Mode="},
    {"sys", "hddled", 1302, kPrefix, "SetHDDLED.Mode="},
    {"sys", "volreadahead", 1303, kPrefix, "SetVolReadAhead.Level="},
    {"sys", "writesame", 1304, kPrefix, "SetWriteSame.Mode="},
    {"sys", "hpdforrebuilding", 1305, kPrefix, "SetHPDRebuilding.Mode="},
    {"sys", "smartop", 1306, kAccepted, ""},
    {"sys", "smartpi", 1307, kAccepted, ""},
    {"sys", "updatefw", 1308, kPrefix, "UpdateFW.Path="},
    {"sys", "showcfg", 1309, kAccepted, ""},
    {"sys", "savebin", 1310, kAccepted, ""},
    {"sys", "restorebin", 1311, kAccepted, ""},
    {"sys", "info", 1312, kAccepted, ""},
    {"sys", "auth", 1313, kAccepted, ""},
    {"sys", "SetWaTP", 1314, kPrefix, "SetWaTP.Period="},
    {"adsys", "tler", 1536, kRejected, ""},
    {"adsys", "timeout", 1537, kRejected, ""},
    {"adsys", "retrycnt", 1538, kRejected, ""},
    {"adsys", "bufthre", 1539, kRejected, ""},
    {"adsys", "readahead", 1540, kRejected, ""},
    {"adsys", "avstreams", 1541, kRejected, ""},
    {"adsys", "optavrec", 1542, kRejected, ""},
    {"adsys", "opthdedit", 1543, kRejected, ""},
    {"adsys", "readmargin", 1544, kRejected, ""},
    {"adsys", "writemargin", 1545, kRejected, ""},
    {"adsys", "readdiscard", 1546, kRejected, ""},
    {"adsys", "specifichddspeed", 1547, kRejected, ""},
    {"adsys", "info", 1548, kAccepted, ""},
    {"hddpwr", "spoweron", 1792, kRejected, ""},
    {"hddpwr", "tlowpwridle", 1793, kRejected, ""},
    {"hddpwr", "tlowrpmmode", 1794, kRejected, ""},
    {"hddpwr", "spindown", 1795, kRejected, ""},
    {"hddpwr", "info", 1796, kAccepted, ""},
    {"net", "dhcp", 2048, kRejected, ""},
    {"net", "ipaddr", 2049, kRejected, ""},
    {"net", "httpport", 2050, kRejected, ""},
    {"net", "telnetport", 2051, kRejected, ""},
    {"net", "smtpport", 2052, kRejected, ""},
    {"net", "gateway", 2053, kRejected, ""},
    {"net", "netmask", 2054, kRejected, ""},
    {"net", "info", 2055, kAccepted, ""},
    {"mail", nullptr, 2304, kAccepted, ""},
    {"mail", "account", 2305, kRejected, ""},
    {"mail", "sender", 2306, kRejected, ""},
    {"mail", "mailto1", 2307, kRejected, ""},
    {"mail", "mailto2", 2308, kRejected, ""},
    {"mail", "mailto3", 2309, kRejected, ""},
    {"mail", "mailto4", 2310, kRejected, ""},
    {"mail", "info", 2311, kAccepted, ""},
    {"event", "info", 2560, kAccepted, ""},
    {"event", "clear", 2561, kPrefix, "ClearLog"},
    {"hw", "info", 2816, kAccepted, ""},
    {"snmp", "ipaddr1", 3072, kAccepted, ""},
    {"snmp", "ipaddr2", 3073, kAccepted, ""},
    {"snmp", "ipaddr3", 3074, kAccepted, ""},
    {"snmp", "port1", 3075, kRejected, ""},
    {"snmp", "port2", 3076, kRejected, ""},
    {"snmp", "port3", 3077, kRejected, ""},
    {"snmp", "community", 3078, kRejected, ""},
    {"snmp", "contact", 3079, kRejected, ""},
    {"snmp", "name", 3080, kRejected, ""},
    {"snmp", "location", 3081, kRejected, ""},
    {"snmp", "evtlevel", 3082, kRejected, ""},
    {"snmp", "path", 3083, kRejected, ""},
    {"snmp", "info", 3084, kAccepted, ""},
    {"ntp", "ipaddr1", 3328, kRejected, ""},
    {"ntp", "ipaddr2", 3329, kRejected, ""},
    {"ntp", "timezone", 3330, kRejected, ""},
    {"ntp", "daylightsaving", 3331, kRejected, ""},
    {"ntp", "info", 3332, kRejected, ""},
};

struct PrimaryCase {
    const char* word;
    pricmd value;
};

const PrimaryCase kPrimaryCases[] = {
    {"main", pricmd::main}, {"set", pricmd::set},       {"rsf", pricmd::rsf},
    {"vsf", pricmd::vsf},   {"disk", pricmd::disk},     {"sys", pricmd::sys},
    {"adsys", pricmd::adsys}, {"hddpwr", pricmd::hddpwr}, {"net", pricmd::net},
    {"event", pricmd::event}, {"hw", pricmd::hw},       {"mail", pricmd::mail},
    {"snmp", pricmd::snmp}, {"ntp", pricmd::ntp},       {"exit", pricmd::exit},
};

pricmd PrimaryOf(const std::string& word) {
    for (const PrimaryCase& p : kPrimaryCases) {
        if (word == p.word) return p.value;
    }
    ADD_FAILURE() << "no primary command " << word;
    return pricmd::main;
}

struct ParseResult {
    bool accepted;
    pricmd primary;
    int option;
    std::string parameters;
    std::string out;
};

// ParseCommands from the first word, with standard input `typed`.
ParseResult ParseLine(const std::vector<std::string>& words, const std::string& typed = "",
                      subcmd option = subcmd::none, pricmd primary = pricmd::main) {
    Argv argv(words);
    StdinFrom input(typed);
    ParseResult r{};
    r.primary = primary;
    const Captured c = Capture([&] {
        r.accepted = ParseCommands(argv.get(), &r.primary, &option, r.parameters);
    });
    r.option = static_cast<int>(option);
    r.out = c.out;
    return r;
}

void PrintTo(const OptionCase& c, std::ostream* os) {
    *os << c.block << ' ' << (c.word != nullptr ? c.word : "(no word)") << ' ' << c.value;
}

std::string CaseName(const OptionCase& c) {
    return std::string(c.block) + "_" + (c.word != nullptr ? c.word : "noword") + "_" + std::to_string(c.value);
}

class OptionTable : public testing::TestWithParam<OptionCase> {};

// New password typed twice for "sys chgpw"; other options read nothing.
constexpr const char* kNewPassword = "n3w";

TEST_P(OptionTable, ParseArgumentsAppliesTheValue) {
    const OptionCase& c = GetParam();
    const bool chgpw = c.value == 1283;
    Argv words({"Enc=2", "DiskArray=14,15,16"});
    StdinFrom input(chgpw ? "n3w\nn3w\n" : "");
    subcmd option = static_cast<subcmd>(c.value);
    std::string parameters;
    bool accepted = false;
    const Captured out = Capture([&] { accepted = ParseArguments(words.get(), &option, parameters); });

    EXPECT_EQ(accepted, c.outcome != kRejected);
    EXPECT_EQ(static_cast<int>(option), c.value);
    std::string expected = c.prefix;
    if (chgpw) expected += kNewPassword;
    EXPECT_EQ(parameters, expected + "Enc=2,DiskArray=14,15,16");
    EXPECT_EQ(out.out, "\r");
    EXPECT_EQ(StdinFrom::Rest(), "");
}

class OptionWords : public testing::TestWithParam<OptionCase> {};

TEST_P(OptionWords, ReachTheValue) {
    const OptionCase& c = GetParam();
    const bool chgpw = c.value == 1283;
    const ParseResult r =
        ParseLine({c.block, c.word, "vol=1", "x"}, chgpw ? "n3w\nn3w\n" : "");

    EXPECT_EQ(r.primary, PrimaryOf(c.block));
    // "port3" is missing from the snmp word list and never gets past it.
    if (std::string(c.block) == "snmp" && std::string(c.word) == "port3") {
        EXPECT_FALSE(r.accepted);
        EXPECT_EQ(r.option, 0);
        EXPECT_EQ(r.parameters, "");
        EXPECT_EQ(r.out, "");
        return;
    }
    EXPECT_EQ(r.accepted, c.outcome != kRejected);
    EXPECT_EQ(r.option, c.value);
    EXPECT_EQ(r.parameters, std::string(c.prefix) + (chgpw ? kNewPassword : "") + "vol=1,x");
    EXPECT_EQ(r.out, "\r");
}

std::vector<OptionCase> RowsWithAWord() {
    std::vector<OptionCase> rows;
    for (const OptionCase& c : kOptionCases) {
        if (c.word != nullptr) rows.push_back(c);
    }
    return rows;
}

INSTANTIATE_TEST_SUITE_P(EveryOption, OptionTable, testing::ValuesIn(kOptionCases), paramname::Numbered(CaseName));
INSTANTIATE_TEST_SUITE_P(EveryWord, OptionWords, testing::ValuesIn(RowsWithAWord()), paramname::Numbered(CaseName));

TEST(OptionTableSize, HasEveryOptionOnce) {
    // A value missing from the parser's table would be rejected like an
    // unknown one; values outside the table must be.
    for (int value : {0, 1, 255, 257, 520, 781, 1033, 1315, 1549, 1797, 2056, 2312, 2562, 2817,
                      3085, 3333, 3584, -1}) {
        SCOPED_TRACE(value);
        subcmd option = static_cast<subcmd>(value);
        std::string parameters;
        Argv words({"a"});
        bool accepted = true;
        const Captured out = Capture([&] { accepted = ParseArguments(words.get(), &option, parameters); });
        EXPECT_FALSE(accepted);
        EXPECT_EQ(parameters, "a");
        EXPECT_EQ(out.out, "\r");
    }
}

struct LineCase {
    const char* name;
    std::vector<std::string> words;
    bool accepted;
    pricmd primary;
    int option;
    const char* parameters;
};

void PrintTo(const LineCase& c, std::ostream* os) { *os << c.name; }

class Lines : public testing::TestWithParam<LineCase> {};

TEST_P(Lines, Parse) {
    const LineCase& c = GetParam();
    const ParseResult r = ParseLine(c.words);
    EXPECT_EQ(r.accepted, c.accepted);
    EXPECT_EQ(r.primary, c.primary);
    EXPECT_EQ(r.option, c.option);
    EXPECT_EQ(r.parameters, c.parameters);
}

const LineCase kLineCases[] = {
    {"setip", {"sys", "setip", "192.168.0.38"}, true, pricmd::sys, 1289,
     "SetEthernetAddr.IP=192.168.0.38"},
    {"rsf_create_commas",
     {"rsf", "create", "MemberDisks=3", "Enc=2", "Name=RAID#01", "DiskArray=14,15,16"}, true,
     pricmd::rsf, 512, "CreateRAIDSet.MemberDisks=3,Enc=2,Name=RAID#01,DiskArray=14,15,16"},
    {"mutebeeper", {"sys", "mutebeeper"}, true, pricmd::sys, 1280, "MuteBeeperNow"},
    {"showcfg", {"sys", "showcfg"}, true, pricmd::sys, 1309, ""},
    {"vsf_inq", {"vsf", "inq", "vol=1"}, true, pricmd::vsf, 780, "vol=1"},
    {"vsf_delete", {"vsf", "delete", "num=2"}, true, pricmd::vsf, 770, "DeleteVolume.num=2"},
    {"event_clear", {"event", "clear"}, true, pricmd::event, 2561, "ClearLog"},
    {"deletehs_no_prefix", {"rsf", "deletehs", "RAIDNo=1"}, true, pricmd::rsf, 517, "RAIDNo=1"},
    {"createhs_refused", {"rsf", "createhs"}, false, pricmd::rsf, 516, ""},
    {"snmp_port1_refused", {"snmp", "port1", "1"}, false, pricmd::snmp, 3075, "1"},
    {"snmp_port3_filtered", {"snmp", "port3", "1"}, false, pricmd::snmp, 0, ""},
    // One-word lists take whatever passes the filter.
    {"set_piece", {"set", "save"}, false, pricmd::set, 256, ""},
    {"hw_piece", {"hw", "nf"}, true, pricmd::hw, 2816, ""},
    {"hw_empty_word", {"hw", ""}, true, pricmd::hw, 2816, ""},
    // A piece of the list sets no option.
    {"vsf_piece", {"vsf", "inf"}, false, pricmd::vsf, 0, ""},
    {"disk_dpt", {"disk", "dpt", "enc=2"}, true, pricmd::disk, 1026, "DeletePassThrough.enc=2"},
    {"sys_word_case", {"sys", "setwatp", "2"}, false, pricmd::sys, 0, ""},
    {"sys_SetWaTP", {"sys", "SetWaTP", "2"}, true, pricmd::sys, 1314, "SetWaTP.Period=2"},
    {"mail_empty_word", {"mail", ""}, false, pricmd::mail, 0, ""},
    {"ntp_info_refused", {"ntp", "info"}, false, pricmd::ntp, 3332, ""},
    {"primary_last_word", {"sys"}, false, pricmd::sys, 0, ""},
    {"main_recognised", {"main", "info"}, false, pricmd::main, 0, ""},
    {"exit_recognised", {"exit", "info"}, false, pricmd::exit, 0, ""},
    {"piece_of_primary", {"ain", "info"}, false, pricmd::main, 0, ""},
    {"empty_primary", {"", "info"}, false, pricmd::main, 0, ""},
    {"unknown_primary", {"raid", "info"}, false, pricmd::main, 0, ""},
    {"primary_case", {"SYS", "info"}, false, pricmd::main, 0, ""},
    {"option_is_a_primary", {"sys", "disk", "info"}, false, pricmd::sys, 0, "info"},
};

INSTANTIATE_TEST_SUITE_P(Examples, Lines, testing::ValuesIn(kLineCases),
                         paramname::ByName());

TEST(ParseCommands, UnknownWordLeavesThePrimaryAsItWas) {
    const ParseResult r = ParseLine({"xit", "info"}, "", subcmd::none, pricmd::vsf);
    EXPECT_FALSE(r.accepted);
    EXPECT_EQ(r.primary, pricmd::vsf);
    EXPECT_EQ(r.out, "");
}

TEST(ParseCommands, PieceOfAnOptionKeepsTheEarlierOption) {
    const ParseResult r = ParseLine({"vsf", "inf", "vol=2"}, "", subcmd::vsf_inq);
    EXPECT_TRUE(r.accepted);
    EXPECT_EQ(r.option, 780);
    EXPECT_EQ(r.parameters, "vol=2");
}

TEST(ParseCommands, EmptyVectorIsRefused) {
    char* none[] = {nullptr};
    pricmd primary = pricmd::sys;
    subcmd option = subcmd::none;
    std::string parameters;
    EXPECT_FALSE(ParseCommands(none, &primary, &option, parameters));
    EXPECT_FALSE(ParseCommands(nullptr, &primary, &option, parameters));
    EXPECT_EQ(primary, pricmd::sys);
}

TEST(ParseCommands, ParametersAreAppendedToTheCallersText) {
    Argv argv({"sys", "setip", "10.0.0.1"});
    pricmd primary = pricmd::main;
    subcmd option = subcmd::none;
    std::string parameters = "earlier";
    Capture([&] { EXPECT_TRUE(ParseCommands(argv.get(), &primary, &option, parameters)); });
    EXPECT_EQ(parameters, "earlierSetEthernetAddr.IP=10.0.0.1");
}

TEST(Chgpw, SamePasswordTwiceIsAppended) {
    const ParseResult r = ParseLine({"sys", "chgpw"}, "s3cret\ns3cret\nrest");
    EXPECT_TRUE(r.accepted);
    EXPECT_EQ(r.option, 1283);
    EXPECT_EQ(r.parameters, "ChangePassword.password=s3cret");
}

TEST(Chgpw, BothEntriesAreReadAndNothingMore) {
    Argv argv({"sys", "chgpw"});
    StdinFrom input("one\none\nrest");
    pricmd primary = pricmd::main;
    subcmd option = subcmd::none;
    std::string parameters;
    Capture([&] { ParseCommands(argv.get(), &primary, &option, parameters); });
    EXPECT_EQ(StdinFrom::Rest(), "rest");
}

TEST(Chgpw, DifferentPasswordsAreRefusedSilently) {
    const ParseResult r = ParseLine({"sys", "chgpw", "x"}, "one\ntwo\n");
    EXPECT_FALSE(r.accepted);
    EXPECT_EQ(r.option, 1283);
    EXPECT_EQ(r.out, "\r");
    EXPECT_EQ(r.parameters, "ChangePassword.password=x");
}

TEST(Chgpw, EmptyNewPasswordIsAccepted) {
    const ParseResult r = ParseLine({"sys", "chgpw"}, "\n\n");
    EXPECT_TRUE(r.accepted);
    EXPECT_EQ(r.parameters, "ChangePassword.password=");
}

}  // namespace
