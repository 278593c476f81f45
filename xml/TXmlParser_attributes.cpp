#include "xml/AttributeList.h"
#include "xml/ParseRun.h"
#include "xml/References.h"
#include "xml/Scan.h"
#include "xml/TXmlParser.h"

namespace NORXVXA20 {

using xmlscan::FindValueStop;
using xmlscan::Is;
using xmlscan::kBlank;
using xmlscan::kNameStart;
using xmlscan::kWordSize;
using xmlscan::Lower;
using xmlscan::LowerInWord;
using xmlscan::Next;
using xmlscan::ReadReference;
using xmlscan::SkipBlanks;
using xmlscan::SkipNameBytes;

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
    const std::ptrdiff_t room = attribute.value + attribute.valueLength - attribute.name;
    if (attribute.nameLength <= kWordSize && room >= kWordSize)
        LowerInWord(attribute.name, attribute.nameLength);
    else
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
    // Most tags have no attributes: nothing is set up for them.
    return Is(*m_pCur, kBlank) ? ReadAttributes() : std::map<std::string, std::string>();
}

std::map<std::string, std::string> TXmlParser::ReadAttributes()
{
    char* p = SkipBlanks(m_pCur);
    AttributeList attributes;
    while (!EndsList(*p)) {
        Attribute& attribute = attributes.Next();
        const Fault fault = ReadAttribute(p, attribute);
        if (fault != kNone) {
            m_pCur = p;
            if (fault != kEndOfText)
                OnError(fault);
            p = m_pCur;
            break;
        }
        LowerName(attribute);
        ++p; // the closing quote
        if (!attributes.Keep()) {
            m_pCur = p;
            OnError("Attribute appears twice");
            p = m_pCur;
        }
        char* const end = p;
        p = SkipBlanks(end);
        if (p == end)
            break;
    }
    m_pCur = p;
    if (!attributes.Overflow().empty())
        return std::move(attributes.Overflow());
    ParseRun* const run = ParseRun::Of(*this);
    return run != nullptr ? run->Maps().Lend(attributes) : MapCache::Build(attributes);
}

} // namespace NORXVXA20
