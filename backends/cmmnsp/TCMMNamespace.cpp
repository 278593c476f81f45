// The namespace of a chassis manager, its classes and instances, on a CIM connection.
#include "platform/cmmnsp/TCMMNamespace.h"

#include "backends/cmmnsp/CimClient.h"
#include "backends/cmmnsp/CimFailure.h"
#include "platform/cmmnsp/TCMMClass.h"
#include "platform/cmmnsp/TCMMNamespaceProvider.h"

#include <boost/enable_shared_from_this.hpp>
#include <boost/make_shared.hpp>

namespace NORXVXA20 {

namespace {

constexpr unsigned char kDecimal = 10;

class Property : public ICIMProperty {
public:
    explicit Property(const TCIMValue& value) : m_value(value) {}
    TCIMValue GetValue() const override { return m_value; }
    std::string GetValueAsString() const override { return m_value.ToString(kDecimal); }

private:
    TCIMValue m_value;
};

class Instance : public ICIMInstance {
public:
    explicit Instance(const CimInstance& instance) : m_instance(instance) {}

    boost::shared_ptr<ICIMProperty> GetProperty(const std::string& name,
                                                const TCIMOptions&) override
    {
        const auto found = m_instance.properties.find(ToLower(name));
        if (found == m_instance.properties.end())
            return {};
        return boost::make_shared<Property>(found->second);
    }

private:
    CimInstance m_instance;
};

class Namespace;

// Keeps its namespace, and with it the connection, alive.
class Class : public TCMMClass {
public:
    Class(const boost::shared_ptr<Namespace>& nameSpace, const std::string& name)
        : m_namespace(nameSpace), m_name(name)
    {}

    void EnumerateInstances(const InstanceCallback& callback, bool deep,
                            const TCIMOptions&) override;
    TCIMValue InvokeMethod(const TCIMReference& path, const std::string& method,
                           const std::map<std::string, TCIMValue>& in,
                           std::map<std::string, TCIMValue>& out, const TCIMOptions&) override;

private:
    boost::shared_ptr<Namespace> m_namespace;
    std::string m_name;
};

class Namespace : public TCMMNamespace, public boost::enable_shared_from_this<Namespace> {
public:
    explicit Namespace(const std::string& name) : m_name(name) {}

    const std::string& GetName() const override { return m_name; }

    void connect(const std::string& host, const std::string& user, const std::string& password,
                 int port) override
    {
        m_client.reset();
        auto client = std::make_unique<CimClient>(host, user, password, port);
        client->Probe(m_name);
        m_client = std::move(client);
    }

    void disconnect() override { m_client.reset(); }

    boost::shared_ptr<ICIMClass> GetClass(const std::string& className, const TCIMOptions&) override
    {
        const CimAnswer answer =
            Client("GetClass").Call(MakeClassRequest(m_name, className, false));
        return boost::make_shared<Class>(shared_from_this(), answer.classNames.front());
    }

    bool EnumerateClassNames(const std::string& namespaceName, const std::string& className,
                             std::vector<std::string>& names, bool deep) override
    {
        names = Client("EnumerateClassNames")
                    .Call(MakeClassNamesRequest(namespaceName, className, deep))
                    .classNames;
        return !names.empty();
    }

    CimClient& Client(const std::string& operation)
    {
        if (!m_client)
            throw CimFailure(operation + ": there is no connection");
        return *m_client;
    }

private:
    std::string m_name;
    std::unique_ptr<CimClient> m_client;
};

void Class::EnumerateInstances(const InstanceCallback& callback, bool deep, const TCIMOptions&)
{
    const CimAnswer answer = m_namespace->Client("EnumerateInstances")
                                 .Call(MakeInstancesRequest(m_namespace->GetName(), m_name, deep));
    for (const CimInstance& instance : answer.instances) {
        if (!callback(boost::make_shared<Instance>(instance)))
            break;
    }
}

TCIMValue Class::InvokeMethod(const TCIMReference& path, const std::string& method,
                              const std::map<std::string, TCIMValue>& in,
                              std::map<std::string, TCIMValue>& out, const TCIMOptions&)
{
    CimAnswer answer = m_namespace->Client(method).Call(MakeMethodRequest(path, method, in));
    out = std::move(answer.outputs);
    return answer.returnValue;
}

class Provider : public TCMMNamespaceProvider {
public:
    boost::shared_ptr<ICIMNamespace> AllocateNamespace(const std::string& name, bool,
                                                       const TCIMOptions&) override
    {
        return boost::make_shared<Namespace>(name);
    }
};

} // namespace

boost::shared_ptr<TCMMNamespaceProvider> TCMMNamespaceProvider::GetInstance()
{
    static const boost::shared_ptr<TCMMNamespaceProvider> instance = boost::make_shared<Provider>();
    return instance;
}

} // namespace NORXVXA20
