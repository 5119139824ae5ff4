/* Linking, categories, record headers and streams; log_options_test.cpp has the option file and the environment. */
#include "log_fixture.h"

#include <atomic>
#include <fcntl.h>
#include <fnmatch.h>
#include <printf.h>
#include <string.h>
#include <sys/stat.h>
#include <thread>
#include <time.h>
#include <vector>

/* Links the test map and opens the log file, in a child. */
struct Log : LogTest {
    void start() {
        _log_link(test_map);
        log_start(log_path.c_str(), NULL);
    }
};

static void record(log_category* category, const char* text) {
    _log_print(category, "agent_tmap.c", 40);
    _log_format("%s", text);
}

/* ---- Linking and finding ---- */

TEST_F(Log, LinkingTurnsTheCategoriesOff) {
    const ChildResult result = run_child([](auto&) {
        one_flag = one;
        three_flag = three;
        _log_link(test_map);
        log_dump();
    });
    EXPECT_EQ("category 'One' off\ncategory 'Two' off\ncategory 'A_long_category' off\n", result.out);
}

TEST_F(Log, LinkingTheSameMapAgainChangesNothing) {
    const ChildResult result = run_child([](auto&) {
        _log_link(test_map);
        log_enable("Two", LOG_SERIAL, 0);
        _log_link(test_map);
        log_dump();
    });
    EXPECT_EQ("category 'One' off\ncategory 'Two' on SERIAL\ncategory 'A_long_category' off\n", result.out);
}

TEST_F(Log, MapWithoutItsCookieEndsTheProcess) {
    const ChildResult result = run_child([](auto&) { _log_link(test_map + 1); });
    EXPECT_EQ(1, result.exit_status);
    EXPECT_EQ("_log_link(): bad map. no magic cookie\n", result.err);
    EXPECT_EQ("", result.out);
}

TEST_F(Log, MapWithANamelessHeaderEndsTheProcess) {
    const ChildResult result = run_child([](auto&) { _log_link(test_map + 4); });
    EXPECT_EQ(1, result.exit_status);
    EXPECT_EQ("_log_link(): bad map. no magic cookie\n", result.err);
}

/* Links `count` maps without categories. */
static void link_empty_maps(int count) {
    static log_category maps[11][2];
    for (int i = 0; i < count; i++) {
        maps[i][0] = {"log_cookie", NULL, 0};
        maps[i][1] = {NULL, NULL, 0};
        _log_link(maps[i]);
    }
    _log_link(maps[0]); /* linked already: never one too many */
}

TEST_F(Log, TenMapsCanBeLinked) {
    const ChildResult result = run_child([](auto&) { link_empty_maps(10); });
    EXPECT_EQ(0, result.exit_status);
    EXPECT_EQ("", result.err);
}

TEST_F(Log, EleventhMapEndsTheProcess) {
    const ChildResult result = run_child([](auto&) { link_empty_maps(11); });
    EXPECT_EQ(1, result.exit_status);
    EXPECT_EQ("_log_link(): too many maps. limit is 10\n", result.err);
}

TEST_F(Log, CategoryOfTheMapLinkedFirstIsFound) {
    const ChildResult result = run_child([](auto&) {
        static log_category* other_flag;
        static log_category later[] = {
            {"log_cookie", NULL, 0}, {"Two", &other_flag, 0}, {"Later", &other_flag, 0}, {NULL, NULL, 0}};
        _log_link(test_map);
        _log_link(later);
        printf("%d %d %d %d\n", log_find_category("Two") == two, log_find_category("Later") == &later[2],
               log_find_category("two") == NULL, log_find_category("log_cookie") == NULL);
    });
    EXPECT_EQ("1 1 1 1\n", result.out);
}

/* ---- Turning on and off ---- */

TEST_F(Log, FlagOfACategoryThatIsOnHoldsItsRecord) {
    const ChildResult result = run_child([](auto&) {
        _log_link(test_map);
        log_enable("Two", 0, 0);
        printf("%d %d %d\n", one_flag == NULL, two_flag == two, three_flag == NULL);
        log_disable("Two");
        printf("%d\n", two_flag == NULL);
    });
    EXPECT_EQ("1 1 1\n1\n", result.out);
}

