// Files made here opened by a reader written from the layout alone in another language, and the
// other way round.
#include "resource_test.h"

class OtherReader : public ResourceTest {
protected:
    static std::string run(const std::string& arguments)
    {
        const std::string command =
            "python3 " KALVEX_TEST_DATA "/unit/storage/read_resource_file.py " + arguments;
        FILE* pipe = popen(command.c_str(), "r");
        std::string text;
        for (int c = fgetc(pipe); c != EOF; c = fgetc(pipe))
            text += static_cast<char>(c);
        EXPECT_EQ(pclose(pipe), 0);
        return text;
    }
};

TEST_F(OtherReader, reads_what_was_written_here)
{
    const int file = make("ours");
    add(kText, 128, "hello", "Greeting");
    SetResAttrs(add(kString, -3, "ab"), kResChanged | kResPreload | kResPurgeable);
    const Handle removed = add(res_type("GONE"), 1, "gone", "Gone");
    add(kText, 129, "");
    UpdateResFile(file);
    RmveResource(removed);
    set_text(GetResource(kText, 128), "hello again");
    ChangedResource(GetResource(kText, 128));
    SetResInfo(GetResource(kText, 129), 130, "Later");
    CloseAllResFiles();
    EXPECT_EQ(run("dump " + folder.host + "/ours"), "TEXT 128 0 Greeting 68656c6c6f20616761696e\n"
                                                    "TEXT 130 0 Later \n"
                                                    "STR  -3 36 - 6162\n");
}

TEST_F(OtherReader, writes_what_is_read_here)
{
    std::ofstream lines(folder.host + "/lines");
    lines << "TEXT 1 0 One 6f6e65\nPICT -32768 32 - 00ff\nTEXT 32767 4 - \n";
    lines.close();
    run("make " + folder.host + "/theirs < " + folder.host + "/lines");
    ASSERT_GE(OpenResFile(folder.path("theirs")), 0);
    EXPECT_EQ(text_of(GetNamedResource(kText, "One")), "one");
    EXPECT_EQ(text_of(GetResource(res_type("PICT"), INT16_MIN)), std::string("\0\xff", 2));
    EXPECT_EQ(GetResAttrs(GetResource(res_type("PICT"), INT16_MIN)), kResPurgeable);
    EXPECT_EQ(text_of(GetResource(kText, INT16_MAX)), "");
    EXPECT_EQ(Count1Types(), 2);
    RmveResource(GetResource(kText, 1));
    CloseAllResFiles();
    EXPECT_EQ(run("dump " + folder.host + "/theirs"), "TEXT 32767 4 - \nPICT -32768 32 - 00ff\n");
}
