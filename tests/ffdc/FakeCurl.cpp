#include "tests/ffdc/FakeCurl.h"

#include "platform/curl/Curl.h"

#include <cstdarg>

namespace {

int easy; // its address serves as the handle
curl::WriteCallback writeFunction = nullptr;
void* writeData = nullptr;

int GlobalInit(long flags)
{
    gCurl.calls.push_back("global_init " + std::to_string(flags));
    return gCurl.globalInitResult;
}

void* EasyInit()
{
    gCurl.calls.emplace_back("easy_init");
    return gCurl.givesHandle ? &easy : nullptr;
}

int EasySetopt(void* handle, int option, ...)
{
    gCurl.calls.push_back("setopt " + std::to_string(option));
    if (handle != &easy || option == gCurl.failingOption)
        return 48;
    va_list arguments;
    va_start(arguments, option);
    if (option == curl::kUrl)
        gCurl.url = va_arg(arguments, const char*);
    else if (option == curl::kDirListOnly)
        gCurl.dirListOnly = va_arg(arguments, long);
    else if (option == curl::kWriteFunction)
        writeFunction = va_arg(arguments, curl::WriteCallback);
    else
        writeData = va_arg(arguments, void*);
    va_end(arguments);
    return 0;
}

int EasyPerform(void*)
{
    gCurl.calls.emplace_back("perform");
    for (const std::string& block : gCurl.blocks) {
        std::string memory = block + (gCurl.endsBlocks ? std::string(1, '\0') : "garbage");
        gCurl.consumed.push_back(writeFunction(memory.data(), 1, block.size(), writeData));
    }
    return gCurl.performResult;
}

void EasyCleanup(void* handle)
{
    gCurl.calls.emplace_back(handle == &easy ? "easy_cleanup" : "easy_cleanup of a stranger");
}

void GlobalCleanup()
{
    gCurl.calls.emplace_back("global_cleanup");
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
