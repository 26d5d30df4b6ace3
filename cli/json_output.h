// The --json form of a run: standard output carries exactly one JSON document
// whatever the outcome (docs/rbz-output.schema.json describes it), and
// nothing is written on standard error (password prompts on a terminal
// aside).
//
// Exit statuses: 0 success, 13 the controller refused its password, 14 the
// controller refused the change, 16 every other failure.
#pragma once

#include <string>

class Cimom;

constexpr int kJsonPasswordRefused = 13;
constexpr int kJsonChangeRefused = 14;
constexpr int kJsonFailed = 16;

// Runs the command line (long options already taken out) with JSON output.
int RunJson(int argc, char** argv, Cimom& cimom);

// A line whose long options were refused: an "invocation" error document.
int PrintJsonInvocationError(const std::string& message);

// --help and --version.
int PrintJsonHelp();
int PrintJsonVersion();
