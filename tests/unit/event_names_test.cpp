#include "event/event_log.h"
#include "vm/vm_interface.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

typedef std::map<jint, std::string> kind_names;

static const kind_names jvmdi_names = {
    {1, "SINGLE_STEP"},      {2, "BREAKPOINT"},    {3, "FRAME_POP"},     {4, "EXCEPTION"},
    {5, "USER_DEFINED"},     {6, "THREAD_START"},  {7, "THREAD_END"},    {8, "CLASS_PREPARE"},
    {9, "CLASS_UNLOAD"},     {10, "CLASS_LOAD"},   {20, "FIELD_ACCESS"}, {21, "FIELD_MODIFICATION"},
    {30, "EXCEPTION_CATCH"}, {40, "METHOD_ENTRY"}, {41, "METHOD_EXIT"},  {90, "VM_INIT"},
    {99, "VM_DEATH"},
};
static const kind_names jvmti_names = {
    {50, "VM_INIT"},
    {51, "VM_DEATH"},
    {52, "THREAD_START"},
    {53, "THREAD_END"},
    {54, "CLASS_FILE_LOAD_HOOK"},
    {55, "CLASS_LOAD"},
    {56, "CLASS_PREPARE"},
    {57, "VM_START"},
    {58, "EXCEPTION"},
    {59, "EXCEPTION_CATCH"},
    {60, "SINGLE_STEP"},
    {61, "FRAME_POP"},
    {62, "BREAKPOINT"},
    {63, "FIELD_ACCESS"},
    {64, "FIELD_MODIFICATION"},
    {65, "METHOD_ENTRY"},
    {66, "METHOD_EXIT"},
    {67, "NATIVE_METHOD_BIND"},
    {68, "COMPILED_METHOD_LOAD"},
    {69, "COMPILED_METHOD_UNLOAD"},
    {70, "DYNAMIC_CODE_GENERATED"},
    {71, "DATA_DUMP_REQUEST"},
    {73, "MONITOR_WAIT"},
    {74, "MONITOR_WAITED"},
    {75, "MONITOR_CONTENDED_ENTER"},
    {76, "MONITOR_CONTENDED_ENTERED"},
    {81, "GARBAGE_COLLECTION_START"},
    {82, "GARBAGE_COLLECTION_FINISH"},
    {83, "OBJECT_FREE"},
    {84, "VM_OBJECT_ALLOC"},
};
static const kind_names jvmpi_names = {
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

static void expect_names(const kind_names& names, const char* (*name_of)(jint)) {
    for (jint kind = -3; kind <= 130; kind++) {
        const auto named = names.find(kind);
        EXPECT_EQ(named != names.end() ? named->second : "UNKNOWN " + std::to_string(kind), name_of(kind));
    }
}

TEST(EventNames, EveryJvmdiKindHasItsNameOrIsUnknown) { expect_names(jvmdi_names, jvmdi_event_str); }

TEST(EventNames, EveryJvmtiKindHasItsNameOrIsUnknown) {
    jvmdi = NULL;
    expect_names(jvmti_names, jvmti_event_str);
}

TEST(EventNames, EveryJvmpiKindHasItsNameOrIsUnknown) { expect_names(jvmpi_names, jvmpi_event_str); }

TEST(EventNames, JvmtiNamesAreThoseOfJvmdiInJvmdiMode) {
    static JVMDI_Interface_1 table;
    jvmdi = &table;
    expect_names(jvmdi_names, jvmti_event_str);
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
