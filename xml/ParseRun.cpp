#include "xml/ParseRun.h"

#include "xml/Scan.h"

#include <algorithm>
#include <cstring>
#include <functional>

namespace NORXVXA20 {

using namespace xmlscan;

namespace {

// Removes the veto when the handler added it and nothing else.
bool TakeVeto(std::map<std::string, std::string>& attributes, const char* key, std::size_t before)
{
    return attributes.size() == before + 1 && attributes.erase(key) != 0;
}

} // namespace

// Ends an element's name for the time of a handler call, also when the handler throws.
class TXmlParser::Run::NameEnd {
public:
    NameEnd(Run& run, char* end) : m_run(run), m_end(end)
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
    Run& m_run;
    char* const m_end;
};

thread_local TXmlParser::Run* TXmlParser::Run::s_innermost = nullptr;

TXmlParser::Run::Run(TXmlParser& reader)
    : m_reader(reader), m_outer(s_innermost), m_countedText(reader.m_pBuffer),
      m_counted(reader.m_pBuffer)
{
    s_innermost = this;
}

TXmlParser::Run::~Run()
{
    s_innermost = m_outer;
}

TXmlParser::Run* TXmlParser::Run::Of(const TXmlParser& reader)
{
    Run* run = s_innermost;
    while (run != nullptr && &run->m_reader != &reader)
        run = run->m_outer;
    return run;
}

unsigned int TXmlParser::Run::LineAt(const char* text, const char* position)
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

unsigned int TXmlParser::Run::CountLineFeeds(const char* from, const char* to)
{
    auto count = std::count(from, to, '\n');
    for (const Run* run = s_innermost; run != nullptr; run = run->m_outer) {
        if (run->m_hidden == '\n' && !std::less<>()(run->m_nul, from) &&
            std::less<>()(run->m_nul, to))
            ++count;
    }
    return static_cast<unsigned int>(count);
}

// Nesting is kept on the heap: a text of opening tags alone must not exhaust the thread's stack.
bool TXmlParser::Run::ReadElement()
{
    Step step = ReadStartTag();
    while (!m_open.empty())
        // Deliberate: a failed child ends its parent quietly, with the parent's own result.
        step = step == Step::kFailed ? Close() : ReadItem();
    return step == Step::kGoOn;
}

TXmlParser::Run::Step TXmlParser::Run::ReadStartTag()
{
    TXmlParser& reader = m_reader;
    const bool begun = *reader.m_pCur == '<';
    reader.m_pCur = Next(reader.m_pCur);
    if (!begun) {
        reader.OnError("Unexpected character before element");
        return Step::kFailed;
    }
    OpenElement element{reader.m_pCur, 0, true, false};
    if (!reader.ValidateName())
        return Step::kFailed;
    element.length = static_cast<std::size_t>(reader.m_pCur - element.name);

    m_maps.Forget();
    std::map<std::string, std::string> attributes = reader.GetAttributeNValue();
    const bool empty = *reader.m_pCur == '/';
    if (empty)
        ++reader.m_pCur;
    const bool ended = *reader.m_pCur == '>';
    reader.m_pCur = Next(reader.m_pCur);
    if (!ended) {
        reader.OnError("Unexpected character before end of element");
        return Step::kFailed;
    }
    Start(element, attributes);
    m_maps.TakeBack(attributes);

    if (empty) {
        End(element);
        return ResultOf(element);
    }
    m_open.push_back(element);
    return Step::kGoOn;
}

// One run of text with what follows it: a child's start, this element's end or something to skip.
TXmlParser::Run::Step TXmlParser::Run::ReadItem()
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

TXmlParser::Run::Step TXmlParser::Run::ReadEndTag()
{
    TXmlParser& reader = m_reader;
    const OpenElement element = m_open.back();
    char* const name = reader.m_pCur + 2;
    reader.m_pCur = name;
    if (!reader.ValidateName()) {
        m_open.pop_back();
        return Step::kFailed;
    }
    // Deliberate: a longer name that begins with the open element's closes it too.
    const auto length = static_cast<std::size_t>(reader.m_pCur - name);
    if (length < element.length || std::memcmp(name, element.name, element.length) != 0)
        return Fail("Start and end element names don't match");
    reader.m_pCur = SkipBlanks(reader.m_pCur);
    const bool ended = *reader.m_pCur == '>';
    reader.m_pCur = Next(reader.m_pCur);
    if (!ended)
        return Fail("Unexpected character before end of element");
    // Deliberate: any beginning of VALUE counts as VALUE.
    if (!element.valueVeto || std::strncmp(element.name, "VALUE", element.length) != 0)
        End(element);
    return Close();
}

// Ends the innermost open element with its own result.
TXmlParser::Run::Step TXmlParser::Run::Close()
{
    const OpenElement element = m_open.back();
    m_open.pop_back();
    return ResultOf(element);
}

TXmlParser::Run::Step TXmlParser::Run::ResultOf(const OpenElement& element)
{
    return element.result ? Step::kGoOn : Step::kFailed;
}

TXmlParser::Run::Step TXmlParser::Run::Fail(const char* message)
{
    m_open.pop_back();
    m_reader.OnError(message);
    return Step::kFailed;
}

void TXmlParser::Run::Start(OpenElement& element, std::map<std::string, std::string>& attributes)
{
    const std::size_t before = attributes.size();
    {
        const NameEnd end(*this, element.name + element.length);
        m_reader.OnStartElement(element.name, &attributes);
    }
    element.result = !TakeVeto(attributes, "throwExInvalidFormat", before);
    element.valueVeto = TakeVeto(attributes, "throwExInvalidValue", before);
}

void TXmlParser::Run::End(const OpenElement& element)
{
    const NameEnd end(*this, element.name + element.length);
    m_reader.OnEndElement(element.name);
}

bool TXmlParser::ParseElement()
{
    return Run::Of(*this)->ReadElement();
}

} // namespace NORXVXA20
