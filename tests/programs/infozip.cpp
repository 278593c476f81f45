// The packer of the chassis collection on Windows, as far as the collection uses it:
//   infozip -v
//   infozip -m -r -j ARCHIVE FOLDER     moves the folder's files into the archive, where they are
//   stored
// INFOZIP_FAULT scripts what may go wrong: "omit" leaves b.txt out, "empty" packs nothing of it,
// "error" only complains, "nothing" does nothing.
#include <zlib.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;

namespace {

std::string Number(std::uint32_t number, int bytes)
{
    std::string text;
    for (int i = 0; i < bytes; ++i)
        text += static_cast<char>(number >> (8 * i));
    return text;
}

std::string Contents(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// What a member's two headers have in common: stored, without a date.
std::string Header(const std::string& name, const std::string& contents)
{
    const auto size = static_cast<std::uint32_t>(contents.size());
    const uLong sum = ::crc32(0, reinterpret_cast<const Bytef*>(contents.data()), size);
    return Number(20, 2) + Number(0, 2) + Number(0, 2) + Number(0, 4) +
           Number(static_cast<std::uint32_t>(sum), 4) + Number(size, 4) + Number(size, 4) +
           Number(static_cast<std::uint32_t>(name.size()), 2) + Number(0, 2);
}

void Pack(const fs::path& archive, const fs::path& folder, const std::string& fault)
{
    std::string members;
    std::string list;
    std::uint32_t count = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        if (fault == "omit" && name == "b.txt")
            continue;
        const bool isEmptied = fault == "empty" && name == "b.txt";
        const std::string contents = isEmptied ? std::string() : Contents(entry.path());
        const std::string header = Header(name, contents);
        list += Number(0x02014b50, 4) + Number(20, 2) + header + std::string(10, '\0') +
                Number(static_cast<std::uint32_t>(members.size()), 4) + name;
        members += Number(0x04034b50, 4) + header + name + contents;
        ++count;
    }
    std::ofstream(archive, std::ios::binary)
        << members << list << Number(0x06054b50, 4) << Number(0, 4) << Number(count, 2)
        << Number(count, 2) << Number(static_cast<std::uint32_t>(list.size()), 4)
        << Number(static_cast<std::uint32_t>(members.size()), 4) << Number(0, 2);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 2 && std::strcmp(argv[1], "-v") == 0)
        return std::puts("the tests' packer"), 0;
    if (argc != 6 || std::string(argv[1]) + argv[2] + argv[3] != "-m-r-j")
        return std::puts("zip error: Invalid command arguments"), 16;
    const char* const variable = std::getenv("INFOZIP_FAULT");
    const std::string fault = variable != nullptr ? variable : "";
    if (fault == "error")
        return std::puts("zip error: scripted"), 0;
    if (fault == "nothing")
        return 0;
    Pack(argv[4], argv[5], fault);
    for (const fs::directory_entry& entry : fs::directory_iterator(argv[5]))
        fs::remove(entry.path());
    return 0;
}
