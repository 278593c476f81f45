// As the whole Windows header has it, which a caller may include first.
#define SetPort SetPortA
#include "net/AddrResolver.h"

#include <gmock/gmock.h>

namespace {

// "user|password|host|port".
std::string Parts(const AddrResolver& address)
{
    return address.User() + "|" + address.Pw() + "|" + address.Host() + "|" +
           std::to_string(address.Port());
}

// One whose every field differs from what any case gives.
AddrResolver Used()
{
    AddrResolver address;
    address.SetUser("before");
    address.SetPw("before");
    address.SetHost("before");
    address.SetPort(-7);
    return address;
}

// What a used one holds after it took the address, which the strict form must not refuse.
std::string Lenient(const char* text)
{
    AddrResolver address = Used();
    address.Parse(text);
    return Parts(address);
}

std::string Strict(const char* text)
{
    AddrResolver address = Used();
    EXPECT_TRUE(address.Set(text)) << text;
    return Parts(address);
}

TEST(AddrResolverTest, LenientFormSplitsAtTheFirstSignsAndStripsBlanks)
{
    EXPECT_EQ(Lenient(" host1:21 "), "|| host1:21 |0");
    EXPECT_EQ(Lenient(" admin : secret @ server1 : 623 "), "admin|secret|server1|623");
    EXPECT_EQ(Lenient("u:p:q@h:5:6"), "u|p:q|h|5");
    EXPECT_EQ(Lenient("a@b@c:1"), "a||b@c|1");
    EXPECT_EQ(Lenient("u@h: 12x"), "u||h|12");
    EXPECT_EQ(Lenient("u@h:99999999999999999999"), "u||h|2147483647");
}

TEST(AddrResolverTest, StrictFormSplitsAtTheLastSignAndStripsNothing)
{
    EXPECT_EQ(Strict("a@b@server1:21"), "a@b||server1|21");
    EXPECT_EQ(Strict(":pw@server1"), "root|pw|server1|0");
    EXPECT_EQ(Strict(" a : p:q @ server1 : 21:22"), " a | p:q | server1 |21");
    EXPECT_EQ(Strict("u@h"), "u||h|0");
    EXPECT_EQ(Strict("u@abcde:21"), "u||abcde|21");
    EXPECT_EQ(Strict(":p@:21"), "|p||21");
    EXPECT_EQ(Strict("u@:[::1]:21"), "u|||0");
}

TEST(AddrResolverTest, BracketsHoldAnIPv6HostAndNeverFail)
{
    EXPECT_EQ(Strict("admin:pw@[fe80::1]:623"), "admin|pw|fe80::1|623");
    EXPECT_EQ(Strict("admin:pw@[fe80::1]"), "admin|pw|fe80::1|0");
    for (const char* nothing : {"u@[", "u@[]", "u@]:["})
        EXPECT_EQ(Strict(nothing), "u|||0") << nothing;
}

TEST(AddrResolverTest, RefusalChangesNothing)
{
    for (const char* refused : {"", "server1", "@server1", "admin@", "u@abcd:21", "u@a:"}) {
        AddrResolver address = Used();
        EXPECT_FALSE(address.Set(refused)) << refused;
        EXPECT_EQ(Parts(address), "before|before|before|-7");
    }
    EXPECT_EQ(Parts(AddrResolver()), "root|||0");
}

} // namespace
