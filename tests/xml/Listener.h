#pragma once

#include <cstdint>
#include <map>
#include <string>

// Takes the events of a reader and writes them down, each with its line. A script makes it behave
// as bad handlers do: it vetoes elements, edits the attribute map and throws, depending only on the
// script and the events so far, so that two readers that tell it the same see it do the same.
class Listener {
public:
    using Map = std::map<std::string, std::string>;
    struct Stop {};

    // Script 0 only writes down.
    explicit Listener(std::uint32_t script = 0) : m_script(script), m_random(script) {}

    void Start(const char* name, Map* attributes, unsigned int line);
    void End(const char* name, unsigned int line);
    void Instruction(const char* target, const char* data, unsigned int line);
    void Text(const char* text, unsigned int length, unsigned int line);
    void Notation(const char* a, const char* b, const char* c, unsigned int line);
    void Error(const char* message, unsigned int line);

    // "<%" blocks are skipped instead of rejected.
    bool SkipsScriptBlocks() const { return (m_script & 1) != 0; }
    const std::string& Trace() const { return m_trace; }

private:
    void Note(const std::string& event, unsigned int line);
    std::uint32_t Random();
    void Edit(Map& attributes);

    const std::uint32_t m_script;
    std::uint32_t m_random;
    std::string m_trace;
};
