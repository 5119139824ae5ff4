/* sim_test.h: the fixture of tests that run on the simulated VM. sim.h tells how such a test is written.
 *
 *     struct Registry : sim::SimTest {};                      // JVMTI 1.0
 *     struct Newer : sim::SimTest { Newer() : SimTest(sim::Mode::jvmti_newer) {} };
 *     struct Both : sim::SimTestP {};  SIM_ALL_MODES(Both);   // TEST_P(Both, ...): each of the three modes
 *
 * A test that ends with misuse on record fails; one about misuse takes it: sim.take_misuse(). Nothing of the agent is
 * touched unless the test calls install_globals().
 */
#ifndef SIM_SIM_TEST_H
#define SIM_SIM_TEST_H

#include "sim/harness.h"
#include "sim/sim.h"
#include "vm/vm_interface.h"

#include <gtest/gtest.h>

namespace sim {

inline void PrintTo(Mode mode, std::ostream* out) { *out << name_of(mode); } /* how GoogleTest names a mode */

class SimTest : public ::testing::Test {
protected:
    explicit SimTest(Mode mode = Mode::jvmti10) : owned(std::make_unique<Sim>(mode)), sim(*owned) {}

    void TearDown() override {
        for (const std::string& text : sim.take_misuse()) ADD_FAILURE() << "misuse of the VM: " << text;
        /* A thread of the agent that was not ended still uses the VM: leave it to the end of the process. */
        if (sim.running_agent_threads() > 0) static_cast<void>(owned.release());
    }

    bool on_jvmdi() const { return sim.mode == Mode::jvmdi; }
    bool on_jvmti() const { return !on_jvmdi(); }
    bool newer() const { return sim.mode == Mode::jvmti_newer; }

    /* Sets what loading sets: javavm, jvmti or jvmdi by the mode, and the version that loading records. */
    void install_globals() {
        ::javavm = sim.vm();
        ::jvmti = on_jvmti() ? sim.jvmti() : nullptr;
        ::jvmdi = on_jvmdi() ? sim.jvmdi() : nullptr;
        (on_jvmti() ? jvmti_version : jvmdi_version) = sim.version;
        (on_jvmti() ? jvmti_version_set : jvmdi_version_set) = 1;
    }

    /* Calls `body` in a child process: for what aborts or exits. Failed expectations and misuse of the child are the
     * test's. Threads that the body needs are to be started in the body. */
    ChildResult run_in_child(const std::function<void()>& body) {
        ChildResult result = run_child([&](const Report& report) {
            ::testing::UnitTest::GetInstance()->listeners().Append(new Reporter(report));
            sim.on_misuse([&](const std::string& text) { report("misuse: " + text); });
            body();
        });
        for (const std::string& line : result.reports) {
            if (line.starts_with("misuse: "))
                sim.misuse(line.substr(8));
            else
                ADD_FAILURE() << "in the child: " << line;
        }
        if (result.timed_out) ADD_FAILURE() << "the child did not end";
        return result;
    }

private:
    std::unique_ptr<Sim> owned;

    class Reporter : public ::testing::EmptyTestEventListener {
    public:
        explicit Reporter(Report to) : report(std::move(to)) {}
        void OnTestPartResult(const ::testing::TestPartResult& part) override {
            if (part.failed())
                report(std::string(part.file_name() ? part.file_name() : "?") + ":" +
                       std::to_string(part.line_number()) + ": " + part.message());
        }

    private:
        Report report;
    };

protected:
    Sim& sim;
};

/* Tests of each mode; SIM_ALL_MODES instantiates a suite, SIM_MODES for some modes. */
class SimTestP : public SimTest, public ::testing::WithParamInterface<Mode> {
protected:
    SimTestP() : SimTest(GetParam()) {}
};

#define SIM_MODES(suite, ...)                                              \
    INSTANTIATE_TEST_SUITE_P(Modes, suite, ::testing::Values(__VA_ARGS__), \
                             [](const auto& instance) { return ::sim::name_of(instance.param); })
#define SIM_ALL_MODES(suite) SIM_MODES(suite, ::sim::Mode::jvmti10, ::sim::Mode::jvmti_newer, ::sim::Mode::jvmdi)

inline ::testing::AssertionResult same_calls(const std::vector<std::string>& actual,
                                             const std::vector<std::string>& expected) {
    if (actual == expected) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "the calls differ (- expected, + made):\n" << difference(expected, actual);
}

/* EXPECT_CALLS(sim.calls_of({"JVMTI.*"}), "JVMTI.GetPhase()", "JVMTI.Allocate(12)"): exactly these, in this order. */
#define EXPECT_CALLS(actual, ...) EXPECT_TRUE(::sim::same_calls(actual, std::vector<std::string>{__VA_ARGS__}))

} // namespace sim

#endif
