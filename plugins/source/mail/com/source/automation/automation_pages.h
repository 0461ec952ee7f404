#pragma once

#include "automation/dispatch_object.h"
#include "object_model/object_model.h"

namespace plugins::mail_processing::automation {

class AutomationPages final : public PropertyPages {
public:
    explicit AutomationPages(vek::RefPtr<IDispatch> object) noexcept : object_(std::move(object)) {}

    HRESULT Add(std::u16string_view page, std::u16string_view caption) noexcept override;

private:
    const DispatchObject object_;
};

}  // namespace plugins::mail_processing::automation
