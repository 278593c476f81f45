#include "backends/vxacore/CurlClient.h"
#include "common/TVXAException.h"
#include "tests/fakes/FakeLoader.h"

#include <gtest/gtest.h>

#include <functional>

using namespace NORXVXA20;

namespace {

int gInits = 0;
int gOpenHandles = 0;
int gUnknownOption = 0; // the one that this libcurl does not know

int EasySetopt(void*, int option, ...)
{
    return option == gUnknownOption ? curl::kUnknownOption : curl::kOk;
}

template <typename Function>
void* Entry(Function* function)
{
    return reinterpret_cast<void*>(function);
}

// What none of these tests calls may be anything.
FakeLoader::Exports WholeLibrary()
{
    FakeLoader::Exports exports = {
        {"curl_global_init", Entry(+[](long) { return ++gInits, 0; })},
        {"curl_easy_init", Entry(+[]() -> void* { return ++gOpenHandles, &gOpenHandles; })},
        {"curl_easy_setopt", Entry(&EasySetopt)},
        {"curl_easy_cleanup", Entry(+[](void*) { --gOpenHandles; })},
    };
    for (const char* name : {"curl_easy_perform", "curl_easy_getinfo", "curl_easy_strerror"})
        exports[name] = &gInits;
    return exports;
}

// Whether there is no libcurl that can do this.
bool IsNoLibrary(const std::function<void()>& use)
{
    try {
        use();
    } catch (const TVXAException& e) {
        return e.GetStatusCode().GetStatusCode() == TVXAStatusCode::eNoTransferLibrary;
    }
    return false;
}

// In one test, because the library that is found stays until the process ends.
TEST(CurlClientTest, FirstWholeLibraryIsLoadedOnceAndStays)
{
    gLoader.Reset();
    EXPECT_TRUE(IsNoLibrary([] { CurlEasy(); }));
    gLoader.libraries["libcurl.so"] = WholeLibrary();
    gLoader.libraries["libcurl.so"].erase("curl_easy_getinfo");
    EXPECT_TRUE(IsNoLibrary([] { CurlEasy(); }));
    EXPECT_EQ(gInits, 0);
    EXPECT_EQ(gLoader.calls.back(), "load libcurl.so.2");

    gLoader.libraries["libcurl.so.4"] = WholeLibrary();
    {
        CurlEasy first;
        CurlEasy second;
        EXPECT_EQ(gOpenHandles, 2);
    }
    EXPECT_EQ(gOpenHandles, 0);
    EXPECT_EQ(gInits, 1);
    EXPECT_EQ(gLoader.calls.back(), "find curl_easy_cleanup");

    gUnknownOption = curl::kSshKnownHosts;
    CurlEasy easy;
    easy.SetText(curl::kUserName, "user");
    EXPECT_TRUE(IsNoLibrary([&] { easy.SetText(curl::kSshKnownHosts, "file"); }));
}

} // namespace
