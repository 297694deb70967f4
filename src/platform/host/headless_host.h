// A host that needs no display: the frame is kept, alerts go to standard error and are answered by
// a script, and time passes as the clock says.
#pragma once

#include <vector>

#include "platform/host/host.h"

class HeadlessHost : public Host {
public:
    explicit HeadlessHost(HostSize screen = { 1024, 768 }) : screen_(screen) {}

    HostSize screen() const override { return screen_; }
    bool open_frame(const FrameSettings& settings) override;
    void close_frame() override;
    void set_frame_state(FrameState state) override;
    int show_dialog(const Dialog& dialog) override;
    bool choose_file(const FileDialog& dialog, std::string& path) override;
    void pump(uint32_t wait_ms) override;
    bool take_button_press() override;
    bool run_installer(const char* program) override;

    // Buttons for the alerts to come, in order; past them every alert answers its first.
    void answer_alerts(std::vector<int> buttons);
    // Paths for the file dialogs to come, in order; an empty one, and all past them, cancel.
    void answer_files(std::vector<std::string> paths);
    const std::vector<FileDialog>& file_dialogs() const { return file_dialogs_; }
    // The dialogs that were shown so far.
    const std::vector<Dialog>& shown() const { return shown_; }
    void set_quiet(bool quiet) { quiet_ = quiet; }
    // A wait makes the virtual clock go on instead of sleeping.
    void use_virtual_time(bool is_virtual) { virtual_time_ = is_virtual; }
    // A press of the left button that waits to be taken.
    void press_button() { pressed_ = true; }
    // The next frame is refused, as a system short of resources does.
    void refuse_frame() { refuse_frame_ = true; }

private:
    const HostSize screen_;
    std::vector<int> answers_;
    size_t next_answer_ = 0;
    std::vector<std::string> file_answers_; // the next one last
    std::vector<FileDialog> file_dialogs_;
    std::vector<Dialog> shown_;
    bool quiet_ = false;
    bool virtual_time_ = false;
    bool pressed_ = false;
    bool refuse_frame_ = false;
};
