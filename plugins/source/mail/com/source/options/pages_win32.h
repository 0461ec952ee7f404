#pragma once

// The pages of Outlook's Options dialog, as COM objects.

#include "mapi/interface_ids.h"
#include "options/page_environment.h"

// The order matters: it needs windows.h.
#include <oaidl.h>

namespace plugins::mail_processing {

inline constexpr CLSID kPageAntivirusClass = {
    0x6A049246, 0x56B1, 0x4BA6, {0x8A, 0xAB, 0x82, 0x67, 0x03, 0xC7, 0x42, 0x41}};
inline constexpr CLSID kPageUnableToConnectClass = {
    0x6DDDE839, 0x295D, 0x4543, {0xBC, 0x7B, 0x92, 0x95, 0xC5, 0xDF, 0xFA, 0xE7}};

// The pages' own interfaces, IPageAntivirus and IPageUnableToConnect of the type library: dual,
// without members of their own.
inline constexpr IID kPageAntivirusInterface = {
    0xBFEB4F96, 0xF30A, 0x4F23, {0x8E, 0xB3, 0x3B, 0x09, 0x05, 0x0B, 0x99, 0xB3}};
inline constexpr IID kPageUnableToConnectInterface = {
    0x08D81559, 0xC571, 0x4C21, {0xBC, 0xAF, 0x58, 0x2E, 0x1B, 0x60, 0xA2, 0xBB}};

// Outlook's, of its public type library.
inline constexpr IID kPropertyPage = mapi::iid::Ole(0x0006307E);
inline constexpr IID kPropertyPageSite = mapi::iid::Ole(0x0006307F);

namespace property_page {
inline constexpr DISPID kGetPageInfo = 0x2100;
inline constexpr DISPID kDirty = 0x2101;
inline constexpr DISPID kApply = 0x2102;
}  // namespace property_page

namespace property_page_site {
inline constexpr DISPID kOnStatusChange = 0x2100;
}

// Outlook's PropertyPage.
struct PropertyPage : IDispatch {
    virtual HRESULT STDMETHODCALLTYPE GetPageInfo(BSTR* help_file, LONG* help_context) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Dirty(VARIANT_BOOL* dirty) = 0;
    virtual HRESULT STDMETHODCALLTYPE Apply() = 0;
};

// Make a page and give its interface `id`, for a class factory: E_NOINTERFACE when it has none
// such, E_OUTOFMEMORY. `module` holds the pages' resources and the type library. What the
// environment refers to outlives the page, which belongs to the calling thread.
HRESULT CreatePageAntivirus(const PageEnvironment& environment, HINSTANCE module, REFIID id,
                            void** out) noexcept;
HRESULT CreatePageUnableToConnect(const PageEnvironment& environment, HINSTANCE module, REFIID id,
                                  void** out) noexcept;

}  // namespace plugins::mail_processing
