// The usage texts, printed one line at a time (on standard output unless a
// stream is given).
#pragma once

#include <iostream>

void GeneralUsage(std::ostream& os = std::cout);
void SysUsage(std::ostream& os = std::cout);
void EventUsage(std::ostream& os = std::cout);
void RsfUsage(std::ostream& os = std::cout);
void VsfUsage(std::ostream& os = std::cout);
void DiskUsage(std::ostream& os = std::cout);
