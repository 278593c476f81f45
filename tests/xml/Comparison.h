#pragma once

#include "tests/xml/Listener.h"
#include "xml/TXmlParser.h"

#include <vector>

// A reader that tells a listener everything, each event with its line.
class ListeningReader : public NORXVXA20::TXmlParser {
public:
    explicit ListeningReader(Listener& listener) : m_listener(listener) {}
    // The bytes left between the position and the end.
    std::size_t Rest();

protected:
    void OnStartElement(const char* name, std::map<std::string, std::string>* attributes) override;
    void OnEndElement(const char* name) override;
    void OnProcessingInstruction(const char* target, const char* data) override;
    void OnCharacterData(const char* text, unsigned int length) override;
    void OnNotationDecl(const char* a, const char* b, const char* c) override;
    void OnError(const char* message) override;
    bool ParseJSSP() override;

private:
    Listener& m_listener;
};

// The document in a heap buffer of exactly its size, so that the sanitizer sees one byte too many.
std::vector<char> BufferOf(const std::string& document);

// Reads the document with the reader and with the model, the script deciding what the handlers do.
// Empty if events, lines, position and the text left behind are the same, else what differs.
std::string DifferenceFromModel(const std::string& document, std::uint32_t script);
