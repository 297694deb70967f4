#include "platform/host/host.h"

#include <algorithm>

Host* host;

FramePlace place_frame(const FrameSettings& settings, HostSize screen)
{
    const bool large = settings.width >= screen.width || settings.height >= screen.height;
    FramePlace place = {};
    place.borderless = (settings.flags & kFrameFillsScreen) && large;
    place.menu_bar = settings.flags & kFrameMenuBar;
    place.on_top = settings.flags & kFrameOnTop;
    place.width = settings.width;
    place.height = settings.height;
    if (!place.borderless) {
        place.width += 2 * kFrameBorder;
        place.height += 2 * kFrameBorder + kFrameCaption;
    }
    place.left = std::max(0, (screen.width - place.width) / 2);
    place.top = std::max(0, (screen.height - place.height) / 2);
    const bool smaller = settings.width < screen.width && settings.height < screen.height;
    place.state =
        !(settings.flags & kFrameMaximized) && smaller ? FrameState::normal : FrameState::maximized;
    return place;
}

HostSize Host::client() const
{
    if (!has_frame_ || place_.state == FrameState::minimized)
        return { 0, 0 };
    HostSize size = { place_.width, place_.height };
    int frame_width = place_.borderless ? 0 : 2 * kFrameBorder;
    int frame_height = place_.borderless ? 0 : 2 * kFrameBorder + kFrameCaption;
    if (place_.state == FrameState::maximized) {
        // A maximized frame's borders lie outside the screen.
        size = screen();
        frame_width = 0;
        frame_height = place_.borderless ? 0 : kFrameCaption;
    }
    if (place_.menu_bar)
        frame_height += kFrameMenuHeight;
    return { std::max(0, size.width - frame_width), std::max(0, size.height - frame_height) };
}

int show_alert(int id, const char* p0, const char* p1, const char* p2, const char* p3)
{
    set_dialog_params(p0, p1, p2, p3);
    Dialog dialog;
    if (!find_dialog(id, &dialog))
        return 1;
    return host->show_dialog(dialog);
}
