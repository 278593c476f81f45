#include "bench/xml/Documents.h"

#include <fstream>
#include <initializer_list>
#include <iterator>
#include <string_view>

namespace {

constexpr std::size_t kMegabyte = 1000000;
constexpr std::size_t kRunSize = 65536;
constexpr char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";

struct PackagedDocument {
    const char* name;
    const char* path;
};

constexpr PackagedDocument kPackaged[] = {
    {"shared-mime-info", "/usr/share/mime/packages/freedesktop.org.xml"},
    {"iso-codes", "/usr/share/xml/iso-codes/iso_639-3.xml"},
    {"unicode-cldr-core", "/usr/share/unicode/cldr/common/main/cs.xml"},
};

struct Property {
    const char* name;
    const char* type;
    const char* value; // a number follows it
};

constexpr Property kProperties[] = {
    {"Caption", "string", "Diagnostic record "},
    {"CreationClassName", "string", "Demo_LogRecord"},
    {"Description", "string",
     "The fan tray &quot;rear&quot; reported a speed below its limit, event "},
    {"ElementName", "string", "Event log entry "},
    {"InstanceID", "string", "Demo:LogRecord:"},
    {"LogCreationClassName", "string", "Demo_RecordLog"},
    {"MessageTimestamp", "datetime", "20240229235958.000000+060"},
    {"OperationalStatus", "uint16", ""},
    {"PerceivedSeverity", "uint16", ""},
    {"RecordData", "string", "08 00 02 1F 55 6A 20 00 04 72 6F 01 A1 "},
    {"RecordFormat", "string", "IPMI SEL "},
    {"SystemName", "string", "node"},
};

void Append(std::string& text, std::initializer_list<std::string_view> pieces)
{
    for (const std::string_view piece : pieces)
        text += piece;
}

// The answer to an enumeration of instances, as a chassis manager sends it.
std::string CimResponse(std::size_t size)
{
    std::string text = kDeclaration;
    text += "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">\n"
            "<MESSAGE ID=\"1001\" PROTOCOLVERSION=\"1.0\"><SIMPLERSP>"
            "<IMETHODRESPONSE NAME=\"EnumerateInstances\"><IRETURNVALUE>\n";
    for (int record = 1; text.size() < size; ++record) {
        const std::string number = std::to_string(record);
        Append(text,
               {"<VALUE.NAMEDINSTANCE>\n<INSTANCENAME CLASSNAME=\"Demo_LogRecord\">\n"
                "<KEYBINDING NAME=\"InstanceID\"><KEYVALUE VALUETYPE=\"string\">Demo:LogRecord:",
                number,
                "</KEYVALUE></KEYBINDING>\n</INSTANCENAME>\n"
                "<INSTANCE CLASSNAME=\"Demo_LogRecord\">\n"});
        for (const Property& property : kProperties)
            Append(text, {"<PROPERTY NAME=\"", property.name, "\" TYPE=\"", property.type,
                          "\">\n<VALUE>", property.value, number, "</VALUE>\n</PROPERTY>\n"});
        text += "</INSTANCE>\n</VALUE.NAMEDINSTANCE>\n";
    }
    return text + "</IRETURNVALUE></IMETHODRESPONSE></SIMPLERSP></MESSAGE></CIM>\n";
}

// Nine attributes a tag and nothing else.
std::string Attributes(std::size_t size)
{
    std::string text = std::string(kDeclaration) + "<inventory>\n";
    for (int part = 1; text.size() < size; ++part) {
        const std::string number = std::to_string(part);
        Append(text, {"<part id=\"", number, "\" name=\"Memory module\" slot=\"DIMM ", number,
                      "\" vendor=\"Example\" model=\"M393A2K40\" serial=\"S0", number,
                      "\" firmware=\"1.42\" state=\"enabled\" health=\"ok\"/>\n"});
    }
    return text + "</inventory>\n";
}

constexpr char kSummary[] =
    "The adapter answered all requests within the time allowed and reported "
    "no errors since it was started.";

// Sections, headings and tables with short texts, indented; hardly any attribute.
std::string Report(std::size_t size)
{
    std::string text = std::string(kDeclaration) + "<report>\n  <title>System report</title>\n";
    for (int section = 1; text.size() < size; ++section) {
        const std::string number = std::to_string(section);
        Append(text, {"  <section id=\"s", number, "\">\n    <heading>Adapter ", number,
                      "</heading>\n    <summary>", kSummary, "</summary>\n    <table>\n"});
        for (const char* row : {"Firmware level", "Link speed", "Temperature", "Packets received"})
            Append(text, {"      <row>\n        <cell>", row, "</cell>\n        <cell>", number,
                          "</cell>\n      </row>\n"});
        text += "    </table>\n  </section>\n";
    }
    return text + "</report>\n";
}

// Long runs, in lines, as of a log file put into a document.
std::string LongText(std::size_t size)
{
    std::string run;
    while (run.size() < kRunSize)
        run += "2024-02-29 23:59:58.125 kernel: eth0: link is up, 1000 Mbps, full duplex, flow "
               "control\n";
    std::string text = std::string(kDeclaration) + "<logs>\n";
    while (text.size() < size)
        text += "<log>" + run + "</log>\n";
    return text + "</logs>\n";
}

std::string Packaged(const char* path)
{
    std::ifstream file(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    // Our reader cuts a document type declaration at its first ">", so none of the parsers gets one
    // that declares something.
    const std::size_t subset = text.find("]>");
    const std::size_t declaration = text.find("<!DOCTYPE");
    if (subset != std::string::npos && declaration < text.find('[') && text.find('[') < subset)
        text.erase(declaration, subset + 2 - declaration);
    return text;
}

} // namespace

std::vector<std::string> DocumentNames()
{
    std::vector<std::string> names{"cim-1", "cim-10", "cim-100", "attributes", "report", "text"};
    for (const PackagedDocument& document : kPackaged)
        names.emplace_back(document.name);
    return names;
}

std::string MakeDocument(const std::string& name)
{
    if (name.rfind("cim-", 0) == 0)
        return CimResponse(std::stoul(name.substr(4)) * kMegabyte);
    if (name == "attributes")
        return Attributes(4 * kMegabyte);
    if (name == "report")
        return Report(4 * kMegabyte);
    if (name == "text")
        return LongText(4 * kMegabyte);
    for (const PackagedDocument& document : kPackaged) {
        if (name == document.name)
            return Packaged(document.path);
    }
    return {};
}
