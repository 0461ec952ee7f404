#pragma once

// What the tests of the stand-in MAPI share.

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "mapi/interface_ids.h"
#include "mapi/property_tags.h"
#include "sandbox/outlook/mapi_subsystem.h"
#include "sandbox/outlook/mapi_values.h"

namespace sandbox::outlook {

namespace iid = plugins::mapi::iid;
namespace tag = plugins::mapi::tag;

// Ends with nothing left behind: no object, no buffer, no call from a foreign thread.
class MapiTest : public ::testing::Test {
protected:
    void TearDown() override {
        EXPECT_EQ(mapi.live_objects(), 0u);
        EXPECT_EQ(mapi.memory().LiveBuffers(), 0u);
        EXPECT_EQ(mapi.memory().BadFrees(), 0u);
        EXPECT_EQ(mapi.foreign_calls(), 0u);
    }

    // A property as it is given, or nothing for MAPI_E_NOT_FOUND.
    std::optional<PropertyValue> Read(IMAPIProp* object, ULONG wanted) {
        SPropValue* value = nullptr;
        const HRESULT code = functions.get_one_prop(object, wanted, &value);
        if (code == MAPI_E_NOT_FOUND) return std::nullopt;
        EXPECT_EQ(code, S_OK);
        if (FAILED(code)) return std::nullopt;
        auto taken = TakeValue(*value);
        EXPECT_EQ(value->ulPropTag, wanted);
        functions.free_buffer(value);
        return taken;
    }

    std::string ReadText(IMAPIProp* object, ULONG wanted) {
        const auto value = Read(object, wanted);
        return value ? *value->content() : "(none)";
    }

    static HRESULT WriteText(IMAPIProp* object, ULONG changed, std::string text,
                             SPropProblemArray** problems = nullptr) {
        SPropValue value{};
        value.ulPropTag = changed;
        value.Value.lpszA = text.data();
        return object->SetProps(1, &value, problems);
    }

    static HRESULT Delete(IMAPIProp* object, ULONG removed,
                          SPropProblemArray** problems = nullptr) {
        SPropTagArray tags{1, {removed}};
        return object->DeleteProps(&tags, problems);
    }

    // The one problem of a call, S_OK without any.
    HRESULT TakeProblem(SPropProblemArray* problems) {
        const HRESULT code = problems != nullptr ? problems->aProblem[0].scode : S_OK;
        functions.free_buffer(problems);
        return code;
    }

    static vek::RefPtr<IStream> OpenStream(IMAPIProp* object, ULONG wanted, ULONG options,
                                           ULONG flags, HRESULT expected = S_OK) {
        vek::RefPtr<IUnknown> stream;
        EXPECT_EQ(object->OpenProperty(wanted, &iid::kStream, options, flags, stream.put()),
                  expected);
        return vek::RefPtr<IStream>::Adopt(static_cast<IStream*>(stream.detach()));
    }

    static std::string ReadAll(IStream* stream) {
        std::string bytes(256, '\0');
        ULONG read = 0;
        EXPECT_EQ(stream->Read(bytes.data(), static_cast<ULONG>(bytes.size()), &read), S_OK);
        return bytes.substr(0, read);
    }

    static HRESULT Write(IStream* stream, std::string_view bytes) {
        return stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr);
    }

    static MessageRecord Message(std::string subject) {
        MessageRecord message;
        message.properties.Set(tag::kSubjectA, PropertyValue::Text(std::move(subject)));
        return message;
    }

    static PropertyBag Attachment(std::string name, std::string bytes, ULONG method) {
        PropertyBag bag;
        bag.Set(tag::kAttachMethod, PropertyValue::Long(static_cast<std::int32_t>(method)));
        bag.Set(tag::kDisplayNameW, PropertyValue::Text(std::move(name)));
        bag.Set(tag::kAttachDataBin, PropertyValue::Binary(std::move(bytes)));
        return bag;
    }

    MapiSubsystem mapi;
    const plugins::mapi::MapiFunctions functions = MapiSubsystem::Functions();
};

}  // namespace sandbox::outlook
