#include "backends/vxacore/CurlClient.h"
#include "common/TVXAException.h"
#include "tests/fakes/FakeLoader.h"

#include <gtest/gtest.h>

using namespace NORXVXA20;

namespace {

int gInits = 0;
int gOpenHandles = 0;
int gUnknownOption = 0; // the one that this libcurl does not know

int EasySetopt(void*, int option, ...)
{
    return option == gUnknownOption ? curl::kUnknownOption : curl::kOk;
}

int EasyGetinfo(void*, int, ...)
{
    return curl::kOk;
}

template <typename Function>
void* Entry(Function* function)
{
    return reinterpret_cast<void*>(function);
}

FakeLoader::Exports WholeLibrary()
{
    return {
        {"curl_global_init", Entry(+[](long) { return ++gInits, 0; })},
        {"curl_easy_init", Entry(+[]() -> void* { return ++gOpenHandles, &gOpenHandles; })},
        {"curl_easy_setopt", Entry(&EasySetopt)},
        {"curl_easy_perform", Entry(+[](void*) { return curl::kLoginDenied; })},
        {"curl_easy_getinfo", Entry(&EasyGetinfo)},
        {"curl_easy_strerror",
         Entry(+[](int code) { return code == curl::kLoginDenied ? "log-in denied" : "other"; })},
        {"curl_easy_cleanup", Entry(+[](void*) { --gOpenHandles; })},
    };
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
