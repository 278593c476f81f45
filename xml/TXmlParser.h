#pragma once

#include "UtilsExport.h"

#include <map>
#include <string>

namespace NORXVXA20 {

// Event-driven XML reader over one text that it reads in place. Derive from it, implement the six
// handlers and call Parse; docs/xml-reader.md shows a whole reader.
//
// The text is NUL-terminated, writable and the caller's; it must stay in place during Parse. Names
// and text runs are ended by a NUL for the time of a handler call only, so a pointer handed to a
// handler is good until it returns. Attribute names are left in lower case for good.
//
// Bytes are bytes: there are no encodings beyond skipping a UTF-8 byte-order mark, no CDATA
// sections and no validation but what OnError reports. Nothing here throws; what a handler throws
// passes through Parse and leaves the text as it was. Nesting is limited by memory, not by the
// stack. Separate readers may work on separate threads.
class UTILS_API TXmlParser {
public:
    TXmlParser();
    virtual ~TXmlParser();
    // A copy shares the text and the position:
    TXmlParser(const TXmlParser& other);
    TXmlParser& operator=(const TXmlParser& other);

protected:
    // The handlers. The order of the virtual operations is part of the interface.

    // attributes: names in lower case, values as written (references are checked, not replaced), of
    // two of the same name the first. The map is the handler's to change until it returns. Two keys
    // veto the element when the handler adds nothing else: "throwExInvalidFormat" reads it to its
    // end and then ends the parent without its OnEndElement; "throwExInvalidValue" leaves out the
    // OnEndElement of an element VALUE that has content.
    virtual void OnStartElement(const char* name,
                                std::map<std::string, std::string>* attributes) = 0;
    // Missing for an element that could not be read to its end, and for its parent.
    virtual void OnEndElement(const char* name) = 0;
    // Deliberate: only a notification, both arguments are "TBD".
    virtual void OnProcessingInstruction(const char* target, const char* data) = 0;
    // length bytes of text, NUL-terminated, nothing trimmed. A reference is an event of its own; a
    // numeric one yields a single byte, its value modulo 256.
    virtual void OnCharacterData(const char* text, unsigned int length) = 0;
    // Deliberate: only a notification, all arguments are "TBD".
    virtual void OnNotationDecl(const char* name, const char* publicId, const char* systemId) = 0;
    // One fault; GetCurLine gives its line. Parsing goes on unless the handler throws.
    virtual void OnError(const char* message) = 0;

    // The hooks: what a derived reader may read differently, with the operations below. Each starts
    // and ends at the current position.

    // A "<%" block, from its "<". The base class reports it; false ends the element around it.
    virtual bool ParseJSSP();
    // Text and references up to the next "<" or the end; true if it consumed anything.
    virtual bool ParseCharData();
    // The attributes of a start tag, from just after the element's name.
    virtual std::map<std::string, std::string> GetAttributeNValue();

public:
    // Reads the whole document; everything found reaches the handlers. Null is ignored.
    void Parse(char* text);
    // The 1-based line of the current position: one plus the line feeds before it. 1 before Parse.
    unsigned int GetCurLine() const;

protected:
    // The byte at the position, which moves past it; at the end 0, without moving.
    char GetChar();
    // The byte at the position, which stays; 0 at the end.
    char PeekChar() const;
    // One byte back, without a check.
    void UngetChar();
    // Skips blanks, tabs, carriage returns and line feeds; true if there were any.
    bool SkipWhitespace();
    // Consumes one element or attribute name; without one it reports the fault and returns false.
    bool ValidateName();
    // Moves past the next ">" and calls OnNotationDecl; false if there is none. Nothing in the base
    // class calls it.
    bool ParseNotationDecl();

private:
    friend class ParseRun;

    bool ParseBOM();
    bool ParseProlog();
    bool ParseXMLDecl();
    bool ParseMisc();
    bool ParseProcessingInstruction();
    bool ParseDocTypeDecl();
    bool SkipComment();
    bool ParseElement();
    std::map<std::string, std::string> ReadAttributes();
    void ParseReference();
    void ParseNumericReference();

    char* m_pBuffer = nullptr; // start of the text, for counting lines
    char* m_pCur = nullptr;    // current position in it
};

} // namespace NORXVXA20
