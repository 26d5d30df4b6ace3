#include "transport/settings.h"

int waitTime = 0;
