#pragma once

#include "UtilsExport.h"
#include "platform/vxacore/TCIMDateTime.h"

#include <string>
#include <vector>

namespace NORXVXA20 {

// The core library's services of the operating system and of the network.
class VXACORE_API TOSSpecific {
public:
    // Pauses the calling thread, in milliseconds.
    static void USleep(unsigned int milliseconds);

    // True while a key press waits on the console; it stays there. Never true at the end of the
    // input, nor where standard input is no terminal.
    static bool IsKeyWaiting();
    // Consumes one key press and returns its character code, or -1 when none could be read.
    static int GetKeyboardChar();

    // The time of day now, in the machine's time zone.
    static TCIMDateTime GetLocalTime();

    // True when path is a directory; false as well when that cannot be found out.
    static bool DirExists(std::string path);
    // Creates the last component of path; an existing directory is a failure as well.
    // Throws TVXAException on failure.
    static void CreateDir(std::string path);
    // The names in a directory, without "." and ".."; empty when it cannot be read.
    static std::vector<std::string> ListDir(std::string path);

    // Runs a command line without a shell and returns what it wrote to standard output and
    // standard error. limit is in seconds without any output. Throws TVXAException with code 3
    // when the program cannot be started or the limit is reached; the program has then been ended.
    static std::string SpawnProcess(std::string commandLine, int limit);

    // Copies fileName from the SFTP location remote, "user:password@host:port/directory" (split at
    // the last "@" and the first ":", nothing is unescaped), to the file localPath.
    // Returns false when this file alone failed. Throws TVXAException when the server is lost:
    // 35 no usable libcurl, 33 no route, 34 cannot connect or connection lost, 27 log-in refused.
    static bool sFTPFileFromORX(std::string remote, std::string localPath, std::string fileName);

    // Sends localFile to server over passive FTP as remoteName, whose folders must exist there;
    // what has that name is replaced. server is a host, also "user:password@host:port" (split at
    // the last "@" and the first ":", nothing is unescaped); without a user the log-in is
    // anonymous.
    // Returns false when the local file cannot be read or the file did not arrive whole. Throws
    // TVXAException: 35 no usable libcurl, 33 host not found or no route, 34 nobody there who
    // answers, 27 log-in or file refused.
    static bool FTPFile(std::string server, std::string localFile, std::string remoteName);

    // Resolves host and connects to its TCP port within 10 seconds. Returns 0, or the status code
    // that says what failed: 33 resolving, or the way there, 34 connecting, 35 no usable libcurl.
    static int DetectHostnameAvailable(std::string host, std::string port);

    // The folder of the tool's own files, without a separator at its end.
    static std::string GetVXARootPath();
};

} // namespace NORXVXA20
