#include "xml/ParseRun.h"

#include "xml/Scan.h"

#include <algorithm>
#include <cstring>
#include <functional>

namespace NORXVXA20 {

using xmlscan::Is;
using xmlscan::kNameStart;
using xmlscan::Next;
using xmlscan::SameBytes;
using xmlscan::SkipBlanks;
using xmlscan::SkipNameBytes;

// Ends an element's name for the time of a handler call, also when the handler throws.
class ParseRun::NameEnd {
public:
    NameEnd(ParseRun& run, char* end) : m_run(run), m_end(end)
    {
        run.m_hidden = *end;
        run.m_nul = end;
        *end = '\0';
    }
    ~NameEnd()
    {
        *m_end = m_run.m_hidden;
        m_run.m_nul = nullptr;
    }
    NameEnd(const NameEnd&) = delete;
    NameEnd& operator=(const NameEnd&) = delete;

private:
    ParseRun& m_run;
    char* const m_end;
};

thread_local ParseRun* ParseRun::s_innermost = nullptr;

ParseRun::ParseRun(TXmlParser& reader)
    : m_reader(reader), m_outer(s_innermost), m_countedText(reader.m_pBuffer),
      m_counted(reader.m_pBuffer)
{
    s_innermost = this;
}

ParseRun::~ParseRun()
{
    s_innermost = m_outer;
}

ParseRun* ParseRun::Of(const TXmlParser& reader)
{
    ParseRun* run = s_innermost;
    while (run != nullptr && &run->m_reader != &reader)
        run = run->m_outer;
    return run;
}

unsigned int ParseRun::LineAt(const char* text, const char* position)
{
    // A handler may have given the reader another text.
    if (text != m_countedText) {
        m_countedText = text;
        m_counted = text;
        m_line = 1;
    }
    if (std::less<>()(position, m_counted))
        m_line -= CountLineFeeds(position, m_counted);
    else
        m_line += CountLineFeeds(m_counted, position);
    m_counted = position;
    return m_line;
}

unsigned int ParseRun::CountLineFeeds(const char* from, const char* to)
{
    auto count = std::count(from, to, '\n');
    for (const ParseRun* run = s_innermost; run != nullptr; run = run->m_outer) {
        if (run->m_hidden == '\n' && !std::less<>()(run->m_nul, from) &&
            std::less<>()(run->m_nul, to))
            ++count;
    }
    return static_cast<unsigned int>(count);
}

// A failed search is remembered: every other level of a deep nesting could repeat it on all the
// rest.
bool ParseRun::MovePast(const char* mark, Missing& missing)
{
    TXmlParser& reader = m_reader;
    if (missing.text == reader.m_pBuffer && !std::less<>()(reader.m_pCur, missing.from))
        return false;
    if (xmlscan::MovePast(reader.m_pCur, mark))
        return true;
    missing = {reader.m_pBuffer, reader.m_pCur};
    return false;
}

// Nesting is kept on the heap: a text of opening tags alone must not exhaust the thread's stack.
bool ParseRun::ReadElement()
{
    Step step = ReadStartTag();
    while (!m_open.empty())
        // Deliberate: a failed child ends its parent quietly, with the parent's own result.
        step = step == Step::kFailed ? Close() : ReadItem();
    return step == Step::kGoOn;
}

bool ParseRun::ReadName()
{
    if (!Is(*m_reader.m_pCur, kNameStart))
        return m_reader.ValidateName(); // which reports it
    m_reader.m_pCur = SkipNameBytes(m_reader.m_pCur + 1);
    return true;
}

ParseRun::Step ParseRun::ReadStartTag()
{
    TXmlParser& reader = m_reader;
    const bool begun = *reader.m_pCur == '<';
    reader.m_pCur = Next(reader.m_pCur);
    if (!begun) {
        reader.OnError("Unexpected character before element");
        return Step::kFailed;
    }
    char* const name = reader.m_pCur;
    if (!ReadName())
        return Step::kFailed;
    const auto length = static_cast<std::size_t>(reader.m_pCur - name);

    m_maps.Forget();
    Map attributes = reader.GetAttributeNValue();
    const bool empty = *reader.m_pCur == '/';
    char* const end = reader.m_pCur + (empty ? 1 : 0);
    reader.m_pCur = Next(end);
    if (*end != '>') {
        reader.OnError("Unexpected character before end of element");
        return Step::kFailed;
    }
    const std::size_t before = attributes.size();
    Start(name, length, attributes);
    bool result = true;
    bool valueVeto = false;
    // A veto counts only when the handler added it and nothing else; few add anything at all.
    if (attributes.size() == before + 1) {
        result = attributes.erase("throwExInvalidFormat") == 0;
        valueVeto = result && attributes.erase("throwExInvalidValue") != 0;
    }
    m_maps.TakeBack(attributes);

    if (!empty) {
        m_open.emplace_back(name, length, result, valueVeto);
        return Step::kGoOn;
    }
    End(name, length);
    return result ? Step::kGoOn : Step::kFailed;
}

// One run of text with what follows it: a child's start, this element's end or something to skip.
ParseRun::Step ParseRun::ReadItem()
{
    TXmlParser& reader = m_reader;
    reader.ParseCharData();
    if (*reader.m_pCur != '<') {
        reader.m_pCur = Next(reader.m_pCur);
        return Fail("Unexpected character where element expected");
    }
    bool skipped = false;
    switch (reader.m_pCur[1]) {
    case '/':
        return ReadEndTag();
    case '?':
        skipped = reader.ParseProcessingInstruction();
        break;
    case '!':
        skipped = reader.SkipComment();
        break;
    case '%':
        skipped = reader.ParseJSSP();
        break;
    default:
        return ReadStartTag();
    }
    if (skipped)
        return Step::kGoOn;
    m_open.pop_back();
    return Step::kFailed;
}

ParseRun::Step ParseRun::ReadEndTag()
{
    TXmlParser& reader = m_reader;
    const OpenElement& element = m_open.back();
    char* const name = reader.m_pCur + 2;
    reader.m_pCur = name;
    if (!ReadName()) {
        m_open.pop_back();
        return Step::kFailed;
    }
    // Deliberate: a longer name that begins with the open element's closes it too.
    const auto length = static_cast<std::size_t>(reader.m_pCur - name);
    if (length < element.length || !SameBytes(name, element.name, element.length))
        return Fail("Start and end element names don't match");
    char* const end = SkipBlanks(reader.m_pCur);
    reader.m_pCur = Next(end);
    if (*end != '>')
        return Fail("Unexpected character before end of element");
    // Deliberate: any beginning of VALUE counts as VALUE.
    if (!element.valueVeto || std::strncmp(element.name, "VALUE", element.length) != 0)
        End(element.name, element.length);
    return Close();
}

// Ends the innermost open element with its own result.
ParseRun::Step ParseRun::Close()
{
    const Step step = m_open.back().result ? Step::kGoOn : Step::kFailed;
    m_open.pop_back();
    return step;
}

ParseRun::Step ParseRun::Fail(const char* message)
{
    m_open.pop_back();
    m_reader.OnError(message);
    return Step::kFailed;
}

void ParseRun::Start(char* name, std::size_t length, Map& attributes)
{
    const NameEnd end(*this, name + length);
    m_reader.OnStartElement(name, &attributes);
}

void ParseRun::End(char* name, std::size_t length)
{
    const NameEnd end(*this, name + length);
    m_reader.OnEndElement(name);
}

bool TXmlParser::ParseElement()
{
    return ParseRun::Of(*this)->ReadElement();
}

} // namespace NORXVXA20
