#pragma once

#include "simulators/chassis/Model.h"

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace chassis {

// A request as its body says it; the envelope has been checked.
struct Call {
    std::string id;
    std::string name;   // operation or method
    std::string object; // "root/cimv2", or the path of the object that the method is called on
    bool isMethod = false;
};

// A request that is answered with status 400 and this CIMError header.
class BadRequest : public std::runtime_error {
public:
    explicit BadRequest(const std::string& cimError) : std::runtime_error(cimError) {}
};

// One request: taken apart first, then answered.
class Operation {
public:
    // Throws BadRequest for what is no single CIM request.
    explicit Operation(const std::string& body);
    ~Operation();
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

    const Call& What() const { return m_call; }
    // The whole answer document. withError answers with that CIM error instead;
    // withoutOutput leaves the output parameters out.
    std::string Answer(const Model& model, std::optional<int> withError, bool withoutOutput) const;

private:
    struct Document;
    std::unique_ptr<Document> m_document;
    Call m_call;
};

} // namespace chassis
