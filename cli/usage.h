// The usage texts, printed on standard output one line at a time.
#pragma once

void GeneralUsage();
void SysUsage();
void EventUsage();
void RsfUsage();
void VsfUsage();
void DiskUsage();
