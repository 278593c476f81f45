#pragma once

#include <string>
#include <vector>

// The names of all documents: the generated ones, then those of Debian packages.
std::vector<std::string> DocumentNames();

// The text of a document; empty if its package is not installed.
std::string MakeDocument(const std::string& name);
