#pragma once

#include "xml/MapCache.h"
#include "xml/TXmlParser.h"

#include <vector>

namespace NORXVXA20 {

// What a running Parse needs besides the reader's two fields: the open elements, the last line
// counted, the attribute maps to use again. It stands on Parse's own stack; the runs of a thread
// form a chain, since a handler may parse another document.
class ParseRun {
public:
    explicit ParseRun(TXmlParser& reader);
    ~ParseRun();
    ParseRun(const ParseRun&) = delete;
    ParseRun& operator=(const ParseRun&) = delete;

    // The innermost run of this reader on this thread; null outside its Parse, as for a copy of it.
    static ParseRun* Of(const TXmlParser& reader);

    // One element with all its content, from its "<".
    bool ReadElement();
    // The line of a position, counted on from the position asked for last.
    unsigned int LineAt(const char* text, const char* position);
    // The line feeds from..to of the document, also one that is hidden under an element name's NUL.
    static unsigned int CountLineFeeds(const char* from, const char* to);

    // Past the next "?>" or "-->"; false without moving if there is none.
    bool SkipToInstructionEnd() { return MovePast("?>", m_noInstructionEnd); }
    bool SkipToCommentEnd() { return MovePast("-->", m_noCommentEnd); }

    MapCache& Maps() { return m_maps; }

private:
    enum class Step {
        kGoOn,   // the innermost open element has more to read
        kFailed, // a child failed: it and its parent end here
    };
    struct OpenElement {
        OpenElement(char* n, std::size_t l, bool r, bool v)
            : name(n), length(l), result(r), valueVeto(v)
        {}
        char* name;
        std::size_t length;
        bool result; // what the element's step returns when it is over
        bool valueVeto;
    };
    using Map = MapCache::Map;
    class NameEnd;

    // From where on a text does not hold a mark.
    struct Missing {
        const char* text = nullptr;
        const char* from = nullptr;
    };

    bool MovePast(const char* mark, Missing& missing);
    bool ReadName();
    Step ReadStartTag();
    Step ReadItem();
    Step ReadEndTag();
    Step Close();
    Step Fail(const char* message);
    void Start(char* name, std::size_t length, Map& attributes);
    void End(char* name, std::size_t length);

    // Constant-initialised: no access needs a guard.
    static thread_local ParseRun* s_innermost;

    TXmlParser& m_reader;
    ParseRun* const m_outer;
    std::vector<OpenElement> m_open;
    MapCache m_maps;
    Missing m_noInstructionEnd;
    Missing m_noCommentEnd;
    const char* m_countedText;
    const char* m_counted;
    unsigned int m_line = 1;
    const char* m_nul = nullptr; // where a name's NUL stands, and what it hides
    char m_hidden = '\0';
};

} // namespace NORXVXA20
