#include "tests/support/SimulatedChassis.h"

#include "tests/support/Host.h"

#include <cstdlib>
#include <sstream>
#include <stdexcept>

SimulatedChassis::SimulatedChassis(const std::vector<std::string>& options)
{
    // A program of the host, also where the test is none.
    const char* const folder = std::getenv("UTILS_SIMULATORS");
    std::vector<std::string> words = {std::string(folder != nullptr ? folder : ".") +
                                          "/chassis_simulator",
                                      "--user", kUser, "--log", HostPath(m_scratch / "requests")};
    words.insert(words.end(), options.begin(), options.end());
    m_program = std::make_unique<Program>(
        words, std::map<std::string, std::string>{{"CHASSIS_PASSWORD", kPassword}},
        m_scratch.Path());
    std::string output;
    WaitUntil([&] {
        output = m_program->Output();
        return output.find('\n') != std::string::npos ||
               m_program->Wait(std::chrono::milliseconds(0)) != Program::kStillRunning;
    });
    if (output.compare(0, 5, "port ") != 0)
        throw std::runtime_error("the chassis simulator does not start: " + m_program->Errors());
    m_port = std::stoi(output.substr(5));
}

int SimulatedChassis::Count(const std::string& name) const
{
    int count = 0;
    std::istringstream requests(ContentsOf(m_scratch / "requests"));
    for (std::string request; std::getline(requests, request);)
        count += request.compare(0, name.size() + 1, name + " ") == 0 ? 1 : 0;
    return count;
}
