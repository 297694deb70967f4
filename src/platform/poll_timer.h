// An interval signal that reminds the interpreter to look at the clock and the events.
#pragma once

// From now on tick is called every 50 ms, from a signal handler: it may write a flag and no more.
// System calls that the signal meets go on by themselves.
void start_poll_timer(void (*tick)());
void stop_poll_timer();

// The same for the user's interrupt (Ctrl-C), which otherwise ends the program. Null restores that.
void on_interrupt(void (*note)());
