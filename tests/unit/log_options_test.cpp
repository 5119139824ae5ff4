/* The option file and the environment of the log. */
#include "log_fixture.h"

#include <filesystem>
#include <string.h>

static bool is_open(const std::string& path) {
    for (const auto& each : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone; /* the iterator's own descriptor may be */
        if (std::filesystem::read_symlink(each, gone) == path) return true;
    }
    return false;
}

static const char all_off[] = "category 'One' off\ncategory 'Two' off\ncategory 'A_long_category' off\n";

/* Reads the option file in a child, then lists the categories on its standard output. */
struct LogOptions : LogTest {
    ChildResult read(const std::string& options) {
        write_options(options);
        return run_child([this](auto&) {
            _log_link(test_map);
            printf("%u\n", log_enable_from_file(option_path.c_str()));
            log_dump();
        });
    }
    static std::string listing(const char* one_state, const char* two_state, const char* three_state) {
        return std::string("1\ncategory 'One' ") + one_state + "\ncategory 'Two' " + two_state +
               "\ncategory 'A_long_category' " + three_state + "\n";
    }
    std::string message(const char* rest) { return "log_enable_from_file(\"" + option_path + "\") " + rest + "\n"; }
};

/* ---- Reading at all ---- */

TEST_F(LogOptions, NullPathChangesNothing) {
    const ChildResult result = run_child([](auto&) {
        _log_link(test_map);
        log_enable("One", 0, 0);
        printf("%u %d\n", log_enable_from_file(NULL), one_flag == one);
    });
    EXPECT_EQ("0 1\n", result.out);
}

TEST_F(LogOptions, UnreadableFileTurnsEveryCategoryOffSilently) {
    const ChildResult result = run_child([this](auto&) {
        _log_link(test_map);
        log_enable("One", 0, 0);
        log_enable("A_long_category", 0, 0);
        printf("%u\n", log_enable_from_file(option_path.c_str()));
        log_dump();
    });
    EXPECT_EQ(std::string("0\n") + all_off, result.out);
    EXPECT_EQ("", result.err);
}

TEST_F(LogOptions, EmptyLinesAndCommentsAreSkipped) {
    const ChildResult result = read("\n# One\n   \t \nTwo # One SERIAL\n#\n");
    EXPECT_EQ(listing("off", "on", "off"), result.out);
    EXPECT_EQ("", result.err);
}

TEST_F(LogOptions, LastLineNeedsNoNewline) {
    EXPECT_EQ(listing("off", "off", "on SRCLOC"), read("A_long_category SRCLOC").out);
}

TEST_F(LogOptions, LongLinesAreReadInPiecesOf255Characters) {
    const ChildResult result = read(std::string(248, ' ') + "One\t\t\t\tTwo\n"); /* "Two" is a line of its own */
    EXPECT_EQ(listing("on", "on", "off"), result.out);
    EXPECT_EQ("", result.err);
}

TEST_F(LogOptions, CommentEndsWithItsPiece) {
    EXPECT_EQ(listing("on", "off", "off"), read("#" + std::string(254, 'x') + "One\n").out);
}

/* ---- Categories ---- */

TEST_F(LogOptions, HeaderOptionsAreSetByName) {
    const ChildResult result = read("One SERIAL\nTwo\tTIMESTAMP   SRCLOC\nA_long_category SERIAL TIMESTAMP SRCLOC\n");
    EXPECT_EQ(listing("on SERIAL", "on TIMESTAMP SRCLOC", "on SERIAL TIMESTAMP SRCLOC"), result.out);
}

TEST_F(LogOptions, MinusClearsAHeaderOption) {
    EXPECT_EQ(listing("on SRCLOC", "off", "off"), read("One SERIAL SRCLOC TIMESTAMP\nOne -SERIAL -TIMESTAMP\n").out);
}

TEST_F(LogOptions, OptionBothSetAndClearedIsClear) {
    EXPECT_EQ(listing("on", "on TIMESTAMP", "off"), read("One -SERIAL SERIAL\nTwo SERIAL -SERIAL TIMESTAMP\n").out);
}

TEST_F(LogOptions, UnknownHeaderOptionsAreIgnored) {
    const ChildResult result = read("One serial WHAT -WHAT SRCLOC --SRCLOC -\n");
    EXPECT_EQ(listing("on SRCLOC", "off", "off"), result.out);
    EXPECT_EQ("", result.err);
}

TEST_F(LogOptions, UnknownCategoryIsToldAndSkipped) {
    const ChildResult result = read("Nine SERIAL\nOne\n");
    EXPECT_EQ("log_enable('Nine') unrecognized category\n", result.err);
    EXPECT_EQ(listing("on", "off", "off"), result.out);
}

TEST_F(LogOptions, HeaderOptionsAddUpOverReadings) {
    write_options("One SERIAL\nTwo SRCLOC\n");
    const ChildResult result = run_child([this](auto&) {
        _log_link(test_map);
        log_enable_from_file(option_path.c_str());
        write_options("One TIMESTAMP\n");
        printf("%u\n", log_enable_from_file(option_path.c_str()));
        log_dump();
    });
    EXPECT_EQ(listing("on SERIAL TIMESTAMP", "off SRCLOC", "off"), result.out);
}

/* ---- Output options ---- */

