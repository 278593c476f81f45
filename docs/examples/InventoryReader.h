#pragma once

#include "xml/TXmlParser.h"

#include <map>
#include <string>
#include <vector>

struct Part {
    std::string name;
    std::string slot;
    std::string note;
};

// Reads <inventory> documents: <part name="..." slot="...">a note</part>, any number of them.
class InventoryReader : public NORXVXA20::TXmlParser {
public:
    // True if the document was read to its end without a fault. Taken by value: the reader writes
    // into the text while it reads.
    bool Read(std::string text)
    {
        m_parts.clear();
        m_errors.clear();
        m_open.clear();
        m_complete = false;
        Parse(text.data());
        if (m_errors.empty() && !m_complete)
            OnError("the inventory does not end");
        return m_errors.empty();
    }
    const std::vector<Part>& Parts() const { return m_parts; }
    const std::vector<std::string>& Errors() const { return m_errors; }

protected:
    void OnStartElement(const char* name, std::map<std::string, std::string>* attributes) override
    {
        m_open.emplace_back(name);
        if (m_open == m_partPath)
            m_parts.push_back({(*attributes)["name"], (*attributes)["slot"], ""});
        else if (m_open != m_rootPath)
            OnError("unknown element");
    }
    void OnEndElement(const char* name) override
    {
        // After a fault elements may have ended without an event of their own.
        while (!m_open.empty() && m_open.back() != name)
            m_open.pop_back();
        m_complete = m_open == m_rootPath;
        if (!m_open.empty())
            m_open.pop_back();
    }
    void OnCharacterData(const char* text, unsigned int length) override
    {
        // A text with references in it arrives in pieces.
        if (m_open == m_partPath)
            m_parts.back().note.append(text, length);
    }
    void OnError(const char* message) override
    {
        m_errors.push_back("line " + std::to_string(GetCurLine()) + ": " + message);
    }
    void OnProcessingInstruction(const char*, const char*) override {}
    void OnNotationDecl(const char*, const char*, const char*) override {}

private:
    using Path = std::vector<std::string>;
    const Path m_rootPath{"inventory"};
    const Path m_partPath{"inventory", "part"};

    std::vector<Part> m_parts;
    std::vector<std::string> m_errors;
    Path m_open; // the names of the open elements, outermost first
    bool m_complete = false;
};
