#include "backends/cmmnsp/CimValues.h"

#include "backends/cmmnsp/CimAnswer.h"
#include "backends/cmmnsp/CimFailure.h"
#include "backends/cmmnsp/XmlTree.h"
#include "common/Trim.h"
#include "platform/vxacore/TCIMReference.h"

#include <cstdint>

namespace NORXVXA20 {

namespace {

constexpr unsigned char kDecimal = 10;

[[noreturn]] void NotOfType(const std::string& type)
{
    throw CimFailure("the answer has a value that is no " + type);
}

// A number, decimal or hexadecimal and with a sign; the limit is that of 64 bits.
TCIMValue ReadInteger(const std::string& text, const std::string& type)
{
    const bool isSigned = type[0] == 's';
    const bool isNegative = text.compare(0, 1, "-") == 0;
    std::size_t i = isNegative || text.compare(0, 1, "+") == 0 ? 1 : 0;
    const bool isHex = ToLower(text.substr(i, 2)) == "0x";
    const std::uint64_t base = isHex ? 16 : 10;
    i += isHex ? 2 : 0;
    if (i == text.size())
        NotOfType(type);
    std::uint64_t number = 0;
    for (; i < text.size(); ++i) {
        const std::size_t digit = std::string("0123456789abcdef").find(ToLower(text.substr(i, 1)));
        if (digit >= base || number > (UINT64_MAX - digit) / base)
            NotOfType(type);
        number = number * base + digit;
    }
    const auto limit = static_cast<std::uint64_t>(INT64_MAX) + (isNegative ? 1 : 0);
    if ((isSigned && number > limit) || (!isSigned && isNegative && number != 0))
        NotOfType(type);
    if (!isSigned)
        return TCIMValue(number);
    return TCIMValue(static_cast<std::int64_t>(isNegative ? 0 - number : number));
}

TCIMValue ReadScalar(const std::string& text, const std::string& type)
{
    TCIMValue value;
    if (type == "boolean") {
        const std::string word = ToLower(Trimmed(text));
        if (word != "true" && word != "false")
            NotOfType(type);
        return TCIMValue(word == "true");
    }
    for (const char* const number :
         {"uint8", "uint16", "uint32", "uint64", "sint8", "sint16", "sint32", "sint64"}) {
        if (type == number)
            return ReadInteger(Trimmed(text), type);
    }
    if (type == "datetime" || type == "real32" || type == "real64")
        value.Set(Trimmed(text));
    else
        value.Set(text);
    return value;
}

std::string ReadNamespace(const XmlElement& path)
{
    std::string name;
    for (const XmlElement& child : path.children) {
        if (child.name == "NAMESPACEPATH" || child.name == "LOCALNAMESPACEPATH")
            return ReadNamespace(child);
        if (child.name == "NAMESPACE")
            name += (name.empty() ? "" : "/") + child.Attribute("name");
    }
    return name;
}

TCIMValue ReadReference(const XmlElement& holder);

TCIMValue ReadKey(const XmlElement& binding)
{
    if (const XmlElement* const value = binding.Child("KEYVALUE")) {
        const std::string type = ToLower(value->Attribute("valuetype"));
        if (type == "numeric")
            return ReadScalar(value->text, Trimmed(value->text)[0] == '-' ? "sint64" : "uint64");
        return ReadScalar(value->text, type);
    }
    if (const XmlElement* const reference = binding.Child("VALUE.REFERENCE"))
        return ReadReference(*reference);
    return TCIMValue();
}

// The path in a reference, in any of the forms that a path has.
TCIMValue ReadReference(const XmlElement& holder)
{
    if (holder.children.size() != 1)
        throw CimFailure("the answer has a reference to nothing");
    const XmlElement& path = holder.children.front();
    const XmlElement* const instance =
        path.name == "INSTANCENAME" ? &path : path.Child("INSTANCENAME");
    if (instance == nullptr) {
        const XmlElement* const named = path.name == "CLASSNAME" ? &path : path.Child("CLASSNAME");
        if (named == nullptr)
            throw CimFailure("the answer has a reference to nothing");
        return TCIMValue(TCIMReference(ReadNamespace(path), named->Attribute("name")));
    }
    TCIMReference reference(ReadNamespace(path), instance->Attribute("classname"));
    for (const XmlElement& child : instance->children) {
        if (child.name == "KEYBINDING")
            reference.AddKeyValue(child.Attribute("name"), ReadKey(child));
    }
    return TCIMValue(reference);
}

TCIMValue ReadArray(const XmlElement& array, const std::string& type)
{
    std::string text;
    for (const XmlElement& item : array.children) {
        if (!text.empty())
            text += ", ";
        if (item.name == "VALUE")
            text += ReadScalar(item.text, type).ToString(kDecimal);
    }
    TCIMValue value;
    value.Set(text);
    return value;
}

} // namespace

TCIMValue ReadValue(const XmlElement& holder, const std::string& type)
{
    // Only what the holder itself has: its qualifiers have values, too.
    if (const XmlElement* const value = holder.Child("VALUE"))
        return ReadScalar(value->text, ToLower(type));
    if (const XmlElement* const array = holder.Child("VALUE.ARRAY"))
        return ReadArray(*array, ToLower(type));
    if (const XmlElement* const reference = holder.Child("VALUE.REFERENCE"))
        return ReadReference(*reference);
    return TCIMValue();
}

} // namespace NORXVXA20
