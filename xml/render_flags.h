// Process-wide switches of the text renderings.
#pragma once

extern int useNl;     // 1: "-Name=value\n" lines; 0: "Name=value" joined by ","
extern int addType;   // type marks after names: "[]" array, "&" reference, "#" key
extern int noVal;     // leave values out
extern int noQuotes;  // no quotes around string values
extern int dlmRefs;   // wrap reference values in "{" and "}"

// Debug traces; nothing switches them on.
extern int DBGXB;     // scanner calls
extern int DBGX;      // element parsers and the object path parser
extern int openwbem;  // SIMPLERSP passes 0 as the response flag when set

// Set for machine-readable output (--json): the lines the layers write of
// their own accord ("MethodresponseXml:", "callMethod:", the transport's
// failure and wait lines, the command parser's carriage return) stay unwritten,
// so that standard output holds only the one document.
extern int quietOutput;

// Switches `useNl` off for a scope and restores it afterwards.
class UseNlOff {
public:
    UseNlOff() : saved(useNl) { useNl = 0; }
    ~UseNlOff() { useNl = saved; }
    UseNlOff(const UseNlOff&) = delete;
    UseNlOff& operator=(const UseNlOff&) = delete;

private:
    int saved;
};
