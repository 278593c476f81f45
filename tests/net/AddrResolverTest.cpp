// As the whole Windows header has it, which a caller may include first.
#define SetPort SetPortA
#include "net/AddrResolver.h"

#include <gmock/gmock.h>

namespace {

// An address and what it is taken apart into: "user|password|host|port".
struct Case {
    const char* address;
    const char* parts;
};

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

TEST(AddrResolverTest, NewOneIsRootOnNoHost)
{
    EXPECT_EQ(Parts(AddrResolver()), "root|||0");
    AddrResolver copy(Used());
    EXPECT_EQ(Parts(copy), "before|before|before|-7");
    copy = AddrResolver();
    EXPECT_EQ(Parts(copy), "root|||0");
}

TEST(AddrResolverTest, LenientFormSplitsAtTheFirstSignsAndStripsBlanks)
{
    const Case cases[] = {
        {"host1", "||host1|0"},
        {" host1:21 ", "|| host1:21 |0"},
        {"", "|||0"},
        {"@", "|||0"},
        {" admin : secret @ server1 : 623 ", "admin|secret|server1|623"},
        {"u:@h:", "u||h|0"},
        {"u:p:q@h:5:6", "u|p:q|h|5"},
        {"a@b@c:1", "a||b@c|1"},
        {"u@h:x", "u||h|0"},
        {"u@h: 12x", "u||h|12"},
        {"u@h:99999999999999999999", "u||h|2147483647"},
        {"u@h:-99999999999999999999", "u||h|-2147483648"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.address);
        AddrResolver address = Used();
        address.Parse(c.address);
        EXPECT_EQ(Parts(address), c.parts);
    }
}

TEST(AddrResolverTest, StrictFormSplitsAtTheLastSign)
{
    const Case cases[] = {
        {"a@b@server1:21", "a@b||server1|21"},
        {"admin:pw@server1", "admin|pw|server1|0"},
        {":pw@server1", "root|pw|server1|0"},
        {"admin:@server1", "admin||server1|0"},
        {"a:p:q@server1:21:22", "a|p:q|server1|21"},
        {" a : p @ server1 : 21", " a | p | server1 |21"},
        {"u@server1:", "u||server1|0"},
        {"u@h", "u||h|0"},
        {"u@abcde:21", "u||abcde|21"},
        {"u@:21", "u|||21"},
        {":p@:21", "|p||21"},
        {"u@:[::1]:21", "u|||0"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.address);
        AddrResolver address = Used();
        EXPECT_TRUE(address.Set(c.address));
        EXPECT_EQ(Parts(address), c.parts);
    }
}

TEST(AddrResolverTest, BracketsHoldAnIPv6HostAndNeverFail)
{
    const Case cases[] = {
        {"admin:pw@[fe80::1]:623", "admin|pw|fe80::1|623"},
        {"admin:pw@[fe80::1]", "admin|pw|fe80::1|0"},
        {"u@[fe80::1]:", "u||fe80::1|0"},
        {"u@[::1]:5:6", "u||::1|5"},
        {"u@[]:21", "u|||21"},
        {":p@[]", "|p||0"},
        {"u@[", "u|||0"},
        {"u@[]", "u|||0"},
        {"u@]:[", "u|||0"},
        {"u@x[", "u|||0"},
        {"u@]:[:7", "u|||0"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.address);
        AddrResolver address = Used();
        EXPECT_TRUE(address.Set(c.address));
        EXPECT_EQ(Parts(address), c.parts);
    }
}

TEST(AddrResolverTest, RefusalChangesNothing)
{
    for (const char* refused :
         {"", "server1", "@server1", "admin@", "@", "u@abcd:21", "u@a:", "u@1:2:3"}) {
        SCOPED_TRACE(refused);
        AddrResolver address = Used();
        EXPECT_FALSE(address.Set(refused));
        EXPECT_EQ(Parts(address), "before|before|before|-7");
    }
}

} // namespace
