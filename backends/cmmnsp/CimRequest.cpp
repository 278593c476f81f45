#include "backends/cmmnsp/CimRequest.h"

#include "backends/cmmnsp/CimFailure.h"

#include <algorithm>
#include <cstring>

namespace NORXVXA20 {

namespace {

constexpr unsigned char kDecimal = 10;
constexpr char kHexDigits[] = "0123456789ABCDEF";

// The only way by which a text gets into a request, in an attribute as well as between tags.
std::string Escape(const std::string& text)
{
    std::string escaped;
    for (const char c : text) {
        switch (c) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        case '\n':
            escaped += "&#10;";
            break;
        case '\r':
            escaped += "&#13;";
            break;
        case '\t':
            escaped += "&#9;";
            break;
        default:
            if (static_cast<unsigned char>(c) < 0x20)
                throw CimFailure("a control character cannot be sent");
            escaped += c;
        }
    }
    return escaped;
}

// <name attribute="value">content</name>; without an attribute when that is null.
std::string Element(const char* name, const char* attribute, const std::string& value,
                    const std::string& content)
{
    std::string element = std::string("<") + name;
    if (attribute != nullptr)
        element += std::string(" ") + attribute + "=\"" + Escape(value) + "\"";
    return element + ">" + content + "</" + name + ">";
}

std::string NamespacePath(const std::string& namespaceName)
{
    std::string names;
    std::size_t begin = 0;
    while (begin <= namespaceName.size()) {
        const std::size_t end = std::min(namespaceName.find('/', begin), namespaceName.size());
        names += Element("NAMESPACE", "NAME", namespaceName.substr(begin, end - begin), "");
        begin = end + 1;
    }
    return Element("LOCALNAMESPACEPATH", nullptr, "", names);
}

std::string PathElement(const TCIMReference& path);

std::string KeyBinding(const std::string& name, const TCIMValue& value)
{
    if (value.GetReference() != nullptr)
        return Element("KEYBINDING", "NAME", name,
                       Element("VALUE.REFERENCE", nullptr, "", PathElement(*value.GetReference())));
    const char* type = "string";
    if (value.GetType() == TCIMValue::eBoolean)
        type = "boolean";
    else if (value.GetType() == TCIMValue::eUnsigned || value.GetType() == TCIMValue::eSigned)
        type = "numeric";
    return Element("KEYBINDING", "NAME", name,
                   Element("KEYVALUE", "VALUETYPE", type, Escape(value.ToString(kDecimal))));
}

// The path of an instance, or of the class when there are no keys.
std::string PathElement(const TCIMReference& path)
{
    const std::string nameSpace = NamespacePath(path.GetNamespaceName());
    if (path.GetKeyValues().empty())
        return Element("LOCALCLASSPATH", nullptr, "",
                       nameSpace + Element("CLASSNAME", "NAME", path.GetTargetClass(), ""));
    std::string keys;
    for (const auto& [name, value] : path.GetKeyValues())
        keys += KeyBinding(name, value);
    return Element("LOCALINSTANCEPATH", nullptr, "",
                   nameSpace + Element("INSTANCENAME", "CLASSNAME", path.GetTargetClass(), keys));
}

const char* ParameterType(const TCIMValue& value)
{
    switch (value.GetType()) {
    case TCIMValue::eBoolean:
        return "boolean";
    case TCIMValue::eUnsigned:
        return "uint64";
    case TCIMValue::eSigned:
        return "sint64";
    case TCIMValue::eReference:
        return "reference";
    case TCIMValue::eString:
    case TCIMValue::eNull:
        break;
    }
    return "string";
}

std::string Parameter(const std::string& name, const TCIMValue& value)
{
    std::string content;
    if (value.GetReference() != nullptr)
        content = Element("VALUE.REFERENCE", nullptr, "", PathElement(*value.GetReference()));
    else if (value.GetType() != TCIMValue::eNull)
        content = Element("VALUE", nullptr, "", Escape(value.ToString(kDecimal)));
    return "<PARAMVALUE NAME=\"" + Escape(name) + "\" PARAMTYPE=\"" + ParameterType(value) + "\">" +
           content + "</PARAMVALUE>";
}

std::string Flag(const char* name, bool value)
{
    return Element("IPARAMVALUE", "NAME", name,
                   Element("VALUE", nullptr, "", value ? "TRUE" : "FALSE"));
}

// An operation on a class of a namespace.
CimRequest Operation(const char* name, const std::string& namespaceName,
                     const std::string& className, const std::string& flags)
{
    CimRequest request;
    request.method = name;
    request.object = namespaceName;
    request.call = Element("IMETHODCALL", "NAME", name,
                           NamespacePath(namespaceName) +
                               Element("IPARAMVALUE", "NAME", "ClassName",
                                       Element("CLASSNAME", "NAME", className, "")) +
                               flags);
    return request;
}

int HexValue(char c)
{
    const char* const digit =
        c == '\0' ? nullptr : std::strchr(kHexDigits, c >= 'a' && c <= 'f' ? c - 'a' + 'A' : c);
    return digit != nullptr ? static_cast<int>(digit - kHexDigits) : -1;
}

} // namespace

CimRequest MakeClassNamesRequest(const std::string& namespaceName, const std::string& className,
                                 bool deep)
{
    return Operation("EnumerateClassNames", namespaceName, className,
                     Flag("DeepInheritance", deep));
}

CimRequest MakeClassRequest(const std::string& namespaceName, const std::string& className,
                            bool ownOnly)
{
    return Operation("GetClass", namespaceName, className,
                     Flag("LocalOnly", ownOnly) + Flag("IncludeQualifiers", false));
}

CimRequest MakeInstancesRequest(const std::string& namespaceName, const std::string& className,
                                bool deep)
{
    // Without LocalOnly=FALSE a server may leave out what the class inherits.
    return Operation("EnumerateInstances", namespaceName, className,
                     Flag("DeepInheritance", deep) + Flag("LocalOnly", false) +
                         Flag("IncludeQualifiers", false));
}

CimRequest MakeMethodRequest(const TCIMReference& path, const std::string& method,
                             const std::map<std::string, TCIMValue>& parameters)
{
    std::string content = PathElement(path);
    for (const auto& [name, value] : parameters)
        content += Parameter(name, value);
    CimRequest request;
    request.method = method;
    request.object = path.ToString();
    request.call = Element("METHODCALL", "NAME", method, content);
    request.isMethodCall = true;
    return request;
}

std::string MessageBody(const CimRequest& request, const std::string& id)
{
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
           "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"" +
           Escape(id) + "\" PROTOCOLVERSION=\"1.0\"><SIMPLEREQ>" + request.call +
           "</SIMPLEREQ></MESSAGE></CIM>\n";
}

std::string PercentEncode(const std::string& text)
{
    std::string encoded;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        const bool isPlain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                             (c >= '0' && c <= '9') ||
                             (c != '\0' && std::strchr("-_./:=,", c) != nullptr);
        if (isPlain)
            encoded += c;
        else
            encoded.append({'%', kHexDigits[byte >> 4], kHexDigits[byte & 15]});
    }
    return encoded;
}

std::string PercentDecode(const std::string& text)
{
    std::string decoded;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const int high = text[i] == '%' && i + 2 < text.size() ? HexValue(text[i + 1]) : -1;
        const int low = high >= 0 ? HexValue(text[i + 2]) : -1;
        if (low < 0) {
            decoded += text[i];
            continue;
        }
        decoded += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return decoded;
}

} // namespace NORXVXA20
