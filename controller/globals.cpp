#include "controller/globals.h"

const std::string ns = "quilo/cimv2";
const std::string dashline(117, '=');
