#include "backends/spdriver/Frame.h"
#include "backends/spdriver/VmCodec.h"

#include <gmock/gmock.h>

#include <vector>

using ::testing::ElementsAre;

namespace {

using Bytes = std::vector<unsigned char>;

Bytes Buffer(std::initializer_list<unsigned char> begin, std::size_t size = 256)
{
    Bytes bytes(begin);
    bytes.resize(size);
    return bytes;
}

TEST(FrameTest, OnlyARequestForTheBmcThatFitsTheBufferIsTaken)
{
    const struct {
        const char* what;
        Bytes buffer;
        bool taken;
    } cases[] = {
        {"no data", Buffer({1, 0x20, 0x3F, 3, 0x49, 0, 0, 0, 0}, 10), true},
        {"full", Buffer({1, 0x20, 0x3A, 0, 0x49, 247, 0, 0, 0}), true},
        {"one too many", Buffer({1, 0x20, 0x3A, 0, 0x49, 248, 0, 0, 0}), false},
        {"high length byte", Buffer({1, 0x20, 0x3A, 0, 0x49, 1, 0, 0, 0x80}), false},
        {"no room for an answer", Buffer({1, 0x20, 0x3A, 0, 0x49, 0, 0, 0, 0}, 9), false},
        {"other responder", Buffer({1, 0x22, 0x3A, 0, 0x49, 1, 0, 0, 0, 1}), false},
        {"network function", Buffer({1, 0x20, 0x40, 0, 0x49, 1, 0, 0, 0, 1}), false},
        {"LUN", Buffer({1, 0x20, 0x3A, 4, 0x49, 1, 0, 0, 0, 1}), false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const int size = static_cast<int>(c.buffer.size());
        EXPECT_EQ(ReadRequest(c.buffer.data(), &size, size).has_value(), c.taken);
    }
}

TEST(FrameTest, AnswersAreCutToTheBufferAndLeaveNothingOfTheRequest)
{
    Answer answer;
    Bytes buffer = Buffer({1, 0x20, 0x3A, 2, 0x4D, 1, 0, 0, 0, 1, 7, 7});
    int length = 256;
    StoreAnswer(answer, buffer.data(), &length, 256);
    EXPECT_EQ(buffer, Buffer({1, 0x20, 0x3A, 2}));
    EXPECT_EQ(length, 9);

    const Bytes data(300, 0x5A);
    answer.Set(0, data.data(), data.size());
    buffer = Buffer({1, 0x20, 0x3A, 0, 0x79, 1, 0, 0, 0, 1}, 12);
    StoreAnswer(answer, buffer.data(), &length, 11);
    EXPECT_THAT(buffer, ElementsAre(1, 0x20, 0x3A, 0, 0, 2, 0, 0, 0, 0x5A, 0x5A, 0));
    EXPECT_EQ(length, 11);
}

TEST(VmCodecTest, MarksInARequestAreEscaped)
{
    const unsigned char data[] = {0xA0, 0x01, 0xA1, 0xAA};
    // The checksum, 0x58 here, completes 01 + E9 + A0 + A0 + 01 + A1 + AA + 6A to a multiple of
    // 256.
    EXPECT_EQ(EncodeVmRequest({0x3A, 1, 0xA0, data, sizeof data}),
              "\x01\xE9\xAA\xB0\xAA\xB0\x01\xAA\xB1\xAA\xBA\x8A\xA0");
}

} // namespace
