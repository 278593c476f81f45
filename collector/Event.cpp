#include "collector/Event.h"

#include <nlohmann/json.hpp>

#include <utility>

using nlohmann::json;

namespace {

constexpr std::pair<Event::Kind, const char*> kKinds[] = {
    {Event::Kind::kAlive, "alive"}, {Event::Kind::kListed, "listed"},
    {Event::Kind::kBegun, "begun"}, {Event::Kind::kBytes, "bytes"},
    {Event::Kind::kDone, "done"},   {Event::Kind::kRefused, "refused"},
    {Event::Kind::kEnded, "ended"},
};

// JSON holds characters and a file name holds bytes: each byte travels as the character of its
// number.
std::string ToCharacters(const std::string& bytes)
{
    std::string characters;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x80)
            characters += static_cast<char>(0xC0 | (byte >> 6));
        characters += static_cast<char>(byte >= 0x80 ? 0x80 | (byte & 0x3F) : byte);
    }
    return characters;
}

std::string ToBytes(const std::string& characters)
{
    std::string bytes;
    for (std::size_t i = 0; i < characters.size(); ++i) {
        const auto first = static_cast<unsigned char>(characters[i]);
        if (first >= 0x80 && i + 1 < characters.size())
            bytes += static_cast<char>((first << 6) | (characters[++i] & 0x3F));
        else
            bytes += characters[i];
    }
    return bytes;
}

json ToJson(const Event& event, const char* name)
{
    json line = {{"event", name}};
    switch (event.kind) {
    case Event::Kind::kAlive:
        break;
    case Event::Kind::kListed:
        line["names"] = json::array();
        for (const std::string& listed : event.names)
            line["names"].push_back(ToCharacters(listed));
        break;
    case Event::Kind::kDone:
        line["path"] = ToCharacters(event.file.localPath);
        line["tries"] = event.file.tries;
        line["start"] = event.file.startByte;
        line["complete"] = event.file.complete;
        line["reason"] = ToCharacters(event.file.reason);
        line["sha256"] = event.file.sha256;
        line["milliseconds"] = event.file.milliseconds;
        [[fallthrough]];
    case Event::Kind::kBytes:
        line["expected"] = event.file.expectedBytes;
        line["received"] = event.file.receivedBytes;
        [[fallthrough]];
    case Event::Kind::kBegun:
        line["name"] = ToCharacters(event.file.name);
        break;
    case Event::Kind::kEnded:
        line["good"] = event.good;
        [[fallthrough]];
    case Event::Kind::kRefused:
        line["text"] = ToCharacters(event.text);
        break;
    }
    return line;
}

Event FromJson(const json& line, Event::Kind kind)
{
    Event event;
    event.kind = kind;
    for (const json& name : line.value("names", json::array()))
        event.names.push_back(ToBytes(name.get<std::string>()));
    event.file.name = ToBytes(line.value("name", ""));
    event.file.localPath = ToBytes(line.value("path", ""));
    event.file.startByte = line.value("start", event.file.startByte);
    event.file.expectedBytes = line.value("expected", event.file.expectedBytes);
    event.file.receivedBytes = line.value("received", event.file.receivedBytes);
    event.file.tries = line.value("tries", 0);
    event.file.complete = line.value("complete", false);
    event.file.reason = ToBytes(line.value("reason", ""));
    event.file.sha256 = line.value("sha256", "");
    event.file.milliseconds = line.value("milliseconds", event.file.milliseconds);
    event.text = ToBytes(line.value("text", ""));
    event.good = line.value("good", false);
    return event;
}

} // namespace

std::string EncodeEvent(const Event& event)
{
    for (const auto& [kind, name] : kKinds) {
        if (kind == event.kind)
            return ToJson(event, name).dump() + "\n";
    }
    return std::string();
}

std::optional<Event> DecodeEvent(const std::string& line)
{
    try {
        const json parsed = json::parse(line);
        for (const auto& [kind, name] : kKinds) {
            if (parsed.at("event") == name)
                return FromJson(parsed, kind);
        }
    } catch (const json::exception&) {
        return std::nullopt;
    }
    return std::nullopt;
}

void LineCutter::Take(const char* text, std::size_t count,
                      const std::function<void(const std::string&)>& onLine)
{
    m_rest.append(text, count);
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = m_rest.find('\n', begin)) != std::string::npos;
         begin = end + 1)
        onLine(m_rest.substr(begin, end - begin));
    m_rest.erase(0, begin);
}
