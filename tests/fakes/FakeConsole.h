#pragma once

#include <deque>
#include <vector>

// The core library's keyboard and clock: keys are scripted by the tick at which they are pressed,
// and a sleep only counts. A test that touches it begins with Reset().
struct FakeConsole {
    struct Key {
        unsigned int atMilliseconds; // of slept time
        int code;                    // -1: a key waits, but reading it gives nothing
    };

    void Reset() { *this = FakeConsole(); }

    std::deque<Key> keys; // in the order of their times
    unsigned long long slept = 0;
    std::vector<unsigned int> sleeps;
};

inline FakeConsole gConsole;
