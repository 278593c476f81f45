#include "tests/ffdc/FakeCurl.h"

#include "platform/curl/Curl.h"

#include <cstdarg>

namespace {

int easy; // its address serves as the handle
curl::WriteCallback writeFunction = nullptr;
void* writeData = nullptr;

int GlobalInit(long flags)
{
    return gCurl.Takes("global_init " + std::to_string(flags)) ? curl::kOk : 2;
}

void* EasyInit()
{
    return gCurl.Takes("easy_init") ? &easy : nullptr;
}

int EasySetopt(void* handle, int option, ...)
{
    std::string value;
    va_list arguments;
    va_start(arguments, option);
    if (option == curl::kUrl)
        value = std::string(" ") + va_arg(arguments, const char*);
    else if (option == curl::kDirListOnly)
        value = " " + std::to_string(va_arg(arguments, long));
    else if (option == curl::kWriteFunction)
        writeFunction = va_arg(arguments, curl::WriteCallback);
    else
        writeData = va_arg(arguments, void*);
    va_end(arguments);
    const bool taken = gCurl.Takes("setopt " + std::to_string(option) + value);
    return taken && handle == &easy ? curl::kOk : 48;
}

int EasyPerform(void*)
{
    const bool taken = gCurl.Takes("perform");
    for (const std::string& block : gCurl.blocks) {
        std::string memory = block + (gCurl.endsBlocks ? std::string(1, '\0') : "garbage");
        gCurl.consumed.push_back(writeFunction(memory.data(), 1, block.size(), writeData));
    }
    return taken ? curl::kOk : 7;
}

void EasyCleanup(void* handle)
{
    gCurl.Takes(handle == &easy ? "easy_cleanup" : "easy_cleanup of a stranger");
}

void GlobalCleanup()
{
    gCurl.Takes("global_cleanup");
}

} // namespace

FakeLoader::Exports FakeCurl::Exports()
{
    return {
        {"curl_global_init", reinterpret_cast<void*>(&GlobalInit)},
        {"curl_easy_init", reinterpret_cast<void*>(&EasyInit)},
        {"curl_easy_setopt", reinterpret_cast<void*>(&EasySetopt)},
        {"curl_easy_perform", reinterpret_cast<void*>(&EasyPerform)},
        {"curl_easy_cleanup", reinterpret_cast<void*>(&EasyCleanup)},
        {"curl_global_cleanup", reinterpret_cast<void*>(&GlobalCleanup)},
    };
}

bool FakeCurl::Takes(const std::string& call)
{
    calls.push_back(call);
    return failing.empty() || call.rfind(failing, 0) != 0;
}
