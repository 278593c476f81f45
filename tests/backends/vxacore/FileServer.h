#pragma once

#include <string>
#include <vector>

// The sandbox's file server, as a test sees and orders it about.
namespace file_server {

// "user:password@host:port/directory" of what it serves.
std::string Remote();
std::string RemoteWith(const std::string& password, const std::string& server);
std::string User();
std::string Password();
std::string Server(); // host:port
std::string StateFile(const std::string& name);

// start, stop, kill, pause or resume.
void Order(const std::string& verb);
// A signal, by its name, to every connection that there is, and not to the server that takes new
// ones.
void SignalSessions(const std::string& signal);
// How many log-ins it has accepted.
int Logins();

// The folder it serves.
std::string Served(const std::string& name);
void Clear();
// Writes count bytes that seed determines, and returns them.
std::string Put(const std::string& name, std::size_t count, unsigned int seed = 1);

// The SHA-256 of a file by another program.
std::string DigestOf(const std::string& path);

} // namespace file_server
