#pragma once

#include "UtilsExport.h"

#include <boost/shared_ptr.hpp>

#include <string>

namespace NORXVXA20 {
class TCIMReference;
class TCMMClass;
class TCMMNamespace;
} // namespace NORXVXA20

// Collects the first-failure data (FFDC) of a chassis management module into one archive: connects
// over CIM, has the data collected, downloads it over SFTP and packs it.
// One object serves one collection; it is used from one thread. Copies share one connection, which
// the first of them to be destroyed closes.
class TCMMFFDC {
public:
    // outputDir must exist and takes the archive. user and password serve CIM and SFTP.
    // port is the CIM port; 0 stands for 5988. Nothing is connected yet.
    UTILS_API TCMMFFDC(std::string outputDir, std::string user, std::string password,
                       std::string host, int port);
    // Copied with everything, the connection shared:
    UTILS_API TCMMFFDC(const TCMMFFDC& other);
    UTILS_API TCMMFFDC& operator=(const TCMMFFDC& other);
    // Closes the connection, whoever else uses it, and wipes the password.
    UTILS_API ~TCMMFFDC();

    // Runs the whole collection and blocks until it has ended, which may take many minutes. True
    // with the archive's path in zipPath when the packer reported no error; files whose download
    // failed are missing in it. False with zipPath untouched, and TVXAException (34: no connection,
    // 3: the chassis refused the collection), otherwise: see GetRetMessage.
    // The loose files are removed after a false result too; after an exception they stay.
    UTILS_API bool RunFFDCCollection(std::string& zipPath);

    // Why the last run failed. Empty after a first run that did not, or whose packer could not be
    // run.
    UTILS_API std::string GetRetMessage();

private:
    void GetCMMNamespace();
    void InitFFDCOutputName();
    void Initialize();
    std::string GetCMMVersion();

    bool InvokeFFDCMethod();
    bool CollectEveryInstance();
    void StartDataCollection(const boost::shared_ptr<NORXVXA20::TCMMClass>& service,
                             const NORXVXA20::TCIMReference& servicePath,
                             const NORXVXA20::TCIMReference& dataPath, std::string& uri);
    void EndDataCollection(const boost::shared_ptr<NORXVXA20::TCMMClass>& service,
                           const NORXVXA20::TCIMReference& servicePath);

    void DownloadFFDCData(std::string uri);
    bool ZipFFDCData();
    void SetRetMessage(const std::string& message);

    boost::shared_ptr<NORXVXA20::TCMMNamespace> m_pNamespace;
    std::string m_strFFDCOutputName;
    std::string m_strOutputDir;
    std::string m_strHost;
    std::string m_strUser;
    std::string m_strPassword;
    int m_iPort;
    std::string m_strRetMessage;
};
