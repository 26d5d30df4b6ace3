// Start-up globals and the command vocabulary shared by the command-line
// parser (cli/) and the target-path builders and reports (controller/).
#pragma once

#include <string>

// Primary commands, in the order the parser compares them.
enum class pricmd : int {
    main = 0,
    set = 1,
    rsf = 2,
    vsf = 3,
    disk = 4,
    sys = 5,
    adsys = 6,
    hddpwr = 7,
    net = 8,
    event = 9,
    hw = 10,
    mail = 11,
    snmp = 12,
    ntp = 13,
    exit = 14,
};

// Options: one block of 256 values per primary command, the block number in
// the high byte. The blocks run set 1 ... ntp 13 but put mail (9) before
// event (10) and hw (11), unlike pricmd. `none` is the value before any option
// word matched; the parser rejects it and the driver serves no query for it.
enum class subcmd : int {
    none = 0,

    set_savecfg = 256,

    rsf_create = 512,
    rsf_delete = 513,
    rsf_expand = 514,
    rsf_activate = 515,
    rsf_createhs = 516,
    rsf_deletehs = 517,
    rsf_offline = 518,
    rsf_info = 519,

    vsf_create = 768,
    vsf_create5060 = 769,
    vsf_delete = 770,
    vsf_modify = 771,
    vsf_check = 772,
    vsf_stopcheck = 773,
    vsf_genkey = 774,
    vsf_genkey2 = 775,
    vsf_lock = 776,
    vsf_dlkey = 777,
    vsf_scheck = 778,
    vsf_info = 779,
    vsf_inq = 780,

    disk_mpt = 1024,
    disk_cpt = 1025,
    disk_dpt = 1026,
    disk_fail = 1027,
    disk_identify = 1028,
    disk_smart = 1029,
    disk_sttest = 1030,
    disk_info = 1031,
    disk_inq = 1032,

    sys_mutebeeper = 1280,
    sys_beeperon = 1281,
    sys_beeperoff = 1282,
    sys_chgpw = 1283,
    sys_mode = 1284,
    sys_changept = 1285,
    sys_ncq = 1286,
    sys_hddqdepth = 1287,
    sys_sasmux = 1288,
    sys_setip = 1289,
    sys_netmask = 1290,
    sys_gateway = 1291,
    sys_smtpport = 1292,
    sys_telnetport = 1293,
    sys_httpport = 1294,
    sys_ses2support = 1295,
    sys_maxcmdlen = 1296,
    sys_diskcache = 1297,
    sys_hddreadahead = 1298,
    sys_truncation = 1299,
    sys_autoact = 1300,
    sys_cpufan = 1301,
    sys_hddled = 1302,
    sys_volreadahead = 1303,
    sys_writesame = 1304,
    sys_hpdforrebuilding = 1305,
    sys_smartop = 1306,
    sys_smartpi = 1307,
    sys_updatefw = 1308,
    sys_showcfg = 1309,
    sys_savebin = 1310,
    sys_restorebin = 1311,
    sys_info = 1312,
    sys_auth = 1313,
    sys_SetWaTP = 1314,

    adsys_tler = 1536,
    adsys_timeout = 1537,
    adsys_retrycnt = 1538,
    adsys_bufthre = 1539,
    adsys_readahead = 1540,
    adsys_avstreams = 1541,
    adsys_optavrec = 1542,
    adsys_opthdedit = 1543,
    adsys_readmargin = 1544,
    adsys_writemargin = 1545,
    adsys_readdiscard = 1546,
    adsys_specifichddspeed = 1547,
    adsys_info = 1548,

    hddpwr_spoweron = 1792,
    hddpwr_tlowpwridle = 1793,
    hddpwr_tlowrpmmode = 1794,
    hddpwr_spindown = 1795,
    hddpwr_info = 1796,

    net_dhcp = 2048,
    net_ipaddr = 2049,
    net_httpport = 2050,
    net_telnetport = 2051,
    net_smtpport = 2052,
    net_gateway = 2053,
    net_netmask = 2054,
    net_info = 2055,

    mail_block = 2304,  // belongs to the block, but no word yields it
    mail_account = 2305,
    mail_sender = 2306,
    mail_mailto1 = 2307,
    mail_mailto2 = 2308,
    mail_mailto3 = 2309,
    mail_mailto4 = 2310,
    mail_info = 2311,

    event_info = 2560,
    event_clear = 2561,

    hw_info = 2816,

    snmp_ipaddr1 = 3072,
    snmp_ipaddr2 = 3073,
    snmp_ipaddr3 = 3074,
    snmp_port1 = 3075,
    snmp_port2 = 3076,
    snmp_port3 = 3077,
    snmp_community = 3078,
    snmp_contact = 3079,
    snmp_name = 3080,
    snmp_location = 3081,
    snmp_evtlevel = 3082,
    snmp_path = 3083,
    snmp_info = 3084,

    ntp_ipaddr1 = 3328,
    ntp_ipaddr2 = 3329,
    ntp_timezone = 3330,
    ntp_daylightsaving = 3331,
    ntp_info = 3332,
};

// The provider's namespace, "quilo/cimv2": the only one the client addresses.
extern const std::string ns;

// The separator line of the reports: 117 "=" characters.
extern const std::string dashline;
