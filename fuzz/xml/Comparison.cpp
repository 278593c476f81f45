#include "fuzz/xml/Comparison.h"

#include <algorithm>
#include <cstring>

namespace {

char Lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool IsLetter(char c)
{
    return Lower(c) >= 'a' && Lower(c) <= 'z';
}

// The reader's grammar written down as plainly as possible, one byte at a time and recursively, on
// a checked string: what the real reader is compared with.
class ModelReader {
public:
    ModelReader(const std::string& document, Listener& listener)
        : m_original(document), m_text(document), m_listener(listener)
    {}
    void Parse()
    {
        Bom();
        Prolog();
        Element();
        while (Misc()) {
        }
    }

    const std::string& Text() const { return m_text; }
    std::size_t Position() const { return m_at; }

private:
    char Get()
    {
        const char c = Peek();
        if (c != '\0')
            ++m_at;
        return c;
    }

    char Peek(std::size_t ahead = 0) const
    {
        return m_at + ahead < m_text.size() ? m_text.at(m_at + ahead) : '\0';
    }

    bool SkipBlanks()
    {
        bool any = false;
        for (; Peek() == ' ' || Peek() == '\t' || Peek() == '\r' || Peek() == '\n'; any = true)
            Get();
        return any;
    }

    bool MovePast(const char* mark)
    {
        const std::size_t found = m_text.find(mark, m_at);
        if (found == std::string::npos)
            return false;
        m_at = found + std::strlen(mark);
        return true;
    }

    bool Fault(const char* message)
    {
        m_listener.Error(message, Line());
        return false;
    }

    unsigned int Line() const
    {
        return 1 + static_cast<unsigned int>(std::count(
                       m_original.begin(), m_original.begin() + static_cast<long>(m_at), '\n'));
    }

    void Bom()
    {
        if (Peek() != '\xEF')
            return;
        Get();
        if (Get() != '\xBB' || Get() != '\xBF')
            Fault("Unexpected character parsing UTF-8 BOM");
    }

    void Prolog()
    {
        const std::size_t start = m_at;
        if (Get() != '<') {
            Fault("Unexpected character before prolog");
            return;
        }
        const char second = Get();
        m_at = start;
        if (second != '?')
            return;
        MovePast("?>");
        while (Misc()) {
        }
        if (Peek() == '<' && Peek(1) == '!') {
            DocType();
            while (Misc()) {
            }
        }
    }

    bool Misc()
    {
        if (Peek() == '<') {
            if (Peek(1) == '!' && Peek(2) == '-')
                return Comment();
            if (Peek(1) == '?')
                return Instruction();
            return Peek(1) == '%' && Script();
        }
        return SkipBlanks() && Peek() != '\0';
    }

    bool Instruction()
    {
        if (!MovePast("?>"))
            return false;
        m_listener.Instruction("TBD", "TBD", Line());
        return true;
    }

    bool Script()
    {
        if (m_listener.SkipsScriptBlocks())
            return MovePast("%>");
        return Fault("Invalid XML '<%' characters encountered");
    }

    void DocType()
    {
        for (const char* c = "<!DOCTYPE"; *c != '\0'; ++c) {
            if (Get() != *c) {
                Fault("Unexpected character in doctypedecl");
                return;
            }
        }
        if (MovePast(">"))
            SkipBlanks();
    }

    bool Comment()
    {
        for (const char* c = "<!--"; *c != '\0'; ++c) {
            if (Get() != *c) {
                m_at -= 4;
                return false;
            }
        }
        return MovePast("-->");
    }

    bool Name()
    {
        const char first = Get();
        if (!IsLetter(first) && first != '_' && first != ':')
            return Fault("Invalid element/attribute name");
        while (IsLetter(Peek()) ||
               (Peek() != '\0' && std::strchr("0123456789.-_:", Peek()) != nullptr))
            Get();
        return true;
    }

    Listener::Map Attributes()
    {
        Listener::Map map;
        if (!SkipBlanks())
            return map;
        while (Peek() != '/' && Peek() != '%' && Peek() != '>') {
            const std::size_t nameStart = m_at;
            if (!Name())
                return map;
            const std::size_t nameEnd = m_at;
            SkipBlanks();
            if (Get() != '=') {
                Fault("Unexpected character between attribute name and value");
                return map;
            }
            SkipBlanks();
            const char quote = Get();
            if (quote != '\'' && quote != '"') {
                Fault("Unexpected character after equals of attribute name");
                return map;
            }
            const std::size_t valueStart = m_at;
            if (!Value(quote))
                return map;
            for (std::size_t i = nameStart; i < nameEnd; ++i)
                m_text.at(i) = Lower(m_text.at(i));
            const std::string value = m_text.substr(valueStart, m_at - 1 - valueStart);
            if (!map.emplace(m_text.substr(nameStart, nameEnd - nameStart), value).second)
                Fault("Attribute appears twice");
            if (!SkipBlanks())
                return map;
        }
        return map;
    }

    bool Value(char quote)
    {
        for (;;) {
            const char c = Get();
            if (c == quote)
                return true;
            if (c == '\0')
                return false;
            if (c == '<')
                return Fault("Unexpected character(<) in attribute value");
            if (c == '&' && !ReferenceInValue())
                return Fault("Unexpected character(&) in attribute value");
        }
    }

