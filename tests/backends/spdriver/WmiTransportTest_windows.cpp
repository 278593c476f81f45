#include "backends/spdriver/WmiTransport.h"

#include "backends/spdriver/Availability.h"
#include "backends/spdriver/WmiValues.h"
#include "platform/spdriver/SPLibrary.h"
#include "tests/fakes/FakeLog.h"
#include "tests/support/Variable.h"

#include <gmock/gmock.h>

#include <objbase.h>

#include <vector>

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;

namespace {

using Bytes = std::vector<unsigned char>;

void Set(Variant& to, Variant&& value)
{
    std::swap(*to.get(), *value.get());
}

TEST(WmiAnswerTest, TheDataStandBehindARepeatedCode)
{
    struct Case {
        const char* what;
        unsigned char code;
        long size;
        Bytes data;
        WmiReading reading;
        Bytes expected;
    };
    const Case cases[] = {
        {"code and data", 0, 3, {0, 7, 8}, WmiReading::kAnswer, {7, 8}},
        {"an array longer than its size", 0, 2, {0, 7, 8}, WmiReading::kAnswer, {7}},
        {"more than a buffer holds", 0x5A, 300, Bytes(300, 0x5A), WmiReading::kAnswer,
         Bytes(kMaxAnswerData, 0x5A)},
        {"a size beyond the array", 0, 9, {0, 7, 8}, WmiReading::kAnswer, {7, 8}},
        {"no data at all", 0xD2, 0, {}, WmiReading::kAnswer, {}},
        {"two codes", 0, 3, {0xCC, 7, 8}, WmiReading::kTwoCodes, {7, 8}},
        {"a size without an array", 0, 3, {}, WmiReading::kNoAnswer, {}},
        {"a size below 0", 0, -1, {0, 7}, WmiReading::kNoAnswer, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        WmiAnswer values;
        Set(values.completionCode, Variant(c.code));
        Set(values.size, Variant(c.size));
        Set(values.data, Variant(c.data.data(), c.data.size()));
        Answer answer;
        EXPECT_EQ(ReadWmiAnswer(values, answer), c.reading);
        EXPECT_EQ(answer.completionCode, c.reading == WmiReading::kNoAnswer ? 0 : c.code);
        EXPECT_THAT(Bytes(answer.data.begin(), answer.data.begin() + answer.length),
                    ElementsAreArray(c.expected));
    }
}

TEST(WmiAnswerTest, ValuesThatAreMissingOrOfAnotherKindAreNoAnswer)
{
    WmiAnswer values;
    Answer answer;
    EXPECT_EQ(ReadWmiAnswer(values, answer), WmiReading::kNoAnswer);
    Set(values.completionCode, Variant(static_cast<unsigned char>(0x5A)));
    Set(values.size, Variant(300L));
    Set(values.data, Variant(300L));
    EXPECT_EQ(ReadWmiAnswer(values, answer), WmiReading::kNoAnswer);
}

// There is no IPMI driver where these tests run, whatever COM's state on the calling thread.
TEST(WmiTransportTest, WithoutTheDriverThereIsNoInstanceAndAReason)
{
    SetVariable("VXA_IPMI_SIMULATOR", "");
    for (const DWORD model : {COINIT_MULTITHREADED, COINIT_APARTMENTTHREADED}) {
        SCOPED_TRACE(model);
        ASSERT_EQ(::CoInitializeEx(nullptr, model), S_OK);
        EXPECT_EQ(NORXVXA20::SPLibrary::GetSplibraryInstance(0), nullptr);
        EXPECT_THAT(NORXVXA20::GetDriverUnavailableReason(), HasSubstr("Microsoft_IPMI"));
        // The caller's use of COM is the last one again.
        EXPECT_EQ(::CoInitializeEx(nullptr, model), S_FALSE);
        ::CoUninitialize();
        ::CoUninitialize();
    }

    gLog.Reset();
    Bytes buffer{1, 0x20, 0x3A, 0, 0x49, 1, 0, 0, 0, 1};
    buffer.resize(256);
    const Bytes before = buffer;
    int length = 256;
    // The library's caller may have got its instance while the driver was there.
    EXPECT_FALSE(NORXVXA20::SPLibrary().sendIPMICommand(buffer.data(), &length, 256, true));
    EXPECT_EQ(buffer, before);
    EXPECT_THAT(gLog.Messages(), ElementsAre(HasSubstr("SPLibrary: no IPMI device")));
}

} // namespace
