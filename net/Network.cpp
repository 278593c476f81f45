#include "net/Network.h"

#include "BuildValues.h"
#include "common/Log.h"
#include "net/Resolve.h"
#include "osdep/VXAOSDep.h"
#include "platform/vxacore/TRootObject.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

using NORXVXA20::ILogger;
using NORXVXA20::TRootObject;
using NORXVXA20::VXAOSDep;

namespace {

constexpr std::size_t kNone = std::string::npos;
constexpr int kProgramLimit = 360; // seconds
constexpr char kStopService[] = "/etc/init.d/network stop >/dev/null 2>&1";
constexpr char kStartService[] = "/etc/init.d/network start >/dev/null 2>&1";
constexpr char kQuiet[] = " >/dev/null 2>&1";

// Drops the first occurrence of mark, and everything before it, if there is one.
void DropThrough(std::string& text, const std::string& mark)
{
    const std::size_t found = text.find(mark);
    if (found != kNone)
        text.erase(0, found + mark.size());
}

// The address in what follows "bytes from " of ping: " name (address): ..." or " address: ...".
std::string AnsweringAddress(std::string reply, const std::string& host)
{
    const std::size_t parenthesis = reply.find("):");
    const std::size_t end = parenthesis != kNone ? parenthesis : reply.find(':');
    if (end != kNone)
        reply.erase(end);
    DropThrough(reply, host);
    DropThrough(reply, "(");
    reply.erase(0, reply.find_first_not_of(' '));
    return reply;
}

// Pings host three times; address is written only when an answer came.
bool Ping(const std::string& host, std::string& address)
{
    const std::string output = VXAOSDep::SpawnProcess("ping", {host, "-c 3"}, kProgramLimit);
    const std::string answer = "bytes from ";
    const std::size_t found = output.find(answer);
    if (found != kNone) {
        address = AnsweringAddress(output.substr(found + answer.size() - 1), host);
        return true;
    }
    // Deliberate: the unknown host is the one without a route.
    DebugLog(output.find("unknown host") != kNone
                 ? "Route to remote host unavailable, need to reset"
                 : "Remote host unreachable, need to reset");
    return false;
}

// Writes what must not be missed, at a level of its own.
void LogAlways(const std::string& message)
{
    if (ILogger* logger = TRootObject::GetCoreLogger())
        logger->Log(0, message);
}

// False when the shell could not be run; how the command ends does not matter.
bool RunInShell(const std::string& command, const char* failure)
{
    if (std::system(command.c_str()) != -1)
        return true;
    DebugLog(failure);
    return false;
}

bool RestartService()
{
    return RunInShell(kStopService, "RecycleNetwork - network service stop error") &&
           RunInShell(kStartService, "RecycleNetwork - network service start error");
}

bool RecycleMachine()
{
    return RestartService() &&
           RunInShell(std::string("dhclient -cf /tmp/embed/data/dhclient.conf") + kQuiet,
                      "RecycleNetwork - dhclient error");
}

// The shell would take an interface's name for something else when it holds any other byte.
bool IsNameByte(char c)
{
    const std::string others = ".-_@:";
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
           others.find(c) != kNone;
}

bool IsInterfaceName(const std::string& taken)
{
    const std::string name = taken.substr(0, taken.find_last_not_of(" \t\r\n") + 1);
    return !name.empty() && std::all_of(name.begin(), name.end(), IsNameByte);
}

bool HasLink(const std::string& listing)
{
    const std::size_t link = listing.find("Link detected: ");
    return link != kNone && listing.substr(link, 20).find("yes") != kNone;
}

// The wired interfaces with a link in hwinfo's listing, sorted.
std::vector<std::string> LinkedInterfaces(std::string listing)
{
    std::vector<std::string> names;
    for (;;) {
        const std::size_t device = listing.find("Device File:");
        if (device == kNone)
            break;
        listing.erase(0, device + 13);
        // Deliberate: four characters of every name, and the next link line is its own wherever it
        // stands.
        const std::string name = listing.substr(0, 4);
        if (!HasLink(listing))
            continue;
        DebugLog("Got a Nic has physical link");
        if (name != "usb0" && IsInterfaceName(name))
            names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

// False when the shell could not be run for the network service.
bool RecycleInterface(const std::string& name)
{
    DebugLog("RecycleNetwork configured for: " + name + " for twice");
    for (int pass = 0; pass < 2; ++pass) {
        if (!RestartService())
            return false;
        const std::string command = "dhclient " + name + kQuiet;
        DebugLog("RecycleNetwork configured for: " + command);
        if (std::system(command.c_str()) == -1)
            LogAlways("Failed in dhclient, still try");
    }
    return true;
}

// Probes before and after the turn of each interface, until a probe is answered.
bool RecycleInTurn(const std::vector<std::string>& names, std::string& address)
{
    std::size_t index = 0;
    std::string current;
    while (index < names.size() && NetworkAvailable(UTILS_UPLOAD_HOST, address) == 0) {
        if (current == names[index]) {
            ++index;
            current.clear();
            continue;
        }
        current = names[index];
        if (!RecycleInterface(current))
            return false;
    }
    return true;
}

} // namespace

int NetworkAvailable(const char* host, std::string& address)
{
    DebugLog("Entering NetworkAvailable");
    int available = 0;
    if (Resolves(host)) {
        DebugLog("Network is ok, download index.xml should be OK");
        available = 1;
    } else {
        available = Ping(host, address) ? 1 : 0;
    }
    DebugLog("Exiting NetworkAvailable");
    return available;
}

bool RecycleNetwork(std::string& address, bool scan)
{
    DebugLog("Entering RecycleNetwork");
    if (!scan) {
        if (!RecycleMachine())
            return false;
    } else {
        const std::vector<std::string> names =
            LinkedInterfaces(VXAOSDep::SpawnProcess("hwinfo", {"--netcard"}, kProgramLimit));
        if (names.empty()) {
            LogAlways("Not physical connection is available on machine(s)");
            return false;
        }
        if (!RecycleInTurn(names, address))
            return false;
    }
    DebugLog("Exiting RecycleNetwork");
    return true;
}
