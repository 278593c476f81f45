#include "xml/References.h"
#include "xml/Scan.h"
#include "xml/TXmlParser.h"

namespace NORXVXA20 {

using xmlscan::FindTextEnd;
using xmlscan::Lower;
using xmlscan::Next;
using xmlscan::ReadReference;
using xmlscan::Reference;

namespace {

// Ends a text run for the time of a handler call, also when the handler throws.
class TextEnd {
public:
    explicit TextEnd(char* end) : m_end(end), m_hidden(*end) { *end = '\0'; }
    ~TextEnd() { *m_end = m_hidden; }
    TextEnd(const TextEnd&) = delete;
    TextEnd& operator=(const TextEnd&) = delete;

private:
    char* const m_end;
    const char m_hidden;
};

// The value of a digit of the base, or -1.
int DigitOf(char c, int base)
{
    c = Lower(c);
    if (c >= '0' && c <= '9')
        return c - '0';
    return base == 16 && c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

} // namespace

bool TXmlParser::ParseCharData()
{
    bool consumed = false;
    for (;;) {
        char* const run = m_pCur;
        char* const end = FindTextEnd(run);
        if (end != run) {
            m_pCur = end;
            const TextEnd ended(end);
            OnCharacterData(run, static_cast<unsigned int>(end - run));
            consumed = true;
        }
        if (*m_pCur != '&')
            return consumed;
        ParseReference();
        consumed = true;
    }
}

// A reference in character data, from its "&".
void TXmlParser::ParseReference()
{
    ++m_pCur;
    if (*m_pCur == '#')
        ParseNumericReference();
    else if (const Reference* const reference = ReadReference(m_pCur))
        OnCharacterData(reference->text, 1);
    else
        OnError("Unknown entity reference");
}

// From the "#". Faulty bytes are reported and skipped; only a ";" after at least one byte, or the
// end of the text, ends the reference.
void TXmlParser::ParseNumericReference()
{
    ++m_pCur;
    const int base = Lower(*m_pCur) == 'x' ? 16 : 10;
    if (base == 16)
        ++m_pCur;
    unsigned char value = 0;
    for (bool first = true;; first = false) {
        const char c = *m_pCur;
        m_pCur = Next(m_pCur);
        if (c == ';' && !first)
            break;
        const int digit = DigitOf(c, base);
        // Deliberate: only the low eight bits are kept.
        if (digit >= 0)
            value = static_cast<unsigned char>(value * base + digit);
        else // Deliberate: one text for both bases.
            OnError(c == ';' ? "Invalid hex character" : "Unknown entity reference");
        if (c == '\0')
            return;
    }
    const char text[] = {static_cast<char>(value), '\0'};
    OnCharacterData(text, 1);
}

} // namespace NORXVXA20
