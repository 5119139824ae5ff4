#include "support/err_str.h"

#include "support/names.h"

static const jint wrong_phase = 112;

static const number_name error_names[] = {
    {0, "NONE"},
    {10, "INVALID_THREAD"},
    {11, "INVALID_THREAD_GROUP"},
    {12, "INVALID_PRIORITY"},
    {13, "THREAD_NOT_SUSPENDED"},
    {14, "THREAD_SUSPENDED"},
    {15, "THREAD_NOT_ALIVE"},
    {20, "INVALID_OBJECT"},
    {21, "INVALID_CLASS"},
    {22, "CLASS_NOT_PREPARED"},
    {23, "INVALID_METHODID"},
    {24, "INVALID_LOCATION"},
    {25, "INVALID_FIELDID"},
    {30, "INVALID_FRAMEID"},
    {31, "NO_MORE_FRAMES"},
    {32, "OPAQUE_FRAME"},
    {33, "NOT_CURRENT_FRAME"},
    {34, "TYPE_MISMATCH"},
    {35, "INVALID_SLOT"},
    {40, "DUPLICATE"},
    {41, "NOT_FOUND"},
    {50, "INVALID_MONITOR"},
    {51, "NOT_MONITOR_OWNER"},
    {52, "INTERRUPT"},
    {60, "INVALID_CLASS_FORMAT"},
    {61, "CIRCULAR_CLASS_DEFINITION"},
    {62, "FAILS_VERIFICATION"},
    {63, "UNSUPPORTED_REDEFINITION_METHOD_ADDED"},
    {64, "UNSUPPORTED_REDEFINITION_SCHEMA_CHANGED"},
    {65, "INVALID_TYPESTATE"},
    {66, "UNSUPPORTED_REDEFINITION_HIERARCHY_CHANGED"},
    {67, "UNSUPPORTED_REDEFINITION_METHOD_DELETED"},
    {68, "UNSUPPORTED_VERSION"},
    {69, "NAMES_DONT_MATCH"},
    {70, "UNSUPPORTED_REDEFINITION_CLASS_MODIFIERS_CHANGED"},
    {71, "UNSUPPORTED_REDEFINITION_METHOD_MODIFIERS_CHANGED"},
    {79, "UNMODIFIABLE_CLASS"},
    {98, "NOT_AVAILABLE"},
    {99, "MUST_POSSESS_CAPABILITY"},
    {100, "NULL_POINTER"},
    {101, "ABSENT_INFORMATION"},
    {102, "INVALID_EVENT_TYPE"},
    {103, "ILLEGAL_ARGUMENT"},
    {104, "NATIVE_METHOD"},
    {110, "OUT_OF_MEMORY"},
    {111, "ACCESS_DENIED"},
    {wrong_phase, "WRONG_PHASE"},
    {113, "INTERNAL"},
    {115, "UNATTACHED_THREAD"},
    {116, "INVALID_ENVIRONMENT"},
};

const char* err_str(jint code) {
    static unknown_name unknown;
    return name_or_unknown(error_names, code, unknown);
}

jint err_is_wrongphase(jint code) { return code == wrong_phase; }
