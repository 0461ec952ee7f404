#pragma once

// Dialogs at the resolution of the window that they stand in, whatever resolution and awareness the
// host's process and threads have. On the thread of the windows.

#include <windows.h>

#include <vector>

#include "vek/platform/unique_resource.h"

namespace plugins::com {

struct FontTraits {
    using value_t = HFONT;
    static value_t None() noexcept { return nullptr; }
    static void Close(value_t font) noexcept { ::DeleteObject(font); }
};
using UniqueFont = vek::platform::UniqueResource<FontTraits>;

// Dots per inch of a window, as it is told them; null stands for the screen.
UINT ResolutionOf(HWND window) noexcept;

// While it lives, this thread makes windows that know as much of resolutions as `window` does.
class AwarenessOf {
public:
    explicit AwarenessOf(HWND window) noexcept;
    ~AwarenessOf();
    AwarenessOf(const AwarenessOf&) = delete;
    AwarenessOf& operator=(const AwarenessOf&) = delete;

private:
    void* previous_ = nullptr;  // null when nothing was changed
};

// A size in a window's pixels in those of this thread, which may know more or less of resolutions.
SIZE AsThisThreadMeasures(HWND window, SIZE pixels) noexcept;

// The font of all dialogs here, and the size of their units with it.
struct DialogFont {
    explicit DialogFont(UINT resolution) noexcept;

    SIZE ToPixels(SIZE units) const noexcept;

    UniqueFont font;
    SIZE base{};  // pixels for 4 units across and for 8 down
};

// The size of the dialog resource (DIALOGEX) in its units; empty when there is none.
SIZE DialogUnits(HINSTANCE module, WORD dialog) noexcept;

// Where a dialog's controls stand.
class DialogLayout {
public:
    // Notes the places that the template gave them. May raise.
    explicit DialogLayout(HWND dialog);

    // Gives the controls the size that they have at this resolution. May raise.
    void Scale(UINT resolution);

    // Gives texts that are longer than their control the room that they take: statics and check
    // boxes grow down and move what is below, push buttons grow to the left. May raise.
    void Arrange();

private:
    struct Place {
        HWND control;
        RECT units;
        RECT pixels;
    };
    // Has a mirrored check box begin as far from its group's right edge as the others from the
    // left.
    void AlignMirrored(Place& box) const;
    LONG MissingHeight(HDC context, const Place& place) const;
    LONG MissingWidth(HDC context, const Place& place) const;

    const HWND dialog_;
    std::vector<Place> places_;
    UINT resolution_ = 0;
    DialogFont font_{0};
};

}  // namespace plugins::com
