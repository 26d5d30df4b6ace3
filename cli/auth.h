// The controller's own password, checked by the controller through the
// provider's AuthPassword method before every change command.
#pragma once

#include <iostream>
#include <string>

class Cimom;

// Reads one password after showing a prompt (getmypasswd, or a stand-in).
using PasswordReader = std::string (*)(std::string prompt);

// Asks for the controller password and has the controller check it. `password`
// is the ESXi account's (it travels in the path), not the controller's.
// Prints the controller's status text, and "Controller Password Incorrect"
// on refusal. True when the reply holds "OK". One attempt.
bool VerifyControllerPassword(Cimom& cimom, const std::string& user, const std::string& password,
                              const std::string& host, PasswordReader ask = nullptr,
                              std::ostream& os = std::cout);