TEST_F(LogOptions, StdoutOptionEchoes) {
    write_options("options -stdout\nOne\n");
    const ChildResult result = run_child([this](auto&) {
        _log_link(test_map);
        log_enable_from_file(option_path.c_str());
        _log_print(one, "x.c", 1);
        _log_format("text");
    });
    EXPECT_EQ("One        text\n", result.out);
}

TEST_F(LogOptions, FileOptionOpensTheLog) {
    std::ofstream(log_path) << "old";
    write_options("options -file " + log_path + " -stdout\nOne SERIAL SRCLOC\nTwo TIMESTAMP -SERIAL\n");
    const ChildResult result = run_child([this](auto&) {
        _log_link(test_map);
        log_enable_from_file(option_path.c_str());
        _log_print(one, "x.c", 9);
        _log_format("text\n");
    });
    EXPECT_EQ("00000 One        \"x.c\":9 text\n\n", text_of(log_path));
    EXPECT_EQ(text_of(log_path), result.out);
}

TEST_F(LogOptions, SecondFileOptionReplacesTheLog) {
    write_options("options -file " + log_path + " -file " + folder + "/second\n");
    const ChildResult result = run_child([this](auto&) {
        _log_link(test_map);
        log_enable_from_file(option_path.c_str());
        log_printf("text");
        printf("%d\n", is_open(log_path));
    });
    EXPECT_EQ("1\n", result.out) << "a record might still be on its way into the first";
    EXPECT_EQ("", text_of(log_path));
    EXPECT_EQ("text\n", text_of(folder + "/second"));
}

TEST_F(LogOptions, FileOptionWithoutANameIsTold) {
    const ChildResult result = read("options -file\nOne\n");
    EXPECT_EQ(message("option -file expects filename"), result.err);
    EXPECT_EQ(listing("on", "off", "off"), result.out);
}

TEST_F(LogOptions, BadOptionIsToldAndTheRestStillCounts) {
    write_options("options -what -stdout\n");
    const ChildResult result = run_child([this](auto&) {
        _log_link(test_map);
        log_enable_from_file(option_path.c_str());
        log_printf("echoed");
    });
    EXPECT_EQ(message("bad option '-what'"), result.err);
    EXPECT_EQ("echoed\n", result.out);
}

TEST_F(LogOptions, LogThatCannotBeOpenedEndsTheProcess) {
    const ChildResult result = read("options -file " + folder + "/none/log\n");
    EXPECT_EQ(1, result.exit_status);
    EXPECT_EQ("log_start(): couldn't open \"" + folder + "/none/log\" -- " + strerror(ENOENT) + "\n", result.err);
}

/* ---- The environment ---- */

/* log_init with the option file and the log file as arguments, then one record. */
static void init_and_record(const char* prefix, const char* input, const char* output) {
    _log_link(test_map);
    log_init(prefix, input, output);
    log_printf("One is %s", one_flag ? "on" : "off");
}

TEST_F(LogOptions, InitUsesItsArgumentsWithoutAPrefix) {
    write_options("One\n");
    const ChildResult result = run_child([this](auto&) {
        setenv("(null)_LOG_STDOUT", "1", 1);
        init_and_record(NULL, option_path.c_str(), log_path.c_str());
    });
    EXPECT_EQ("One is on\n", text_of(log_path));
    EXPECT_EQ("", result.out);
}

TEST_F(LogOptions, InitUsesItsArgumentsWhereNoVariableIsSet) {
    write_options("One\n");
    const ChildResult result =
        run_child([this](auto&) { init_and_record("QUOR", option_path.c_str(), log_path.c_str()); });
    EXPECT_EQ("One is on\n", text_of(log_path));
    EXPECT_EQ("", result.out);
}

TEST_F(LogOptions, InitPrefersTheVariables) {
    write_options("One\n");
    const ChildResult result = run_child([this](auto&) {
        setenv("QUOR_LOG_INPUT", option_path.c_str(), 1);
        setenv("QUOR_LOG_OUTPUT", log_path.c_str(), 1);
        setenv("QUOR_LOG_STDOUT", "", 1);
        init_and_record("QUOR", "/none/options", "/none/log");
    });
    EXPECT_EQ(0, result.exit_status);
    EXPECT_EQ("One is on\n", text_of(log_path));
    EXPECT_EQ("One is on\n", result.out);
}

TEST_F(LogOptions, InitTakesSixteenCharactersOfThePrefix) {
    const ChildResult result = run_child([](auto&) {
        setenv("ABCDEFGHIJKLMNOP_LOG_STDOUT", "1", 1);
        init_and_record("ABCDEFGHIJKLMNOPQRST", NULL, NULL);
    });
    EXPECT_EQ("One is off\n", result.out);
}

TEST_F(LogOptions, InitWithNothingToGoByChangesNothing) {
    const ChildResult result = run_child([](auto&) { init_and_record("QUOR", NULL, NULL); });
    EXPECT_EQ(0, result.exit_status);
    EXPECT_EQ("", result.out + result.err);
}

TEST_F(LogOptions, InitLeavesALogThatTheOptionFileOpened) {
    write_options("options -file " + log_path + "\nOne\n");
    run_child([this](auto&) { init_and_record("QUOR", option_path.c_str(), (folder + "/second").c_str()); });
    EXPECT_EQ("One is on\n", text_of(log_path));
    EXPECT_NE(0, access((folder + "/second").c_str(), F_OK));
}
