// The command vocabulary: primary commands, their options and the parameter
// text handed to the path builders and the method invocation.
//
// Every parser takes the argument vector from the word it is to read on; the
// vector is NULL-terminated, and no parser looks past the terminator.
#pragma once

#include <string>

#include "controller/globals.h"

// Reads the primary command word at words[0]; true when the line is
// acceptable. Sets *primary as soon as the word is recognised, also for
// "main" and "exit", which are never accepted.
bool ParseCommands(char** words, pricmd* primary, subcmd* option, std::string& parameters);

// One parser per primary command, reading the option word at words[0].
bool ParseSetCommands(char** words, subcmd* option, std::string& parameters);
bool ParseRSFCommands(char** words, subcmd* option, std::string& parameters);
bool ParseVSFCommands(char** words, subcmd* option, std::string& parameters);
bool ParseDiskCommands(char** words, subcmd* option, std::string& parameters);
bool ParseSySCommands(char** words, subcmd* option, std::string& parameters);
bool ParseAdSysCommands(char** words, subcmd* option, std::string& parameters);
bool ParseHDDPWRCommands(char** words, subcmd* option, std::string& parameters);
bool ParseNetCommands(char** words, subcmd* option, std::string& parameters);
bool ParseEventCommands(char** words, subcmd* option, std::string& parameters);
bool ParseHWCommands(char** words, subcmd* option, std::string& parameters);
bool ParseMailCommands(char** words, subcmd* option, std::string& parameters);
bool ParseSNMPCommands(char** words, subcmd* option, std::string& parameters);
bool ParseNTPCommands(char** words, subcmd* option, std::string& parameters);

// Appends the method prefix of *option and the parameter words (joined with
// ",") to `parameters`; words[0] is the first word after the option word.
// Writes one carriage return to standard output. False for a refused option
// (its words are appended all the same) and for two different new controller
// passwords of "sys chgpw".
bool ParseArguments(char** words, subcmd* option, std::string& parameters);
