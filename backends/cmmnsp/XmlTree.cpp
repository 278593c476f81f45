#include "backends/cmmnsp/XmlTree.h"

#include "backends/cmmnsp/CimFailure.h"
#include "xml/TXmlParser.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace NORXVXA20 {

namespace {

constexpr std::size_t kMaxLevels = 64;
constexpr std::size_t kMaxElements = 1000000;
constexpr std::size_t kMaxText = std::size_t{4} * 1024 * 1024;
constexpr std::size_t kMaxReference = 10; // bytes between "&" and ";"

struct NamedCharacter {
    const char* name;
    char character;
};
constexpr NamedCharacter kNamedCharacters[] = {
    {"amp", '&'}, {"apos", '\''}, {"gt", '>'}, {"lt", '<'}, {"quot", '"'},
};

bool IsBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

bool IsNameByte(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           (c != '\0' && std::strchr("._-:", c) != nullptr);
}

char Lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string Lower(std::string text)
{
    for (char& c : text)
        c = Lower(c);
    return text;
}

std::string Utf8(std::uint32_t code)
{
    if (code < 0x80)
        return {static_cast<char>(code)};
    if (code < 0x800)
        return {static_cast<char>(0xC0 | code >> 6), static_cast<char>(0x80 | (code & 0x3F))};
    if (code < 0x10000)
        return {static_cast<char>(0xE0 | code >> 12), static_cast<char>(0x80 | (code >> 6 & 0x3F)),
                static_cast<char>(0x80 | (code & 0x3F))};
    return {static_cast<char>(0xF0 | code >> 18), static_cast<char>(0x80 | (code >> 12 & 0x3F)),
            static_cast<char>(0x80 | (code >> 6 & 0x3F)), static_cast<char>(0x80 | (code & 0x3F))};
}

// The character of a reference by number; name is "#65" or "#x41".
std::string NumberedCharacter(const std::string& name)
{
    const bool isHex = name.size() > 1 && name[1] == 'x';
    const std::uint32_t base = isHex ? 16 : 10;
    const std::string digits = name.substr(isHex ? 2 : 1);
    std::uint32_t code = 0;
    for (const char c : digits) {
        const char* const known = "0123456789abcdef";
        const char* const digit = std::strchr(known, Lower(c));
        if (digit == nullptr || digit - known >= static_cast<std::ptrdiff_t>(base))
            throw CimFailure("the answer has a character reference that is no number");
        code = std::min<std::uint32_t>(code * base + static_cast<std::uint32_t>(digit - known),
                                       0x110000);
    }
    // An empty number is zero, too.
    if (code == 0 || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
        throw CimFailure("the answer refers to a character that does not exist");
    return Utf8(code);
}

// Builds the tree. The base class goes on after a fault; here every fault throws, so that only
// well-formed documents get through.
class TreeReader : public TXmlParser {
public:
    XmlElement Read(char* document)
    {
        Parse(document);
        SkipWhitespace();
        if (PeekChar() != '\0')
            throw CimFailure("the answer goes on after its end");
        if (m_roots != 1 || !m_open.empty())
            throw CimFailure("the answer is not complete");
        return std::move(m_root);
    }

protected:
    void OnStartElement(const char* name, std::map<std::string, std::string>* attributes) override
    {
        if (m_open.size() >= kMaxLevels)
            throw CimFailure("the answer is nested too deeply");
        if (++m_elements > kMaxElements)
            throw CimFailure("the answer has too many elements");
        if (m_open.empty())
            ++m_roots;
        XmlElement& element = m_open.empty() ? m_root : m_open.back()->children.emplace_back();
        element.name = name;
        // A copy: the map belongs to the base class, which compares its size afterwards.
        element.attributes = *attributes;
        m_open.push_back(&element);
    }

    void OnEndElement(const char* name) override
    {
        // An element that failed quietly is still open here.
        if (m_open.empty() || m_open.back()->name != name)
            throw CimFailure("an element of the answer does not end");
        m_open.pop_back();
    }

    void OnCharacterData(const char* text, unsigned int length) override { Append({text, length}); }
    void OnProcessingInstruction(const char*, const char*) override {}
    void OnNotationDecl(const char*, const char*, const char*) override {}

    void OnError(const char* message) override
    {
        throw CimFailure(std::string("the answer is malformed: ") + message + " in line " +
                         std::to_string(GetCurLine()));
    }

    // Text up to the next tag or comment, with its references and CDATA sections.
    bool ParseCharData() override
    {
        std::string text;
        for (;;) {
            const char c = PeekChar();
            if (c == '\0' || (c == '<' && !SkipText("<![CDATA[")))
                break;
            if (c == '<')
                ReadCData(text);
            else if (c == '&')
                text += ReadReference();
            else
                text += GetChar();
        }
        Append(text);
        return !text.empty();
    }

    std::map<std::string, std::string> GetAttributeNValue() override
    {
        std::map<std::string, std::string> attributes;
        while (SkipWhitespace() && IsNameByte(PeekChar())) {
            const std::string name = ReadName();
            SkipWhitespace();
            if (GetChar() != '=')
                throw CimFailure("an attribute of the answer has no value");
            SkipWhitespace();
            if (!attributes.emplace(name, ReadAttributeValue()).second)
                throw CimFailure("an attribute of the answer appears twice");
        }
        return attributes;
    }

private:
    // The elements of values; text anywhere else is layout.
    bool KeepsText() const
    {
        return !m_open.empty() &&
               (m_open.back()->name == "VALUE" || m_open.back()->name == "KEYVALUE");
    }

    void Append(const std::string& text)
    {
        if (!KeepsText())
            return;
        if (m_open.back()->text.size() + text.size() > kMaxText)
            throw CimFailure("a value of the answer is too long");
        m_open.back()->text += text;
    }

    // Moves past expected if it stands at the position.
    bool SkipText(const char* expected)
    {
        int read = 0;
        for (; expected[read] != '\0' && PeekChar() == expected[read]; ++read)
            GetChar();
        if (expected[read] == '\0')
            return true;
        while (read-- > 0)
            UngetChar();
        return false;
    }

    void ReadCData(std::string& text)
    {
        while (!SkipText("]]>")) {
            if (PeekChar() == '\0')
                throw CimFailure("a CDATA section of the answer does not end");
            text += GetChar();
        }
    }

    std::string ReadReference()
    {
        std::string name;
        GetChar();
        for (char c = GetChar(); c != ';'; c = GetChar()) {
            if (c == '\0' || name.size() == kMaxReference)
                throw CimFailure("a reference of the answer does not end");
            name += c;
        }
        if (name.compare(0, 1, "#") == 0)
            return NumberedCharacter(name);
        for (const NamedCharacter& named : kNamedCharacters) {
            if (name == named.name)
                return {named.character};
        }
        throw CimFailure("the answer has an unknown entity");
    }

    std::string ReadName()
    {
        std::string name;
        while (IsNameByte(PeekChar()))
            name += Lower(GetChar());
        return name;
    }

    std::string ReadAttributeValue()
    {
        const char quote = GetChar();
        if (quote != '"' && quote != '\'')
            throw CimFailure("an attribute's value in the answer has no quotes");
        std::string value;
        while (PeekChar() != quote) {
            if (PeekChar() == '\0' || PeekChar() == '<')
                throw CimFailure("an attribute of the answer does not end");
            if (PeekChar() == '&')
                value += ReadReference();
            else
                value += GetChar();
        }
        GetChar();
        if (value.size() > kMaxText)
            throw CimFailure("an attribute of the answer is too long");
        return value;
    }

    XmlElement m_root;
    // The way from the root to the innermost open element; only the last one grows, so none moves.
    std::vector<XmlElement*> m_open;
    std::size_t m_roots = 0;
    std::size_t m_elements = 0;
};

// The encoding that the XML declaration names, in lower case; empty without one.
std::string DeclaredEncoding(const std::string& document, std::size_t begin)
{
    const std::size_t end = document.find("?>", begin);
    if (document.compare(begin, 5, "<?xml") != 0 || end == std::string::npos)
        return std::string();
    const std::string declaration = document.substr(begin, end - begin);
    const std::size_t name = declaration.find("encoding");
    const std::size_t open =
        name == std::string::npos ? name : declaration.find_first_of("\"'", name);
    if (open == std::string::npos)
        return std::string();
    const std::size_t close = declaration.find(declaration[open], open + 1);
    return Lower(declaration.substr(open + 1, close - open - 1));
}

// True for a document type declaration with declarations of its own.
bool DeclaresEntities(const std::string& document)
{
    const std::size_t doctype = document.find("<!DOCTYPE");
    if (doctype == std::string::npos)
        return false;
    return document.find('[', doctype) < document.find('>', doctype);
}

} // namespace

const std::string& XmlElement::Attribute(const char* attribute) const
{
    static const std::string kNone;
    const auto found = attributes.find(attribute);
    return found != attributes.end() ? found->second : kNone;
}

const XmlElement* XmlElement::Child(const char* childName) const
{
    const auto found = std::find_if(children.begin(), children.end(), [&](const XmlElement& child) {
        return child.name == childName;
    });
    return found != children.end() ? &*found : nullptr;
}

XmlElement ReadXmlTree(std::string document)
{
    if (document.find('\0') != std::string::npos)
        throw CimFailure("the answer is not text in UTF-8");
    if (DeclaresEntities(document))
        throw CimFailure("the answer declares entities");
    const auto begin = static_cast<std::size_t>(
        std::find_if_not(document.begin(), document.end(), IsBlank) - document.begin());
    const std::size_t mark = document.compare(begin, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;
    const std::string encoding = DeclaredEncoding(document, begin + mark);
    if (!encoding.empty() && encoding != "utf-8" && encoding != "us-ascii")
        throw CimFailure("the answer is not encoded in UTF-8");
    return TreeReader().Read(document.data() + begin);
}

} // namespace NORXVXA20
