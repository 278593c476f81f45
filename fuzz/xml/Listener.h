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

    void Start(const char* name, Map* attributes, unsigned int line)
    {
        std::string event = std::string("<") + name;
        for (const auto& [key, value] : *attributes)
            event.append(" ").append(key).append("=").append(value);
        Edit(*attributes);
        Note(event, line);
    }
    void End(const char* name, unsigned int line) { Note(std::string("/") + name, line); }
    void Instruction(const char* target, const char* data, unsigned int line)
    {
        Note(std::string("?") + target + " " + data, line);
    }
    void Text(const char* text, unsigned int length, unsigned int line)
    {
        Note("'" + std::string(text, length) + (text[length] == '\0' ? "'" : "' not ended"), line);
    }
    void Notation(const char* a, const char* b, const char* c, unsigned int line)
    {
        Note(std::string("!") + a + " " + b + " " + c, line);
    }
    void Error(const char* message, unsigned int line)
    {
        Note(std::string("error ") + message, line);
    }

    // "<%" blocks are skipped instead of rejected.
    bool SkipsScriptBlocks() const { return (m_script & 1) != 0; }
    const std::string& Trace() const { return m_trace; }

private:
    void Note(const std::string& event, unsigned int line)
    {
        m_trace += std::to_string(line) + ":" + event + "\n";
        if (m_script != 0 && Random() % 64 == 0)
            throw Stop();
    }
    std::uint32_t Random()
    {
        m_random = m_random * 1664525 + 1013904223;
        return m_random >> 16;
    }
    void Edit(Map& attributes)
    {
        if (m_script == 0)
            return;
        const std::uint32_t choice = Random() % 32;
        if (choice == 1 || choice == 2)
            attributes["throwExInvalidFormat"] = "";
        if (choice == 2 || choice == 3)
            attributes["throwExInvalidValue"] = "";
        if (choice == 4)
            attributes.clear();
        if (choice >= 5 && choice < 8 && !attributes.empty())
            attributes.erase(attributes.begin());
        if (choice >= 7 && choice < 10)
            attributes["y"] = "added";
        if (choice == 10)
            attributes = Map{{"x", "one"}, {"throwExInvalidFormat", "there before"}};
        if (choice == 11)
            Map().swap(attributes);
        if (choice == 12 && !attributes.empty())
            attributes.begin()->second.append(40, '!');
        if (choice == 13 && !attributes.empty()) {
            auto node = attributes.extract(attributes.begin());
            node.key() = "x";
            attributes.insert(std::move(node));
        }
    }

    const std::uint32_t m_script;
    std::uint32_t m_random;
    std::string m_trace;
};
