#include "platform/host/headless_host.h"

#include <cstdio>
#include <ctime>
#include <utility>

#include "platform/clock.h"
#include "platform/text_encoding.h"

bool HeadlessHost::open_frame(const FrameSettings& settings)
{
    if (refuse_frame_)
        return false;
    settings_ = settings;
    place_ = place_frame(settings, screen_);
    has_frame_ = true;
    return true;
}

void HeadlessHost::close_frame()
{
    has_frame_ = false;
}

void HeadlessHost::set_frame_state(FrameState state)
{
    place_.state = state;
}

int HeadlessHost::show_dialog(const Dialog& dialog)
{
    shown_.push_back(dialog);
    if (!quiet_) {
        fprintf(stderr, "%s\n", utf8_from_ansi(dialog.text).c_str());
        if (!dialog.unsaid.empty())
            fprintf(stderr, "%s\n", utf8_from_ansi(dialog.unsaid).c_str());
        fflush(stderr);
    }
    return next_answer_ < answers_.size() ? answers_[next_answer_++] : 1;
}

void HeadlessHost::pump(uint32_t wait_ms)
{
    if (wait_ms == 0)
        return;
    if (virtual_time_) {
        advance_virtual_clock(wait_ms);
        return;
    }
    timespec wait = { static_cast<time_t>(wait_ms / 1000),
                      static_cast<long>(wait_ms % 1000) * 1000000 };
    while (nanosleep(&wait, &wait) != 0) {
    }
}

bool HeadlessHost::take_button_press()
{
    return std::exchange(pressed_, false);
}

bool HeadlessHost::run_installer(const char*)
{
    return false;
}

void HeadlessHost::answer_alerts(std::vector<int> buttons)
{
    answers_ = std::move(buttons);
    next_answer_ = 0;
}

bool HeadlessHost::choose_file(const FileDialog& dialog, std::string& path)
{
    file_dialogs_.push_back(dialog);
    if (file_answers_.empty())
        return false;
    path = file_answers_.back();
    file_answers_.pop_back();
    return !path.empty();
}

void HeadlessHost::answer_files(std::vector<std::string> paths)
{
    file_answers_.assign(paths.rbegin(), paths.rend());
}
