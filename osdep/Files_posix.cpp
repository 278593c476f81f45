#include "osdep/VXAOSDep.h"

#include "common/Log.h"
#include "osdep/FileDescriptor.h"

#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <optional>

namespace NORXVXA20 {

const std::string VXAOSDep::gFileSeparator = "/";

namespace {

struct DirectoryCloser {
    void operator()(DIR* directory) const { ::closedir(directory); }
};
using Directory = std::unique_ptr<DIR, DirectoryCloser>;

bool IsNotFound(int error)
{
    return error == ENOENT || error == ENOTDIR;
}

// What stat says about path; nothing, with errno set, when it fails.
std::optional<struct stat> Examine(const std::string& path)
{
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        return std::nullopt;
    return status;
}

// Only "*" and "?" are wildcards in a file name pattern, as everywhere in the tool.
std::string FnmatchPattern(const std::string& pattern)
{
    std::string escaped;
    for (const char c : pattern) {
        if (c == '[' || c == '\\')
            escaped += '\\';
        escaped += c;
    }
    return escaped;
}

// The names in directory that match, in the order in which they are read; at most one if asked so.
// Nothing when the directory cannot be read.
std::optional<std::vector<std::string>> Match(const std::string& directory,
                                              const std::string& pattern, bool firstOnly)
{
    const Directory entries(::opendir(directory.c_str()));
    if (!entries)
        return std::nullopt;
    const std::string wanted = FnmatchPattern(pattern);
    std::vector<std::string> names;
    while (const dirent* entry = ::readdir(entries.get())) {
        if (::fnmatch(wanted.c_str(), entry->d_name, 0) != 0)
            continue;
        names.emplace_back(entry->d_name);
        if (firstOnly)
            break;
    }
    return names;
}

// A handle that crosses the interface: the descriptor plus one, so that 0 is not taken for null.
void* ToHandle(int descriptor)
{
    return reinterpret_cast<void*>(static_cast<std::intptr_t>(descriptor) + 1);
}

int ToDescriptor(void* handle)
{
    return static_cast<int>(reinterpret_cast<std::intptr_t>(handle) - 1);
}

} // namespace

bool VXAOSDep::FileExists(const std::string& path)
{
    const auto status = Examine(path);
    const int error = errno;
    if (status)
        return !S_ISDIR(status->st_mode);
    if (!IsNotFound(error))
        DebugLog("VXAOSDep::FileExists: file system error");
    return false;
}

bool VXAOSDep::DirExists(const std::string& path)
{
    const auto status = Examine(path);
    const int error = errno;
    if (status)
        return S_ISDIR(status->st_mode);
    if (IsNotFound(error))
        return false;
    DebugLog("VXAOSDep::DirExists: file system error");
    // Deliberate: what could not be examined counts as a directory.
    return true;
}

std::uint64_t VXAOSDep::GetFileSize(const std::string& path)
{
    if (!FileExists(path))
        DebugLog("VXAOSDep::GetFileSize: file not found");
    const auto status = Examine(path);
    const int error = errno;
    if (status)
        return S_ISDIR(status->st_mode) ? 0 : static_cast<std::uint64_t>(status->st_size);
    DebugLog(IsNotFound(error) ? "VXAOSDep::GetFileSize: file not found"
                               : "VXAOSDep::GetFileSize: file system error");
    return 0;
}

void VXAOSDep::CreateDir(const std::string& path)
{
    if (::mkdir(path.c_str(), 0777) == 0)
        return;
    const int error = errno;
    if (error == EEXIST)
        DebugLog("VXAOSDep::CreateDir: dir already exist");
    else if (error == EACCES || error == EPERM || error == EROFS)
        DebugLog("VXAOSDep::CreateDir: access denied");
    else
        DebugLog("VXAOSDep::CreateDir: file system error");
}

void VXAOSDep::RemoveDir(const std::string& path)
{
    DebugLog("Entering VXAOSDep::RemoveDir");
    std::error_code error;
    const std::uintmax_t removed = std::filesystem::remove_all(path, error);
    if (error || removed == 0)
        DebugLog("rmdir '" + path + "' failed!");
    DebugLog("Exiting VXAOSDep::RemoveDir");
}

std::string VXAOSDep::FindFile(const std::string& directory, const std::string& name)
{
    DebugLog("Entering VXAOSDep::FindFile");
    std::string result;
    const std::string pattern = directory + gFileSeparator + "*" + name;
    const auto names = Match(directory, "*" + name, true);
    if (!names)
        DebugLog("Failed to find the file '" + pattern + "'!");
    else if (names->empty())
        DebugLog("File '" + pattern +
                 "' not fund!"); // Deliberate: the spelling belongs to the message.
    else
        result = names->front();
    DebugLog("Exiting VXAOSDep::FindFile");
    return result;
}

std::vector<std::string> VXAOSDep::SearchFiles(std::string path, std::string extension)
{
    DebugLog("Entering VXAOSDep::SearchFiles, path:" + path + ", Ext:" + extension);
    std::vector<std::string> result;
    for (std::string& name :
         Match(path, "*" + extension, false).value_or(std::vector<std::string>())) {
        if (name.front() != '.')
            result.push_back(std::move(name));
    }
    DebugLog("Exiting VXAOSDep::SearchFiles");
    return result;
}

std::string VXAOSDep::GetFileContents(std::int32_t handle, std::string)
{
    // A read that fails delivers no bytes here, so it ends the loop silently, like the end of file.
    std::string contents;
    char buffer[4096];
    for (;;) {
        const ssize_t count = ::read(handle, buffer, sizeof buffer);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            break;
        contents.append(buffer, static_cast<std::size_t>(count));
    }
    return contents;
}

int VXAOSDep::ReadFile(const std::string& path, std::string& contents)
{
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status {};
    // A directory opens like a file here, unlike on Windows.
    if (!file || ::fstat(file.get(), &status) != 0 || S_ISDIR(status.st_mode)) {
        DebugLog("ERROR: CaptureFile failed to open: " + path);
        return -1;
    }
    contents = GetFileContents(file.get(), path);
    return 0;
}

void* VXAOSDep::OpenFile(const std::string& path)
{
    const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    return descriptor >= 0 ? ToHandle(descriptor) : nullptr;
}

void VXAOSDep::WriteFile(void* handle, const std::string& data)
{
    if (handle == nullptr)
        return;
    [[maybe_unused]] const ssize_t written =
        ::write(ToDescriptor(handle), data.data(), data.size());
}

void VXAOSDep::CloseFile(void* handle)
{
    if (handle != nullptr)
        ::close(ToDescriptor(handle));
}

} // namespace NORXVXA20
