#include "app/splash.h"

#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

#include "app/image_boot.h"
#include "app/image_manifest.h"
#include "kernel/hooks.h"
#include "platform/clock.h"
#include "platform/host/headless_host.h"
#include "platform/zone.h"
#include "storage/resource_file.h"

// A virtual clock, a frame, and an Image file with pictures of 100 by 50 and the waits given, in ticks.
class SplashTest : public testing::Test {
protected:
    void open(const std::string& manifest_text)
    {
        zone_open();
        path_ = testing::TempDir() + "splash.RI";
        Manifest manifest;
        std::string error;
        ASSERT_TRUE(parse_manifest(manifest_text, "", &manifest, &error)) << error;
        ASSERT_TRUE(build_image(manifest, path_, &error)) << error;
        use_virtual_clock(0);
        headless_.use_virtual_time(true);
        host = &headless_;
        ASSERT_TRUE(headless_.open_frame(FrameSettings()));
        ASSERT_TRUE(open_image(path_));
        open_splash();
    }

    void TearDown() override
    {
        close_splash();
        CloseAllResFiles();
        use_real_clock();
        host = nullptr;
        unlink(path_.c_str());
    }

    static std::string pictures(int count)
    {
        std::string text;
        for (int i = 0; i < count; i++)
            text += "resource PICT " + std::to_string(501 + i) + " hex 0000 0000 0000 0032 0064\n";
        return text;
    }

    static std::string waits(int count)
    {
        std::string text;
        for (int i = 0; i < count; i++)
            text += "resource wait " + std::to_string(501 + i) + " hex 003c\n"; // 60 ticks, a second
        return text;
    }

    static int picture_after(uint32_t ms)
    {
        advance_virtual_clock(ms);
        advance_splash();
        return splash.picture;
    }

    HeadlessHost headless_;
    std::string path_;
};

TEST_F(SplashTest, without_a_picture_there_is_none)
{
    open("load text /dev/null\n");
    EXPECT_FALSE(splash.shown);
    wait_for_splash(true);
    EXPECT_EQ(tick_count_ms(), 0u);
}

TEST_F(SplashTest, it_stands_in_the_middle_of_the_client_two_pixels_larger_than_the_picture)
{
    open(pictures(1));
    EXPECT_EQ(splash.width, 102);
    EXPECT_EQ(splash.height, 52);
    EXPECT_EQ(splash.left, (640 - 102) / 2);
    EXPECT_EQ(splash.top, (480 - 52) / 2);
}

TEST_F(SplashTest, each_picture_stays_for_its_wait)
{
    open(pictures(3) + waits(2));
    EXPECT_EQ(picture_after(900), 501);
    EXPECT_EQ(picture_after(200), 502);
    EXPECT_EQ(picture_after(900), 502);
    EXPECT_EQ(picture_after(200), 503);
    EXPECT_EQ(picture_after(60000), 503);
    EXPECT_EQ(splash.wait, 0u);
}

TEST_F(SplashTest, without_a_wait_or_a_successor_the_picture_stays)
{
    open(pictures(2));
    EXPECT_EQ(picture_after(60000), 501);
}

TEST_F(SplashTest, a_wait_for_the_end_lasts_as_long_as_the_pictures)
{
    open(pictures(2) + waits(2));
    wait_for_splash(false);
    EXPECT_EQ(splash.picture, 502);
    EXPECT_GE(ticks(), 120u);
    EXPECT_LE(ticks(), 122u);
}

TEST_F(SplashTest, a_press_of_the_button_ends_the_picture_on_show_if_it_is_asked_for)
{
    open(pictures(2) + waits(2));
    headless_.press_button();
    wait_for_splash(true);
    EXPECT_EQ(splash.picture, 502);
    EXPECT_LE(ticks(), 62u);
    close_splash();

    open_splash();
    headless_.press_button();
    const uint32_t start = ticks();
    wait_for_splash(false);
    EXPECT_GE(ticks() - start, 120u);
}
