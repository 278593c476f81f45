#pragma once

// True when the resolver of the system finds an address for host.
bool Resolves(const char* host);
