// What Lisp code may ask about its boot, its frame and its end.
#include "app/image_boot.h"
#include "app/splash.h"
#include "kernel/errors.h"
#include "kernel/hooks.h"
#include "kernel/primitive.h"
#include "kernel/printer.h"
#include "kernel/symbols.h"

// ---- Boot

static Value test_wait_dlg()
{
    advance_splash();
    return no_value;
}

static Value wait_boot_time(Value take_clicks)
{
    wait_for_splash(is_true_flag(take_clicks));
    return no_value;
}

static Value boot_time()
{
    return make_unsigned(boot_ticks());
}

// ---- The program

static Value quit()
{
    hooks.quit(0);
    return no_value;
}

static Value get_appl_creator()
{
    raise_error(kErrorNotHere);
}

static Value debugger(Value v)
{
    internal_error_dialog(string_chars(coerce_to_string(v)));
    return v;
}

static Value set_language(Value index)
{
    const int32_t language = integer_value(index);
    dialog_language = language == 1 ? 1 : 0;
    return no_value;
}

// ---- Screen and frame

static Value screen_width()
{
    return make_fixnum(host->screen().width);
}
static Value screen_height()
{
    return make_fixnum(host->screen().height);
}
static Value desktop_frame_width()
{
    return make_fixnum(host->client().width);
}
static Value desktop_frame_height()
{
    return make_fixnum(host->client().height);
}
static Value get_menubar_p()
{
    return boolean(host->has_frame() && host->frame().menu_bar);
}

static Value set_frame_state(FrameState state)
{
    if (host->has_frame())
        host->set_frame_state(state);
    return no_value;
}

static Value desktop_minimize()
{
    return set_frame_state(FrameState::minimized);
}
static Value desktop_maximize()
{
    return set_frame_state(FrameState::maximized);
}
static Value desktop_restore()
{
    return set_frame_state(FrameState::normal);
}

static const Primitive boot_primitives[] = {
    { "test-wait-dlg", test_wait_dlg,
      "(test-wait-dlg): shows the next splash picture if the time of this one is over" },
    { "wait-boot-time", wait_boot_time,
      "(wait-boot-time flag): waits until the splash pictures have had their time; with a true "
      "flag a "
      "press of the left button ends the one on show" },
    { "boot-time", boot_time,
      "(boot-time): ticks of 1/60 s from the start to the end of the loads" },
    { "get-menubar?", get_menubar_p, "(get-menubar?): t if the frame has a menu bar" },
    { "quit", quit, "(quit): ends the program; nothing comes back" },
    { "do-quit", quit, "(do-quit): ends the program; nothing comes back" },
    { "get-appl-creator", get_appl_creator, "(get-appl-creator): error 47, there is none here" },
    { "debugger", debugger,
      "(debugger value): value, once the user has seen its text in the internal-error dialog" },
    { "set-language", set_language,
      "(set-language index): language of the dialogs, 0 English, 1 French; any other becomes 0. "
      "Error 2 "
      "when index is no integer" },
    Primitive("screen-width", screen_width, "(screen-width): width of the screen in pixels")
        .optional(),
    Primitive("screen-height", screen_height, "(screen-height): height of the screen in pixels")
        .optional(),
    Primitive("desktop-frame-width", desktop_frame_width,
              "(desktop-frame-width): width of the frame's client area in pixels")
        .optional(),
    Primitive("desktop-frame-height", desktop_frame_height,
              "(desktop-frame-height): height of the frame's client area in pixels")
        .optional(),
    Primitive("desktop-minimize", desktop_minimize, "(desktop-minimize): minimizes the frame")
        .optional(),
    Primitive("desktop-maximize", desktop_maximize, "(desktop-maximize): maximizes the frame")
        .optional(),
    Primitive("desktop-restore", desktop_restore,
              "(desktop-restore): gives the frame its own size and place back")
        .optional(),
};

void init_boot()
{
    splash = Splash();
    define_primitives(boot_primitives);
}
