#include "os/sysquery.h"

#include <windows.h>
// After windows.h.
#include <oleauto.h>
#include <wbemidl.h>

#include "os/windows/utf8.h"

namespace trel::os {
namespace {

// Starts the COM library for the calling thread and stops it again.
class ComLibrary {
  public:
    ComLibrary() : result_(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {}
    ~ComLibrary() {
        if (SUCCEEDED(result_)) CoUninitialize();
    }
    ComLibrary(const ComLibrary&) = delete;
    ComLibrary& operator=(const ComLibrary&) = delete;
    // A thread that runs it in the other mode can make queries too.
    bool started() const { return SUCCEEDED(result_) || result_ == RPC_E_CHANGED_MODE; }

  private:
    HRESULT result_;
};

// Owns one reference to an interface.
template <class T>
class ComPointer {
  public:
    ComPointer() = default;
    ~ComPointer() {
        if (pointer_) pointer_->Release();
    }
    ComPointer(const ComPointer&) = delete;
    ComPointer& operator=(const ComPointer&) = delete;
    T** receive() { return &pointer_; }
    T* get() const { return pointer_; }
    T* operator->() const { return pointer_; }

  private:
    T* pointer_ = nullptr;
};

// A text for calls that want the automation type.
class AutomationText {
  public:
    explicit AutomationText(const std::wstring& text) : text_(SysAllocString(text.c_str())) {}
    ~AutomationText() { SysFreeString(text_); }
    AutomationText(const AutomationText&) = delete;
    AutomationText& operator=(const AutomationText&) = delete;
    BSTR get() const { return text_; }

  private:
    BSTR text_;
};

std::optional<std::string> property_of(IWbemClassObject& object, const std::string& name) {
    VARIANT value;
    VariantInit(&value);
    std::optional<std::string> text;
    if (SUCCEEDED(object.Get(to_utf16(name).c_str(), 0, &value, nullptr, nullptr)) && value.vt != VT_NULL &&
        value.vt != VT_EMPTY && SUCCEEDED(VariantChangeType(&value, &value, 0, VT_BSTR)) && value.bstrVal) {
        text = to_utf8(std::wstring_view(value.bstrVal, SysStringLen(value.bstrVal)));
    }
    VariantClear(&value);
    return text;
}

}  // namespace

QueryResult system_query(const std::string& class_name, const std::vector<std::string>& properties,
                         const std::string&) {
    const ComLibrary com;
    if (!com.started()) return {QueryFailure::library, {}};

    ComPointer<IWbemLocator> locator;
    if (FAILED(CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_IWbemLocator,
                                reinterpret_cast<void**>(locator.receive())))) {
        return {QueryFailure::locator, {}};
    }

    ComPointer<IWbemServices> services;
    if (FAILED(locator->ConnectServer(AutomationText(to_utf16(kQueryNamespace)).get(), nullptr, nullptr,
                                      nullptr, 0, nullptr, nullptr, services.receive()))) {
        return {QueryFailure::connection, {}};
    }
    // The service answers with the caller's rights. What a refusal means shows in the query.
    CoSetProxyBlanket(services.get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr, RPC_C_AUTHN_LEVEL_CALL,
                      RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE);

    ComPointer<IEnumWbemClassObject> objects;
    if (FAILED(services->ExecQuery(
            AutomationText(L"WQL").get(), AutomationText(to_utf16(query_text(class_name))).get(),
            WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY, nullptr, objects.receive()))) {
        return {QueryFailure::query, {}};
    }
    QueryResult result;
    while (true) {
        ComPointer<IWbemClassObject> object;
        ULONG n = 0;
        const HRESULT next = objects->Next(WBEM_INFINITE, 1, object.receive(), &n);
        // A class that does not exist is found out here.
        if (FAILED(next)) return {QueryFailure::query, {}};
        if (n == 0) return result;
        std::vector<std::optional<std::string>> values;
        for (const std::string& property : properties) values.push_back(property_of(*object.get(), property));
        result.objects.push_back(std::move(values));
    }
}

}  // namespace trel::os
