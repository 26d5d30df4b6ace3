// The long options: words that begin with "--". The command grammar of rbz
// never uses such words, so they are taken out of the argument vector before
// the option and command scans see it; a line without them runs as it
// always has. A lone "--" ends them: the words after it go on as they are.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

constexpr const char* kRbzVersion = "1.6.3.1";

struct LongOptions {
    bool json = false;         // one JSON document on standard output
    double timeout = 0;        // seconds of network time for the whole run; 0: no limit
    std::string passwordFile;  // answers to the password prompts, one per line
    bool verify = false;       // check the server's certificate and host name
    std::string pin;           // "sha256//BASE64": the one server key accepted
    bool check = false;        // report the controller's health as a monitoring plugin
    unsigned warnTemp = 50;    // with --check: drive temperatures at or above, WARNING (celsius)
    unsigned critTemp = 60;    // ... CRITICAL
    bool tempsGiven = false;   // --warn-temp or --crit-temp was on the line
    bool help = false;
    bool version = false;
};

// An unknown long option, one without its value, or a value that is no use.
// The message names the option.
class LongOptionError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The argument vector without its long options (and without the first lone
// "--"), null-terminated, argv[0] first; and what the long options said.
class LongOptionLine {
public:
    LongOptionLine(int argc, char** argv);  // throws LongOptionError
    LongOptionLine(const LongOptionLine&) = delete;
    LongOptionLine& operator=(const LongOptionLine&) = delete;

    const LongOptions& options() const { return options_; }
    int argc() const { return static_cast<int>(words_.size()) - 1; }
    char** argv() { return words_.data(); }

private:
    LongOptions options_;
    std::vector<char*> words_;
};

// Whether the line asks for JSON output (read without judging the other
// long options, so that a refused line can still be answered in JSON).
bool WantsJson(int argc, char** argv);

// Whether the line asks for a check (--check), read the same way.
bool WantsCheck(int argc, char** argv);

// Each long option in the order --help lists them: its name, the name of its
// value (null for a flag) and its line of help.
struct LongOptionInfo {
    const char* name;
    const char* valueName;
    const char* help;
};
std::vector<LongOptionInfo> ListLongOptions();

// One line per long option, for --help.
void PrintLongOptionsHelp(std::ostream& os);
