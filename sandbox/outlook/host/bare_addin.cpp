// An add-in that does nothing, the least that loading and connecting one takes; and one that does
// not connect.

#include <new>

#include "sandbox/outlook/host/object_ids.h"

// The order matters: it needs windows.h.
#include <objbase.h>

namespace {

using namespace sandbox::host;

// What scripts/host-run registers as Sandbox.FailingAddin; everything else is the one that
// connects.
constexpr CLSID kFailingAddin = {
    0x2B7F0E1D, 0x94C5, 0x4C0B, {0x8E, 0x4F, 0x0C, 0x5F, 0x4C, 0x1B, 0x7A, 0x52}};

LONG live = 0;

class BareAddin final : public IExtensibility {
public:
    explicit BareAddin(HRESULT connection) : connection_(connection) {
        ::InterlockedIncrement(&live);
    }
    virtual ~BareAddin() { ::InterlockedDecrement(&live); }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) override {
        const bool known = id == IID_IUnknown || id == IID_IDispatch || id == iid::kExtensibility;
        *out = known ? static_cast<IExtensibility*>(this) : nullptr;
        if (known) AddRef();
        return known ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override {
        return static_cast<ULONG>(::InterlockedIncrement(&references_));
    }
    ULONG STDMETHODCALLTYPE Release() override {
        const LONG left = ::InterlockedDecrement(&references_);
        if (left == 0) delete this;
        return static_cast<ULONG>(left);
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                                     UINT*) override {
        return DISP_E_MEMBERNOTFOUND;
    }
    HRESULT STDMETHODCALLTYPE OnConnection(IDispatch*, ConnectMode, IDispatch*,
                                           SAFEARRAY**) override {
        return connection_;
    }
    HRESULT STDMETHODCALLTYPE OnDisconnection(DisconnectMode, SAFEARRAY**) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnAddInsUpdate(SAFEARRAY**) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnStartupComplete(SAFEARRAY**) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnBeginShutdown(SAFEARRAY**) override { return S_OK; }

private:
    const HRESULT connection_;
    LONG references_ = 1;
};

class BareFactory final : public IClassFactory {
public:
    explicit BareFactory(HRESULT connection) : connection_(connection) {}
    virtual ~BareFactory() = default;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) override {
        const bool known = id == IID_IUnknown || id == IID_IClassFactory;
        *out = known ? static_cast<IClassFactory*>(this) : nullptr;
        return known ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID id, void** out) override {
        auto* const addin = new (std::nothrow) BareAddin(connection_);
        if (addin == nullptr) return E_OUTOFMEMORY;
        const HRESULT code = addin->QueryInterface(id, out);
        addin->Release();
        return code;
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

private:
    const HRESULT connection_;
};

}  // namespace

extern "C" {

HRESULT WINAPI DllGetClassObject(REFCLSID class_id, REFIID id, void** out) {
    static BareFactory factory(S_OK);
    static BareFactory failing(E_FAIL);
    return (class_id == kFailingAddin ? failing : factory).QueryInterface(id, out);
}

HRESULT WINAPI DllCanUnloadNow() { return live == 0 ? S_OK : S_FALSE; }

}  // extern "C"
