#pragma once

#include "platform/vxacore/TCIMValue.h"

#include <string>

namespace NORXVXA20 {

struct XmlElement;

// The value that a property, a parameter or a return value holds directly, of the named CIM type.
// Without one it is null. The items of an array become one text, separated by ", ". A value that
// is not of its type throws CimFailure; an unknown type is a text.
TCIMValue ReadValue(const XmlElement& holder, const std::string& type);

} // namespace NORXVXA20
