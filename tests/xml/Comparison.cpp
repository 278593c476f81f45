#include "tests/xml/Comparison.h"

#include "tests/xml/ModelReader.h"

std::size_t ListeningReader::Rest()
{
    std::size_t count = 0;
    while (GetChar() != '\0')
        ++count;
    return count;
}

void ListeningReader::OnStartElement(const char* name,
                                     std::map<std::string, std::string>* attributes)
{
    m_listener.Start(name, attributes, GetCurLine());
}

void ListeningReader::OnEndElement(const char* name)
{
    m_listener.End(name, GetCurLine());
}

void ListeningReader::OnProcessingInstruction(const char* target, const char* data)
{
    m_listener.Instruction(target, data, GetCurLine());
}

void ListeningReader::OnCharacterData(const char* text, unsigned int length)
{
    m_listener.Text(text, length, GetCurLine());
}

void ListeningReader::OnNotationDecl(const char* a, const char* b, const char* c)
{
    m_listener.Notation(a, b, c, GetCurLine());
}

void ListeningReader::OnError(const char* message)
{
    m_listener.Error(message, GetCurLine());
}

bool ListeningReader::ParseJSSP()
{
    if (!m_listener.SkipsScriptBlocks())
        return TXmlParser::ParseJSSP();
    // On a copy, so that the position stays when there is no end.
    ListeningReader ahead(*this);
    for (char last = '\0'; ahead.PeekChar() != '\0';) {
        const char c = ahead.GetChar();
        if (last == '%' && c == '>') {
            TXmlParser::operator=(ahead);
            return true;
        }
        last = c;
    }
    return false;
}

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
