#include "event/event_log.h"
#include "vm/vm_interface.h"

#include "declared_names.h"

#include <gtest/gtest.h>

#include <string>

/* JVMPI has no header any more; "CONTENTED" is the spelling that log readers match. */
static const number_names jvmpi_names = {
    {37, "HEAP_DUMP"},
    {50, "OBJECT_DUMP"},
    {54, "MONITOR_CONTENTED_ENTER"},
    {55, "MONITOR_CONTENTED_ENTERED"},
    {56, "MONITOR_CONTENTED_EXIT"},
    {57, "MONITOR_WAIT"},
    {58, "MONITOR_WAITED"},
    {59, "MONITOR_DUMP"},
    {60, "GC_START"},
    {61, "GC_FINISH"},
};

static number_names jvmdi_names() { return declared_by_jvmdi("JVMDI_EVENT_"); }

/* What JVMTI has added since its version 1.0 has no name here. */
static number_names jvmti_names() {
    number_names names = declared_by_jvmti("JVMTI_EVENT_");
    for (const char* added :
         {"RESOURCE_EXHAUSTED", "SAMPLED_OBJECT_ALLOC", "VIRTUAL_THREAD_START", "VIRTUAL_THREAD_END"})
        std::erase_if(names, [=](const auto& named) { return named.second == added; });
    return names;
}

static void expect_names(const number_names& names, const char* (*name_of)(jint)) {
    for (jint kind = -3; kind <= 130; kind++) {
        const auto named = names.find(kind);
        EXPECT_EQ(named != names.end() ? named->second : "UNKNOWN " + std::to_string(kind), name_of(kind));
    }
}

TEST(EventNames, EveryJvmdiKindHasItsNameOrIsUnknown) {
    ASSERT_EQ(17u, jvmdi_names().size());
    expect_names(jvmdi_names(), jvmdi_event_str);
}

TEST(EventNames, EveryJvmtiKindHasItsNameOrIsUnknown) {
    jvmdi = NULL;
    ASSERT_EQ(30u, jvmti_names().size());
    expect_names(jvmti_names(), jvmti_event_str);
}

TEST(EventNames, EveryJvmpiKindHasItsNameOrIsUnknown) { expect_names(jvmpi_names, jvmpi_event_str); }

TEST(EventNames, JvmtiNamesAreThoseOfJvmdiInJvmdiMode) {
    static JVMDI_Interface_1 table;
    jvmdi = &table;
    expect_names(jvmdi_names(), jvmti_event_str);
    EXPECT_STREQ("UNKNOWN 60", jvmti_event_str(60));
    jvmdi = NULL;
}

TEST(EventNames, EachFunctionHasItsOwnUnknownText) {
    jvmdi = NULL;
    const char* const di = jvmdi_event_str(1001);
    const char* const ti = jvmti_event_str(1002);
    const char* const pi = jvmpi_event_str(1003);
    EXPECT_STREQ("UNKNOWN 1001", di);
    EXPECT_STREQ("UNKNOWN 1002", ti);
    EXPECT_STREQ("UNKNOWN 1003", pi);
    EXPECT_EQ(di, jvmdi_event_str(1004));
    EXPECT_STREQ("UNKNOWN 1004", di);
}
