#include "collector/LookAhead.h"

#include "collector/Paths.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <random>

namespace fs = std::filesystem;

namespace {

constexpr std::uintmax_t kMebibyte = std::uintmax_t{1024} * 1024;
constexpr std::uintmax_t kTooLittle = 1 * kMebibyte;
constexpr std::uintmax_t kScarce = 64 * kMebibyte;

// Writes one small file and removes it again; the error code, 0 if that works.
int TryWriting(const fs::path& directory)
{
    const fs::path probe = directory / (".ffdc-collect-" + std::to_string(std::random_device()()));
    std::FILE* file = std::fopen(TextOf(probe).c_str(), "wb");
    if (file == nullptr)
        return errno;
    const char text[] = "ffdc-collect looks whether it can write here\n";
    int error = std::fwrite(text, 1, sizeof text - 1, file) < sizeof text - 1 ? errno : 0;
    if (std::fclose(file) != 0 && error == 0)
        error = errno;
    std::error_code ignored;
    fs::remove(probe, ignored);
    return error;
}

} // namespace

Finding PrepareDirectory(const std::string& directory)
{
    const fs::path path = PathOf(directory);
    std::error_code error;
    if (fs::exists(path, error) && !fs::is_directory(path, error))
        return {directory + " is no directory", ""};
    fs::create_directories(path, error);
    if (error)
        return {"cannot create the directory " + directory + ": " + error.message(), ""};
    if (const int code = TryWriting(path))
        return {"cannot write into " + directory + ": " + std::strerror(code), ""};
    const fs::space_info room = fs::space(path, error);
    return error ? Finding() : JudgeRoom(room.available, directory);
}

Finding JudgeRoom(std::uintmax_t available, const std::string& directory)
{
    const std::string text = std::to_string(available / kMebibyte) + " MiB free in " + directory;
    if (available < kTooLittle)
        return {"less than 1 MiB free in " + directory, ""};
    if (available < kScarce)
        return {"", "only " + text + ": the files may not fit"};
    return {};
}
