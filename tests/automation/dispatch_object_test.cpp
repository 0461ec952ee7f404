#include "automation/dispatch_object.h"

#include <gtest/gtest.h>

#include "com/border.h"
#include "tests/automation/fake_object.h"

namespace {

using namespace tests;
using automation::DispatchObject;
using plugins::com::AtBorder;

TEST(DispatchObject, GivesResultsAsTheirTypeOrRefuses) {
    EXPECT_EQ(Typed(VT_BSTR, BSTR{}).Text(), u"");
    EXPECT_EQ(OwnedVariant(7).Text(), u"7");
    EXPECT_EQ(Typed(VT_BOOL, VARIANT_BOOL{1}).Flag(), 1);
    EXPECT_EQ(Typed(VT_I2, short{43}).Number(), 43);
    EXPECT_EQ(AtBorder([] { Typed(VT_I8, 1LL << 40).Number(); }), DISP_E_OVERFLOW);
    EXPECT_EQ(AtBorder([] { OwnedVariant(u"none").Number(); }), DISP_E_TYPEMISMATCH);
    CallPlan plan;
    const auto fake = vek::MakeObject<FakeObject>(plan);
    EXPECT_EQ(AtBorder([&] { Dispatch(fake.get()).Text(); }), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(fake->AddRef(), 2u) << "a reference was left";
    fake->Release();
}

TEST(DispatchObject, CallsByNameAndGivesTheCodeOfTheFailure) {
    const std::pair<HRESULT (*)(EXCEPINFO&), HRESULT> rows[] = {
        {[](EXCEPINFO&) { return DISP_E_EXCEPTION; }, DISP_E_EXCEPTION},
        {[](EXCEPINFO& info) { return info.wCode = 1004, DISP_E_EXCEPTION; },
         static_cast<HRESULT>(0x800A03EC)},
        {[](EXCEPINFO& info) {
             info.pfnDeferredFillIn = [](EXCEPINFO* late) WINAPI -> HRESULT {
                 late->bstrDescription = ::SysAllocString(L"late");
                 return late->scode = E_ABORT, S_OK;
             };
             return DISP_E_EXCEPTION;
         },
         E_ABORT},
    };
    CallPlan plan;
    automation::Member add(L"Add");
    const auto fake = vek::MakeObject<FakeObject>(plan);
    const auto call = [&] {
        DispatchObject(fake).Call(add, {OwnedVariant(u"page"), OwnedVariant(2)});
    };
    EXPECT_EQ(AtBorder(call), DISP_E_UNKNOWNNAME);
    fake->Has(L"Add", 0x5F);
    EXPECT_EQ(AtBorder(call) | AtBorder(call), S_OK);
    EXPECT_EQ(plan.log, "? ? Add:page:2() Add:page:2() ");  // the number is kept once known
    for (const auto& [report, code] : rows) {
        plan.report = report;
        plan.Start(1);
        EXPECT_EQ(AtBorder(call), code);
    }
    EXPECT_EQ(AtBorder([&] { DispatchObject(nullptr).Get(add); }), E_POINTER);
}

}  // namespace
