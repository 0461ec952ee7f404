#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "options/resource_ids.h"

namespace plugins::mail_processing {

// The controls of the settings' page, by their ids in the dialog.
enum class PageControl : int {
    kSettingsButton = MLXO_SETTINGS_BUTTON,
    kState = MLXO_STATE,
    kSettingsGroup = MLXO_SETTINGS_GROUP,
    kOnDelivery = MLXO_ON_DELIVERY,
    kOnRead = MLXO_ON_READ,
    kOnSend = MLXO_ON_SEND,
    kTitle = MLXO_TITLE,
    kHint = MLXO_HINT,
    kIcon = MLXO_ICON,
};

enum class PageIcon { kEnabled, kDisabled };

// The dialog of the settings' page, as its logic sees it. On the thread of the dialog; operations
// raise for want of memory alone.
class PageView {
public:
    virtual void Show(PageControl control, bool shown) = 0;
    virtual void Enable(PageControl control, bool enabled) = 0;
    virtual void SetText(PageControl control, std::u16string_view text) = 0;
    virtual void Check(PageControl box, bool checked) = 0;
    virtual bool IsChecked(PageControl box) = 0;

    // Loads an icon from a file, whose path is UTF-8; it stays empty when that cannot be done.
    virtual void LoadIconFile(PageIcon icon, const std::string& path) = 0;
    // Shows it in the page's place for an icon: nothing for an empty one.
    virtual void ShowIcon(PageIcon icon) = 0;

    virtual void MirrorRightToLeft(PageControl control) = 0;
    // To be called when texts have changed: gives them the room that they take.
    virtual void Arrange() = 0;
    // Has the page refreshed again and again, after as much time each.
    virtual void StartTimer(std::chrono::milliseconds period) = 0;
    // Says that there is something to apply.
    virtual void MarkDirty() = 0;

protected:
    ~PageView() = default;
};

}  // namespace plugins::mail_processing
