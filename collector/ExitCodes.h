#pragma once

// The program's results; after a signal it is kSignalBase and the signal's number.
enum ExitCode : int {
    kEverythingIsHere = 0,
    kNothingUsable = 1,
    kNotStarted = 2, // wrong arguments or a missing requirement, found before anything was started
    kFilesMissing = 3,
    kSignalBase = 128,
};
