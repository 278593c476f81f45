#include "tests/xml/Comparison.h"

#include <gtest/gtest.h>

#include <random>

namespace {

constexpr char kFifteenAttributes[] =
    " a='1' b='2' c='3' d='4' e='5' f='6' g='7' h='8' i='9' j='10' "
    "k='11' l='12' m='13' n='14' o='15'";

// Pieces that documents are made of, whole and broken, at home and out of place.
const std::string kPieces[] = {
    "<",
    ">",
    "/",
    "=",
    "'",
    "\"",
    "&",
    ";",
    "#",
    "x",
    "!",
    "-",
    "?",
    "%",
    "a",
    " ",
    "\n",
    "\r\n\t",
    "<a>",
    "<b>",
    "<VALUE>",
    "<VALUEX>",
    "<a ",
    "<ab\n",
    "<a/>",
    "<V x='1'/>",
    "</a>",
    "</b>",
    "</ab >",
    "</VALUE>",
    "</VALUEX\n>",
    "<VAL>",
    "</VAL>",
    "x='1'",
    " X=\"2\"",
    " yY = 'a&amp;b'",
    " z='\n'",
    " x='&lt;&GT;&quot;&apos;'",
    " x='&#65;'",
    " x='<'",
    " x='&nothing;'",
    " z='0123456789abcdef0'",
    kFifteenAttributes,
    " p='16' q='17' r='18'",
    "&lt;",
    "&AMP;",
    "&apos;",
    "&ap;",
    "&#x41;",
    "&#66;",
    "&#;5;",
    "&#X;",
    "&#300;",
    "&#x263A;",
    "&foo;",
    "<?xml version='1.0'?>",
    "<?p?>",
    "<!-- c -->",
    "<!--",
    "-->",
    "<!-",
    "<!DOCTYPE a>",
    "<!DOCTYPE a [ <!ELEMENT a ANY> ]>",
    "<!doctype a>",
    "<![CDATA[x]]>",
    "<% x %>",
    "<%",
    "text of some length that spans several blocks of sixteen bytes",
    "\xEF\xBB\xBF",
    "\xC3\xA4",
    "]]>",
};

class Random {
public:
    explicit Random(std::uint32_t seed) : m_engine(seed) {}
    std::uint32_t Below(std::size_t limit)
    {
        return static_cast<std::uint32_t>(m_engine() % limit);
    }
    std::uint32_t Bits() { return static_cast<std::uint32_t>(m_engine()); }

private:
    std::mt19937 m_engine;
};

std::string RandomPieces(Random& random)
{
    std::string document = random.Below(2) != 0 ? "<?xml?>" : "";
    for (std::uint32_t count = random.Below(40); count != 0; --count)
        document += kPieces[random.Below(std::size(kPieces))];
    return document;
}

// A well-formed element.
std::string RandomElement(Random& random, int depth)
{
    const std::string names[] = {"a", "ab", "VALUE", "INSTANCE.NAME", "_x:y-1"};
    const std::string name = names[random.Below(std::size(names))];
    std::string element = "<" + name;
    for (std::uint32_t count = random.Below(5); count != 0; --count)
        element += std::string(1, "\n "[random.Below(2)]) + "abxyNT"[random.Below(6)] + "='" +
                   std::string(random.Below(20), 'v') + "'";
    if (random.Below(4) == 0)
        return element + "/>";
    element += ">";
    for (std::uint32_t count = depth > 0 ? random.Below(5) : 0; count != 0; --count)
        element += random.Below(3) != 0 ? RandomElement(random, depth - 1)
                                        : kPieces[random.Below(std::size(kPieces))];
    return element + "</" + name + ">";
}

void Mutate(std::string& document, Random& random)
{
    for (std::uint32_t count = random.Below(4); count != 0 && !document.empty(); --count) {
        const std::size_t at = random.Below(document.size());
        const std::string& piece = kPieces[random.Below(std::size(kPieces))];
        if (random.Below(2) == 0)
            document.insert(at, piece);
        else
            document.erase(at, 1 + random.Below(4));
    }
    if (random.Below(4) == 0)
        document.resize(random.Below(document.size() + 1));
}

TEST(TXmlParserRandomTest, DoesWhatTheModelDoesOnAnyDocument)
{
    Random random(1);
    for (int i = 0; i < 10000; ++i) {
        std::string document = RandomPieces(random);
        if (i % 2 != 0) {
            document = "<?xml?>\n" + RandomElement(random, 6);
            Mutate(document, random);
        }
        const std::uint32_t script = random.Below(3) == 0 ? random.Bits() : 0;
        const std::string difference = DifferenceFromModel(document, script);
        ASSERT_EQ(difference, "") << "script " << script << ", document\n" << document;
    }
}

} // namespace
