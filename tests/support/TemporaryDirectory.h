#pragma once

#include <string>

// A fresh empty directory that disappears with the object, whatever is in it by then.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::string& Path() const { return m_path; }
    // The path of an entry, whether it exists or not.
    std::string operator/(const std::string& name) const;
    // Writes a file and returns its path.
    std::string Write(const std::string& name, const std::string& contents) const;

private:
    std::string m_path;
};

std::string ContentsOf(const std::string& path);
