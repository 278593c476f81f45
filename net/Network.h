#pragma once

#include "UtilsExport.h"

#include <string>

// Whether the network works, and how the tool's own Linux environment brings it up.

// Looks host up and, when no name is found, pings it three times. Returns 1 when it is reachable
// and else 0; address gets the address that answered a ping and is left alone otherwise. host is
// never null. Throws TVXAException with code 3 when there is no ping program.
UTILS_API int NetworkAvailable(const char* host, std::string& address);

// Restarts the network service and runs the DHCP client: once for the whole machine, or with scan
// for one interface after the other of those that have a link, until the upload server is reachable
// (address as above). False when a command's shell cannot be run (for the client of one interface
// that is only logged) or no interface has a link; true says only that recycling ran to its end.
// Throws as above, also for a missing hwinfo.
UTILS_API bool RecycleNetwork(std::string& address, bool scan);
