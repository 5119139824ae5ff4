/* The table of events: every kind that the interface declares has its row, and what a row says fits together. */
#include "event/event_table.h"

#include "declared_names.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

static number_names declared_kinds() { return declared_by_jvmdi("JVMDI_EVENT_"); }

static std::vector<const event_row*> declared_rows() {
    std::vector<const event_row*> found;
    for (const auto& [kind, name] : declared_kinds())
        if (const event_row* row = event_row_of(kind)) found.push_back(row);
    return found;
}

TEST(EventTable, HasARowForEveryKindUnderItsName) {
    const number_names kinds = declared_kinds();
    EXPECT_EQ(17u, kinds.size());
    for (const auto& [kind, name] : kinds) {
        const event_row* row = event_row_of(kind);
        ASSERT_TRUE(row) << name;
        EXPECT_EQ(name, row->name);
        EXPECT_EQ(kind, row->kind);
        EXPECT_TRUE(row->dump) << name;
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
    std::vector<hook_point> hooks;
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