TEST_F(Log, HeaderOptionsAddUpAndAreClearedAfterTheyAreSet) {
    const ChildResult result = run_child([](auto&) {
        _log_link(test_map);
        log_enable("One", LOG_SERIAL, 0);
        log_enable("One", LOG_SRCLOC, 0);
        printf("%u ", one->flags);
        log_enable("One", LOG_TIMESTAMP | LOG_SERIAL, LOG_SERIAL);
        printf("%u ", one->flags);
        log_disable("One");
        printf("%u\n", one->flags);
    });
    EXPECT_EQ("5 6 6\n", result.out);
}

TEST_F(Log, UnknownCategoryIsToldOnStandardError) {
    const ChildResult result = run_child([](auto&) {
        _log_link(test_map);
        log_enable("Nine", LOG_SERIAL, 0);
    });
    EXPECT_EQ(0, result.exit_status);
    EXPECT_EQ("log_enable('Nine') unrecognized category\n", result.err);
}

TEST_F(Log, DisablingAnUnknownCategoryDoesNothing) {
    const ChildResult result = run_child([](auto&) {
        _log_link(test_map);
        log_enable("One", 0, 0);
        log_disable("Nine");
        log_dump();
    });
    EXPECT_EQ("category 'One' on\ncategory 'Two' off\ncategory 'A_long_category' off\n", result.out);
    EXPECT_EQ("", result.err);
}

TEST_F(Log, DumpShowsTheLowSixteenOptionBitsInOrder) {
    const ChildResult result = run_child([](auto&) {
        _log_link(test_map);
        log_enable("One", 7, 0);
        log_enable("Two", 0x38008 | LOG_TIMESTAMP, 0);
        log_disable("Two");
        log_dump();
    });
    EXPECT_EQ("category 'One' on SERIAL TIMESTAMP SRCLOC\n"
              "category 'Two' off TIMESTAMP 8 8000\n"
              "category 'A_long_category' off\n",
              result.out);
}

/* ---- Headers ---- */

TEST_F(Log, PlainHeaderIsThePaddedName) {
    run_child([this](auto&) {
        start();
        record(one, "text");
        record(three, "text");
    });
    EXPECT_EQ("One        text\nA_long_categorytext\n", text_of(log_path));
}

TEST_F(Log, HeaderPartsStandInTheirOrder) {
    run_child([this](auto&) {
        start();
        log_enable("A_long_category", LOG_SERIAL | LOG_SRCLOC | LOG_TIMESTAMP, 0);
        record(three, "text");
    });
    const char* const expected = "00000 A_long_category\"gent_tmap.c\":40 [A-Z][a-z][a-z] [A-Z][a-z][a-z] [ 0-9][0-9] "
                                 "[0-9][0-9]:[0-9][0-9]:[0-9][0-9]: text\n";
    EXPECT_EQ(0, fnmatch(expected, text_of(log_path).c_str(), 0)) << text_of(log_path);
}

TEST_F(Log, OptionsOfAllRecordsAddToThoseOfTheCategory) {
    const ChildResult result = run_child([this](auto&) {
        start();
        log_enable("One", LOG_SERIAL, 0);
        log_set_flags(LOG_SRCLOC);
        printf("%u\n", log_get_flags());
        record(one, "first");
        record(two, "second");
    });
    EXPECT_EQ("4\n", result.out);
    EXPECT_EQ("00000 One        \"gent_tmap.c\":40 first\nTwo        \"gent_tmap.c\":40 second\n", text_of(log_path));
}

TEST_F(Log, OnlyRecordsWithASerialAreCounted) {
    run_child([this](auto&) {
        start();
        log_enable("One", LOG_SERIAL, 0);
        record(one, "a");
        record(two, "b");
        record(one, "c");
        log_set_flags(LOG_SERIAL);
        record(two, "d");
        record(one, "e");
    });
    EXPECT_EQ("00000 One        a\nTwo        b\n00001 One        c\n00002 Two        d\n00003 One        e\n",
              text_of(log_path));
}

TEST_F(Log, SerialsGoOnWhileThereIsNoStream) {
    run_child([this](auto&) {
        _log_link(test_map);
        log_enable("One", LOG_SERIAL, 0);
        record(one, "lost");
        record(one, "lost");
        log_start(log_path.c_str(), NULL);
        record(one, "kept");
    });
    EXPECT_EQ("00002 One        kept\n", text_of(log_path));
}

