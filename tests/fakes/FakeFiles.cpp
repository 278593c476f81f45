#include "tests/fakes/FakeFiles.h"

#include "platform/vxacore/TOSSpecific.h"

#include <filesystem>

namespace NORXVXA20 {

namespace {

void Count()
{
    if (++gFiles.calls == gFiles.failingCall)
        std::rethrow_exception(gFiles.failure);
}

} // namespace

TCIMDateTime TOSSpecific::GetLocalTime()
{
    return TCIMDateTime(2012, 1, 3, 4, 5, 6);
}

bool TOSSpecific::DirExists(std::string path)
{
    Count();
    return std::filesystem::is_directory(path);
}

void TOSSpecific::CreateDir(std::string path)
{
    Count();
    std::error_code error;
    if (!std::filesystem::create_directory(path, error))
        throw TVXAException(TVXAStatusCode::eFailed);
}

std::vector<std::string> TOSSpecific::ListDir(std::string path)
{
    std::error_code error;
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path, error))
        names.push_back(entry.path().filename().string());
    return names;
}

std::string TOSSpecific::SpawnProcess(std::string commandLine, int limit)
{
    gFiles.programs.push_back(std::to_string(limit) + ": " + commandLine);
    Count();
    return gFiles.output;
}

} // namespace NORXVXA20
