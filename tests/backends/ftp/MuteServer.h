#pragma once

#include <string>

// A socket on loopback that connections reach, and nothing answers.
class MuteServer {
public:
    MuteServer();
    ~MuteServer();
    MuteServer(const MuteServer&) = delete;
    MuteServer& operator=(const MuteServer&) = delete;

    // Until then connections are refused.
    void Listen() const;
    const std::string& Port() const { return m_port; }

private:
    long long m_socket;
    std::string m_port;
};
