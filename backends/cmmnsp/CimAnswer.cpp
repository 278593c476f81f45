#include "backends/cmmnsp/CimAnswer.h"

#include "backends/cmmnsp/CimFailure.h"
#include "backends/cmmnsp/CimRequest.h"
#include "backends/cmmnsp/CimValues.h"
#include "backends/cmmnsp/XmlTree.h"

#include <cstdlib>

namespace NORXVXA20 {

namespace {

struct ErrorName {
    int code;
    const char* name;
};
// Deliberate: 18 and 19 are not assigned.
constexpr ErrorName kErrorNames[] = {
    {1, "FAILED"},
    {2, "ACCESS_DENIED"},
    {3, "INVALID_NAMESPACE"},
    {4, "INVALID_PARAMETER"},
    {5, "INVALID_CLASS"},
    {6, "NOT_FOUND"},
    {7, "NOT_SUPPORTED"},
    {8, "CLASS_HAS_CHILDREN"},
    {9, "CLASS_HAS_INSTANCES"},
    {10, "INVALID_SUPERCLASS"},
    {11, "ALREADY_EXISTS"},
    {12, "NO_SUCH_PROPERTY"},
    {13, "TYPE_MISMATCH"},
    {14, "QUERY_LANGUAGE_NOT_SUPPORTED"},
    {15, "INVALID_QUERY"},
    {16, "METHOD_NOT_AVAILABLE"},
    {17, "METHOD_NOT_FOUND"},
    {20, "NAMESPACE_NOT_EMPTY"},
    {21, "INVALID_ENUMERATION_CONTEXT"},
    {22, "INVALID_OPERATION_TIMEOUT"},
    {23, "PULL_HAS_BEEN_ABANDONED"},
    {24, "PULL_CANNOT_BE_ABANDONED"},
    {25, "FILTERED_ENUMERATION_NOT_SUPPORTED"},
    {26, "CONTINUATION_ON_ERROR_NOT_SUPPORTED"},
    {27, "SERVER_LIMITS_EXCEEDED"},
    {28, "SERVER_IS_SHUTTING_DOWN"},
};

[[noreturn]] void Unexpected(const XmlElement& element, const XmlElement& parent)
{
    throw CimFailure("the answer has an unexpected " + element.name + " in " + parent.name);
}

// The one child that parent must have.
const XmlElement& OnlyChild(const XmlElement& parent, const char* name)
{
    if (parent.children.size() != 1 || parent.children.front().name != name)
        throw CimFailure("the answer has no single " + std::string(name) + " in " + parent.name);
    return parent.children.front();
}

// An attribute that may be missing must begin so.
void CheckVersion(const XmlElement& element, const char* attribute, const char* major)
{
    const std::string& version = element.Attribute(attribute);
    if (!version.empty() && version.compare(0, 2, major) != 0)
        throw CimFailure("the answer has an unknown version " + version);
}

// The response element inside its envelope, checked against the request.
const XmlElement& Response(const XmlElement& root, const CimRequest& request, const std::string& id)
{
    if (root.name != "CIM")
        throw CimFailure("the answer is no CIM document");
    const XmlElement& message = OnlyChild(root, "MESSAGE");
    CheckVersion(root, "cimversion", "2.");
    CheckVersion(root, "dtdversion", "2.");
    CheckVersion(message, "protocolversion", "1.");
    if (message.Attribute("id") != id)
        throw CimFailure("the answer belongs to another request");
    const XmlElement& response =
        OnlyChild(OnlyChild(message, "SIMPLERSP"),
                  request.isMethodCall ? "METHODRESPONSE" : "IMETHODRESPONSE");
    if (ToLower(response.Attribute("name")) != ToLower(request.method))
        throw CimFailure("the answer belongs to another operation");
    return response;
}

// A missing name makes everything that goes by it meaningless.
const std::string& RequiredName(const XmlElement& element, const char* attribute)
{
    const std::string& name = element.Attribute(attribute);
    if (name.empty())
        throw CimFailure("the answer has a " + element.name + " without a name");
    return name;
}

CimInstance ReadInstance(const XmlElement& named)
{
    const XmlElement* const path = named.Child("INSTANCENAME");
    const XmlElement* const element = named.Child("INSTANCE");
    if (path == nullptr || element == nullptr)
        throw CimFailure("the answer has an instance without its name or its properties");
    CimInstance instance;
    // Some devices leave the class out where it is said a second time.
    instance.className = element->Attribute("classname").empty() ? RequiredName(*path, "classname")
                                                                 : element->Attribute("classname");
    for (const XmlElement& child : element->children) {
        if (child.name == "PROPERTY" || child.name == "PROPERTY.ARRAY" ||
            child.name == "PROPERTY.REFERENCE")
            instance.properties.emplace(ToLower(RequiredName(child, "name")),
                                        ReadValue(child, child.Attribute("type")));
    }
    return instance;
}

// What an operation of the namespace returned.
void ReadReturned(const XmlElement& returned, const CimRequest& request, CimAnswer& answer)
{
    for (const XmlElement& child : returned.children) {
        if ((request.method == "EnumerateClassNames" && child.name == "CLASSNAME") ||
            (request.method == "GetClass" && child.name == "CLASS"))
            answer.classNames.push_back(RequiredName(child, "name"));
        else if (request.method == "EnumerateInstances" && child.name == "VALUE.NAMEDINSTANCE")
            answer.instances.push_back(ReadInstance(child));
        else
            Unexpected(child, returned);
    }
}

// The type of a parameter; some devices call the attribute otherwise.
const std::string& ParameterType(const XmlElement& parameter)
{
    const std::string& type = parameter.Attribute("paramtype");
    return type.empty() ? parameter.Attribute("type") : type;
}

void ReadError(const XmlElement& error, CimAnswer& answer)
{
    // An unreadable code reads as 0, which is an error all the same.
    answer.errorCode = static_cast<int>(std::strtol(error.Attribute("code").c_str(), nullptr, 10));
    answer.errorText = error.Attribute("description");
}

} // namespace

CimAnswer ReadCimAnswer(const std::string& body, const CimRequest& request, const std::string& id)
{
    const XmlElement root = ReadXmlTree(body);
    const XmlElement& response = Response(root, request, id);
    CimAnswer answer;
    if (const XmlElement* const error = response.Child("ERROR")) {
        ReadError(*error, answer);
        return answer;
    }
    for (const XmlElement& child : response.children) {
        if (!request.isMethodCall && child.name == "IRETURNVALUE")
            ReadReturned(child, request, answer);
        else if (request.isMethodCall && child.name == "RETURNVALUE")
            answer.returnValue = ReadValue(child, ParameterType(child));
        else if (request.isMethodCall && child.name == "PARAMVALUE")
            answer.outputs.emplace(RequiredName(child, "name"),
                                   ReadValue(child, ParameterType(child)));
        else
            Unexpected(child, response);
    }
    if (request.method == "GetClass" && !request.isMethodCall && answer.classNames.size() != 1)
        throw CimFailure("the answer has no single class");
    return answer;
}

std::string CimErrorName(int code)
{
    for (const ErrorName& error : kErrorNames) {
        if (error.code == code)
            return std::string("CIM_ERR_") + error.name + " (" + std::to_string(code) + ")";
    }
    return "CIM error " + std::to_string(code);
}

std::string ToLower(std::string text)
{
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    }
    return text;
}

} // namespace NORXVXA20
