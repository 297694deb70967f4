#include "app/splash.h"

#include "kernel/hooks.h"
#include "platform/clock.h"
#include "platform/host/host.h"
#include "storage/bytes.h"
#include "storage/resource_file.h"

Splash splash;

static constexpr int kFirstPicture = 501;
static constexpr int kFrameAndSize = 10; // bytes at the start of a picture: size, then its frame
static constexpr uint32_t kNap = 10;     // ms

static bool has_picture(int id)
{
    return GetResource(res_type("PICT"), static_cast<int16_t>(id)) != 0;
}

// The wait and the successor of the picture that has just come up.
static void read_wait()
{
    splash.since = ticks();
    splash.wait = 0;
    splash.next = 0;
    const Handle handle = GetResource(res_type("wait"), static_cast<int16_t>(splash.picture));
    if (!handle || GetHandleSize(handle) < 2)
        return;
    const LockedHandle wait(handle);
    splash.wait = get_be16(wait.bytes);
    splash.next = has_picture(splash.picture + 1) ? splash.picture + 1 : 0;
}

void open_splash()
{
    const Handle handle = GetResource(res_type("PICT"), kFirstPicture);
    if (!handle || GetHandleSize(handle) < kFrameAndSize)
        return;
    splash = Splash();
    {
        const LockedHandle picture(handle);
        const auto side = [&](int i) {
            return static_cast<int16_t>(get_be16(picture.bytes + 2 + 2 * i));
        };
        splash.width = side(3) - side(1) + 2;
        splash.height = side(2) - side(0) + 2;
    }
    const HostSize client = host->client();
    splash.left = (client.width - splash.width) / 2;
    splash.top = (client.height - splash.height) / 2;
    splash.shown = true;
    splash.picture = kFirstPicture;
    read_wait();
}

static void show_next_picture()
{
    splash.picture = splash.next;
    hooks.poll_events();
    read_wait();
}

static bool time_is_over()
{
    return ticks() - splash.since >= splash.wait;
}

void advance_splash()
{
    if (splash.shown && splash.next != 0 && time_is_over())
        show_next_picture();
}

void close_splash()
{
    splash = Splash();
}

void wait_for_splash(bool take_clicks)
{
    while (splash.shown) {
        const bool clicked = take_clicks && host->take_button_press();
        if (!clicked && !time_is_over()) {
            host->pump(kNap);
            continue;
        }
        if (splash.next == 0)
            return;
        show_next_picture();
    }
}