TEST_F(Log, LongSerialIsNotCut) {
    run_child([this](auto&) {
        _log_link(test_map);
        log_enable("One", LOG_SERIAL, 0);
        for (int i = 0; i < 123456; i++) _log_print(one, "x.c", 1);
        log_start(log_path.c_str(), NULL);
        record(one, "text");
    });
    EXPECT_EQ("123456 One        text\n", text_of(log_path));
}

/* The source name in a header under a limit. */
static std::string shown(Log& log, const char* file, const int32_t* max) {
    run_child([&](auto&) {
        log.start();
        if (max) log_set_file_max(*max);
        log_enable("One", LOG_SRCLOC, 0);
        _log_print(one, file, 7);
        _log_format("-");
    });
    const std::string text = text_of(log.log_path);
    const std::string prefix = "One        \"";
    const std::string suffix = "\":7 -\n";
    EXPECT_EQ(prefix, text.substr(0, prefix.size()));
    EXPECT_EQ(suffix, text.substr(text.size() - suffix.size()));
    return text.substr(prefix.size(), text.size() - prefix.size() - suffix.size());
}

TEST_F(Log, SourceNamesAreShownToTheLimitAndOneMore) {
    EXPECT_EQ("agent_ur.c", shown(*this, "agent_ur.c", NULL));
    EXPECT_EQ("gent_tmap.c", shown(*this, "Agent_tmap.c", NULL));
    EXPECT_EQ("agent_ure.c", shown(*this, "agent_ure.c", NULL));
    EXPECT_EQ("ent_trace.c", shown(*this, "/a/long/path/agent_trace.c", NULL));
}

TEST_F(Log, SourceNameLimitCanBeChanged) {
    const int32_t none = 0, three_characters = 3, seven = 7, many = 1000, negative = -5;
    EXPECT_EQ("c", shown(*this, "agent_tmap.c", &none));
    EXPECT_EQ("ap.c", shown(*this, "agent_tmap.c", &three_characters));
    EXPECT_EQ("seven.c", shown(*this, "seven.c", &seven));
    EXPECT_EQ("agent_tmap.c", shown(*this, "agent_tmap.c", &many));
    EXPECT_EQ("", shown(*this, "agent_tmap.c", &negative));
    EXPECT_EQ("", shown(*this, "", &none));
}

TEST_F(Log, TimestampIsTheTimeToTheSecondWithoutTheYear) {
    const ChildResult result = run_child([](auto&) {
        time_t before, after;
        std::string shown_time;
        do { /* both ends in the same second */
            before = time(NULL);
            shown_time = log_timestamp();
            after = time(NULL);
        } while (before != after);
        printf("%s\n%.19s\n", shown_time.c_str(), ctime(&before));
    });
    ASSERT_EQ(40u, result.out.size());
    EXPECT_EQ(result.out.substr(20), result.out.substr(0, 20));
}

TEST_F(Log, TimestampIsTheBufferOfCtime) {
    const time_t epoch = 0;
    EXPECT_EQ(ctime(&epoch), log_timestamp());
}

TEST_F(Log, HeaderCanBeWrittenToAnyStream) {
    const ChildResult result = run_child([](auto&) {
        _log_link(test_map);
        log_enable("One", LOG_SERIAL | LOG_SRCLOC, 0);
        log_print_hdrx(stderr, one, "x.c", -3);
        log_print_hdrx(stderr, one, "x.c", 4);
    });
    EXPECT_EQ("00000 One        \"x.c\":-3 00000 One        \"x.c\":4 ", result.err);
}

/* ---- Texts and streams ---- */

TEST_F(Log, TextGetsANewlineAfterItsOwn) {
    run_child([this](auto&) {
        start();
        _log_print(one, "x.c", 1);
        _log_format("tid = %d   thread = %x\n", 7, 0xabu);
        log_printf("no header %s", "here");
    });
    EXPECT_EQ("One        tid = 7   thread = ab\n\nno header here\n", text_of(log_path));
}

TEST_F(Log, FileIsCurrentAfterEachText) {
    run_child([this](auto&) {
        start();
        record(one, "text");
        log_printf("more");
        _exit(0); /* which flushes nothing */
    });
    EXPECT_EQ("One        text\nmore\n", text_of(log_path));
}

