#include "collector/Ledger.h"

#include "collector/ExitCodes.h"
#include "common/Strings.h"
#include "osdep/VXAOSDep.h"

#include <algorithm>
#include <cstdio>

using NORXVXA20::TransferredFile;
using NORXVXA20::VXAOSDep;

namespace {

// One file that should be here.
struct Item {
    std::string name;
    const Ledger::File* file = nullptr; // null: the library never asked for it
    bool byOtherName = false;           // the library asked without the blanks around the name
};

// What was listed, and behind it what was asked for without having been listed.
std::vector<Item> ItemsOf(const Ledger& ledger)
{
    std::vector<Item> items;
    std::map<std::string, const Ledger::File*> left;
    for (const auto& [name, file] : ledger.asked)
        left[name] = &file;
    for (const std::string& name : ledger.listed.value_or(std::vector<std::string>())) {
        std::string usual = name;
        TrimString(usual); // as the library does it
        const auto found = ledger.asked.find(usual);
        const bool isAsked = found != ledger.asked.end();
        items.push_back({name, isAsked ? &found->second : nullptr, usual != name});
        left.erase(usual);
    }
    for (const auto& [name, file] : left)
        items.push_back({name, file});
    return items;
}

std::string Received(const TransferredFile& record)
{
    std::string text = std::to_string(record.receivedBytes);
    if (record.expectedBytes >= 0)
        text += " of " + std::to_string(record.expectedBytes);
    return text + " bytes";
}

// Why a file that was never asked for is not here.
std::string NotReached(const Ledger& ledger, const ChildEnd& end)
{
    if (ledger.returned)
        return *ledger.returned ? "the library did not ask for it"
                                : "not reached before the collection was given up";
    switch (end.cause) {
    case ChildEnd::Cause::kSignalled:
        return "not reached before the interruption";
    case ChildEnd::Cause::kSilent:
        return "not reached before the collection was ended";
    default:
        return "not reached before the collecting process ended";
    }
}

// Compares a file that was copied completely with what lies on the disk; empty when it is as
// recorded.
std::string Differs(const TransferredFile& record, const SizeOfFile& sizeOf)
{
    const std::int64_t recorded =
        record.expectedBytes >= 0 ? record.expectedBytes : record.receivedBytes;
    const std::int64_t found = sizeOf(record.localPath);
    if (found < 0)
        return "it was copied, but is not there any more";
    if (found != recorded)
        return "it was copied, but has " + std::to_string(found) + " bytes instead of " +
               std::to_string(recorded);
    return std::string();
}

// Warns of a file from before, which looks as if it had been collected.
std::string OlderFile(const std::string& name, const std::string& outputDir,
                      const SizeOfFile& sizeOf)
{
    if (name.empty() || name.find_first_of("/\\") != std::string::npos ||
        sizeOf(outputDir + VXAOSDep::gFileSeparator + name) < 0)
        return std::string();
    return "; a file of that name is there, but not from this collection";
}

// Why the item is not here; empty when it is.
std::string WhyMissing(const Item& item, const Ledger& ledger, const ChildEnd& end,
                       const std::string& outputDir, const SizeOfFile& sizeOf)
{
    if (item.byOtherName)
        return "the library asks for it without the blanks around its name";
    if (item.file == nullptr)
        return NotReached(ledger, end) + OlderFile(item.name, outputDir, sizeOf);
    const TransferredFile& record = item.file->record;
    if (item.file->done && record.complete)
        return Differs(record, sizeOf);
    std::string reason = item.file->done ? record.reason : "ended after " + Received(record);
    if (reason.empty())
        reason = "not copied";
    return reason + OlderFile(item.name, outputDir, sizeOf);
}

// What ended the collection, where that was not the library; empty otherwise.
std::string DescribeEnd(const ChildEnd& end, const Ledger& ledger,
                        std::chrono::milliseconds silence)
{
    switch (end.cause) {
    case ChildEnd::Cause::kCrashed:
        return "the collecting process crashed (" + DescribeCrash(end.number) + ")";
    case ChildEnd::Cause::kSilent:
        return "no sign of life for " + std::to_string(silence.count() / 1000) +
               " s: the collection was ended";
    case ChildEnd::Cause::kSignalled:
        return "interrupted by signal " + std::to_string(end.number);
    default:
        break;
    }
    if (!ledger.returned)
        return "the collecting process ended early, with code " + std::to_string(end.number);
    return std::string();
}

std::string Summary(std::size_t here, std::size_t count, bool isWhole, const std::string& outputDir)
{
    if (count == 0)
        return isWhole ? "the service processor has no FFDC files: nothing to collect"
                       : "no files collected into " + outputDir;
    return std::to_string(here) + " of " + std::to_string(count) + " files collected into " +
           outputDir;
}

} // namespace

