// The namespace library against the simulated chassis manager, over real connections.
#include "backends/vxacore/CoreLog.h"
#include "platform/cmmnsp/TCMMClass.h"
#include "platform/cmmnsp/TCMMNamespace.h"
#include "platform/cmmnsp/TCMMNamespaceProvider.h"
#include "platform/vxacore/TAddToVectorCallback.h"
#include "tests/support/Host.h"
#include "tests/support/SimulatedChassis.h"
#include "tests/support/Variable.h"

#include <boost/pointer_cast.hpp>

#include <gmock/gmock.h>

#include <functional>

using namespace NORXVXA20;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

const TCIMOptions kNoOptions;
const std::string kUser = SimulatedChassis::kUser;
const std::string kPassword = SimulatedChassis::kPassword;
const std::string kService = "ORX_ChassisFFDCService";

boost::shared_ptr<TCMMNamespace> Allocate(const std::string& name = "root/cimv2")
{
    return boost::dynamic_pointer_cast<TCMMNamespace>(
        TCMMNamespaceProvider::GetInstance()->AllocateNamespace(name, false, kNoOptions));
}

boost::shared_ptr<TCMMNamespace> Connect(const SimulatedChassis& chassis)
{
    const boost::shared_ptr<TCMMNamespace> nameSpace = Allocate();
    nameSpace->connect("127.0.0.1", kUser, kPassword, chassis.Port());
    return nameSpace;
}

std::vector<boost::shared_ptr<ICIMInstance>> Instances(TCMMNamespace& nameSpace,
                                                       const std::string& className)
{
    std::vector<boost::shared_ptr<ICIMInstance>> instances;
    nameSpace.GetClass(className, kNoOptions)
        ->EnumerateInstances(TAddToVectorCallback<ICIMInstance>(instances), true, kNoOptions);
    return instances;
}

std::string Text(const boost::shared_ptr<ICIMInstance>& instance, const std::string& property)
{
    return instance->GetProperty(property, kNoOptions)->GetValueAsString();
}

// Calls StartDataCollection for the data instance of this number, from 0; its outputs.
std::map<std::string, TCIMValue> Start(const boost::shared_ptr<TCMMNamespace>& nameSpace,
                                       std::size_t index)
{
    TCIMReference data(nameSpace, "ORX_ChassisFFDCData", kNoOptions);
    TCIMValue id;
    id.Set(Text(Instances(*nameSpace, "ORX_ChassisFFDCData").at(index), "InstanceID"));
    data.AddKeyValue("InstanceID", id);
    const auto service =
        boost::dynamic_pointer_cast<TCMMClass>(nameSpace->GetClass(kService, kNoOptions));
    std::map<std::string, TCIMValue> outputs;
    service->InvokeMethod(TCIMReference(nameSpace, kService, kNoOptions), "StartDataCollection",
                          {{"DataCollectionType", TCIMValue(data)},
                           {"RequestedScheme", TCIMValue("0x8002")},
                           {"InitializationNeeded", TCIMValue(true)}},
                          outputs, kNoOptions);
    return outputs;
}

// The text of what this throws; empty when it throws nothing.
std::string Failure(const std::function<void()>& action)
{
    try {
        action();
    } catch (const std::exception& e) {
        return e.what();
    }
    return std::string();
}

std::vector<std::string> Names(TCMMNamespace& nameSpace, const std::string& base)
{
    std::vector<std::string> names;
    nameSpace.EnumerateClassNames("root/cimv2", base, names, true);
    return names;
}

TEST(ChassisTest, ModelIsReadAndMethodsReachTheInstanceTheyName)
{
    // Chunked and late answers and missing outputs are no failures.
    const SimulatedChassis chassis({"--location", "sftp://h/a b<&>", "--location", "sftp://h/2",
                                    "--fault", "EnumerateInstances=chunked", "--fault",
                                    "EnumerateClassNames=delay:1500", "--fault",
                                    "StartDataCollection=no-output@3"});
    const auto nameSpace = Connect(chassis);
    EXPECT_THAT(Names(*nameSpace, "ORX_FFDCService"), ElementsAre(kService));
    const auto software = Instances(*nameSpace, "CIM_SoftwareIdentity");
    ASSERT_EQ(software.size(), 2u);
    EXPECT_EQ(Text(software[0], "elementname"), "Geh\xC3\xA4use <switch> & \"Co\"");
    EXPECT_EQ(software[1]->GetProperty("None", kNoOptions), nullptr);
    EXPECT_EQ(Start(nameSpace, 0).at("CollectionLocation").ToString(10), "sftp://h/a b<&>");
    EXPECT_EQ(Start(nameSpace, 1).at("CollectionLocation").ToString(10), "sftp://h/2");
    EXPECT_TRUE(Start(nameSpace, 0).empty());
}

TEST(ChassisTest, WhatCannotBeReachedOrRefusesTheLogInDoesNotConnect)
{
    const SimulatedChassis chassis({});
    const struct {
        const char* nameSpace;
        std::string host;
        std::string user;
        std::string password;
        int port;
        const char* reason;
    } cases[] = {
        {"root/cimv2", "127.0.0.1", kUser, "wr0ng-one", chassis.Port(), "HTTP status 401"},
        {"root/cimv2", "127.0.0.1", kUser + ":x", kPassword, chassis.Port(), "colon"},
        {"root/other", "127.0.0.1", kUser, kPassword, chassis.Port(), "CIM_ERR_INVALID_NAMESPACE"},
        {"root/cimv2", "127.0.0.1", kUser, kPassword, 1, "onnect"},
        {"root/cimv2", "127.0.0.1/x?", kUser, kPassword, chassis.Port(), "no name and no address"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.reason);
        const auto nameSpace = Allocate(c.nameSpace);
        const std::string failure =
            Failure([&] { nameSpace->connect(c.host, c.user, c.password, c.port); });
        EXPECT_THAT(failure, HasSubstr(c.reason));
        EXPECT_THAT(failure, Not(HasSubstr(c.password)));
        EXPECT_THAT(Failure([&] { Names(*nameSpace, "ORX_FFDCData"); }),
                    HasSubstr("no connection"));
        nameSpace->disconnect();
    }
    EXPECT_EQ(chassis.Count("(log-in refused)"), 1) << "an account may be locked by a second try";
}

