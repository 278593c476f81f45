// Requests byte for byte, and the object paths and values that they are made of.
#include "backends/cmmnsp/CimRequest.h"

#include "backends/cmmnsp/CimFailure.h"

#include <gmock/gmock.h>

using namespace NORXVXA20;
using testing::HasSubstr;

namespace {

const std::string kNamespacePath = "<LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"></NAMESPACE>"
                                   "<NAMESPACE NAME=\"cimv2\"></NAMESPACE></LOCALNAMESPACEPATH>";

TEST(CimRequestTest, OperationsAreOneElementInOneEnvelope)
{
    const CimRequest names = MakeClassNamesRequest("root/cimv2", "A", true);
    EXPECT_EQ(names.object, "root/cimv2");
    EXPECT_EQ(
        MessageBody(names, "17"),
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
        "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"17\" PROTOCOLVERSION=\"1.0\">"
        "<SIMPLEREQ><IMETHODCALL NAME=\"EnumerateClassNames\">" +
            kNamespacePath +
            "<IPARAMVALUE NAME=\"ClassName\"><CLASSNAME NAME=\"A\"></CLASSNAME></IPARAMVALUE>"
            "<IPARAMVALUE NAME=\"DeepInheritance\"><VALUE>TRUE</VALUE></IPARAMVALUE>"
            "</IMETHODCALL></SIMPLEREQ></MESSAGE></CIM>\n");
    EXPECT_THAT(MakeInstancesRequest("root/cimv2", "A", false).call,
                HasSubstr("NAME=\"LocalOnly\"><VALUE>FALSE"));
}

TEST(CimRequestTest, MethodCallNamesItsObjectAndItsParametersWithTheirTypes)
{
    TCIMReference data("root/cimv2", "Data");
    data.AddKeyValue("InstanceID", TCIMValue("one"));
    data.AddKeyValue("instanceid", TCIMValue("log & \"1\"\n"));
    const CimRequest request = MakeMethodRequest(TCIMReference("root/cimv2", "Service"), "Start",
                                                 {{"Data", TCIMValue(data)},
                                                  {"Flag", TCIMValue(true)},
                                                  {"Nothing", TCIMValue()},
                                                  {"Scheme", TCIMValue("0x8002")}});
    EXPECT_TRUE(request.isMethodCall);
    EXPECT_EQ(request.object, "root/cimv2:Service");
    EXPECT_EQ(
        request.call,
        "<METHODCALL NAME=\"Start\"><LOCALCLASSPATH>" + kNamespacePath +
            "<CLASSNAME NAME=\"Service\"></CLASSNAME></LOCALCLASSPATH>"
            "<PARAMVALUE NAME=\"Data\" "
            "PARAMTYPE=\"reference\"><VALUE.REFERENCE><LOCALINSTANCEPATH>" +
            kNamespacePath +
            "<INSTANCENAME CLASSNAME=\"Data\"><KEYBINDING NAME=\"InstanceID\">"
            "<KEYVALUE VALUETYPE=\"string\">log &amp; &quot;1&quot;&#10;</KEYVALUE></KEYBINDING>"
            "</INSTANCENAME></LOCALINSTANCEPATH></VALUE.REFERENCE></PARAMVALUE>"
            "<PARAMVALUE NAME=\"Flag\" PARAMTYPE=\"boolean\"><VALUE>TRUE</VALUE></PARAMVALUE>"
            "<PARAMVALUE NAME=\"Nothing\" PARAMTYPE=\"string\"></PARAMVALUE>"
            "<PARAMVALUE NAME=\"Scheme\" PARAMTYPE=\"string\"><VALUE>0x8002</VALUE></PARAMVALUE>"
            "</METHODCALL>");
    data.AddKeyValue("Number", TCIMValue(std::uint64_t{5}));
    EXPECT_EQ(MakeMethodRequest(data, "m", {}).object,
              "root/cimv2:Data.InstanceID=\"log & \\\"1\\\"\n\",Number=5");
    EXPECT_THROW(MakeMethodRequest(data, "m", {{"a", TCIMValue("\x01")}}), CimFailure);
}

TEST(CimRequestTest, HeaderValuesArePlainAscii)
{
    EXPECT_EQ(PercentEncode("root/cimv2:C.Id=\"a b%\xC3\xA4\r\n\""),
              "root/cimv2:C.Id=%22a%20b%25%C3%A4%0D%0A%22");
    EXPECT_EQ(PercentDecode("a%20b%c3%A4%zz%4"), "a b\xC3\xA4%zz%4");
}

} // namespace
