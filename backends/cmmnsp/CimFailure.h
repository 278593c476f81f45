#pragma once

#include <stdexcept>
#include <string>

namespace NORXVXA20 {

// Why an operation on the chassis manager failed: the operation, and the status of CIM or of HTTP
// or what is wrong with the answer. Holds no secret.
class CimFailure : public std::runtime_error {
public:
    explicit CimFailure(const std::string& what) : std::runtime_error(what) {}
};

} // namespace NORXVXA20
