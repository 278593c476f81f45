#pragma once

#include <signal.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

// The sandbox's file server, as a test sees and orders it about.
struct FileServer {
    static std::string Setting(const char* name)
    {
        const char* value = std::getenv(name);
        if (value == nullptr)
            throw std::runtime_error(std::string("not in the sandbox: no ") + name);
        return value;
    }

    static std::string OutputOf(const std::string& command)
    {
        std::FILE* pipe = ::popen(command.c_str(), "r");
        std::string output;
        char buffer[256];
        while (const std::size_t count = std::fread(buffer, 1, sizeof buffer, pipe))
            output.append(buffer, count);
        if (::pclose(pipe) != 0)
            throw std::runtime_error(command + " failed");
        return output;
    }

    // What the sandbox says of it.
    static std::string User() { return Setting("SP_USER"); }
    static std::string Password() { return Setting("SP_PASSWORD"); }
    static std::string Server() { return Setting("SP_ADDRESS") + ":115"; } // host:port

    static std::string RemoteWith(const std::string& password, const std::string& server)
    {
        return User() + ":" + password + "@" + server + "/download/ffdc";
    }

    // "user:password@host:port/directory" of what it serves.
    static std::string Remote() { return RemoteWith(Password(), Server()); }

    static std::string StateFile(const std::string& name)
    {
        return Setting("SP_STATE") + "/" + name;
    }

    // start, stop, kill, pause or resume.
    static void Order(const std::string& verb)
    {
        OutputOf(Setting("SP_CONTROL") + " sshd " + verb);
    }

    // To all that descend from a process.
    static void SignalSessions(int process, int signal)
    {
        const std::string path =
            "/proc/" + std::to_string(process) + "/task/" + std::to_string(process);
        std::ifstream children(path + "/children");
        for (int child = 0; children >> child;) {
            SignalSessions(child, signal);
            ::kill(child, signal);
        }
    }

    // To every connection that there is, and not to the server that takes new ones.
    static void SignalSessions(int signal)
    {
        int server = 0;
        std::ifstream(StateFile("sshd.pid")) >> server;
        SignalSessions(server, signal);
    }

    // How many log-ins it has accepted.
    static int Logins() { return std::stoi(OutputOf(Setting("SP_CONTROL") + " sshd logins")); }

    // Of the folder it serves.
    static std::string Served(const std::string& name) { return Setting("SP_SERVED") + "/" + name; }

    static void Clear()
    {
        for (const auto& entry : std::filesystem::directory_iterator(Served("")))
            std::filesystem::remove_all(entry);
    }

    // Writes count bytes that seed determines, and returns them.
    static std::string Put(const std::string& name, std::size_t count, unsigned int seed = 1)
    {
        std::mt19937_64 random(seed);
        std::vector<std::uint64_t> words(count / sizeof(std::uint64_t) + 1);
        std::generate(words.begin(), words.end(), std::ref(random));
        const std::string bytes(reinterpret_cast<const char*>(words.data()), count);
        std::ofstream(Served(name), std::ios::binary) << bytes;
        return bytes;
    }

    // The SHA-256 of a file by another program.
    static std::string DigestOf(const std::string& path)
    {
        std::string quoted;
        for (const char c : path)
            quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
        return OutputOf("sha256sum < '" + quoted + "'").substr(0, 64);
    }
};
