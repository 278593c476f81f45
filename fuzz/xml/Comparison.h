#pragma once

#include "fuzz/xml/Listener.h"
#include "xml/TXmlParser.h"

#include <vector>

// A reader that tells a listener everything, each event with its line.
class ListeningReader : public NORXVXA20::TXmlParser {
public:
    explicit ListeningReader(Listener& listener) : m_listener(listener) {}
    // The bytes left between the position and the end.
    std::size_t Rest()
    {
        std::size_t count = 0;
        while (GetChar() != '\0')
            ++count;
        return count;
    }

protected:
    void OnStartElement(const char* name, std::map<std::string, std::string>* attributes) override
    {
        m_listener.Start(name, attributes, GetCurLine());
    }
    void OnEndElement(const char* name) override { m_listener.End(name, GetCurLine()); }
    void OnProcessingInstruction(const char* target, const char* data) override
    {
        m_listener.Instruction(target, data, GetCurLine());
    }
    void OnCharacterData(const char* text, unsigned int length) override
    {
        m_listener.Text(text, length, GetCurLine());
    }
    void OnNotationDecl(const char* a, const char* b, const char* c) override
    {
        m_listener.Notation(a, b, c, GetCurLine());
    }
    void OnError(const char* message) override { m_listener.Error(message, GetCurLine()); }
    bool ParseJSSP() override
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

private:
    Listener& m_listener;
};

// The document in a heap buffer of exactly its size, so that the sanitizer sees one byte too many.
std::vector<char> BufferOf(const std::string& document);

// Reads the document with the reader and with the model, the script deciding what the handlers do.
// Empty if events, lines, position and the text left behind are the same, else what differs.
std::string DifferenceFromModel(const std::string& document, std::uint32_t script);