void Ledger::Take(const Event& event)
{
    switch (event.kind) {
    case Event::Kind::kAlive:
        break;
    case Event::Kind::kListed:
        listed = event.names;
        break;
    case Event::Kind::kBegun:
    case Event::Kind::kBytes:
    case Event::Kind::kDone: {
        File& file = asked[event.file.name];
        // A name that is asked for twice stays complete once it has been.
        if (file.record.complete)
            break;
        file.record = event.file;
        file.done = event.kind == Event::Kind::kDone;
        break;
    }
    case Event::Kind::kRefused:
        refused = event.text;
        break;
    case Event::Kind::kEnded:
        returned = event.good;
        returnedText = event.text;
        break;
    }
}

Outcome Conclude(const Ledger& ledger, const ChildEnd& end, const std::string& outputDir,
                 std::chrono::milliseconds silence, const SizeOfFile& sizeOf)
{
    if (ledger.refused)
        return {kNotStarted, {*ledger.refused}};
    if (end.cause == ChildEnd::Cause::kNotStarted)
        return {kNotStarted,
                {"the collecting process could not be started: " + DescribeError(end.number)}};
    Outcome outcome;
    const std::string cause = DescribeEnd(end, ledger, silence);
    if (!cause.empty())
        outcome.lines.push_back(cause);

    const std::vector<Item> items = ItemsOf(ledger);
    std::size_t here = 0;
    for (const Item& item : items) {
        const std::string reason = WhyMissing(item, ledger, end, outputDir, sizeOf);
        if (reason.empty())
            ++here;
        else
            outcome.lines.push_back("missing: " + Quoted(item.name) + ": " + reason);
    }
    const bool isWhole = cause.empty() && ledger.returned.value_or(false);
    if (!isWhole && !ledger.listed && !items.empty())
        outcome.lines.emplace_back("the names of the other files, if any, could not be listed: the "
                                   "server was lost before");
    if (items.empty() && ledger.returned && !*ledger.returned)
        outcome.lines.emplace_back("the collection failed; the debug log (--log FILE) tells why");
    outcome.lines.push_back(Summary(here, items.size(), isWhole, outputDir));

    if (end.cause == ChildEnd::Cause::kSignalled)
        outcome.exitCode = kSignalBase + end.number;
    else if (isWhole && here == items.size())
        outcome.exitCode = kEverythingIsHere;
    else
        outcome.exitCode = here > 0 ? kFilesMissing : kNothingUsable;
    return outcome;
}

std::string Quoted(const std::string& name)
{
    std::string text = "\"";
    for (std::size_t i = 0; i < name.size(); ++i) {
        const auto byte = static_cast<unsigned char>(name[i]);
        const auto next = i + 1 < name.size() ? static_cast<unsigned char>(name[i + 1]) : 0;
        // Terminals also obey the control characters U+0080 to U+009F; without its first byte the
        // second is no character.
        const bool isControl =
            byte < 0x20 || byte == 0x7F || (byte == 0xC2 && next >= 0x80 && next < 0xA0);
        if (!isControl) {
            text += name[i];
            continue;
        }
        char escaped[8];
        std::snprintf(escaped, sizeof escaped, "\\x%02x", byte);
        text += escaped;
    }
    return text + "\"";
}
