#include "backends/spdriver/WmiTransport.h"

#include "backends/spdriver/DriverLog.h"
#include "backends/spdriver/WmiValues.h"

#include <objbase.h>
#include <wbemidl.h>

#include <algorithm>
#include <cstdio>

using Clock = std::chrono::steady_clock;

namespace {

constexpr const wchar_t* kNamespace = L"ROOT\\WMI";
constexpr const wchar_t* kClass = L"Microsoft_IPMI";
constexpr const wchar_t* kMethod = L"RequestResponse";
constexpr unsigned char kBmcAddress = 0x20;

// Why a step failed, in one line.
struct WmiFault {
    std::string text;
};

std::string FaultText(const std::string& step, HRESULT result)
{
    const auto is = [result](auto code) { return result == static_cast<HRESULT>(code); };
    if (is(WBEM_E_ACCESS_DENIED) || is(E_ACCESSDENIED))
        return "not permitted to use the IPMI driver's WMI class; an administrator may";
    if (is(WBEM_E_INVALID_NAMESPACE) || is(WBEM_E_INVALID_CLASS))
        return "no IPMI device: WMI has no class Microsoft_IPMI in ROOT\\WMI";
    char code[sizeof "0x00000000"];
    std::snprintf(code, sizeof code, "0x%08lx", static_cast<unsigned long>(result));
    return "WMI, " + step + ": error " + code;
}

void Check(HRESULT result, const char* step)
{
    if (result == static_cast<HRESULT>(WBEM_S_TIMEDOUT))
        throw WmiFault{std::string("WMI, ") + step + ": no answer in time"};
    if (FAILED(result))
        throw WmiFault{FaultText(step, result)};
}

long MillisecondsTo(Clock::time_point deadline)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    return static_cast<long>(std::max<long long>(left.count(), 0));
}

// COM on this thread. Where the caller has it with another threading model, that one serves too.
class ComOnThread {
public:
    ComOnThread() : m_result(::CoInitializeEx(nullptr, COINIT_MULTITHREADED))
    {
        if (m_result != RPC_E_CHANGED_MODE)
            Check(m_result, "start of COM");
    }
    ~ComOnThread()
    {
        if (SUCCEEDED(m_result))
            ::CoUninitialize();
    }
    ComOnThread(const ComOnThread&) = delete;
    ComOnThread& operator=(const ComOnThread&) = delete;

private:
    HRESULT m_result;
};

// Lets WMI act for the caller, whatever the process's own default; a library must not set that.
HRESULT ActForCaller(IUnknown* proxy)
{
    return ::CoSetProxyBlanket(proxy, RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr,
                               RPC_C_AUTHN_LEVEL_CALL, RPC_C_IMP_LEVEL_IMPERSONATE, nullptr,
                               EOAC_NONE);
}

ComPointer<IWbemServices> Connect()
{
    ComPointer<IWbemLocator> locator;
    Check(::CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_IWbemLocator,
                             reinterpret_cast<void**>(locator.Receive())),
          "locator");
    ComPointer<IWbemServices> services;
    Check(locator->ConnectServer(Bstr(kNamespace).get(), nullptr, nullptr, nullptr,
                                 WBEM_FLAG_CONNECT_USE_MAX_WAIT, nullptr, nullptr,
                                 services.Receive()),
          "connection");
    Check(ActForCaller(services.get()), "security of the connection");
    return services;
}

ComPointer<IWbemClassObject> FirstInstance(IWbemServices* services, Clock::time_point deadline)
{
    ComPointer<IEnumWbemClassObject> instances;
    Check(services->CreateInstanceEnum(Bstr(kClass).get(),
                                       WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY,
                                       nullptr, instances.Receive()),
          "list of devices");
    // A refusal here shows in the next call.
    ActForCaller(instances.get());
    ComPointer<IWbemClassObject> instance;
    ULONG count = 0;
    Check(instances->Next(MillisecondsTo(deadline), 1, instance.Receive(), &count),
          "list of devices");
    if (count == 0)
        throw WmiFault{"no IPMI device: WMI has no instance of Microsoft_IPMI in ROOT\\WMI; is the "
                       "driver ipmidrv running?"};
    return instance;
}

