// --password-file: the answers to the password prompts, one line each, in
// the order the prompts come (for sys chgpw the new controller password
// twice, then the ESXi password, then the controller's).
#pragma once

#include <string>

#include "xml/errors.h"

// A prompt came with no line of the file left. Ends the run with status 16.
class PasswordFileExhausted : public XmlException {
public:
    explicit PasswordFileExhausted(const std::string& text) { msg = text; }
};

// Reads the whole file and makes getmypasswd answer from it. Refuses (throws
// LongOptionError, naming the file) a file that cannot be read, and one that
// others than its owner may read or write (group or other permission bits),
// as ssh refuses such key files. The lines are wiped when the process ends,
// and each one as soon as it has been handed out.
void UsePasswordFile(const std::string& path);
