#include "backends/vxacore/CoreLog.h"

#include "platform/vxacore/TRootObject.h"

#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/spdlog.h>

#include <cstdlib>
#include <memory>
#include <mutex>

namespace NORXVXA20 {

namespace {

constexpr std::size_t kFileBytes = std::size_t{10} * 1024 * 1024;
constexpr std::size_t kOlderFiles = 3;
constexpr char kPattern[] = "%Y-%m-%d %H:%M:%S.%e %L %v";

spdlog::level::level_enum SpdlogLevel(int level)
{
    switch (level) {
    case 0:
        return spdlog::level::err;
    case 1:
        return spdlog::level::warn;
    case 2:
        return spdlog::level::info;
    default:
        return spdlog::level::debug;
    }
}

// Writes each record at once, masked, for a tool that may not get a second chance to do so.
class FileLogger : public ILogger {
public:
    FileLogger(const std::string& path, int level)
        : m_highestLevel(level),
          m_file("core", std::make_shared<spdlog::sinks::rotating_file_sink_mt>(path, kFileBytes,
                                                                                kOlderFiles))
    {
        m_file.set_level(spdlog::level::trace);
        m_file.flush_on(spdlog::level::trace);
        m_file.set_pattern(kPattern);
    }
    void Log(int level, const std::string& message) override
    {
        if (level <= m_highestLevel)
            m_file.log(SpdlogLevel(level), spdlog::string_view_t(MaskSecrets(message)));
    }

private:
    int m_highestLevel;
    spdlog::logger m_file;
};

// Never destroyed: static destructors of other modules may still log.
std::unique_ptr<FileLogger>& Installed()
{
    static auto& logger = *new std::unique_ptr<FileLogger>;
    return logger;
}

void InstallFromEnvironment()
{
    const char* const path = std::getenv("VXA_LOG_FILE");
    if (path == nullptr || *path == '\0' || Installed())
        return;
    OpenCoreLog(path);
}

int LevelFromEnvironment()
{
    const char* const level = std::getenv("VXA_LOG_LEVEL");
    return level != nullptr && *level != '\0' ? std::atoi(level) : 3;
}

} // namespace

bool OpenCoreLog(const std::string& path, int level)
{
    try {
        Installed() =
            std::make_unique<FileLogger>(path, level >= 0 ? level : LevelFromEnvironment());
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

void CloseCoreLog()
{
    Installed().reset();
}

ILogger* TRootObject::GetCoreLogger()
{
    static std::once_flag once;
    std::call_once(once, InstallFromEnvironment);
    return Installed().get();
}

} // namespace NORXVXA20
