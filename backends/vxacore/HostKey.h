#pragma once

#include "backends/vxacore/CurlClient.h"
#include "backends/vxacore/SftpLocation.h"

#include <string>

namespace NORXVXA20 {

// What is done about a server's host key, as the environment says: VXA_KNOWN_HOSTS names the file
// of the known ones; without it every key is accepted, which the log says once. VXA_HOST_KEYS=pin
// accepts and adds the key of a server that is not in there yet; otherwise ("strict") it is
// refused. A key that differs from the known one is always refused.
class HostKeyRule {
public:
    explicit HostKeyRule(const SftpLocation& location);

    bool IsOff() const { return m_file.empty(); }
    // Sets easy up; the rule must outlive its transfers. Says that keys are not verified, if so.
    void ApplyTo(CurlEasy& easy);
    // The same, but the connection ends before anybody logs in, and nothing is added.
    void ApplyForLook(CurlEasy& easy);

    bool WasAsked() const { return m_asked; }
    // Why the last key was refused; empty when it was, or would be, accepted.
    const std::string& Refusal() const { return m_refusal; }

private:
    static int Decide(void* easy, const curl::HostKey* known, const curl::HostKey* found, int match,
                      void* rule);
    bool IsAcceptable(const curl::HostKey& found, int match);
    bool Add(const curl::HostKey& key) const;

    std::string m_server;
    std::string m_file;
    bool m_pins = false;
    bool m_onlyLooks = false;
    bool m_asked = false;
    std::string m_refusal;
};

// One line to the core log, as a warning.
void LogLine(const std::string& message);

} // namespace NORXVXA20
