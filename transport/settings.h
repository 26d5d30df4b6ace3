// Settings of the transport that the command line sets before any request.
#pragma once

// Seconds to pause after each reply: 0 none, positive that many, negative
// forever. Set by "-w".
extern int waitTime;
