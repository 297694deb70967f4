#include "platform/host/headless_host.h"

#include <gtest/gtest.h>

#include "platform/clock.h"
#include "platform/text_encoding.h"

static std::string dialog_text(int id)
{
    Dialog dialog;
    return find_dialog(id, &dialog) ? utf8_from_ansi(dialog.text) : "none";
}

TEST(Dialogs, each_language_has_its_text_and_parameters_are_filled_in)
{
    set_dialog_params("kalvex.RI");
    EXPECT_EQ(dialog_text(kDialogNoFile), "The file kalvex.RI was not found!");
    EXPECT_EQ(dialog_text(kDialogNoFile + 1), "Le fichier kalvex.RI n'est pas présent!");
    EXPECT_EQ(dialog_text(kDialogNoFile + 2), "El archivo kalvex.RI no se encontró!");
    EXPECT_EQ(dialog_text(7000), "none");
}

TEST(Dialogs, the_spanish_error_dialog_has_no_details_and_missing_languages_fall_back)
{
    Dialog dialog;
    ASSERT_TRUE(find_dialog(kDialogInternalError, &dialog));
    EXPECT_EQ(dialog.buttons, (std::vector<std::string>{ "OK", "Quit", "Details" }));
    ASSERT_TRUE(find_dialog(kDialogInternalError + 2, &dialog));
    EXPECT_EQ(dialog.buttons, (std::vector<std::string>{ "OK", "Salir" }));
    ASSERT_TRUE(find_dialog(kDialogMovies + 2, &dialog));
    EXPECT_EQ(dialog.id, kDialogMovies);
}

TEST(Dialogs, every_parameter_is_replaced_wherever_it_stands_but_never_past_1023_characters)
{
    set_dialog_params("a", "b", "^0", "d");
    EXPECT_EQ(fill_dialog_text("^0^1^2^3^4^0"), "ab^0d^4a");
    EXPECT_EQ(fill_dialog_text("^"), "^");
    set_dialog_params(std::string(300, 'x'));
    const std::string text = fill_dialog_text("^0 ^0 ^0 ^0 ^0");
    EXPECT_LT(text.size(), 1024u);
    EXPECT_EQ(text.size(), 3 * 255u + 2 * 2 + 4);
}

TEST(Frame, a_frame_has_border_and_caption_and_is_centred_at_0_or_more)
{
    FrameSettings settings;
    const FramePlace place = place_frame(settings, { 1024, 768 });
    EXPECT_EQ(place.width, 640 + 2 * kFrameBorder);
    EXPECT_EQ(place.height, 480 + 2 * kFrameBorder + kFrameCaption);
    EXPECT_EQ(place.left, (1024 - place.width) / 2);
    EXPECT_EQ(place.state, FrameState::normal);
    EXPECT_EQ(place_frame(settings, { 640, 480 }).left, 0);
}

TEST(Frame, a_content_as_large_as_the_screen_may_lose_its_border)
{
    FrameSettings settings;
    settings.flags = kFrameFillsScreen;
    EXPECT_FALSE(place_frame(settings, { 641, 481 }).borderless);
    const FramePlace place = place_frame(settings, { 641, 480 });
    EXPECT_TRUE(place.borderless);
    EXPECT_EQ(place.height, 480);
    EXPECT_EQ(place.state, FrameState::maximized);
    settings.flags = kFrameMaximized;
    EXPECT_EQ(place_frame(settings, { 1024, 768 }).state, FrameState::maximized);
}

TEST(Frame, the_client_is_what_border_caption_and_menu_leave)
{
    HeadlessHost headless({ 1024, 768 });
    EXPECT_EQ(headless.client().width, 0);
    FrameSettings settings;
    settings.flags = kFrameMenuBar;
    ASSERT_TRUE(headless.open_frame(settings));
    EXPECT_EQ(headless.client().width, 640);
    EXPECT_EQ(headless.client().height, 480 - kFrameMenuHeight);
    headless.set_frame_state(FrameState::maximized);
    EXPECT_EQ(headless.client().width, 1024);
    EXPECT_EQ(headless.client().height, 768 - kFrameCaption - kFrameMenuHeight);
    headless.set_frame_state(FrameState::minimized);
    EXPECT_EQ(headless.client().height, 0);
}

TEST(HeadlessHost, alerts_are_answered_by_the_script_then_by_the_first_button)
{
    HeadlessHost headless;
    headless.set_quiet(true);
    host = &headless;
    headless.answer_alerts({ 3, 2 });
    EXPECT_EQ(show_alert(kDialogInternalError, "Error: 2", "", "", ""), 3);
    EXPECT_EQ(show_alert(kDialogDetails, "Error: 2", "", "", ""), 2);
    EXPECT_EQ(show_alert(kDialogDetails, "Error: 3", "", "", ""), 1);
    ASSERT_EQ(headless.shown().size(), 3u);
    EXPECT_EQ(headless.shown()[1].text, "Error: 2");
    host = nullptr;
}

TEST(HeadlessHost, a_wait_moves_the_virtual_clock)
{
    HeadlessHost headless;
    headless.use_virtual_time(true);
    use_virtual_clock(1000);
    headless.pump(250);
    EXPECT_EQ(tick_count_ms(), 1250u);
    EXPECT_EQ(ticks(), 75u);
    use_real_clock();
}
