#pragma once

#include "xml/Scan.h"

#include <iterator>

namespace NORXVXA20::xmlscan {

struct Reference {
    const char* name; // what follows the "&"
    const char* text; // what it stands for
};

// Sorted, so that the names that begin alike stand together.
inline constexpr Reference kReferences[] = {
    {"amp;", "&"}, {"apos;", "'"}, {"gt;", ">"}, {"lt;", "<"}, {"quot;", "\""},
};

// Reads a named reference from just after its "&", in upper or lower case. Null at the first byte
// that fits none; that byte is consumed too.
inline const Reference* ReadReference(char*& p)
{
    const Reference* first = std::begin(kReferences);
    const Reference* last = std::end(kReferences);
    for (int i = 0;; ++i) {
        const char c = Lower(*p);
        p = Next(p);
        while (first != last && first->name[i] != c)
            ++first;
        while (first != last && (last - 1)->name[i] != c)
            --last;
        if (first == last)
            return nullptr;
        if (c == ';')
            return first;
    }
}

} // namespace NORXVXA20::xmlscan
