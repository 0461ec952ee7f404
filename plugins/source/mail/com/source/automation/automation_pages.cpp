#include "automation/automation_pages.h"

#include "com/border.h"

namespace plugins::mail_processing::automation {
namespace {

constinit Member g_add{L"Add"};

}  // namespace

HRESULT AutomationPages::Add(std::u16string_view page, std::u16string_view caption) noexcept {
    return AtBorder([&] { object_.Call(g_add, {OwnedVariant(page), OwnedVariant(caption)}); });
}

}  // namespace plugins::mail_processing::automation
