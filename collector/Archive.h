#pragma once

#include <string>

// The packer takes the loose files away, also when it fails or leaves one out. So what arrives is
// kept beside the archive until the archive has been tested.

// Makes a new directory for it in parent and returns its path; empty when that fails.
std::string MakeKeepDirectory(const std::string& parent);

// Keeps a file that has arrived, by a link where the file system has links, in place of one of the
// same name. A failure shows when the files are counted.
void KeepArrived(const std::string& path, const std::string& keepDirectory);

// Compares every kept file with the archive's member of its name, byte for byte. Empty when they
// are equal and the archive holds nothing else, otherwise the first difference.
std::string FindArchiveFault(const std::string& archive, const std::string& keepDirectory);
