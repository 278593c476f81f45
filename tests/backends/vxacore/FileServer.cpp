#include "tests/backends/vxacore/FileServer.h"

#include "tests/support/Host.h"
#include "tests/support/TemporaryDirectory.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <random>
#include <stdexcept>

namespace file_server {

namespace {

std::string Setting(const char* name)
{
    const char* value = std::getenv(name);
    if (value == nullptr)
        throw std::runtime_error(std::string("not in the sandbox: no ") + name);
    return value;
}

std::string OutputOf(const std::string& command)
{
    const HostAnswer answer = RunOnHost(command);
    if (answer.status != 0)
        throw std::runtime_error(command + " failed: " + answer.output);
    return answer.output;
}

} // namespace

std::string User()
{
    return Setting("SP_USER");
}

std::string Password()
{
    return Setting("SP_PASSWORD");
}

std::string Server()
{
    return Setting("SP_ADDRESS") + ":115";
}

std::string Remote()
{
    return RemoteWith(Password(), Server());
}

std::string RemoteWith(const std::string& password, const std::string& server)
{
    return User() + ":" + password + "@" + server + "/download/ffdc";
}

std::string StateFile(const std::string& name)
{
    return Setting("SP_STATE") + "/" + name;
}

void Order(const std::string& verb)
{
    OutputOf(Setting("SP_CONTROL") + " sshd " + verb);
}

void SignalSessions(const std::string& signal)
{
    const std::string server = ContentsOf(StateFile("sshd.pid"));
    OutputOf("descend() { for c in $(cat /proc/$1/task/$1/children); do descend $c; kill -" +
             signal + " $c; done; }; descend " + server);
}

int Logins()
{
    return std::stoi(OutputOf(Setting("SP_CONTROL") + " sshd logins"));
}

std::string Served(const std::string& name)
{
    return Setting("SP_SERVED") + "/" + name;
}

void Clear()
{
    // The host's own: files of mode 000 are among them.
    OutputOf("find " + Served("") + " -mindepth 1 -delete");
}

std::string Put(const std::string& name, std::size_t count, unsigned int seed)
{
    std::mt19937_64 random(seed);
    std::vector<std::uint64_t> words(count / sizeof(std::uint64_t) + 1);
    std::generate(words.begin(), words.end(), std::ref(random));
    const std::string bytes(reinterpret_cast<const char*>(words.data()), count);
    std::ofstream(Served(name), std::ios::binary) << bytes;
    return bytes;
}

std::string DigestOf(const std::string& path)
{
    return OutputOf("sha256sum < " + ShellWord(HostPath(path))).substr(0, 64);
}

} // namespace file_server
