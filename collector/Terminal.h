#pragma once

#include <memory>

// What a terminal or console needs for a password.

// Whether standard input is one.
bool HasTerminal();

// Ends the input when it is the first key.
extern const int kEndOfInputKey;

// Keys that are not shown and have no meaning of their own, as long as it lives.
class HiddenKeys {
public:
    HiddenKeys();
    ~HiddenKeys();
    HiddenKeys(const HiddenKeys&) = delete;
    HiddenKeys& operator=(const HiddenKeys&) = delete;

    // The next one; -1 when there is none. Keys that stand for no character are left out.
    int Next();

private:
    struct State;
    std::unique_ptr<State> m_state;
};
