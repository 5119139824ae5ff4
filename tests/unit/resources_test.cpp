/* The resource list: references that are released, newest first, when the process resumes. */
#include "registry/resources.h"

#include "load_fixture.h"

static std::vector<std::string> released;

static void release_by_number(JNIEnv* env, jobject reference) {
    const auto* sim = sim::Sim::current();
    released.push_back(std::to_string(reinterpret_cast<uintptr_t>(reference)) +
                       (env == const_cast<sim::Sim*>(sim)->env() ? "" : " with another environment"));
}

static void release_otherwise(JNIEnv*, jobject reference) {
    released.push_back("otherwise " + std::to_string(reinterpret_cast<uintptr_t>(reference)));
}

struct Resources : sim::SimTestP {
    Resources() {
        install_globals();
        reslist_init();
        released.clear();
    }

    void add(uintptr_t from, uintptr_t to) {
        for (uintptr_t number = from; number <= to; number++)
            add_resource(sim.env(), reinterpret_cast<jobject>(number), release_by_number, "a number");
    }
    std::vector<std::string> free_all() {
        released.clear();
        free_resources(sim.env());
        return released;
    }
    static std::vector<std::string> numbers_down(int from, int to) {
        std::vector<std::string> numbers;
        for (int number = from; number >= to; number--) numbers.push_back(std::to_string(number));
        return numbers;
    }
    std::string block_allocated() const {
        return sim.vm_name("Allocate") + "(" + std::to_string(20 * 4 * sizeof(void*)) + ")";
    }
};
SIM_ALL_MODES(Resources);

TEST_P(Resources, AreReleasedNewestFirstWithTheResumersEnvironment) {
    add(1, 3);
    EXPECT_EQ(numbers_down(3, 1), free_all());
}

TEST_P(Resources, EachIsReleasedByItsOwnFunction) {
    add(1, 1);
    add_resource(sim.env(), reinterpret_cast<jobject>(2), release_otherwise, "another");
    add(3, 3);
    EXPECT_EQ((std::vector<std::string>{"3", "otherwise 2", "1"}), free_all());
}

/* Four words: next record, reference, release function, description; of a free record the middle two are cleared. The first
 * block's records are used in the order of their addresses. */
TEST_P(Resources, RecordsHaveFourWords) {
    static const char* const text = "a number";
    add_resource(sim.env(), reinterpret_cast<jobject>(1), release_by_number, text);
    add_resource(sim.env(), reinterpret_cast<jobject>(2), release_otherwise, text);
    ASSERT_EQ(1u, sim.live_blocks().size());
    auto word = [block = static_cast<uintptr_t*>(sim.live_blocks()[0].address)](int record, int number) -> uintptr_t {
        return block[4 * record + number];
    };
    const auto first = reinterpret_cast<uintptr_t>(sim.live_blocks()[0].address);
    EXPECT_EQ(0u, word(0, 0)) << "the oldest has no next";
    EXPECT_EQ(1u, word(0, 1));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(release_by_number), word(0, 2));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(text), word(0, 3));
    EXPECT_EQ(first, word(1, 0)) << "the newest comes first";
    EXPECT_EQ(2u, word(1, 1));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(release_otherwise), word(1, 2));
    for (int unused = 2; unused < 20; unused++)
        for (int number = 1; number < 4; number++) EXPECT_EQ(0u, word(unused, number)) << unused;
    free_all();
    for (int record = 0; record < 2; record++) {
        EXPECT_EQ(0u, word(record, 1));
        EXPECT_EQ(0u, word(record, 2));
    }
}

TEST_P(Resources, AreReleasedOnce) {
    add(1, 2);
    free_all();
    EXPECT_EQ(std::vector<std::string>{}, free_all());
}

TEST_P(Resources, NullRecordsNothingAndAsksForNoMemory) {
    add_resource(sim.env(), nullptr, release_by_number, "null");
    EXPECT_EQ(std::vector<std::string>{}, sim.calls());
    EXPECT_EQ(std::vector<std::string>{}, free_all());
}

TEST_P(Resources, TwentyRecordsShareABlock) {
    add(1, 20);
    EXPECT_CALLS(sim.calls(), block_allocated());
    add(21, 21);
    EXPECT_CALLS(sim.calls(), block_allocated(), block_allocated());
    add(22, 40);
    EXPECT_EQ(2u, sim.calls().size());
    EXPECT_EQ(numbers_down(40, 1), free_all());
}

TEST_P(Resources, RecordsAreUsedAgainAndBlocksNeverGivenBack) {
    for (int round = 0; round < 10; round++) {
        add(1, 25);
        EXPECT_EQ(numbers_down(25, 1), free_all());
    }
    EXPECT_CALLS(sim.calls(), block_allocated(), block_allocated());
    EXPECT_EQ(2u, sim.live_blocks().size());
}

TEST_P(Resources, WithoutMemoryTheReferenceIsNotRecorded) {
    sim.fail_nth(sim.vm_name("Allocate"), 1, JVMTI_ERROR_OUT_OF_MEMORY);
    const std::string out = capture_stdout([&] { add(1, 1); });
    EXPECT_EQ("AgentThread: JVMDI_Allocate() failed -- OUT_OF_MEMORY\n", out);
    add(2, 2); /* the next one finds memory again */
    EXPECT_EQ(numbers_down(2, 2), free_all());
}

TEST_P(Resources, FailureOfTheSecondBlockKeepsWhatIsRecorded) {
    add(1, 20);
    sim.fail(sim.vm_name("Allocate"), JVMTI_ERROR_INTERNAL);
    const std::string out = capture_stdout([&] { add(21, 22); });
    EXPECT_EQ("AgentThread: JVMDI_Allocate() failed -- INTERNAL\nAgentThread: JVMDI_Allocate() failed -- INTERNAL\n",
              out);
    EXPECT_EQ(numbers_down(20, 1), free_all());
}

TEST_P(Resources, InitialisingForgetsTheListAndItsRecords) {
    add(1, 1);
    EXPECT_EQ(0, reslist_init());
    EXPECT_EQ(std::vector<std::string>{}, free_all());
    add(2, 2);
    EXPECT_CALLS(sim.calls(), block_allocated(), block_allocated());
}

TEST_P(Resources, TheRealReleaseFunctionGetsTheReferenceItself) {
    static jobject seen;
    const jobject reference = sim.global(&sim.new_object());
    add_resource(
        sim.env(), reference,
        [](JNIEnv* env, jobject given) {
            seen = given;
            env->DeleteGlobalRef(given);
        },
        "keep_alive uref");
    free_resources(sim.env());
    EXPECT_EQ(reference, seen);
    EXPECT_FALSE(sim.is_global(reference));
}
