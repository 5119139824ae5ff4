/* The table of events: every kind that the interface declares has its row, and what a row says fits together. */
#include "event/event_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

struct Kind {
    jint number;
    std::string name;
};

/* The kinds as the header of the interface declares them. */
static std::vector<Kind> declared_kinds() {
    std::vector<Kind> kinds;
    std::ifstream header(QUOR_SOURCE_DIR "/agent/vm/jvmdi.h");
    const std::regex declaration("constexpr jint JVMDI_EVENT_(\\w+) = (\\d+);");
    std::smatch found;
    for (std::string line; std::getline(header, line);)
        if (std::regex_match(line, found, declaration)) kinds.push_back({std::stoi(found[2]), found[1]});
    return kinds;
}

static std::vector<const event_row*> declared_rows() {
    std::vector<const event_row*> found;
    for (const Kind& kind : declared_kinds())
        if (const event_row* row = event_row_of(kind.number)) found.push_back(row);
    return found;
}

TEST(EventTable, HasARowForEveryKindUnderItsName) {
    const std::vector<Kind> kinds = declared_kinds();
    EXPECT_EQ(17u, kinds.size());
    for (const Kind& kind : kinds) {
        const event_row* row = event_row_of(kind.number);
        ASSERT_TRUE(row) << kind.name;
        EXPECT_EQ(kind.name, row->name);
        EXPECT_EQ(kind.number, row->kind);
        EXPECT_TRUE(row->dump) << kind.name;
    }
}

TEST(EventTable, HasNoRowForANumberThatIsNoKind) {
    EXPECT_EQ(nullptr, event_row_of(0));
    EXPECT_EQ(nullptr, event_row_of(77));
    EXPECT_EQ(nullptr, event_row_of_jvmti(0));
    EXPECT_EQ(nullptr, event_row_of_jvmti(JVMTI_EVENT_VM_START));
}

TEST(EventTable, IsReachedByTheNumberOfJvmtiToo) {
    for (const event_row* row : declared_rows())
        EXPECT_EQ(row->event ? row : nullptr, event_row_of_jvmti(row->event)) << row->name;
    EXPECT_EQ(event_row_of(JVMDI_EVENT_METHOD_EXIT), event_row_of_jvmti(JVMTI_EVENT_METHOD_EXIT));
}

/* Two kinds at one hook point could not be told apart by where the process stopped. */
TEST(EventTable, ShowsEveryKindThatGoesOnAtAHookPointOfItsOwn) {
    std::vector<event_hook> hooks;
    for (const event_row* row : declared_rows()) {
        const bool dropped = row->verdict == DROP || row->verdict == DROP_DUMPED;
        EXPECT_EQ(!dropped && row->kind != JVMDI_EVENT_VM_DEATH, row->hook != nullptr) << row->name;
        if (!row->hook) continue;
        EXPECT_EQ(0, std::count(hooks.begin(), hooks.end(), row->hook)) << row->name;
        hooks.push_back(row->hook);
    }
}

/* Otherwise the agent thread would use a local reference of another thread's. */
TEST(EventTable, SharesEveryReferenceThatIsMadeDurable) {
    static const struct {
        unsigned durable, shared;
    } pairs[] = {{FIND_THREAD, SHARE_THREAD},
                 {OWN_THREAD, SHARE_THREAD},
                 {OWN_EXCEPTION, SHARE_EXCEPTION},
                 {OWN_FIELD_CLASS, SHARE_FIELD}};
    for (const event_row* row : declared_rows()) {
        if (!row->event) continue; /* no newer VM raises it */
        for (const auto& pair : pairs)
            EXPECT_TRUE(!(row->references & pair.durable) || row->shared & pair.shared) << row->name;
        const bool class_comes_along = (row->references & OWN_CLASS) && !(row->references & DECLARING_CLASS);
        EXPECT_EQ(class_comes_along, (row->shared & SHARE_CLASS) != 0) << row->name;
    }
}
