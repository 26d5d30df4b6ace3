#include "cli/driver.h"

int main(int argc, char** argv) { return RunRbz(argc, argv); }