TEST(ChassisTest, FailuresNameTheOperationAndTheReason)
{
    const auto failure = [](const char* fault) {
        const SimulatedChassis chassis({"--fault", fault});
        return Failure([&] { Names(*Connect(chassis), "ORX_FFDCData"); });
    };
    EXPECT_EQ(failure("GetClass=error:5"), "") << "the probe takes any answer but refusals";
    EXPECT_THAT(failure("GetClass=error:2"), HasSubstr("CIM_ERR_ACCESS_DENIED (2)"));
    const std::string operation = "EnumerateClassNames: ";
    EXPECT_THAT(failure("EnumerateClassNames=error:1"),
                StartsWith(operation + "CIM_ERR_FAILED (1), As scripted <&>"));
    EXPECT_EQ(failure("EnumerateClassNames=status:500"), operation + "HTTP status 500");
    EXPECT_THAT(failure("EnumerateClassNames=cut"), StartsWith(operation));
    EXPECT_EQ(failure("EnumerateClassNames=huge"), operation + "the answer is too long");
}

TEST(ChassisTest, ReadingIsRepeatedOnceOnALostConnectionAndAMethodNever)
{
    const SimulatedChassis chassis({"--location", "sftp://h/1", "--fault", "GetClass=drop@1",
                                    "--fault", "EnumerateClassNames=drop@1", "--fault",
                                    "StartDataCollection=drop@1"});
    const auto nameSpace = Connect(chassis);
    EXPECT_EQ(chassis.Count("GetClass"), 2);
    EXPECT_THAT(Names(*nameSpace, "ORX_FFDCService"), ElementsAre(kService));
    EXPECT_EQ(chassis.Count("EnumerateClassNames"), 2);
    EXPECT_THAT(Failure([&] { Start(nameSpace, 0); }), StartsWith("StartDataCollection: "));
    EXPECT_EQ(chassis.Count("StartDataCollection"), 1);
    EXPECT_EQ(Start(nameSpace, 0).size(), 1u) << "the connection serves on";
}

TEST(ChassisTest, HttpsIsVerifiedUnlessAnOptionSaysOtherwise)
{
    TemporaryDirectory scratch;
    const std::string certificate = scratch / "certificate.pem";
    const std::string key = scratch / "key.pem";
    Program openssl({"/usr/bin/openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days",
                     "2", "-subj", "/CN=chassis", "-addext", "subjectAltName=IP:127.0.0.1",
                     "-keyout", HostPath(key), "-out", HostPath(certificate)},
                    {}, scratch.Path());
    ASSERT_EQ(openssl.Wait(), 0) << openssl.Errors();
    const SimulatedChassis chassis(
        {"--certificate", HostPath(certificate), "--key", HostPath(key)});
    const auto connect = [&] { Connect(chassis); };
    SetVariable("VXA_CIM_SCHEME", "https");
    EXPECT_THAT(Failure(connect), HasSubstr("certificate"));
    SetVariable("VXA_CIM_CA_FILE", certificate);
    EXPECT_EQ(Failure(connect), "");
    SetVariable("VXA_CIM_PINNED_KEY", "sha256//AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA=");
    EXPECT_THAT(Failure(connect), HasSubstr("pinned"));
    ClearVariable("VXA_CIM_PINNED_KEY");
    ClearVariable("VXA_CIM_CA_FILE");
    SetVariable("VXA_CIM_VERIFY", "off");
    EXPECT_EQ(Failure(connect), "");
    ClearVariable("VXA_CIM_VERIFY");
    ClearVariable("VXA_CIM_SCHEME");
}

TEST(ChassisTest, LogSaysThatThePasswordIsReadableOnTheWireWithoutShowingIt)
{
    TemporaryDirectory scratch;
    ASSERT_TRUE(OpenCoreLog(scratch / "log"));
    const SimulatedChassis chassis({});
    const auto nameSpace = Connect(chassis);
    // The chassis manager repeats the name in its answer.
    const std::string failure = Failure([&] { Names(*nameSpace, kPassword); });
    CloseCoreLog();
    EXPECT_THAT(failure, HasSubstr("There is no class *"));
    const std::string log = ContentsOf(scratch / "log");
    EXPECT_THAT(log, HasSubstr("in the clear"));
    EXPECT_THAT(log, HasSubstr(failure));
    EXPECT_THAT(log, Not(HasSubstr(kPassword)));
}

TEST(ChassisTest, SimulatorIsUnderstoodByAForeignClient)
{
    const SimulatedChassis chassis({"--location", "sftp://h/1"});
    const auto ask = [&](const std::string& operation, const std::string& rest) {
        const std::string path = "http://" + kUser + ":" + kPassword +
                                 "@127.0.0.1:" + std::to_string(chassis.Port()) + "/root/cimv2:";
        return RunOnHost("wbemcli " + operation + " " + path + rest).output;
    };
    EXPECT_THAT(ask("ei", "CIM_SoftwareIdentity"), HasSubstr("Geh\xC3\xA4use <switch> & "));
    EXPECT_THAT(ask("cm", kService + " EndDataCollection"), HasSubstr("EndDataCollection: 0"));
}

} // namespace
