#pragma once

#include <map>
#include <string>
#include <vector>

namespace NORXVXA20 {

// An element of an answer. Text is kept of VALUE and KEYVALUE alone; between the others it is
// layout. Attribute names are in lower case, all texts are decoded.
struct XmlElement {
    std::string name;
    std::map<std::string, std::string> attributes;
    std::string text;
    std::vector<XmlElement> children;

    // The attribute's value; empty when there is none.
    const std::string& Attribute(const char* attribute) const;
    // The first child of that name; null when there is none.
    const XmlElement* Child(const char* childName) const;
};

// Reads a whole document and returns its root. The text comes from the network: whatever is not
// well-formed, is declared in another encoding than UTF-8, declares entities, or goes beyond
// 64 levels, a million elements or 4 MiB in one value throws CimFailure.
XmlElement ReadXmlTree(std::string document);

} // namespace NORXVXA20
