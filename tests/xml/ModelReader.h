#pragma once

#include "tests/xml/Listener.h"

// The reader's grammar written down as plainly as possible, one byte at a time and recursively, on
// a checked string: what the real reader is compared with.
class ModelReader {
public:
    ModelReader(const std::string& document, Listener& listener)
        : m_original(document), m_text(document), m_listener(listener)
    {}
    void Parse();
    const std::string& Text() const { return m_text; }
    std::size_t Position() const { return m_at; }

private:
    char Get();
    char Peek(std::size_t ahead = 0) const;
    bool SkipBlanks();
    bool MovePast(const char* mark);
    bool Fault(const char* message);
    unsigned int Line() const;

    void Bom();
    void Prolog();
    bool Misc();
    bool Instruction();
    bool Script();
    void DocType();
    bool Comment();
    bool Name();
    Listener::Map Attributes();
    bool Value(char quote);
    bool ReferenceInValue();
    bool Element();
    bool Content(const std::string& name, bool valueVeto, bool& ended);
    bool EndTag(const std::string& name, bool valueVeto);
    void CharData();
    void Number();
    void Entity(char first);

    const std::string m_original;
    std::string m_text;
    std::size_t m_at = 0;
    Listener& m_listener;
};
