#pragma once

#include <windows.h>

#include <memory>
#include <optional>

#include "product/settings_window/status_reader.h"

namespace reference_product {

// The window itself, a dialog without a parent, on the thread that makes it; that thread runs
// IsDialogMessage for it. Closing it ends the thread's message loop.
class SettingsDialog {
public:
    // Makes the window and shows it; `services` outlives it. Raises std::runtime_error when there
    // can be none.
    SettingsDialog(HINSTANCE program, plugins::loader::ServiceAccess& services, WindowTexts texts);
    ~SettingsDialog();
    SettingsDialog(const SettingsDialog&) = delete;
    SettingsDialog& operator=(const SettingsDialog&) = delete;

    HWND window() const noexcept { return window_; }
    // Shows it before the others, as far as the system lets a program do that.
    void BringToFront() noexcept;
    // The same with that of another process of this session, if it has one that can be seen.
    static bool BringAnothersToFront() noexcept;

private:
    struct News {
        WindowSnapshot snapshot;
        std::optional<vek::result_t> stored;
    };

    static INT_PTR CALLBACK Serve(HWND window, UINT message, WPARAM wide, LPARAM last);
    INT_PTR OnMessage(UINT message, WPARAM wide, LPARAM last);
    void Initialise();
    void AddColumns();
    void Take(std::unique_ptr<News> news);
    void Show(const WindowContent& content);
    void ShowFinds(const std::vector<WindowContent::Row>& rows);
    void OnCommand(int control, int code);
    void Enable(int control, bool enabled);
    void AllowApply(bool allowed);
    void DropFailure();
    void SetText(int control, const std::u16string& text);
    HWND Item(int control) const noexcept { return ::GetDlgItem(window_, control); }

    const HINSTANCE program_;
    const WindowTexts texts_;
    HWND window_ = nullptr;
    HFONT bold_ = nullptr;
    struct {
        HICON big = nullptr, small = nullptr;
    } icons_[2];  // off, on
    std::optional<WindowContent> shown_;
    bool edited_ = false;        // the boxes are the user's, until they are stored
    bool edited_since_ = false;  // they were stored last
    bool not_stored_ = false;    // which stays to be read until the user acts
    std::unique_ptr<StatusReader> reader_;
};

}  // namespace reference_product
