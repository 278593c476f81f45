#include "xml/AttributeList.h"
#include "xml/ParseRun.h"
#include "xml/References.h"
#include "xml/Scan.h"
#include "xml/TXmlParser.h"

namespace NORXVXA20 {

using namespace xmlscan;

namespace {

// What ends an attribute list; an empty text ends it without a message.
using Fault = const char*;
constexpr Fault kNone = nullptr;
constexpr char kEndOfText[] = "";

// Reads up to the closing quote, which is not consumed.
Fault ReadValue(char*& p, char quote)
{
    char* at = p;
    for (;;) {
        at = FindValueStop(at, quote);
        p = at;
        if (*at == quote)
            return kNone;
        if (*at == '\0')
            return kEndOfText;
        p = ++at;
        if (at[-1] == '<')
            return "Unexpected character(<) in attribute value";
        // Deliberate: references are checked, not replaced, and none may be numeric.
        if (ReadReference(at) == nullptr)
            return "Unexpected character(&) in attribute value";
    }
}

// Reads name, equals sign and quoted value; on a fault p stays where it was found.
Fault ReadAttribute(char*& p, Attribute& attribute)
{
    attribute.name = p;
    if (!Is(*p, kNameStart)) {
        p = Next(p);
        return "Invalid element/attribute name";
    }
    p = SkipNameBytes(p + 1);
    attribute.nameLength = static_cast<std::size_t>(p - attribute.name);
    p = SkipBlanks(p);
    if (*p != '=') {
        p = Next(p);
        return "Unexpected character between attribute name and value";
    }
    p = SkipBlanks(p + 1);
    const char quote = *p;
    if (quote != '\'' && quote != '"') {
        p = Next(p);
        return "Unexpected character after equals of attribute name";
    }
    attribute.value = ++p;
    const Fault fault = ReadValue(p, quote);
    attribute.valueLength = static_cast<std::size_t>(p - attribute.value);
    return fault;
}

void LowerName(const Attribute& attribute)
{
    for (std::size_t i = 0; i < attribute.nameLength; ++i)
        attribute.name[i] = Lower(attribute.name[i]);
}

bool EndsList(char c)
{
    return c == '>' || c == '/' || c == '%';
}

} // namespace

std::map<std::string, std::string> TXmlParser::GetAttributeNValue()
{
    if (!SkipWhitespace())
        return {};
    AttributeList attributes;
    while (!EndsList(*m_pCur)) {
        Attribute attribute;
        char* p = m_pCur;
        const Fault fault = ReadAttribute(p, attribute);
        m_pCur = p;
        if (fault != kNone) {
            if (fault != kEndOfText)
                OnError(fault);
            break;
        }
        ++m_pCur;
        LowerName(attribute);
        if (!attributes.Add(attribute))
            OnError("Attribute appears twice");
        if (!SkipWhitespace())
            break;
    }
    if (!attributes.Overflow().empty())
        return std::move(attributes.Overflow());
    Run* const run = Run::Of(*this);
    return run != nullptr ? run->Maps().Lend(attributes) : MapCache::Build(attributes);
}

} // namespace NORXVXA20
