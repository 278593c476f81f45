#include "backends/qmmusblan/Drivers.h"

#include "backends/qmmusblan/Settings.h"
#include "osdep/Process.h"

#include <fnmatch.h>
#include <sys/utsname.h>

#include <algorithm>
#include <fstream>
#include <iostream>
#include <sstream>

namespace {

constexpr const char* kUsbNetworkDrivers[] = {"cdc_ether", "cdc_eem", "cdc_subset", "cdc_ncm",
                                              "rndis_host"};
constexpr std::chrono::seconds kLoadLimit(15);

// True when the kernel's table of aliases leads to LAN-over-USB drivers, and to nothing else: the
// program loads whatever matches.
bool LeadsToUsbNetworkDrivers(const std::string& modalias)
{
    utsname kernel{};
    if (::uname(&kernel) != 0)
        return false;
    std::ifstream table(SystemRoot() / "lib/modules" / kernel.release / "modules.alias");
    bool found = false;
    for (std::string line; std::getline(table, line);) {
        std::istringstream words(line);
        std::string keyword, pattern, module;
        if (!(words >> keyword >> pattern >> module) || keyword != "alias" ||
            ::fnmatch(pattern.c_str(), modalias.c_str(), 0) != 0)
            continue;
        if (!IsUsbNetworkDriver(module))
            return false;
        found = true;
    }
    return found;
}

// The program that the kernel itself would run; empty when it has none.
std::string ModprobePath()
{
    const std::string path = FirstLineOf(SystemRoot() / "proc/sys/kernel/modprobe");
    return path.find('"') == std::string::npos ? path : "";
}

} // namespace

bool IsUsbNetworkDriver(const std::string& driver)
{
    return std::find(std::begin(kUsbNetworkDrivers), std::end(kUsbNetworkDrivers), driver) !=
           std::end(kUsbNetworkDrivers);
}

std::string DriverOf(const std::filesystem::path& device)
{
    std::error_code error;
    return std::filesystem::read_symlink(device / "driver", error).filename().string();
}

bool LoadUsbNetworkDriver(const std::string& modalias)
{
    // A word of a command line: what the kernel writes is letters, digits and the colon.
    if (modalias.find_first_of(" \t\"") != std::string::npos || !LeadsToUsbNetworkDrivers(modalias))
        return false;
    const std::string program = ModprobePath();
    if (program.empty() || program.front() != '/')
        return false;
    ProcessLimits limits;
    limits.total = kLoadLimit;
    const ProcessResult run = RunProcess('"' + program + "\" -q -- " + modalias, limits);
    std::cerr << run.output << std::flush;
    return run.end == EProcessEnd::eOwn;
}