TEST_F(Log, EchoIsWrittenWhileItIsOn) {
    const ChildResult result = run_child([this](auto&) {
        _log_link(test_map);
        log_start(log_path.c_str(), stdout);
        record(one, "file only");
        log_echo(1);
        log_enable("One", LOG_SERIAL, 0);
        record(one, "both");
        log_printf("%d %s", 5, "values");
        log_echo(0);
        record(one, "file again");
    });
    EXPECT_EQ("00000 One        both\n5 values\n", result.out);
    EXPECT_EQ("One        file only\n00000 One        both\n5 values\n00001 One        file again\n",
              text_of(log_path));
}

TEST_F(Log, EchoIsFlushedWithEachText) {
    const ChildResult result = run_child([](auto&) {
        _log_link(test_map);
        log_start(NULL, stdout);
        log_echo(1);
        record(one, "text");
        _exit(0);
    });
    EXPECT_EQ("One        text\n", result.out);
}

TEST_F(Log, NothingIsWrittenWithoutAStream) {
    const ChildResult result = run_child([](auto&) {
        _log_link(test_map);
        log_echo(1);
        log_enable("One", 0, 0);
        record(one, "lost");
    });
    EXPECT_EQ("", result.out + result.err);
    EXPECT_EQ(0, result.exit_status);
}

TEST_F(Log, StartRemovesAnOldLog) {
    const std::string other_name = folder + "/second";
    std::ofstream(log_path) << "old";
    ASSERT_EQ(0, link(log_path.c_str(), other_name.c_str()));
    run_child([this](auto&) {
        start();
        record(one, "new");
    });
    EXPECT_EQ("One        new\n", text_of(log_path));
    EXPECT_EQ("old", text_of(other_name)); /* unlinked, not truncated */
}

TEST_F(Log, LogFileIsNotInheritedByPrograms) {
    const ChildResult result = run_child([this](auto&) {
        start();
        struct stat log_file, open_file;
        stat(log_path.c_str(), &log_file);
        for (int fd = 3; fd < 64; fd++) {
            if (fstat(fd, &open_file) == 0 && open_file.st_ino == log_file.st_ino &&
                open_file.st_dev == log_file.st_dev)
                printf("flags %d\n", fcntl(fd, F_GETFD));
        }
    });
    EXPECT_EQ("flags 1\n", result.out);
}

/* The removal of an old log, as the library calls it; it may be followed at once by what somebody else puts in its place. */
static const char* planted; /* what a link that is put there names; null: nothing is */

extern "C" int unlink(const char* path) noexcept {
    const int result = unlinkat(AT_FDCWD, path, 0);
    if (planted && symlink(planted, path) != 0) abort();
    return result;
}

TEST_F(Log, LinkThatIsPlantedInItsPlaceIsNotFollowed) {
    const std::string target = folder + "/second";
    std::ofstream(target) << "precious";
    const ChildResult result = run_child([&](auto&) {
        planted = target.c_str();
        start();
        record(one, "text");
    });
    EXPECT_EQ("precious", text_of(target));
    EXPECT_EQ(1, result.exit_status);
    EXPECT_EQ("log_start(): couldn't open \"" + log_path + "\" -- " + strerror(EEXIST) + "\n", result.err);
}

TEST_F(Log, LinkThatStoodInItsPlaceIsReplaced) {
    const std::string target = folder + "/second";
    std::ofstream(target) << "precious";
    ASSERT_EQ(0, symlink(target.c_str(), log_path.c_str()));
    run_child([&](auto&) {
        start();
        record(one, "text");
    });
    EXPECT_EQ("precious", text_of(target));
    EXPECT_EQ("One        text\n", text_of(log_path));
}

TEST_F(Log, StartDoesNothingOnceThereIsAFile) {
    const ChildResult result = run_child([this](auto&) {
        start();
        log_start((folder + "/second").c_str(), stdout);
        log_echo(1);
        record(one, "text");
    });
    EXPECT_EQ("One        text\n", text_of(log_path));
    EXPECT_NE(0, access((folder + "/second").c_str(), F_OK));
    EXPECT_EQ("", result.out);
}

TEST_F(Log, StartDoesNothingOnceThereIsAnEchoStream) {
    run_child([this](auto&) {
        log_start(NULL, stdout);
        start();
    });
    EXPECT_NE(0, access(log_path.c_str(), F_OK));
}

