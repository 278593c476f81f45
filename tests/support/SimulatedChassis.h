#pragma once

#include "tests/support/Program.h"
#include "tests/support/TemporaryDirectory.h"

#include <memory>
#include <string>
#include <vector>

// The simulated chassis manager as a program that runs as long as the object. POSIX.
class SimulatedChassis {
public:
    static constexpr char kUser[] = "ffdcuser";
    static constexpr char kPassword[] = "Passw0rd";

    // options as the simulator takes them; the location of each data instance is one of them.
    explicit SimulatedChassis(const std::vector<std::string>& options);

    int Port() const { return m_port; }
    // How many of the requests so far called this operation or method.
    int Count(const std::string& name) const;

private:
    TemporaryDirectory m_scratch;
    std::unique_ptr<Program> m_program;
    int m_port = 0;
};
