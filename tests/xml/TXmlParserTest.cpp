#include "fuzz/xml/Comparison.h"

#include <gtest/gtest.h>

#include <functional>

using NORXVXA20::TXmlParser;

namespace {

// Not one byte more than the two fields and what makes it virtual.
static_assert(sizeof(TXmlParser) == 3 * sizeof(void*));

// Writes its events down, and does at each element's start what a test wants done.
class ScriptedReader : public ListeningReader {
public:
    ScriptedReader() : ListeningReader(m_listener) {}
    using ListeningReader::GetAttributeNValue;
    using ListeningReader::GetChar;
    using ListeningReader::ParseCharData;
    using ListeningReader::ParseNotationDecl;
    using ListeningReader::UngetChar;

    // What it told while it read.
    std::string Read(const std::string& document)
    {
        m_buffer = BufferOf(document);
        Parse(m_buffer.data());
        return m_listener.Trace();
    }
    const std::string& Trace() const { return m_listener.Trace(); }

    std::function<void(const std::string& name, Listener::Map& attributes)> onStart;

protected:
    void OnStartElement(const char* name, Listener::Map* attributes) override
    {
        ListeningReader::OnStartElement(name, attributes);
        if (onStart)
            onStart(name, *attributes);
    }

private:
    Listener m_listener;
    std::vector<char> m_buffer;
};

struct Case {
    const char* document;
    const char* events;
};

void Check(const std::vector<Case>& cases)
{
    for (const Case& c : cases) {
        SCOPED_TRACE(c.document);
        EXPECT_EQ(ScriptedReader().Read(c.document), c.events);
    }
}

TEST(TXmlParserTest, PrologIsReadOnlyAfterADeclaration)
{
    Check({
        {"\xEF\xBB\xBF<?xml?><a/>", "1:<a\n1:/a\n"},
        {"\xEF\xBB"
         "A<a/>",
         "1:error Unexpected character parsing UTF-8 BOM\n1:<a\n1:/a\n"},
        {"  <?xml version=\"1.0\"?><a/>",
         "1:error Unexpected character before prolog\n"
         "1:error Unexpected character before element\n1:?TBD TBD\n"},
        {"<!-- c --><a/>", "1:error Invalid element/attribute name\n"},
        {"<?xml?>\n<!DOCTYPE a>\n<!-- x -->\n<a/>\n<?p?><!-- y -->", "4:<a\n4:/a\n5:?TBD TBD\n"},
        {"<?xml?><!doctype a><a/>", "1:error Unexpected character in doctypedecl\n"
                                    "1:error Unexpected character before element\n"},
        {"<?xml?><?p x?><% x %><a/>", "1:?TBD TBD\n"
                                      "1:error Invalid XML '<%' characters encountered\n"
                                      "1:error Invalid element/attribute name\n"},
    });
}

TEST(TXmlParserTest, AttributesReachTheHandlerInLowerCaseAndAsWritten)
{
    Check({
        {"<A Name='V' LongerName = \"it's\"/>", "1:<A longername=it's name=V\n1:/A\n"},
        {"<a x='a&amp;b&LT;'/>", "1:<a x=a&amp;b&LT;\n1:/a\n"},
        {"<a x='1'y='2'>", "1:error Unexpected character before end of element\n"},
        {"<a x='1'\nx='2'/>", "2:error Attribute appears twice\n2:<a x=1\n2:/a\n"},
        {"<a x='&#65;'/>", "1:error Unexpected character(&) in attribute value\n"
                           "1:error Unexpected character before end of element\n"},
        {"<a x='<>'/>", "1:error Unexpected character(<) in attribute value\n1:<a\n1:''/>'\n"
                        "1:error Unexpected character where element expected\n"},
        {"<a x 1>", "1:error Unexpected character between attribute name and value\n"
                    "1:<a\n1:error Unexpected character where element expected\n"},
        {"<a x=1>", "1:error Unexpected character after equals of attribute name\n"
                    "1:<a\n1:error Unexpected character where element expected\n"},
        {"<a x='1", "1:error Unexpected character before end of element\n"},
    });
}

TEST(TXmlParserTest, TextArrivesUnchangedAndEachReferenceAlone)
{
    Check({
        {"<a> 1&#x41;&#66;&AMP;2\r\n</a>", "1:<a\n1:' 1'\n1:'A'\n1:'B'\n1:'&'\n2:'2\r\n'\n2:/a\n"},
        {"<a>&#x263A;&#300;</a>", "1:<a\n1:':'\n1:','\n1:/a\n"},
        {"<a>&#;65;</a>", "1:<a\n1:error Invalid hex character\n1:'A'\n1:/a\n"},
        {"<a>&foo;</a>", "1:<a\n1:error Unknown entity reference\n1:'oo;'\n1:/a\n"},
        {"<a>&#x", "1:<a\n1:error Unknown entity reference\n"
                   "1:error Unexpected character where element expected\n"},
    });
}

TEST(TXmlParserTest, FailedChildEndsItsParentQuietlyAndNoMore)
{
    Check({
        {"<a>x</ab>", "1:<a\n1:'x'\n1:/a\n"},
        {"<ab>x</a>", "1:<ab\n1:'x'\n1:error Start and end element names don't match\n"},
        {"<a><![CDATA[x]]></a>", "1:<a\n"},
        {"<a><!-- x --><?p?></a>", "1:<a\n1:?TBD TBD\n1:/a\n"},
        // The failed "b" ends "a"; the comment's four bytes back then show "r" the ">" of "b".
        {"<r><a><b><!x></b></a>t</r>", "1:<r\n1:<a\n1:<b\n1:'>'\n"},
    });
}

TEST(TXmlParserTest, VetoesCountOnlyWhenNothingElseWasAdded)
{
    const auto eventsWith = [](const std::vector<const char*>& keys, const char* document) {
        ScriptedReader reader;
        reader.onStart = [&](const std::string& name, Listener::Map& attributes) {
            for (const char* key : keys)
                if (name != "r")
                    attributes[key] = "";
        };
        return reader.Read(document);
    };
    const char* const format = "throwExInvalidFormat";
    const char* const value = "throwExInvalidValue";
    const char* const document = "<r><VALUE x='1'>t</VALUE><VALUE/></r>";
    const std::string begin = "1:<r\n1:<VALUE x=1\n1:'t'\n";
    const std::string end = "1:/VALUE\n";
    const std::string rest = "1:<VALUE\n1:/VALUE\n1:/r\n";
    EXPECT_EQ(eventsWith({}, document), begin + end + rest);
    EXPECT_EQ(eventsWith({format}, document), begin + end);
    EXPECT_EQ(eventsWith({value}, document), begin + rest);
    EXPECT_EQ(eventsWith({format, value}, document), begin + end + rest);
    EXPECT_EQ(eventsWith({value}, "<r><V>t</V><VALUES>t</VALUES></r>"),
              "1:<r\n1:<V\n1:'t'\n1:<VALUES\n1:'t'\n1:/VALUES\n1:/r\n");
}

TEST(TXmlParserTest, LinesCountALineFeedUnderTheNul)
{
    ScriptedReader reader;
    reader.Parse(nullptr);
    EXPECT_EQ(reader.GetCurLine(), 1u);
    reader.onStart = [&](const std::string& name, Listener::Map&) {
        if (name != "b")
            return;
        for (int i = 0; i < 3; ++i)
            reader.UngetChar();
        EXPECT_EQ(reader.GetCurLine(), 4u);
        for (int i = 0; i < 3; ++i)
            reader.GetChar();
    };
    EXPECT_EQ(reader.Read("<a\n>\n<b\nx='1'\n >\r\n</b\n>&\n</a>"),
              "2:<a\n3:'\n'\n5:<b x=1\n6:'\r\n'\n7:/b\n8:error Unknown entity reference\n8:/a\n");
    reader.Read("a\r\nb\n");
    EXPECT_EQ(reader.Rest(), 2u);
    EXPECT_EQ(reader.GetCurLine(), 3u);
    EXPECT_EQ(reader.GetChar(), '\0');
    reader.UngetChar();
    EXPECT_EQ(reader.GetCurLine(), 2u);
}

TEST(TXmlParserTest, HandlerMayParseAnotherDocument)
{
    ScriptedReader outer;
    outer.onStart = [&](const std::string&, Listener::Map& attributes) {
        const Listener::Map before = attributes;
        const unsigned int line = outer.GetCurLine();
        ScriptedReader inner;
        inner.onStart = [&](const std::string&, Listener::Map&) {
            EXPECT_EQ(outer.GetCurLine(), line);
        };
        EXPECT_EQ(inner.Read("<i\nx='inner' z='too'>\n</i>"), "2:<i x=inner z=too\n3:'\n'\n3:/i\n");
        EXPECT_EQ(attributes, before);
    };
    EXPECT_EQ(outer.Read("<a\n><b\nx='1' z='2'/><b x='3' z='4'/></a>"),
              "2:<a\n3:<b x=1 z=2\n3:/b\n3:<b x=3 z=4\n3:/b\n3:/a\n");
}

TEST(TXmlParserTest, HandlerMayReuseItsReader)
{
    std::string inner = "<i>\n</i>\n\n";
    std::string outer = "<a\n><b\n/></a>";
    ScriptedReader reader;
    reader.onStart = [&](const std::string& name, Listener::Map&) {
        if (name == "b")
            reader.Parse(inner.data());
    };
    reader.Parse(outer.data());
    // The outer Parse goes on from the end of the inner text.
    EXPECT_EQ(reader.Trace(), "2:<a\n3:<b\n1:<i\n2:'\n'\n2:/i\n4:/b\n"
                              "4:error Unexpected character where element expected\n");
    EXPECT_EQ(outer.c_str(), std::string("<a\n><b\n/></a>"));
}

TEST(TXmlParserTest, OperationsForDerivedReadersWorkOutsideParse)
{
    ScriptedReader reader;
    // Parse takes a byte twice, in vain.
    reader.Read("  Y='2' x='1'>t&lt;<!NOTATION n>rest");
    reader.UngetChar();
    reader.UngetChar();
    EXPECT_EQ(reader.GetAttributeNValue(), (Listener::Map{{"x", "1"}, {"y", "2"}}));
    EXPECT_EQ(reader.GetChar(), '>');
    EXPECT_TRUE(reader.ParseCharData());
    EXPECT_FALSE(reader.ParseCharData());
    EXPECT_TRUE(reader.ParseNotationDecl());
    EXPECT_FALSE(reader.ParseNotationDecl());
    EXPECT_NE(reader.Trace().find("1:!TBD TBD TBD\n"), std::string::npos);
    EXPECT_EQ(reader.GetChar(), 'r');
}

std::string Repeated(const std::string& text, std::size_t count)
{
    std::string result;
    for (std::size_t i = 0; i < count; ++i)
        result += text;
    return result;
}

TEST(TXmlParserTest, ErrorsAndSearchesInVainOfAnyDepthTakeLinearTime)
{
    // Counted from the start each time, the lines of these would take 10^11 steps.
    const std::string last = "200001:error Unexpected character where element expected\n";
    const std::string errors = ScriptedReader().Read("<a>" + Repeated("&bad;\n", 200000));
    EXPECT_EQ(errors.substr(errors.size() - last.size()), last);
    // Every second level tries again where the one inside it gave up, and would search all the rest
    // again, which takes many minutes; none costs any of the stack.
    const std::string rest(16000000, 'x');
    for (const char* open : {"<!--", "<?"})
        EXPECT_TRUE(ScriptedReader().Read(Repeated("<a>", 600000) + Repeated(open, 300000) +
                                          rest) == Repeated("1:<a\n", 600000));
}

} // namespace
