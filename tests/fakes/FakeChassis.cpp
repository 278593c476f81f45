#include "tests/fakes/FakeChassis.h"

#include "common/TVXAException.h"
#include "platform/cmmnsp/TCMMClass.h"
#include "platform/cmmnsp/TCMMNamespace.h"
#include "platform/cmmnsp/TCMMNamespaceProvider.h"

#include <boost/make_shared.hpp>

#include <stdexcept>

void FakeChassis::Note(const std::string& call)
{
    calls.push_back(call);
    for (const auto& [beginning, failure] : failures) {
        if (call.compare(0, beginning.size(), beginning) != 0)
            continue;
        if (failure == kStatus)
            throw NORXVXA20::TVXAException(NORXVXA20::TVXAStatusCode::eNoRoute);
        throw std::runtime_error(call);
    }
}

namespace NORXVXA20 {

namespace {

constexpr unsigned char kDecimal = 10;

class Property : public ICIMProperty {
public:
    explicit Property(const std::string& text) { m_value.Set(text); }
    TCIMValue GetValue() const override { return m_value; }
    std::string GetValueAsString() const override { return m_value.ToString(kDecimal); }

private:
    TCIMValue m_value;
};

class Instance : public ICIMInstance {
public:
    explicit Instance(const FakeChassis::Properties& properties) : m_properties(properties) {}

    boost::shared_ptr<ICIMProperty> GetProperty(const std::string& name,
                                                const TCIMOptions&) override
    {
        const auto found = m_properties.find(name);
        if (found == m_properties.end())
            return {};
        return boost::make_shared<Property>(found->second);
    }

private:
    FakeChassis::Properties m_properties;
};

class Class : public TCMMClass {
public:
    explicit Class(const std::string& name) : m_name(name) {}

    void EnumerateInstances(const InstanceCallback& callback, bool deep,
                            const TCIMOptions&) override
    {
        gChassis.Note("instances " + m_name + (deep ? " deep" : ""));
        for (const FakeChassis::Properties& properties : gChassis.instances[m_name]) {
            if (!callback(boost::make_shared<Instance>(properties)))
                break;
        }
    }

    TCIMValue InvokeMethod(const TCIMReference& path, const std::string& method,
                           const std::map<std::string, TCIMValue>& in,
                           std::map<std::string, TCIMValue>& out, const TCIMOptions&) override
    {
        std::string call = m_name + " " + method + " " + path.ToString();
        for (const auto& [name, value] : in)
            call += " " + name + "=" + value.ToString(kDecimal);
        gChassis.Note(call);
        if (method == "StartDataCollection" && !gChassis.collections.empty()) {
            for (const auto& [name, text] : gChassis.collections.front())
                out[name].Set(text);
            gChassis.collections.erase(gChassis.collections.begin());
        }
        return TCIMValue(std::uint64_t{0});
    }

private:
    std::string m_name;
};

class Namespace : public TCMMNamespace {
public:
    const std::string& GetName() const override { return m_name; }

    boost::shared_ptr<ICIMClass> GetClass(const std::string& className, const TCIMOptions&) override
    {
        gChassis.Note("class " + className);
        return boost::make_shared<Class>(className);
    }

    bool EnumerateClassNames(const std::string& namespaceName, const std::string& className,
                             std::vector<std::string>& names, bool deep) override
    {
        gChassis.Note("names " + namespaceName + " " + className + (deep ? " deep" : ""));
        names = gChassis.subclasses[className];
        return !names.empty();
    }

    void connect(const std::string& host, const std::string& user, const std::string& password,
                 int port) override
    {
        gChassis.Note("connect " + host + " " + user + " " + password + " " + std::to_string(port));
    }

    void disconnect() override { gChassis.Note("disconnect"); }

private:
    const std::string m_name = "root/cimv2";
};

class Provider : public TCMMNamespaceProvider {
public:
    boost::shared_ptr<ICIMNamespace> AllocateNamespace(const std::string& name, bool shared,
                                                       const TCIMOptions& options) override
    {
        gChassis.Note("allocate " + name + (shared ? " shared" : "") +
                      (options.empty() ? "" : " with options"));
        return boost::make_shared<Namespace>();
    }
};

} // namespace

boost::shared_ptr<TCMMNamespaceProvider> TCMMNamespaceProvider::GetInstance()
{
    return boost::make_shared<Provider>();
}

} // namespace NORXVXA20
