// The pictures that stand over the client area while the Image file loads: PICT 501 and on, each
// for the time that the `wait` resource of its number gives.
#pragma once

#include <cstdint>

struct Splash {
    bool shown;
    int picture;                  // id of the PICT that is on show
    int next;                     // id of the one that follows, 0 for none
    uint32_t wait;                // ticks; 0 with no `wait`: the picture stays
    uint32_t since;               // tick at which it came up
    int left, top, width, height; // of its window in the client area
};

extern Splash splash;

void open_splash();    // does nothing without PICT 501
void advance_splash(); // shows the next picture when the time of this one is over
void close_splash();

// Waits until no further picture follows and the time of the last one is over. With take_clicks a
// press of the left button ends the picture that is on show.
void wait_for_splash(bool take_clicks);