// The object that a call begun with WBEM_FLAG_RETURN_IMMEDIATELY ends with.
ComPointer<IWbemClassObject> ResultOf(IWbemCallResult* call, const char* step,
                                      Clock::time_point deadline)
{
    ActForCaller(call);
    long status = WBEM_S_NO_ERROR;
    Check(call->GetCallStatus(MillisecondsTo(deadline), &status), step);
    Check(static_cast<HRESULT>(status), step);
    ComPointer<IWbemClassObject> result;
    Check(call->GetResultObject(MillisecondsTo(deadline), result.Receive()), step);
    if (!result)
        throw WmiFault{std::string("WMI, ") + step + ": no result"};
    return result;
}

void Put(IWbemClassObject* parameters, const wchar_t* name, Variant&& value)
{
    Check(parameters->Put(name, 0, value.get(), 0), "parameters");
}

// The method's parameters, as the driver's class declares them.
ComPointer<IWbemClassObject> Parameters(IWbemServices* services, const Request& request,
                                        Clock::time_point deadline)
{
    constexpr const char* kStep = "class of the device";
    ComPointer<IWbemCallResult> call;
    Check(services->GetObject(Bstr(kClass).get(), WBEM_FLAG_RETURN_IMMEDIATELY, nullptr, nullptr,
                              call.Receive()),
          kStep);
    const ComPointer<IWbemClassObject> declaration = ResultOf(call.get(), kStep, deadline);
    ComPointer<IWbemClassObject> signature;
    Check(declaration->GetMethod(kMethod, 0, signature.Receive(), nullptr), kStep);
    if (!signature)
        throw WmiFault{"WMI, class of the device: RequestResponse takes no parameters"};
    ComPointer<IWbemClassObject> parameters;
    Check(signature->SpawnInstance(0, parameters.Receive()), kStep);
    Put(parameters.get(), L"NetworkFunction", Variant(request.networkFunction));
    Put(parameters.get(), L"Lun", Variant(request.lun));
    Put(parameters.get(), L"ResponderAddress", Variant(kBmcAddress));
    Put(parameters.get(), L"Command", Variant(request.command));
    Put(parameters.get(), L"RequestDataSize", Variant(static_cast<long>(request.length)));
    Put(parameters.get(), L"RequestData", Variant(request.data, request.length));
    return parameters;
}

void Get(IWbemClassObject* object, const wchar_t* name, Variant& value)
{
    Check(object->Get(name, 0, value.get(), nullptr, nullptr), "answer");
}

void Call(IWbemServices* services, const Request& request, Answer& answer,
          Clock::time_point deadline)
{
    const ComPointer<IWbemClassObject> instance = FirstInstance(services, deadline);
    Variant path;
    Check(instance->Get(L"__RELPATH", 0, path.get(), nullptr, nullptr), "device");
    if (V_VT(&path.value()) != VT_BSTR)
        throw WmiFault{"WMI, device: it has no path"};
    const ComPointer<IWbemClassObject> parameters = Parameters(services, request, deadline);
    ComPointer<IWbemCallResult> call;
    Check(services->ExecMethod(V_BSTR(&path.value()), Bstr(kMethod).get(),
                               WBEM_FLAG_RETURN_IMMEDIATELY, nullptr, parameters.get(), nullptr,
                               call.Receive()),
          "command");
    const ComPointer<IWbemClassObject> result = ResultOf(call.get(), "command", deadline);
    WmiAnswer values;
    Get(result.get(), L"CompletionCode", values.completionCode);
    Get(result.get(), L"ResponseDataSize", values.size);
    Get(result.get(), L"ResponseData", values.data);
    switch (ReadWmiAnswer(values, answer)) {
    case WmiReading::kAnswer:
        break;
    case WmiReading::kTwoCodes:
        WarnOfDriver("the IPMI driver's answer names two completion codes; the data may be off");
        break;
    case WmiReading::kNoAnswer:
        throw WmiFault{"WMI, answer: its values do not fit together"};
    }
}

} // namespace

std::string WmiTransport::Unavailable() const
{
    try {
        const ComOnThread com;
        FirstInstance(Connect().get(), Clock::now() + m_limit);
        return {};
    } catch (const WmiFault& fault) {
        return fault.text;
    }
}

std::string WmiTransport::Exchange(const Request& request, Answer& answer) const
{
    try {
        const Clock::time_point deadline = Clock::now() + m_limit;
        const ComOnThread com;
        Call(Connect().get(), request, answer, deadline);
        return {};
    } catch (const WmiFault& fault) {
        return fault.text;
    }
}

std::unique_ptr<Transport> MakeDeviceTransport()
{
    return std::make_unique<WmiTransport>();
}
