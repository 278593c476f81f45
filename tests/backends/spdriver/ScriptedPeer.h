#pragma once

#include "tests/backends/LoopbackListener.h"

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

    explicit ScriptedPeer(const std::vector<Connection>& script)
        : m_thread([this, script] { Serve(script); })
    {}
    ~ScriptedPeer() { Received(); }

    std::string Address() const { return "127.0.0.1:" + m_listener.Port(); }
    // What each connection brought; waits for the end of the script.
    const std::vector<std::string>& Received()
    {
        if (m_thread.joinable())
            m_thread.join();
        return m_received;
    }

private:
    static constexpr char kMessageEnd = '\xA0';

    // Long enough for a loaded machine; a test that needs it has failed.
    static Deadline Soon() { return std::chrono::steady_clock::now() + std::chrono::seconds(30); }

    // Reads to the mark, or to the end with none.
    static std::string Read(const Socket& socket, bool toMark)
    {
        std::string bytes;
        unsigned char byte = 0;
        while (ReceiveSome(socket, &byte, 1, Soon()) > 0) {
            bytes += static_cast<char>(byte);
            if (toMark && bytes.back() == kMessageEnd)
                break;
        }
        return bytes;
    }

    void Serve(const std::vector<Connection>& script)
    {
        for (const Connection& connection : script) {
            Wait(m_listener.Native(), WaitUntil::kReadable, Soon());
            const Socket client(
                static_cast<SocketTraits::Handle>(::accept(m_listener.Native(), nullptr, nullptr)));
            if (!client || !MakeNonBlocking(static_cast<NativeSocket>(client.get())))
                return;
            SendAll(client, connection.greeting, Soon());
            std::string received;
            if (!connection.reply.empty()) {
                received = Read(client, true);
                SendAll(client, connection.reply, Soon());
            }
            if (connection.hold)
                received += Read(client, false);
            m_received.push_back(received);
        }
    }

    LoopbackListener m_listener;
    std::vector<std::string> m_received;
    std::thread m_thread; // begins when the rest is there
};
