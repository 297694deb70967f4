// What stands between the run-time and the outside: the frame window with the client area inside
// it, alerts, the wait for what comes next. One host is chosen at start and serves the whole run.
#pragma once

#include <cstdint>
#include <string>

#include "platform/host/dialogs.h"
#include "platform/host/file_dialog.h"

// The frame as an Image file asks for it. Strings are Windows-1252.
struct FrameSettings {
    std::string title;
    int width = 640; // of the content
    int height = 480;
    uint8_t flags = 0; // see FrameFlags
    uint8_t second_flags = 0;
    int language = 0;
};

enum FrameFlags : uint8_t {
    kFrameMenuBar = 0x01,
    kFrameFillsScreen = 0x02, // no caption or border when the content is as large as the screen
    kFrameOnTop = 0x04,
    kFrameMovies = 0x10,
    kFrameEventFlag = 0x20,
    kFrameMaximized = 0x80,
};

enum class FrameState { normal = 9, minimized = 2, maximized = 3 };

// Where the frame stands: border and caption included, in screen coordinates.
struct FramePlace {
    int left, top, width, height;
    bool borderless;
    bool menu_bar;
    bool on_top;
    FrameState state;
};

struct HostSize {
    int width, height;
};

// Widths of the decoration, in pixels.
constexpr int kFrameBorder = 4;
constexpr int kFrameCaption = 19;
constexpr int kFrameMenuHeight = 19;

// The rules for place, border and state of a new frame on a screen of that size.
FramePlace place_frame(const FrameSettings& settings, HostSize screen);

class Host {
public:
    virtual ~Host() = default;

    virtual HostSize screen() const = 0;

    // Makes the frame and its client. False when the system refuses one of them.
    virtual bool open_frame(const FrameSettings& settings) = 0;
    virtual void close_frame() = 0;
    virtual void set_frame_state(FrameState state) = 0;
    bool has_frame() const { return has_frame_; }
    const FrameSettings& settings() const { return settings_; }
    const FramePlace& frame() const { return place_; }
    HostSize client() const; // 0 by 0 without a frame

    // Shows a dialog and answers its button, 1 for the first, 0 when it was closed without one.
    virtual int show_dialog(const Dialog& dialog) = 0;

    // Lets the user choose a file or folder. False when the dialog was cancelled.
    virtual bool choose_file(const FileDialog&, std::string&) { return false; }

    // Takes what the outside has to say, waiting for it at most that long.
    virtual void pump(uint32_t wait_ms) = 0;

    // Takes the mouse messages that wait off the queue: whether a press of the left button was one.
    virtual bool take_button_press() = 0;

    // The system's installer of movies, by its program's name. True when it ran to its end.
    virtual bool run_installer(const char* program) = 0;

protected:
    FrameSettings settings_;
    FramePlace place_ = {};
    bool has_frame_ = false;
};

// The host of this run; set at start, before the kernel's modules.
extern Host* host;

// Fills the parameters and shows the dialog of that id (language included): its button, 1 for an id
// that names none.
int show_alert(int id, const char* p0, const char* p1, const char* p2, const char* p3);
