// What is taken from answers, and which answers are refused.
#include "backends/cmmnsp/CimAnswer.h"

#include "backends/cmmnsp/CimFailure.h"
#include "backends/cmmnsp/CimRequest.h"

#include <gmock/gmock.h>

using namespace NORXVXA20;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

const CimRequest kNames = MakeClassNamesRequest("root/cimv2", "Base", true);
const CimRequest kClass = MakeClassRequest("root/cimv2", "C", false);
const CimRequest kInstances = MakeInstancesRequest("root/cimv2", "C", true);
const CimRequest kMethod = MakeMethodRequest(TCIMReference("root/cimv2", "C"), "Run", {});

std::string Envelope(const std::string& response)
{
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<CIM CIMVERSION=\"2.0\" "
           "DTDVERSION=\"2.0\">\n"
           "<MESSAGE ID=\"7\" PROTOCOLVERSION=\"1.0\">\n<SIMPLERSP>\n" +
           response + "\n</SIMPLERSP>\n</MESSAGE>\n</CIM>\n";
}

std::string Returned(const CimRequest& request, const std::string& content)
{
    return Envelope("<IMETHODRESPONSE NAME=\"" + request.method + "\"><IRETURNVALUE>" + content +
                    "</IRETURNVALUE></IMETHODRESPONSE>");
}

std::string Instance(const std::string& properties)
{
    return Returned(kInstances, "<VALUE.NAMEDINSTANCE><INSTANCENAME CLASSNAME=\"C\"/>\n"
                                "<INSTANCE  CLASSNAME=\"C\" >\n" +
                                    properties + "\n</INSTANCE></VALUE.NAMEDINSTANCE>");
}

// An instance with one property of this value.
std::string Value(const std::string& content)
{
    return Instance("<PROPERTY NAME=\"P\" TYPE=\"string\"><VALUE>" + content +
                    "</VALUE></PROPERTY>");
}

// The same with another text in one place.
std::string Replaced(const std::string& what, const std::string& by)
{
    std::string body = Value("a");
    return body.replace(body.find(what), what.size(), by);
}

std::string MethodAnswer(const std::string& content)
{
    return Envelope("<METHODRESPONSE NAME=\"RUN\">" + content + "</METHODRESPONSE>");
}

CimAnswer Read(const CimRequest& request, const std::string& body)
{
    return ReadCimAnswer(body, request, "7");
}

// The text of the property P that holds this; "null" for a null.
std::string PropertyText(const std::string& type, const std::string& content)
{
    const CimAnswer answer = Read(kInstances, Instance("<PROPERTY  NAME=\"P\"  TYPE=\"" + type +
                                                       "\">\n" + content + "</PROPERTY>"));
    const TCIMValue& value = answer.instances.at(0).properties.at("p");
    return value.GetType() == TCIMValue::eNull ? "null" : value.ToString(10);
}

// Why the body is refused; empty when it is not.
std::string Refusal(const CimRequest& request, const std::string& body)
{
    try {
        Read(request, body);
    } catch (const CimFailure& e) {
        return e.what();
    }
    return std::string();
}

TEST(CimAnswerTest, ListsKeepTheirOrderAndMayBeMissing)
{
    const std::string names =
        Returned(kNames, "<CLASSNAME NAME=\"B\"/>\n<CLASSNAME NAME=\"A\"></CLASSNAME>");
    // A mark of UTF-8 or some layout may stand around them.
    for (const std::string& body :
         {names, "\r\n  " + names + "<!-- end --> \n", "\xEF\xBB\xBF" + names})
        EXPECT_THAT(Read(kNames, body).classNames, ElementsAre("B", "A"));
    EXPECT_THAT(
        Read(kInstances, Envelope("<IMETHODRESPONSE NAME=\"enumerateinstances\"/>")).instances,
        IsEmpty());
}

TEST(CimAnswerTest, TextIsDecodedAndOtherwiseLeftAsItIs)
{
    const struct {
        const char* content;
        const char* text;
    } cases[] = {
        {"<VALUE> a\r\n b </VALUE>", " a\r\n b "},
        {"<VALUE>&lt;&gt;&amp;&quot;&apos;</VALUE>", "<>&\"'"},
        {"<VALUE>&#65;&#228;&#x4E2D;&#x1f600;</VALUE>", "A\xC3\xA4\xE4\xB8\xAD\xF0\x9F\x98\x80"},
        {"<VALUE>a<![CDATA[<b>&amp;]]]>]]&gt;</VALUE>", "a<b>&amp;]]]>"},
        {"<VALUE>a<!-- <b> -->c<?p ?>d</VALUE>", "acd"},
        {"<VALUE/>", ""},
        {"", "null"},
        {"<QUALIFIER NAME=\"q\"><VALUE>q</VALUE></QUALIFIER><VALUE>v</VALUE>", "v"},
        {"<VALUE.ARRAY><VALUE>a</VALUE><VALUE.NULL/><VALUE>b</VALUE></VALUE.ARRAY>", "a, , b"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.content);
        EXPECT_EQ(PropertyText("string", c.content), c.text);
    }
    EXPECT_EQ(Read(kInstances, Instance("<PROPERTY Name='a&#10;&#x263a;&amp;b' X:y=\"1\" TYPE=\"\">"
                                        "<VALUE>v</VALUE></PROPERTY>"))
                  .instances[0]
                  .properties.begin()
                  ->first,
              "a\n\xE2\x98\xBA&b");
}