    bool ReferenceInValue()
    {
        const std::size_t start = m_at;
        std::string name;
        while (name.size() < 10 && (name.empty() || name.back() != ';'))
            name += Lower(Get());
        for (const char* known : {"gt;", "lt;", "amp;", "apos;", "quot;"}) {
            if (name == known)
                return true;
        }
        m_at = start;
        return false;
    }

    bool Element()
    {
        if (Get() != '<')
            return Fault("Unexpected character before element");
        const std::size_t nameStart = m_at;
        if (!Name())
            return false;
        const std::string name = m_text.substr(nameStart, m_at - nameStart);
        Listener::Map attributes = Attributes();
        char c = Get();
        const bool empty = c == '/';
        if (empty)
            c = Get();
        if (c != '>')
            return Fault("Unexpected character before end of element");
        const std::size_t before = attributes.size();
        m_listener.Start(name.c_str(), &attributes, Line());
        const bool result =
            !(attributes.size() == before + 1 && attributes.erase("throwExInvalidFormat"));
        const bool valueVeto =
            attributes.size() == before + 1 && attributes.erase("throwExInvalidValue");
        if (empty) {
            m_listener.End(name.c_str(), Line());
            return result;
        }
        for (;;) {
            bool ended = false;
            if (!Content(name, valueVeto, ended))
                return ended && result;
            if (ended)
                return result;
        }
    }

    // One piece of content. False fails the element, or with ended ends it because of a failed
    // child.
    bool Content(const std::string& name, bool valueVeto, bool& ended)
    {
        CharData();
        const std::size_t start = m_at;
        if (Get() != '<')
            return Fault("Unexpected character where element expected");
        const char next = Peek();
        if (next == '/') {
            Get();
            ended = EndTag(name, valueVeto);
            return ended;
        }
        m_at = start;
        if (next == '?')
            return Instruction();
        if (next == '!')
            return Comment();
        if (next == '%')
            return Script();
        ended = !Element();
        return !ended;
    }

    bool EndTag(const std::string& name, bool valueVeto)
    {
        const std::size_t start = m_at;
        if (!Name())
            return false;
        if (m_text.compare(start, name.size(), name) != 0)
            return Fault("Start and end element names don't match");
        SkipBlanks();
        if (Get() != '>')
            return Fault("Unexpected character before end of element");
        if (!valueVeto || std::string("VALUE").compare(0, name.size(), name) != 0)
            m_listener.End(name.c_str(), Line());
        return true;
    }

    void CharData()
    {
        for (;;) {
            const std::size_t start = m_at;
            while (Peek() != '\0' && Peek() != '<' && Peek() != '&')
                Get();
            if (m_at != start) {
                const std::string run = m_text.substr(start, m_at - start);
                m_listener.Text(run.c_str(), static_cast<unsigned int>(run.size()), Line());
            }
            if (Peek() != '&')
                return;
            Get();
            const char first = Lower(Get());
            if (first == '#')
                Number();
            else
                Entity(first);
        }
    }

    void Number()
    {
        const bool hex = Lower(Peek()) == 'x';
        if (hex)
            Get();
        const std::string digits = hex ? "0123456789abcdef" : "0123456789";
        unsigned int value = 0;
        for (int count = 0;; ++count) {
            const char c = Lower(Get());
            if (c == ';' && count > 0)
                break;
            const std::size_t digit = c == '\0' ? std::string::npos : digits.find(c);
            if (digit != std::string::npos)
                value = (value * digits.size() + digit) % 256;
            else
                Fault(c == ';' ? "Invalid hex character" : "Unknown entity reference");
            if (c == '\0')
                return;
        }
        m_listener.Text(std::string(1, static_cast<char>(value)).c_str(), 1, Line());
    }

    void Entity(char first)
    {
        const std::pair<std::string, const char*> table[] = {
            {"amp;", "&"}, {"apos;", "'"}, {"gt;", ">"}, {"lt;", "<"}, {"quot;", "\""}};
        std::string name(1, first);
        for (;; name += Lower(Get())) {
            bool fits = false;
            for (const auto& [reference, text] : table) {
                if (name == reference) {
                    m_listener.Text(text, 1, Line());
                    return;
                }
                fits = fits || reference.compare(0, name.size(), name) == 0;
            }
            if (!fits) {
                Fault("Unknown entity reference");
                return;
            }
        }
    }

    const std::string m_original;
    std::string m_text;
    std::size_t m_at = 0;
    Listener& m_listener;
};

} // namespace

std::vector<char> BufferOf(const std::string& document)
{
    std::vector<char> buffer(document.c_str(), document.c_str() + document.size() + 1);
    buffer.shrink_to_fit();
    return buffer;
}

std::string DifferenceFromModel(const std::string& document, std::uint32_t script)
{
    Listener expected(script);
    ModelReader model(document.substr(0, document.find('\0')), expected);
    try {
        model.Parse();
    } catch (const Listener::Stop&) {
    }
    Listener actual(script);
    ListeningReader reader(actual);
    std::vector<char> buffer = BufferOf(document);
    try {
        reader.Parse(buffer.data());
    } catch (const Listener::Stop&) {
    }
    if (actual.Trace() != expected.Trace())
        return "the events are\n" + actual.Trace() + "and should be\n" + expected.Trace();
    if (buffer.data() != model.Text())
        return "the text left behind is\n" + std::string(buffer.data());
    if (reader.Rest() != model.Text().size() - model.Position())
        return "the position is another one";
    return {};
}
