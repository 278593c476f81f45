#pragma once

// Tells the transfer listener, at most about once a second, that the library is still at work.
// Everything here that waits calls it while it waits.
void NotifyAlive();
