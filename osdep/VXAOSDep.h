#pragma once

#include "UtilsExport.h"

#include <cstdint>
#include <string>
#include <vector>

namespace NORXVXA20 {

// The services of the operating system, all static and without state. Paths are 8-bit strings.
// Failures become log lines and neutral results; what throws says so.
class VXAOSDep {
public:
    // The path separator as text: a backslash on Windows, a slash elsewhere.
    UTILS_API static const std::string gFileSeparator;

    // True when path exists and is no directory.
    UTILS_API static bool FileExists(const std::string& path);
    // True when path is a directory, and also when that cannot be found out (access denied ...).
    UTILS_API static bool DirExists(const std::string& path);
    // The size in bytes; 0 for what does not exist, so test existence first.
    UTILS_API static std::uint64_t GetFileSize(const std::string& path);

    // Creates the last component of path only.
    UTILS_API static void CreateDir(const std::string& path);
    // Removes a directory and everything below it without asking. On Windows this is a shell
    // command: a path that the shell would not take as one word, as with a blank or a slash in it,
    // is refused and nothing removed.
    UTILS_API static void RemoveDir(const std::string& path);

    // The bare name of the first entry of directory, in the file system's order, that ends in
    // name; "*" and "?" are wildcards. Empty when there is none.
    UTILS_API static std::string FindFile(const std::string& directory, const std::string& name);
    // The bare names of all entries of path, sub-directories included, that end in extension and
    // do not begin with a dot.
    UTILS_API static std::vector<std::string> SearchFiles(std::string path, std::string extension);
    // The text after the last separator; empty when there is no separator or nothing follows it.
    UTILS_API static std::string GetFileNameFromPath(const std::string& path);

    // Reads an open file or pipe to its end, zero bytes included; the caller closes it. handle is
    // a Windows handle's value or a file descriptor; name serves the error line only.
    UTILS_API static std::string GetFileContents(std::int32_t handle, std::string name);
    // Reads the whole file into contents, zero bytes included; there is no size limit.
    // Returns 0, or -1 with contents untouched when the file cannot be opened.
    UTILS_API static int ReadFile(const std::string& path, std::string& contents);

    // Opens path for writing and empties it; null when that fails. The caller closes the handle.
    UTILS_API static void* OpenFile(const std::string& path);
    // Writes data in one call and ignores the outcome. A null handle is ignored too.
    UTILS_API static void WriteFile(void* handle, const std::string& data);
    // Closes what OpenFile returned; null is ignored.
    UTILS_API static void CloseFile(void* handle);

    // Runs program with arguments and returns what it wrote to standard output and standard error.
    // The command line is program and arguments joined by single spaces, nothing quoted: Windows
    // gets it as it is, elsewhere it is split at blanks and tabs outside double quotes. There is no
    // shell, the program is searched on the path, and its exit code does not matter. Blocks until
    // every process that holds the output has closed it. Throws TVXAException with code 3 when the
    // program cannot be started.
    UTILS_API static std::string SpawnProcess(const std::string& program,
                                              const std::vector<std::string>& arguments);
    // The same with a limit in seconds, 0 or less for none. When it is over, the program and what
    // it started are ended and what was read so far is returned.
    UTILS_API static std::string SpawnProcess(const std::string& program,
                                              const std::vector<std::string>& arguments, int limit);
    // Gives the variable of this process the empty text: it stays defined. False when that fails.
    UTILS_API static bool UnsetEnvironment(std::string name);

    // The code of the next key, without echo and without waiting for the end of the line; blocks
    // until there is one. Keys like Ctrl-C are keys here too. Where standard input is no console:
    // Windows answers as its _getch does, elsewhere it is the next byte, or -1 at the end.
    UTILS_API static int GetCharWithNoEcho();
    // Shows prompt and waits for the keys Y or N, for ticks seconds less one for each key; every
    // other key starts the time anew. True for yes; no answer is no. Asks nothing when ticks is 0
    // or less.
    UTILS_API static bool GetChoiceWithTimeout(const std::string& prompt, int ticks);
};

} // namespace NORXVXA20
