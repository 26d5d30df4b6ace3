// The controller's own password, checked by the controller through the
// provider's AuthPassword method before every change command.
#pragma once

#include <functional>
#include <iostream>
#include <string>

class Cimom;
class URL;

// Reads one password after showing a prompt (getmypasswd, or a stand-in).
using PasswordReader = std::string (*)(std::string prompt);

// Makes the AuthPassword request on the controller's path.
using ControllerCall = std::function<void(URL& controller, const char* method, const char* arguments)>;

// Asks for the controller password and hands `call` the AuthPassword request
// that carries it. `password` is the ESXi account's (it travels in the path).
void SendControllerPassword(const std::string& user, const std::string& password, const std::string& host,
                            PasswordReader ask, const ControllerCall& call);

// Asks for the controller password and has the controller check it. `password`
// is the ESXi account's (it travels in the path), not the controller's.
// Prints the controller's status text, and "Controller Password Incorrect"
// on refusal. True when the reply holds "OK". One attempt.
bool VerifyControllerPassword(Cimom& cimom, const std::string& user, const std::string& password,
                              const std::string& host, PasswordReader ask = nullptr,
                              std::ostream& os = std::cout);
