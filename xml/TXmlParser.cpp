#include "xml/TXmlParser.h"

#include "xml/ParseRun.h"
#include "xml/Scan.h"

namespace NORXVXA20 {

using xmlscan::Is;
using xmlscan::kNameStart;
using xmlscan::MovePast;
using xmlscan::Next;
using xmlscan::SkipBlanks;
using xmlscan::SkipNameBytes;

namespace {

// Deliberate: the arguments of the two notifications are never real values.
constexpr char kNoValue[] = "TBD";

// Moves p over the bytes of text one by one. On a difference it stays just after the byte that
// differs.
bool Consume(char*& p, const char* text)
{
    for (; *text != '\0'; ++text) {
        const char c = *p;
        p = Next(p);
        if (c != *text)
            return false;
    }
    return true;
}

} // namespace

TXmlParser::TXmlParser() = default;
TXmlParser::~TXmlParser() = default;
TXmlParser::TXmlParser(const TXmlParser&) = default;
TXmlParser& TXmlParser::operator=(const TXmlParser&) = default;

void TXmlParser::Parse(char* text)
{
    if (text == nullptr)
        return;
    m_pBuffer = text;
    m_pCur = text;
    const ParseRun run(*this);
    // A failed step does not stop the next.
    ParseBOM();
    ParseProlog();
    ParseElement();
    while (ParseMisc()) {
    }
}

unsigned int TXmlParser::GetCurLine() const
{
    if (ParseRun* const run = ParseRun::Of(*this))
        return run->LineAt(m_pBuffer, m_pCur);
    return 1 + ParseRun::CountLineFeeds(m_pBuffer, m_pCur);
}

char TXmlParser::GetChar()
{
    const char c = *m_pCur;
    m_pCur = Next(m_pCur);
    return c;
}

char TXmlParser::PeekChar() const
{
    return *m_pCur;
}

void TXmlParser::UngetChar()
{
    --m_pCur;
}

bool TXmlParser::SkipWhitespace()
{
    char* const start = m_pCur;
    m_pCur = SkipBlanks(start);
    return m_pCur != start;
}

bool TXmlParser::ValidateName()
{
    const bool named = Is(*m_pCur, kNameStart);
    m_pCur = Next(m_pCur);
    if (named)
        m_pCur = SkipNameBytes(m_pCur);
    else
        OnError("Invalid element/attribute name");
    return named;
}

bool TXmlParser::ParseBOM()
{
    if (*m_pCur == '\xEF' && !Consume(m_pCur, "\xEF\xBB\xBF"))
        OnError("Unexpected character parsing UTF-8 BOM");
    return true;
}

bool TXmlParser::ParseProlog()
{
    if (*m_pCur != '<') {
        m_pCur = Next(m_pCur);
        OnError("Unexpected character before prolog");
        return false;
    }
    // Deliberate: without an XML declaration there is no prolog, not even a comment.
    if (m_pCur[1] != '?')
        return false;
    ParseXMLDecl();
    while (ParseMisc()) {
    }
    if (m_pCur[0] == '<' && m_pCur[1] == '!') {
        ParseDocTypeDecl();
        while (ParseMisc()) {
        }
    }
    return true;
}

bool TXmlParser::ParseXMLDecl()
{
    return MovePast(m_pCur, "?>");
}

bool TXmlParser::ParseMisc()
{
    if (*m_pCur != '<')
        return SkipWhitespace() && *m_pCur != '\0';
    switch (m_pCur[1]) {
    case '!':
        return m_pCur[2] == '-' && SkipComment();
    case '?':
        return ParseProcessingInstruction();
    case '%':
        return ParseJSSP();
    default:
        return false;
    }
}

bool TXmlParser::ParseProcessingInstruction()
{
    if (!ParseRun::Of(*this)->SkipToInstructionEnd())
        return false;
    OnProcessingInstruction(kNoValue, kNoValue);
    return true;
}

bool TXmlParser::ParseDocTypeDecl()
{
    if (!Consume(m_pCur, "<!DOCTYPE")) {
        OnError("Unexpected character in doctypedecl");
        return false;
    }
    // Deliberate: an internal subset is cut at its first ">".
    if (!MovePast(m_pCur, ">"))
        return false;
    SkipWhitespace();
    return true;
}

bool TXmlParser::ParseNotationDecl()
{
    if (!MovePast(m_pCur, ">"))
        return false;
    OnNotationDecl(kNoValue, kNoValue, kNoValue);
    return true;
}

bool TXmlParser::SkipComment()
{
    if (!Consume(m_pCur, "<!--")) {
        // Deliberate: always four, also when fewer bytes were read.
        m_pCur -= 4;
        return false;
    }
    return ParseRun::Of(*this)->SkipToCommentEnd();
}

bool TXmlParser::ParseJSSP()
{
    OnError("Invalid XML '<%' characters encountered");
    return false;
}

} // namespace NORXVXA20
