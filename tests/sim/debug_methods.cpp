/* debug_methods.cpp: JVMTI and JVMDI: methods. JVMDI takes the class beside the method, JVMTI the method alone. */
#include "sim/debug_call.h"

namespace sim {

/* Makes both functions of a query `jint query(DebugCall&, Method&, outputs...)`. */
template <const char* const& name, auto query> struct MethodQuery;
template <const char* const& name, class... Out, jint (*query)(DebugCall&, Method&, Out...)>
struct MethodQuery<name, query> {
    static jint answer(DebugCall& call, jmethodID id, Out... out) {
        if (call.failed || !call.outputs(out...)) return call.code();
        Method* method = call.get_method(id);
        return method ? query(call, *method, out...) : call.code();
    }
    static jint ti(Api api, jmethodID id, Out... out) {
        DebugCall call(api, name, id);
        return answer(call, id, out...);
    }
    static jint di(Api api, jclass clazz, jmethodID id, Out... out) {
        DebugCall call(api, name, clazz, id);
        const Class* given = call.failed ? nullptr : call.get_class(clazz);
        const Method* method = given ? call.get_method(id) : nullptr;
        if (method && method->owner != given)
            the_sim().misuse(call.name + ": " + show(id) + " is not declared by " + given->name);
        return answer(call, id, out...);
    }
};

/* ---- Plain facts ------------------------------------------------------------------------------------------------ */

static jint modifiers(DebugCall&, Method& method, jint* out) {
    *out = method.modifiers;
    return JVMTI_ERROR_NONE;
}
static jint max_locals(DebugCall& call, Method& method, jint* out) {
    if (method.is_native()) return call.refuse(JVMTI_ERROR_NATIVE_METHOD);
    *out = method.max_locals;
    return JVMTI_ERROR_NONE;
}
static jint max_stack(DebugCall& call, Method& method, jint* out) {
    if (method.is_native()) return call.refuse(JVMTI_ERROR_NATIVE_METHOD);
    *out = method.max_stack;
    return JVMTI_ERROR_NONE;
}
static jint is_native(DebugCall&, Method& method, jboolean* out) {
    *out = method.is_native();
    return JVMTI_ERROR_NONE;
}
static jint is_synthetic(DebugCall&, Method& method, jboolean* out) {
    *out = method.synthetic;
    return JVMTI_ERROR_NONE;
}
static jint method_location(DebugCall& call, Method& method, jlocation* start, jlocation* end) {
    if (method.is_native() && call.api == Api::jvmti) return call.refuse(JVMTI_ERROR_NATIVE_METHOD);
    *start = method.is_native() ? -1 : method.start;
    *end = method.is_native() ? -1 : method.end;
    return JVMTI_ERROR_NONE;
}
static jint declaring_class(DebugCall& call, Method& method, jclass* out) {
    *out = static_cast<jclass>(call.give(method.owner));
    return JVMTI_ERROR_NONE;
}

/* ---- Names: any output may be null for JVMTI -------------------------------------------------------------------- */

static void give_name(DebugCall& call, const Method& method, char** name, char** signature, char** generic) {
    if (name) *name = call.give_text(method.name);
    if (signature) *signature = call.give_text(method.signature);
    if (generic) *generic = method.generic.empty() ? nullptr : call.give_text(method.generic);
}
static jint ti_get_method_name(Api api, jmethodID id, char** name, char** signature, char** generic) {
    DebugCall call(api, "GetMethodName", id);
    const Method* method = call.failed ? nullptr : call.get_method(id);
    if (method) give_name(call, *method, name, signature, generic);
    return call.code();
}
static jint method_name(DebugCall& call, Method& method, char** name, char** signature) {
    give_name(call, method, name, signature, nullptr);
    return JVMDI_ERROR_NONE;
}

/* ---- Tables ----------------------------------------------------------------------------------------------------- */

template <class Entry>
static jint give_table(DebugCall& call, const std::vector<Entry>& entries, jint* count, Entry** table) {
    *count = static_cast<jint>(entries.size());
    *table = copy_array(entries, call.name);
    return JVMTI_ERROR_NONE;
}

template <class Entry> static jint lines(DebugCall& call, Method& method, jint* count, Entry** table) {
    if (method.is_native()) return call.refuse(JVMTI_ERROR_NATIVE_METHOD);
    if (!method.lines) return call.refuse(JVMTI_ERROR_ABSENT_INFORMATION);
    std::vector<Entry> entries;
    for (const LineEntry& line : *method.lines) entries.push_back({line.start, line.line});
    return give_table(call, entries, count, table);
}

template <class Entry> static jint locals(DebugCall& call, Method& method, jint* count, Entry** table) {
    if (method.is_native()) return call.refuse(JVMTI_ERROR_NATIVE_METHOD);
    if (!method.locals) return call.refuse(JVMTI_ERROR_ABSENT_INFORMATION);
    std::vector<Entry> entries;
    for (const LocalVariable& local : *method.locals) {
        Entry entry{};
        entry.start_location = local.start;
        entry.length = local.length;
        entry.name = call.give_text(local.name);
        entry.signature = call.give_text(local.signature);
        if constexpr (std::is_same_v<Entry, jvmtiLocalVariableEntry>)
            entry.generic_signature = local.generic.empty() ? nullptr : call.give_text(local.generic);
        entry.slot = local.slot;
        entries.push_back(entry);
    }
    return give_table(call, entries, count, table);
}

static jint handlers(DebugCall& call, Method& method, jint* count, JVMDI_exception_handler_entry** table) {
    std::vector<JVMDI_exception_handler_entry> entries;
    for (const Handler& handler : method.handlers)
        entries.push_back(
            {handler.start, handler.end, handler.handler, static_cast<jclass>(call.give(handler.exception))});
    return give_table(call, entries, count, table);
}
static jint thrown(DebugCall& call, Method& method, jint* count, jclass** exceptions) {
    *count = static_cast<jint>(method.thrown.size());
    *exceptions = call.give_all<jclass>(method.thrown);
    return JVMDI_ERROR_NONE;
}
template <class Byte> static jint bytecodes(DebugCall& call, Method& method, jint* count, Byte** bytes) {
    if (method.is_native()) return call.refuse(JVMTI_ERROR_NATIVE_METHOD);
    std::vector<Byte> codes(method.bytecodes.begin(), method.bytecodes.end());
    return give_table(call, codes, count, bytes);
}

/* ----------------------------------------------------------------------------------------------------------------- */

#define NAME(member) static constexpr const char* name_##member = #member;
NAME(GetMethodModifiers)
NAME(GetMaxLocals)
NAME(GetMaxStack)
NAME(IsMethodNative)
NAME(IsMethodSynthetic)
NAME(GetMethodLocation)
NAME(GetMethodDeclaringClass)
NAME(GetMethodName)
NAME(GetLineNumberTable)
NAME(GetLocalVariableTable)
NAME(GetExceptionHandlerTable)
NAME(GetThrownExceptions)
NAME(GetBytecodes)
#undef NAME

void fill_methods(jvmtiInterface_1_& ti, JVMDI_Interface_1& di) {
#define TI(member, query) ti.member = Ti<MethodQuery<name_##member, query>::ti>::call;
#define DI(member, query) di.member = Di<MethodQuery<name_##member, query>::di>::call;
    TI(GetMethodModifiers, modifiers)
    DI(GetMethodModifiers, modifiers)
    TI(GetMaxLocals, max_locals)
    DI(GetMaxLocals, max_locals)
    DI(GetMaxStack, max_stack)
    TI(IsMethodNative, is_native)
    DI(IsMethodNative, is_native)
    TI(IsMethodSynthetic, is_synthetic)
    DI(IsMethodSynthetic, is_synthetic)
    TI(GetMethodLocation, method_location)
    DI(GetMethodLocation, method_location)
    TI(GetMethodDeclaringClass, declaring_class)
    ti.GetMethodName = Ti<ti_get_method_name>::call;
    DI(GetMethodName, method_name)
    TI(GetLineNumberTable, lines<jvmtiLineNumberEntry>)
    DI(GetLineNumberTable, lines<JVMDI_line_number_entry>)
    TI(GetLocalVariableTable, locals<jvmtiLocalVariableEntry>)
    DI(GetLocalVariableTable, locals<JVMDI_local_variable_entry>)
    DI(GetExceptionHandlerTable, handlers)
    DI(GetThrownExceptions, thrown)
    TI(GetBytecodes, bytecodes<unsigned char>)
    DI(GetBytecodes, bytecodes<jbyte>)
#undef TI
#undef DI
}

} // namespace sim
