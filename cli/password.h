// Reading one secret from the user.
#pragma once

#include <string>

// Shows `prompt` and reads one password.
//  - Standard input and output on a terminal: a curses session; every key
//    typed shows as "*", backspace, delete and left arrow erase, Enter ends.
//  - Standard input on a terminal that curses cannot drive (unknown TERM, or
//    standard output redirected): the prompt, then one line read with the
//    terminal's echo off.
//  - Standard input not a terminal: no prompt; one line, without its line
//    feed and a carriage return right before it; at end of input, whatever
//    was read.
//  - A password source set (--password-file): its answer, nothing shown.
std::string getmypasswd(std::string prompt);

// Where getmypasswd takes its answers instead of standard input; null: back
// to standard input. The source may throw (no answer left).
using PasswordSource = std::string (*)(const std::string& prompt);
void SetPasswordSource(PasswordSource source);

// Starts the curses session for one password read; false when curses cannot
// start on this terminal (the process keeps running).
bool initial();
