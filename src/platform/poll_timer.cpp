#include "platform/poll_timer.h"

#include <csignal>
#include <sys/time.h>

static constexpr int kInterval = 50000; // microseconds

static void (*timer_tick)();
static void (*interrupt_note)();

static void handle_alarm(int)
{
    timer_tick();
}
static void handle_interrupt(int)
{
    interrupt_note();
}

static void set_handler(int number, void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigaction(number, &action, nullptr);
}

static void set_interval(int microseconds)
{
    const itimerval interval = { { 0, microseconds }, { 0, microseconds } };
    setitimer(ITIMER_REAL, &interval, nullptr);
}

void start_poll_timer(void (*tick)())
{
    timer_tick = tick;
    set_handler(SIGALRM, handle_alarm);
    set_interval(kInterval);
}

void stop_poll_timer()
{
    set_interval(0);
    set_handler(SIGALRM, SIG_DFL);
}

void on_interrupt(void (*note)())
{
    interrupt_note = note;
    set_handler(SIGINT, note ? handle_interrupt : SIG_DFL);
}
