#include "backends/vxacore/CurlClient.h"
#include "common/TVXAException.h"
#include "tests/fakes/FakeLoader.h"

#include <gtest/gtest.h>

#include <cstdarg>

using namespace NORXVXA20;

namespace {

int gInits = 0;
int gOpenHandles = 0;
int gUnknownOption = 0; // the one that this libcurl does not know

int GlobalInit(long)
{
    ++gInits;
    return 0;
}

void* EasyInit()
{
    ++gOpenHandles;
    return &gOpenHandles;
}

int EasySetopt(void*, int option, ...)
{
    return option == gUnknownOption ? curl::kUnknownOption : curl::kOk;
}

int EasyPerform(void*)
{
    return curl::kLoginDenied;
}

int EasyGetinfo(void*, int, ...)
{
    return curl::kOk;
}

const char* EasyStrerror(int code)
{
    return code == curl::kLoginDenied ? "log-in denied" : "other";
}

void EasyCleanup(void*)
{
    --gOpenHandles;
}

FakeLoader::Exports WholeLibrary()
{
    return {{"curl_global_init", reinterpret_cast<void*>(&GlobalInit)},
            {"curl_easy_init", reinterpret_cast<void*>(&EasyInit)},
            {"curl_easy_setopt", reinterpret_cast<void*>(&EasySetopt)},
            {"curl_easy_perform", reinterpret_cast<void*>(&EasyPerform)},
            {"curl_easy_getinfo", reinterpret_cast<void*>(&EasyGetinfo)},
            {"curl_easy_strerror", reinterpret_cast<void*>(&EasyStrerror)},
            {"curl_easy_cleanup", reinterpret_cast<void*>(&EasyCleanup)}};
}

template <typename Function>
int StatusThrownBy(Function function)
{
    try {
        function();
    } catch (const TVXAException& e) {
        return e.GetStatusCode().GetStatusCode();
    }
    return 0;
}

// In one test, because the library that is found stays until the process ends.
TEST(CurlClientTest, FirstWholeLibraryIsLoadedOnceAndStays)
{
    gLoader.Reset();
    EXPECT_EQ(StatusThrownBy([] { CurlEasy(); }), TVXAStatusCode::eNoTransferLibrary);

    FakeLoader::Exports incomplete = WholeLibrary();
    incomplete.erase("curl_easy_getinfo");
    gLoader.libraries = {{"libcurl.so", incomplete}};
    EXPECT_EQ(StatusThrownBy([] { CurlEasy(); }), TVXAStatusCode::eNoTransferLibrary);
    EXPECT_EQ(gInits, 0);
    EXPECT_EQ(gLoader.calls.back(), "load libcurl.so.2");

    gLoader.libraries["libcurl.so.4"] = WholeLibrary();
    {
        CurlEasy first;
        CurlEasy second;
        EXPECT_EQ(gOpenHandles, 2);
        EXPECT_EQ(first.Explain(first.Perform()), "log-in denied");
    }
    EXPECT_EQ(gOpenHandles, 0);
    EXPECT_EQ(gInits, 1);
    EXPECT_EQ(gLoader.calls.back(), "find curl_easy_cleanup");

    gUnknownOption = curl::kSshKnownHosts;
    CurlEasy easy;
    EXPECT_EQ(StatusThrownBy([&] { easy.SetText(curl::kUserName, "user"); }), 0);
    EXPECT_EQ(StatusThrownBy([&] { easy.SetText(curl::kSshKnownHosts, "file"); }),
              TVXAStatusCode::eNoTransferLibrary);
}

} // namespace