TEST(CimAnswerTest, ValuesAreReadByTheirType)
{
    const struct {
        const char* type;
        const char* content;
        const char* text; // null: refused
    } cases[] = {
        {"boolean", " true ", "TRUE"},
        {"boolean", "1", nullptr},
        {"uint32", "\n0x1F ", "31"},
        {"sint64", "-0x10", "-16"},
        {"sint64", "9223372036854775808", nullptr},
        {"uint64", "18446744073709551615", "18446744073709551615"},
        {"uint64", "18446744073709551616", nullptr},
        {"uint16", "-1", nullptr},
        {"uint16", "1a", nullptr},
        {"datetime", " 20240229235958.000000+060 ", "20240229235958.000000+060"},
        {"strange", " x ", " x "},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.type) + " '" + c.content + "'");
        const std::string content = std::string("<VALUE>") + c.content + "</VALUE>";
        if (c.text == nullptr)
            EXPECT_THROW(PropertyText(c.type, content), CimFailure);
        else
            EXPECT_EQ(PropertyText(c.type, content), c.text);
    }
}

TEST(CimAnswerTest, MethodsGiveTheirReturnValueAndTheirOutputs)
{
    const CimAnswer answer = Read(kMethod, MethodAnswer(R"(
        <RETURNVALUE PARAMTYPE="uint32"><VALUE>4096</VALUE></RETURNVALUE>
        <PARAMVALUE NAME="b" TYPE="string"><VALUE>x</VALUE></PARAMVALUE>
        <PARAMVALUE NAME="Job" PARAMTYPE="reference"><VALUE.REFERENCE><INSTANCEPATH>
            <NAMESPACEPATH><HOST>h</HOST><LOCALNAMESPACEPATH>
                <NAMESPACE NAME="root"/><NAMESPACE NAME="x"/>
            </LOCALNAMESPACEPATH></NAMESPACEPATH>
            <INSTANCENAME CLASSNAME="J"><KEYBINDING NAME="Id">
                <KEYVALUE VALUETYPE="numeric">7</KEYVALUE>
            </KEYBINDING></INSTANCENAME>
        </INSTANCEPATH></VALUE.REFERENCE></PARAMVALUE>
        <PARAMVALUE NAME="a"/>)"));
    EXPECT_EQ(answer.returnValue.ToString(10), "4096");
    ASSERT_EQ(answer.outputs.size(), 3u);
    EXPECT_EQ(answer.outputs.at("b").ToString(10), "x");
    EXPECT_EQ(answer.outputs.at("a").GetType(), TCIMValue::eNull);
    EXPECT_EQ(answer.outputs.at("Job").ToString(10), "root/x:J.Id=7");
}

TEST(CimAnswerTest, ErrorIsAnErrorWhateverItsCode)
{
    for (const auto& [code, number] : {std::pair("4711", 4711), std::pair("x", 0)}) {
        const CimAnswer answer =
            Read(kMethod, MethodAnswer(std::string("<ERROR CODE=\"") + code +
                                       "\" DESCRIPTION=\"no&#10;class\"><INSTANCE "
                                       "CLASSNAME=\"CIM_Error\"/></ERROR>"));
        EXPECT_EQ(answer.errorCode, number);
        EXPECT_EQ(answer.errorText, "no\nclass");
    }
    EXPECT_EQ(CimErrorName(18), "CIM error 18");
}

TEST(CimAnswerTest, TruncatedAnswersAreRefusedWhereverTheyEnd)
{
    const std::string whole = Value("a&amp;<![CDATA[b]]><!-- c -->");
    EXPECT_EQ(Refusal(kInstances, whole), "");
    for (std::size_t length = 0; length < whole.rfind('>'); ++length) {
        SCOPED_TRACE(whole.substr(0, length));
        EXPECT_NE(Refusal(kInstances, whole.substr(0, length)), "");
    }
}

TEST(CimAnswerTest, MalformedAndForeignAnswersAreRefusedWithAReason)
{
    std::string nested;
    for (int i = 0; i < 60; ++i)
        nested = "<X>" + nested + "</X>";
    const struct {
        std::string body;
        const char* reason;
    } cases[] = {
        {Value("&AMP;"), "unknown entity"},
        {Value("&#xD800;"), "does not exist"},
        {Value("&#x110000;"), "does not exist"},
        {Value("&#;"), "does not exist"},
        {Value("a & b, and then nothing"), "does not end"},
        {Value(std::string("a\0b", 3)), "not text"},
        {Replaced("utf-8", "ISO-8859-1"), "not encoded in UTF-8"},
        {Replaced("<CIM ", "<!DOCTYPE CIM [<!ENTITY a \"b\">]><CIM "), "declares entities"},
        {Replaced("CIMVERSION=\"2", "CIMVERSION=\"3"), "unknown version"},
        {Replaced("\"7\"", "\"8\""), "another request"},
        {Value("a") + "<x/>", "goes on after its end"},
        {Instance("<PROPERTY NAME=\"a\" NAME=\"b\"/>"), "appears twice"},
        {Instance("<PROPERTY NAME=a/>"), "no quotes"},
        {Instance("<PROPERTY NAME/>"), "no value"},
        {Instance("<PROPERTY TYPE=\"string\"/>"), "without a name"},
        {Value(nested), "too deeply"},
        {Value(std::string(5 * 1024 * 1024, 'a')), "too long"},
        {Returned(kNames, ""), "another operation"},
        {MethodAnswer(""), "no single IMETHODRESPONSE"},
        {Returned(kInstances, "<CLASSNAME NAME=\"C\"/>"), "unexpected CLASSNAME"},
        {"<html><body>Not here</body></html>", "no CIM document"},
        {"", "malformed"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.body.substr(0, 500));
        EXPECT_THAT(Refusal(kInstances, c.body), HasSubstr(c.reason));
    }
    EXPECT_THAT(Refusal(kClass, Returned(kClass, "")), HasSubstr("no single class"));
}

} // namespace
