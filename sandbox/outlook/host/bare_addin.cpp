// An add-in that does nothing: the least that loading and connecting one takes.

#include <new>

#include "sandbox/outlook/host/object_ids.h"

// The order matters: it needs windows.h.
#include <objbase.h>

namespace {

using namespace sandbox::host;

LONG live = 0;

class BareAddin final : public IExtensibility {
public:
    BareAddin() { ::InterlockedIncrement(&live); }
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
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE OnDisconnection(DisconnectMode, SAFEARRAY**) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnAddInsUpdate(SAFEARRAY**) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnStartupComplete(SAFEARRAY**) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnBeginShutdown(SAFEARRAY**) override { return S_OK; }

private:
    LONG references_ = 1;
};

class BareFactory final : public IClassFactory {
public:
    virtual ~BareFactory() = default;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) override {
        const bool known = id == IID_IUnknown || id == IID_IClassFactory;
        *out = known ? static_cast<IClassFactory*>(this) : nullptr;
        return known ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID id, void** out) override {
        auto* const addin = new (std::nothrow) BareAddin;
        if (addin == nullptr) return E_OUTOFMEMORY;
        const HRESULT code = addin->QueryInterface(id, out);
        addin->Release();
        return code;
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }
};

}  // namespace

extern "C" {

HRESULT WINAPI DllGetClassObject(REFCLSID, REFIID id, void** out) {
    static BareFactory factory;
    return factory.QueryInterface(id, out);
}

HRESULT WINAPI DllCanUnloadNow() { return live == 0 ? S_OK : S_FALSE; }

}  // extern "C"
