#include "fuzz/xml/Comparison.h"

#include <gtest/gtest.h>

#include <functional>

using NORXVXA20::TXmlParser;

namespace {

// Not one byte more than the two fields and what makes it virtual.
static_assert(sizeof(TXmlParser) == 3 * sizeof(void*));

struct Case {
    const char* document;
    const char* events;
};

std::string EventsOf(const std::string& document)
{
    Listener listener;
    ListeningReader reader(listener);
    std::vector<char> buffer = BufferOf(document);
    reader.Parse(buffer.data());
    return listener.Trace();
}

template <std::size_t kCount>
void Check(const Case (&cases)[kCount])
{
    for (const Case& c : cases) {
        SCOPED_TRACE(c.document);
        EXPECT_EQ(EventsOf(c.document), c.events);
    }
}

// A reader whose handlers a test fills in as it needs.
class ScriptedReader : public TXmlParser {
public:
    using Map = std::map<std::string, std::string>;
    using TXmlParser::GetAttributeNValue;
    using TXmlParser::GetChar;
    using TXmlParser::ParseCharData;
    using TXmlParser::ParseNotationDecl;
    using TXmlParser::PeekChar;
    using TXmlParser::SkipWhitespace;
    using TXmlParser::UngetChar;

    std::function<void(const char*, Map&)> onStart = [](const char*, Map&) {};
    std::function<void(const std::string&)> onText = [](const std::string&) {};
    std::function<void(const char*)> onError = [](const char*) {};
    std::string trace;

protected:
    void OnStartElement(const char* name, Map* attributes) override
    {
        trace += std::string("<") + name;
        onStart(name, *attributes);
    }
    void OnEndElement(const char* name) override { trace += std::string("/") + name; }
    void OnProcessingInstruction(const char*, const char*) override { trace += "?"; }
    void OnCharacterData(const char* text, unsigned int length) override
    {
        onText(std::string(text, length));
    }
    void OnNotationDecl(const char* name, const char* publicId, const char* systemId) override
    {
        trace += std::string("!") + name + publicId + systemId;
    }
    void OnError(const char* message) override
    {
        trace += "#";
        onError(message);
    }
};

TEST(TXmlParserTest, PrologIsReadOnlyAfterADeclaration)
{
    const Case cases[] = {
        {"\xEF\xBB\xBF<?xml?><a/>", "1:<a\n1:/a\n"},
        {"\xEF\xBB"
         "A<a/>",
         "1:error Unexpected character parsing UTF-8 BOM\n1:<a\n1:/a\n"},
        {"  <?xml version=\"1.0\"?><a/>",
         "1:error Unexpected character before prolog\n"
         "1:error Unexpected character before element\n1:?TBD TBD\n"},
        {"<a/>", "1:<a\n1:/a\n"},
        {"<!-- c --><a/>", "1:error Invalid element/attribute name\n"},
        {"<?xml?>\n<!DOCTYPE a>\n<!-- x -->\n<a/>\n<?p?><!-- y -->", "4:<a\n4:/a\n5:?TBD TBD\n"},
        {"<?xml?><!doctype a><a/>", "1:error Unexpected character in doctypedecl\n"
                                    "1:error Unexpected character before element\n"},
        {"<?xml?><?p x?><a/>", "1:?TBD TBD\n1:<a\n1:/a\n"},
        {"<?xml?><% x %><a/>", "1:error Invalid XML '<%' characters encountered\n"
                               "1:error Invalid element/attribute name\n"},
        {"", "1:error Unexpected character before prolog\n"
             "1:error Unexpected character before element\n"},
    };
    Check(cases);
}

TEST(TXmlParserTest, AttributesReachTheHandlerInLowerCaseAndAsWritten)
{
    const Case cases[] = {
        {"<a x='1' y=\"2\"/>", "1:<a x=1 y=2\n1:/a\n"},
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
        {"<a X=''", "1:error Unexpected character before end of element\n"},
        {"<a x='1", "1:error Unexpected character before end of element\n"},
        {"<a x='&", "1:error Unexpected character(&) in attribute value\n"
                    "1:error Unexpected character before end of element\n"},
    };
    Check(cases);
}

TEST(TXmlParserTest, TextArrivesUnchangedAndEachReferenceAlone)
{
    const Case cases[] = {
        {"<a> 1&#x41;&#66;&AMP;2\r\n</a>", "1:<a\n1:' 1'\n1:'A'\n1:'B'\n1:'&'\n2:'2\r\n'\n2:/a\n"},
        {"<a>&#x263A;&#300;</a>", "1:<a\n1:':'\n1:','\n1:/a\n"},
        {"<a>&#;65;</a>", "1:<a\n1:error Invalid hex character\n1:'A'\n1:/a\n"},
        {"<a>&foo;</a>", "1:<a\n1:error Unknown entity reference\n1:'oo;'\n1:/a\n"},
        {"<a>&ap", "1:<a\n1:error Unknown entity reference\n"
                   "1:error Unexpected character where element expected\n"},
        {"<a>&#x", "1:<a\n1:error Unknown entity reference\n"
                   "1:error Unexpected character where element expected\n"},
        {"<a>&#x4z1;</a>", "1:<a\n1:error Unknown entity reference\n1:'A'\n1:/a\n"},
    };
    Check(cases);
}

TEST(TXmlParserTest, FailedChildEndsItsParentQuietlyAndNoMore)
{
    const Case cases[] = {
        {"<a>x</ab>", "1:<a\n1:'x'\n1:/a\n"},
        {"<ab>x</a>", "1:<ab\n1:'x'\n1:error Start and end element names don't match\n"},
        {"<a/b>", "1:error Unexpected character before end of element\n"},
        {"<a></a x>", "1:<a\n1:error Unexpected character before end of element\n"},
        {"<a><![CDATA[x]]></a>", "1:<a\n"},
        {"<a><!-- x --><?p?></a>", "1:<a\n1:?TBD TBD\n1:/a\n"},
        // The failed "b" ends "a"; the comment's four bytes back then show "r" the ">" of "b".
        {"<r><a><b><!x></b></a>t</r>", "1:<r\n1:<a\n1:<b\n1:'>'\n"},
        {"<r><a><1></a>t</r>", "1:<r\n1:<a\n1:error Invalid element/attribute name\n1:'>'\n"
                               "1:error Start and end element names don't match\n"},
    };
    Check(cases);
}

TEST(TXmlParserTest, VetoesCountOnlyWhenNothingElseWasAdded)
{
    const auto traceOf = [](std::string document, std::vector<const char*> keys) {
        ScriptedReader reader;
        reader.onStart = [&](const char* name, ScriptedReader::Map& attributes) {
            for (const char* key : keys)
                if (*name != 'r')
                    attributes[key] = "";
        };
        reader.Parse(document.data());
        return reader.trace;
    };
    const std::string format = "throwExInvalidFormat";
    const std::string value = "throwExInvalidValue";
    const std::string document = "<r><VALUE x='1'>t</VALUE><VALUE/></r>";
    EXPECT_EQ(traceOf(document, {}), "<r<VALUE/VALUE<VALUE/VALUE/r");
    EXPECT_EQ(traceOf(document, {format.c_str()}), "<r<VALUE/VALUE");
    EXPECT_EQ(traceOf(document, {value.c_str()}), "<r<VALUE<VALUE/VALUE/r");
    EXPECT_EQ(traceOf(document, {format.c_str(), value.c_str()}), "<r<VALUE/VALUE<VALUE/VALUE/r");
    EXPECT_EQ(traceOf(document, {value.c_str(), "other"}), "<r<VALUE/VALUE<VALUE/VALUE/r");
    EXPECT_EQ(traceOf("<r><V>t</V><VALUES>t</VALUES></r>", {value.c_str()}),
              "<r<V<VALUES/VALUES/r");
}

TEST(TXmlParserTest, LinesCountALineFeedUnderTheNul)
{
    EXPECT_EQ(EventsOf("<a\n>\n<b\nx='1'\n>\r\n</b\n>&\n</a>"),
              "2:<a\n3:'\n'\n5:<b x=1\n6:'\r\n'\n7:/b\n8:error Unknown entity reference\n8:/a\n");
    std::string document = "a\r\nb\n";
    ScriptedReader reader;
    std::string goingBack = "<a>1\n\n\n2</a>";
    reader.onText = [&](const std::string&) {
        EXPECT_EQ(reader.GetCurLine(), 4u);
        reader.UngetChar();
        reader.UngetChar();
        EXPECT_EQ(reader.GetCurLine(), 3u);
        reader.GetChar();
        reader.GetChar();
        EXPECT_EQ(reader.GetCurLine(), 4u);
    };
    reader.Parse(goingBack.data());
    reader = ScriptedReader();
    EXPECT_EQ(reader.GetCurLine(), 1u);
    reader.Parse(nullptr);
    EXPECT_EQ(reader.GetCurLine(), 1u);
    reader.Parse(document.data());
    while (reader.GetChar() != '\0') {
    }
    EXPECT_EQ(reader.GetCurLine(), 3u);
    EXPECT_EQ(reader.GetChar(), '\0');
    reader.UngetChar();
    EXPECT_EQ(reader.PeekChar(), '\n');
    EXPECT_EQ(reader.GetCurLine(), 2u);
}

TEST(TXmlParserTest, HandlerMayParseAnotherDocument)
{
    std::string outerText = "<a\n><b\nx='1' z='2'/>\n<b x='3' z='4'/></a>";
    ScriptedReader outer;
    outer.onStart = [&](const char* name, ScriptedReader::Map& attributes) {
        if (*name != 'b')
            return;
        const std::string before = attributes["x"];
        const unsigned int line = outer.GetCurLine();
        std::string innerText = "<i x='inner' z='too'>\n\n\n&</i>";
        ScriptedReader inner;
        inner.onError = [&](const char*) {
            EXPECT_EQ(inner.GetCurLine(), 4u);
            EXPECT_EQ(outer.GetCurLine(), line);
        };
        inner.Parse(innerText.data());
        EXPECT_EQ(inner.trace, "<i##");
        EXPECT_EQ(attributes["x"], before);
        // A copy is no part of the running Parse, but stands at the same place.
        ScriptedReader copy;
        static_cast<TXmlParser&>(copy) = outer;
        EXPECT_EQ(copy.GetCurLine(), line);
        EXPECT_EQ(copy.PeekChar(), outer.PeekChar());
        outer.trace += std::to_string(line) + before;
    };
    outer.Parse(outerText.data());
    EXPECT_EQ(outer.trace, "<a<b31/b<b43/b/a");
}

TEST(TXmlParserTest, HandlerMayReuseItsReader)
{
    std::string inner = "<i>\n&</i>\n";
    std::string outer = "<a\n><b\n/></a>";
    ScriptedReader reader;
    reader.onStart = [&](const char* name, ScriptedReader::Map&) {
        if (*name == 'b')
            reader.Parse(inner.data());
    };
    reader.onError = [&](const char*) { reader.trace += std::to_string(reader.GetCurLine()); };
    reader.Parse(outer.data());
    // The outer Parse goes on from the end of the inner text.
    EXPECT_EQ(reader.trace, "<a<b<i#2#3/b#3");
    EXPECT_EQ(outer.c_str(), std::string("<a\n><b\n/></a>"));
}

TEST(TXmlParserTest, OperationsForDerivedReadersWorkOutsideParse)
{
    ScriptedReader reader;
    std::string document = "  Y='2' x='1'>t&lt;<!NOTATION n>rest";
    // Positions the reader at the start: both steps of Parse that consume something stop at once.
    reader.onError = [](const char*) {};
    reader.Parse(document.data());
    reader.UngetChar();
    while (reader.PeekChar() != ' ' || reader.GetCurLine() != 1)
        reader.UngetChar();
    EXPECT_EQ(reader.GetAttributeNValue(), (ScriptedReader::Map{{"x", "1"}, {"y", "2"}}));
    EXPECT_EQ(reader.GetChar(), '>');
    EXPECT_TRUE(reader.ParseCharData());
    EXPECT_FALSE(reader.ParseCharData());
    reader.trace.clear();
    EXPECT_TRUE(reader.ParseNotationDecl());
    EXPECT_FALSE(reader.ParseNotationDecl());
    EXPECT_EQ(reader.trace, "!TBDTBDTBD");
    EXPECT_EQ(reader.PeekChar(), 'r');
    EXPECT_FALSE(reader.SkipWhitespace());
}

TEST(TXmlParserTest, MillionNestedElementsAreRead)
{
    constexpr std::size_t kDepth = 1000000;
    std::string document;
    for (std::size_t i = 0; i < kDepth; ++i)
        document += "<a>";
    for (std::size_t i = 0; i < kDepth; ++i)
        document += "</a>";
    ScriptedReader reader;
    reader.Parse(document.data());
    EXPECT_EQ(reader.trace.size(), 4 * kDepth);
    EXPECT_EQ(reader.trace.find('#'), std::string::npos);
}

TEST(TXmlParserTest, ErrorsAndSearchesInVainTakeLinearTime)
{
    // Counted from the start each time, the lines of these would take 10^11 steps.
    std::string errors = "<a>";
    for (int i = 0; i < 200000; ++i)
        errors += "&bad;\n";
    ScriptedReader counting;
    unsigned int last = 0;
    counting.onError = [&](const char*) { last = counting.GetCurLine(); };
    counting.Parse(errors.data());
    EXPECT_EQ(last, 200001u);
    // Every second level tries again where the one inside it gave up.
    for (const char* open : {"<!--", "<?"}) {
        std::string document;
        for (int i = 0; i < 600000; ++i)
            document += "<a>";
        for (int i = 0; i < 300000; ++i)
            document += open;
        ScriptedReader reader;
        reader.Parse(document.data());
        EXPECT_EQ(reader.trace.size(), 2 * 600000u);
    }
}

} // namespace
