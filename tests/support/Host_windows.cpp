#include "tests/support/Host.h"

#include "tests/support/TemporaryDirectory.h"

#include <windows.h>

#include <filesystem>
#include <stdexcept>

namespace {

// Wine's own: the path of the host, on the process's heap. Null where this is no Wine.
using GetUnixName = char* (*)(const wchar_t* path);

} // namespace

// Wine starts a program of the host like any other, but neither waits for it nor tells its end.
HostAnswer RunOnHost(const std::string& command)
{
    const TemporaryDirectory scratch;
    const std::string folder = HostPath(scratch.Path());
    const std::string script = scratch.Write(
        "script", "{ " + command + "\n} > '" + folder + "/output' 2>&1 < /dev/null\necho $? > '" +
                      folder + "/new'\nmv '" + folder + "/new' '" + folder + "/status'\n");
    std::string commandLine = "/bin/sh \"" + HostPath(script) + "\"";
    STARTUPINFOA startUp{};
    startUp.cb = sizeof startUp;
    PROCESS_INFORMATION created{};
    if (!::CreateProcessA("/bin/sh", commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr,
                          nullptr, &startUp, &created))
        throw std::runtime_error("the host's shell cannot be started");
    const std::string status = scratch / "status";
    for (int tries = 0; !std::filesystem::exists(status); ++tries) {
        if (tries == 12000)
            throw std::runtime_error("the host does not answer: " + command);
        ::Sleep(5);
    }
    return {std::atoi(ContentsOf(status).c_str()), ContentsOf(scratch / "output")};
}

std::string HostPath(const std::string& path)
{
    const HMODULE kernel = ::GetModuleHandleA("kernel32");
    const auto name = reinterpret_cast<GetUnixName>(
        reinterpret_cast<void*>(::GetProcAddress(kernel, "wine_get_unix_file_name")));
    if (name == nullptr)
        throw std::runtime_error("this test needs Wine");
    char* const host = name(std::filesystem::path(path).wstring().c_str());
    if (host == nullptr)
        return path;
    const std::string copy = host;
    ::HeapFree(::GetProcessHeap(), 0, host);
    return copy;
}