TEST_F(Log, LogThatCannotBeOpenedEndsTheProcess) {
    const std::string path = folder + "/none/log";
    const ChildResult result = run_child([&](auto&) { log_start(path.c_str(), NULL); });
    EXPECT_EQ(1, result.exit_status);
    EXPECT_EQ("log_start(): couldn't open \"" + path + "\" -- " + strerror(ENOENT) + "\n", result.err);
}

TEST_F(Log, FinishEndsTheOutputAndLeavesTheCategoriesOn) {
    const ChildResult result = run_child([this](auto&) {
        _log_link(test_map);
        log_start(log_path.c_str(), stdout);
        log_echo(1);
        log_enable("One", 0, 0);
        record(one, "before");
        log_finish();
        record(one, "after");
        log_finish();
        printf("stdout is open, One is %s\n", one_flag ? "on" : "off");
    });
    EXPECT_EQ("One        before\nstdout is open, One is on\n", result.out);
    EXPECT_EQ("One        before\n", text_of(log_path));
    EXPECT_EQ(0, result.exit_status);
}

/* ---- The end of a log that is being written to ---- */

/* A record whose text takes as long to write as the test wants: its conversion "%Y" waits. */
static std::atomic<int> conversions;
static std::atomic<bool> conversion_may_end;

static int wait_in_conversion(FILE*, const printf_info*, const void* const*) {
    conversions++;
    sim::wait_for([] { return conversion_may_end.load(); });
    return 0;
}
static int no_argument(const printf_info*, size_t, int*, int*) { return 0; }

static void (*const write_slowly)(const char*, ...) = log_printf; /* without the compiler's look at the format */

static int open_files() {
    int count = 0;
    for (int fd = 0; fd < 64; fd++) count += fcntl(fd, F_GETFD) != -1;
    return count;
}

TEST_F(Log, FileIsClosedByTheLastOneThatWritesToIt) {
    const ChildResult result = run_child([this](const sim::Report& report) {
        register_printf_specifier('Y', wait_in_conversion, no_argument);
        const int before = open_files();
        start();
        std::vector<std::thread> writers;
        for (int i = 0; i < 2; i++) writers.emplace_back([] { write_slowly("slow %Y"); });
        if (!sim::wait_for([] { return conversions >= 1; })) report("nobody writes");
        std::atomic<bool> finished = false;
        std::thread finisher([&] {
            log_finish();
            finished = true;
        });
        if (!sim::wait_for([&] { return finished.load(); }, 5)) report("finishing waits for those who write");
        if (open_files() != before + 1) report("the file was closed under them");
        record(one, "not written any more");
        conversion_may_end = true;
        finisher.join();
        for (std::thread& writer : writers) writer.join();
        if (open_files() != before) report("the file is still open");
    });
    EXPECT_EQ(std::vector<std::string>{}, result.reports);
    EXPECT_EQ(0, result.exit_status);
    std::string text =
        text_of(log_path); /* of one thread, or both; the log has no lock, and their records may mingle */
    std::erase(text, '\n');
    EXPECT_TRUE(text == "slow " || text == "slow slow ") << text;
}

TEST_F(Log, EndsAndBeginsAgainWhileThreadsWriteToIt) {
    const ChildResult result = run_child([this](const sim::Report& report) {
        _log_link(test_map);
        log_enable("One", LOG_SERIAL, 0);
        const int before = open_files();
        std::atomic<bool> ended = false;
        std::vector<std::thread> writers;
        for (int i = 0; i < 4; i++)
            writers.emplace_back([&] {
                while (!ended) record(one, "text");
            });
        for (int round = 0; round < 300; round++) {
            log_start(log_path.c_str(), NULL);
            std::this_thread::yield();
            log_finish();
        }
        ended = true;
        for (std::thread& writer : writers) writer.join();
        if (open_files() != before) report(std::to_string(open_files() - before) + " files are still open");
    });
    EXPECT_EQ(std::vector<std::string>{}, result.reports);
    EXPECT_EQ(0, result.exit_status);
}

TEST_F(Log, ANewLogCanBeStartedAfterFinish) {
    run_child([this](auto&) {
        start();
        record(one, "first");
        log_finish();
        log_start((folder + "/second").c_str(), NULL);
        record(one, "second");
    });
    EXPECT_EQ("One        first\n", text_of(log_path));
    EXPECT_EQ("One        second\n", text_of(folder + "/second"));
}
