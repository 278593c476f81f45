#pragma once

#include "backends/spdriver/Sockets.h"

#include <string>
#include <thread>
#include <vector>

// A TCP server on loopback that serves as many connections as its script has, one after another.
class ScriptedPeer {
public:
    struct Connection {
        std::string greeting;   // sent at once
        std::string reply = {}; // sent when a whole request has arrived; else nothing is read
        bool hold = false;      // stay connected until the client leaves
    };

    explicit ScriptedPeer(std::vector<Connection> script);
    ~ScriptedPeer();

    // "127.0.0.1:port"
    const std::string& Address() const { return m_address; }
    // What each connection brought; waits for the end of the script.
    const std::vector<std::string>& Received();

private:
    void Serve(const std::vector<Connection>& script);

    Socket m_listener;
    std::string m_address;
    std::vector<std::string> m_received;
    std::thread m_thread;
};

// A message as the simulator sends it: the checksum and the mark are added, marks escaped.
std::string VmMessage(const std::string& bytes);
