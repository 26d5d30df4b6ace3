// The switches of the text renderings, with their start-up values.
#include "xml/render_flags.h"

int useNl = 1;
int addType = 0;
int noVal = 0;
int noQuotes = 0;
int dlmRefs = 0;

int DBGXB = 0;
int DBGX = 0;
int openwbem = 0;
int quietOutput = 0;
