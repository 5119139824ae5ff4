/* fault_sweep_rules.h: what may come of a call that fails, for fault_sweep_test.cpp, and why.
 *
 * A rule is three regular expressions, of the failing call, of the place ("scenario/step") and of the outcome, each of which
 * must match in full; "{f}" in an outcome stands for the failing function's name. The first rule that matches explains the row.
 * Every outcome is one that a header of the agent tells; those that are not graceful are behaviour that the agent keeps, and
 * say so.
 */
#ifndef QUOR_FAULT_SWEEP_RULES_H
#define QUOR_FAULT_SWEEP_RULES_H

#include <map>
#include <regex>
#include <string>

/* Parts of outcomes. */
#define FAILED(function) "prints \"AgentThread: JVMDI_" function "\\(\\) failed -- <its name>\""
#define CODE "gives the VM's code"
#define NULL_REFERENCE "prints \"AgentThread: NewGlobalRef\\(\\) failed\""
#define TRACE_ERROR "prints \"LogJVMDI\\w* *(Thread|ThreadGroup|Class|Method): Error encountered in trace -?\\d+\""
/* What follows when threads could not be stopped, or not be let go. */
#define AFTERMATH                                                           \
    "(; prints \"resume_after_event\\(\\): agent_resume_all\\(\\) failed\"" \
    "|; prints \"AgentThread: cb_(suspend|resume)_list\\(\\): thread (already|not) suspended N\")+"
#define ANYWHERE ".*"
#define AT_A_STOP "(attach|control-C|end|events|exceptions|log|invocation|stop and go)/.*"

struct SweepRule {
    const char *call, *place, *outcome, *why;
};

static const SweepRule sweep_rules[] = {
    /* ---- The reference table ---- */
    {"JVM.I.GetObjectHashCode", "monitors/agent_get_monitorinfo", CODE,
     "its own look at the hash code gives the VM's code"},
    {"JVMTI.GetObjectHashCode", "(start|events|events before the attach|exceptions|log|invocation|end)/.*", "goes on",
     "newer VMs: a thread that leaves the map makes a call only in order to stand there, if it is to be stopped"},
    {"JVM.I.GetObjectHashCode", ANYWHERE, FAILED("{f}") "(; prints less)?; exits",
     "without a hash code no handle can be had: message, exit"},
    {"JVM.I.Allocate\\(record of the reference table\\)", ANYWHERE, "(prints less; )?dies of signal 11",
     "kept: a record of the reference table is not checked"},
    {"JNI.NewGlobalRef", "(start|events|events before the attach|exceptions|log|monitors|classes)/.*",
     NULL_REFERENCE "(; does not show hook_exception_caught)?", "message, the record stays without a reference"},
    {"JNI.NewGlobalRef", "start/.*",
     NULL_REFERENCE "; prints \"start_agent_thread\\(\\): RunDebugThread\\(\\) failed -- INVALID_THREAD\"; aborts",
     "an agent thread without a handle is not started: message, abort"},
    {"JNI.NewGlobalRef", "(start|events|log|end)/.*",
     "(" NULL_REFERENCE "; |prints \"LogJVMDI_VM_thread[^\"]*\"; "
     "|prints \"AgentThread: cb_(suspend|resume)_list\\(\\): (Suspend|Resume)ThreadList\\(\\) failed for N -- "
     "INVALID_THREAD\"; "
     "|prints \"resume_after_event\\(\\): agent_resume_all\\(\\) failed\"; )*"
     "(prints less; |prints \"TMap_end\\(\\): handle mismatch\"; |prints \"Thread end on dead thread:ignored\"; )*"
     "(aborts|prints \"TMap_end\\(\\): handle mismatch\"|prints \"LogJVMDI[^;]*|prints less)",
     "a thread whose handle could not be made is not found again at its end"},
    {"JNI.NewGlobalRef", ANYWHERE, "(prints \"[A-Z][A-Za-z ]* on dead thread:ignored\"; )(prints less; )?aborts",
     "newer VMs: an event's thread that cannot change threads is none: message, abort"},
    {"JNI.NewGlobalRef", "exceptions/.*", "does not show hook_exception_caught",
     "newer VMs: an exception that cannot change threads is none, and a catch of none is not shown"},
    {"JNI.NewGlobalRef", "classes/agent_get_class",
     NULL_REFERENCE "; prints \"AgentThread: JVMDI_GetClassSignature\\(\\) failed -- INVALID_CLASS\"; gives 21",
     "a class without a handle cannot be described: message, the VM's code"},
    {"JNI.NewGlobalRef", "(events|log)/CLASS_UNLOAD",
     NULL_REFERENCE
     "; prints \"AgentThread: JVMDI_GetObjectHashCode\\(\\) failed -- INVALID_OBJECT\"; (prints less; )?exits",
     "kept: a class without a handle has no hash code"},
    {"JNI.NewGlobalRef", "values/.*|frames/.*", "gives null", "a result that cannot be kept is null"},
    {"JNI.NewGlobalRef",
     "(attach|classes|frames|monitors|start|threads|values|events|exceptions|log|invocation|end|control-C)/.*",
     "(prints less|goes on)", "what cannot be kept is null in the answer or event, and nothing else changes"},

    /* ---- Memory ---- */
    {"JVM.I.Allocate.*", "start/.*", "prints \"get_(classpath|vmversion): Allocate failed -- <its name>\"",
     "a property that cannot be kept is null: message"},
    {"JVM.I.Allocate.*", "(attach|start)/.*", "(does not show \\w+; )*is stuck in .*",
     "kept on old VMs: the list of prepared classes stays locked"},
    {"JVM.I.Allocate.*", "(attach|start)/.*", "goes on",
     "newer VMs: nothing is seeded: the code, which nobody looks at"},
    {"JVM.I.Allocate.*", ANYWHERE,
     "prints \"event_setfilter: Allocate failed -- <its name>\"; " CODE "(; does not show \\w+)*",
     "no filter: message, the VM's code; what it would have passed is not shown"},
    {"JVM.I.Allocate.*", "metadata/agent_get_localvariabletable.*", CODE, "the VM's code; nothing is printed there"},
    {"JVM.I.Allocate.*", "invocation/.*",
     FAILED("Allocate") "; " CODE "( status 0)?(; does not show hook_invoke_method)?",
     "no request: message, the VM's code"},
    {"JVM.I.Allocate.*", ANYWHERE,
     FAILED(
         "Allocate") "; prints \"jvm[td]i_event_hook: Unable to process event -- <its name>\"; (prints less; )?aborts",
     "an event without an entry in the queue: messages, abort"},
    {"JVM.I.Allocate.*", AT_A_STOP, FAILED("Allocate") AFTERMATH "(; " CODE ")?(; later agent_suspendthread gives 14)?",
     "threads not stopped, or not let go: message; the rest follows"},
    {"JVM.I.(Alloc|Dealloc)ate.*", "(events|log)/a thread",
     "prints \"[^;]*; prints \"resume_after_event\\(\\): agent_resume_all\\(\\) failed\"; "
     "(prints \"AgentThread: cb_suspend_list\\(\\): [^;]*; ){2}"
     "BAD: misuse: JVM.I.SuspendThreadList: the global reference to short is dead: deleted",
     "kept on old VMs: what a failed list left is listed once more, though the thread has ended"},
    {"JVM.I.Allocate.*", "many threads/.*", FAILED("Allocate") "; gives 0 count 601",
     "the thread is left out: message"},
    {"JVM.I.Allocate.*", "(threads|monitors|values|frames|exceptions)/.*", FAILED("Allocate"),
     "what cannot be noted for release is not released, or a thread's monitors are left out: message"},
    {"JVM.I.Allocate.*", ".*/agent_.*", FAILED("Allocate") "; " CODE, "message, the VM's code"},
    {"JVM.I.Deallocate", "many threads/.*", FAILED("Deallocate") "; gives 0 count 601",
     "the thread is left out: message"},
    {"JVM.I.Deallocate", AT_A_STOP, FAILED("Deallocate") AFTERMATH "(; " CODE ")?",
     "the list counts as failed: message; the rest follows"},
    {"JVM.I.Deallocate", ANYWHERE, "prints \"free_invoke_method: Deallocate\\(\\) failed <its name>\"",
     "message, goes on"},
    {"JVM.I.Deallocate", ANYWHERE, "prints \"(method_exists|same_classname): Deallocate failed -- <its name>\"",
     "message, goes on"},
    {"JVM.I.Deallocate", ".*/agent_.*", FAILED("Deallocate") "; " CODE, "message, the VM's code"},
    {"JVM.I.Deallocate", "(attach|control-C|exceptions|invocation|metadata|monitors|events|log)/.*",
     FAILED("Deallocate"), "message, goes on"},
    {"JVM.I.Deallocate", ANYWHERE, "goes on", "giving back is tried once, silently"},

    /* ---- Classes ---- */
    {"JVM.I.(GetClassSignature|GetSourceFileName|IsInterface|Deallocate)", "(attach|start|events|log)/.*",
     FAILED("{f}") "; prints \"add_class_to_class_list: agent_get_classinfo failed -- <its name>\"",
     "the class is not listed: messages"},
    {"JNI.GetJavaVM|JavaVM.GetEnv", "(attach|start|events)/.*",
     "prints \"AgentThread: JVMDI_GetClassSignature\\(\\) failed -- UNKNOWN -\\d\"; prints \"add_class_to_class_list: "
     "agent_get_classinfo failed -- UNKNOWN -\\d\"",
     "without JVMDI's table the class is not listed: messages"},
    {"JVM.I.GetClassStatus", ANYWHERE, "prints \"add_class_to_class_list: GetClassStatus failed -- <its name>\"",
     "the class is not listed: message"},
    {"JVM.I.GetClassSignature", "(events|log)/CLASS_PREPARE", "goes on", "a class of unknown name is a user's"},
    {"JVM.I.GetLoadedClasses", "(attach|start)/.*", "goes on", "nothing is seeded: the code, which nobody looks at"},
    {"JVM.I.Get(ClassLoaderClasses|ClassSignature|ThreadInfo)", "classes/agent_get_class", "goes on",
     "newer VMs: the class is looked for in another way"},
    {"JVM.I.GetClassSignature|JNI.GetJavaVM|JavaVM.GetEnv", "exceptions/.*",
     "prints \"same_classname:GetClassSignature failed -- (<its name>|UNKNOWN -\\d)\"; does not show "
     "hook_exception_\\w+",
     "a class of unknown name matches no filter: message"},
    {"JVM.I.(IsInterface|GetMethodName|GetMethodModifiers)|JNI.GetJavaVM|JavaVM.GetEnv",
     "control/(filter_jvmdi_event_br|method_exists)", "goes on|gives null", "no method is found"},
    {"JVM.I.GetClassMethods", "control/(filter_jvmdi_event_br|method_exists)",
     "prints \"method_exists: {f} failed -- <its name>\"(; gives null)?", "no method is found: message"},
    {"JNI.FindClass", "classes/agent_get_class", "gives 113", "the exception is described and cleared"},
    {"JNI.GetStringUTFChars", "classes/agent_get_stringvalue.*", "gives null",
     "no text; the exception is described and cleared"},

    /* ---- Load ---- */
    {"JavaVM.GetEnv", "load.*", "prints \"AgentThread: JVM_OnLoad\\(\\): JVM.GetEnv\\(\\) failed\"; aborts",
     "message, abort"},
    {"JVMTI.AddCapabilities", "load with -Xrun/.*",
     "prints \"enable_jvmticapabilities\\(\\) from JVM_OnLoad failed -- <its name>\"; prints \"Run with\";.*; aborts",
     "message, advice, abort"},
    {"JVMTI.AddCapabilities", "load with -agentlib/.*",
     "prints \"enable_jvmticapabilities\\(\\) from Agent_OnLoad failed -- <its name>\"(; prints \" *can_\\w+: "
     "potential \\d added "
     "\\d got \\d\"){33}; aborts",
     "message, table (whose one double line is told once here), abort"},
    {"JVMTI.GetPhase", "load with -agentlib/.*",
     "prints \"enable_jvmticapabilities\\(\\) from Agent_OnLoad: expected phase 1, got 0\"; aborts", "message, abort"},
    {"JVM.I.Get(Potential)?Capabilities", "load.*",
     "prints \"AgentThread:\\w+OnLoad\\(\\): ?JVM.I_{f}\\(\\) failed (-- )?<its name>\"; aborts", "message, abort"},
    {"JVM.I.(GetVersionNumber|SetEvent\\w+)", "load.*", "goes on", "the result is not looked at"},

    /* ---- Start ---- */
    {"JNI.(FindClass|GetMethodID|NewObject)", "start/.*", "prints \"AgentThread\\(\\): Throwable Failed\"",
     "message, goes on"},
    {"JNI.(FindClass|GetMethodID|NewObject)", "start/.*",
     "prints \"start_agent_thread\\(\\): {f}(\\(\\))? failed\"; aborts", "message, abort"},
    {"JNI.GetMethodID", "start/.*", "prints \"AgentThread\\(\\): GetMethodID getProperty Failed\"; aborts",
     "message, abort"},
    {"JNI.FindClass", "start/.*", "prints \"AgentThread\\(\\): FindClass System Failed\"", "message, no property"},
    {"JNI.GetStaticMethodID", "start/.*", "prints \"AgentThread\\(\\): GetMethodID of getProperty Failed\"",
     "message, no property"},
    {"JNI.(Call\\w+|NewStringUTF|GetStringUTFChars)", "start/.*", "goes on",
     "the exception is described and cleared; no property, or the thread is taken for what it was"},
    {"JVM.I.Run(Agent|Debug)Thread", "start/.*",
     "prints \"start_agent_thread\\(\\): RunDebugThread\\(\\) failed -- <its name>\"; aborts", "message, abort"},
    {"JavaVM.GetEnv", "(start|attach)/.*", "prints \"AgentThread\\(\\): GetEnv failed -- -2\"; aborts",
     "message, abort"},
    {"JNI.GetJavaVM|JavaVM.GetEnv", "(start|events|log)/.*", "goes on",
     "without JVMDI's table nothing is seeded, and a class is taken for a user's"},

    /* ---- Events ---- */
    {"JavaVM.GetEnv", AT_A_STOP, "(prints less; )?dies of signal 11", "kept: the loop's environment is not checked"},
    {"JavaVM.GetEnv", "(control-C|end|invocation)/.*", "goes on",
     "what was processed needs no environment of the loop's"},
    {"JVMTI.GetMethodDeclaringClass", AT_A_STOP, "(prints less|goes on)", "an event without a class"},
    {"JNI.PushLocalFrame", ANYWHERE, "(prints less|goes on)", "newer VMs: without a frame of its own"},
    {"JVM.I.(Suspend|Resume)ThreadList", AT_A_STOP,
     "prints \"AgentThread: cb_\\w+_list\\(\\): {f}\\(\\) failed -- <its name>\"" AFTERMATH "(; " CODE
     ")?(; later agent_suspendthread gives 14)?",
     "threads not stopped, or not let go: message; the rest follows"},
    {"JVM.I.(Suspend|Resume)Thread", "stop and go one by one/.*",
     "prints \"AgentThread:? ?cb_\\w+\\(\\): ?JVMDI_{f}\\(\\) failed -- <its name>\"(; prints \"AgentThread: "
     "cb_\\w+\\(\\) thread "
     "(already|not) suspended N\")?",
     "a thread that is not stopped, or not let go: message, the others are"},
    {"JNI.CallStaticVoidMethodA", "invocation/a method that throws.*", "goes on", "it throws in any case"},
    {"JNI.Call\\w+MethodA", "invocation/.*", "gives 0 status 2|goes on",
     "an outcome that threw, in the answer or in the event"},
    {"JNI.Throw", "invocation/.*", "goes on", "nothing is thrown"},

    {"JNI.NewGlobalRef", "invocation/.*", "gives 113( status 0)?(; does not show hook_invoke_method)?",
     "newer VMs: a request without references of its own is not posted"},
    {"JVMTI.GetMethodName", "invocation/.*", CODE "( status 0)?(; does not show hook_invoke_method)?",
     "newer VMs: nor is one whose arguments cannot be told apart"},

    /* ---- Attach, detach, end ---- */
    {"JVM.I.SetEventNotificationMode", "(attach|detach|end)/.*", "goes on", "the result is not looked at"},
    {"JVM.I.SetEvent(Callbacks|Hook)", "attach/.*",
     "prints \"agent_attach_jquor: JVMDI_SetEventHook\\(\\) failed -- <its name>\"; " CODE, "message, the VM's code"},
    {"JVMTI.SetEventCallbacks", "end/.*",
     "prints \"AgentThread: JVM_OnLoad\\(\\): JVMDI_SetEventHook\\(\\) failed -- <its name>\"; aborts",
     "message, abort"},
    {"JVMDI.SetEventHook", "end/.*", "prints \"TMap_end\\(\\): handle mismatch\"",
     "the full hook stays, and shows the agent thread's own end, whose thread nobody made a handle of"},
    {"JVMDI.(SetEventHook|ClearAllBreakpoints)", "detach/.*", "goes on", "the result is not looked at"},

    /* ---- The debugger's questions ---- */
    {"JNI.(NewObjectArray|New\\w+Array|GetObjectArrayElement)", "values/.*", "gives null",
     "the exception is described and cleared"},
    {"JNI.Set.*", "values/agent_set_.*", "gives 113", "the exception is described and cleared"},
    {"JNI.Get\\w+ArrayElements", "values/agent_get_\\w+array_element",
     "later agent_set_\\w+array_element gives 113; BAD: an exception is pending after agent_get_\\w+; BAD: misuse: "
     "JNI.Set\\w+ArrayRegion: called with java/lang/Error#\\d pending",
     "kept on old VMs: only setters and creators look for exceptions"},
    {"JNI.Get\\w+ArrayRegion", "values/agent_get_\\w+array_element", "gives 113",
     "newer VMs: the exception is described and cleared"},
    {"JVM.I.GetOwnedMonitorInfo", "monitors/agent_get_monitorlist.*", FAILED("{f}"),
     "the thread's monitors are left out: message"},
    {"JVM.I.Get(MonitorInfo|ObjectMonitorUsage)", "monitors/agent_get_monitorlist.*",
     FAILED("GetMonitorInfo") "; " CODE, "message, the VM's code"},
    {"JVMDI.GetMonitorInfo", "monitors/agent_get_monitorinfo", "goes on", "the result is not looked at"},
    {"JVM.I.GetCurrentContendedMonitor", "monitors/agent_get_contended_monitor",
     FAILED("GetCurrentContendedMonitorInfo") "; " CODE, "message, the VM's code"},
    {"JVM.I.(GetClassSignature|GetSourceFileName|IsInterface)", "classes/.*", FAILED("{f}") "; " CODE,
     "message, the VM's code"},
    {"JVM.I.ResumeThread", "stop and go/.*",
     "prints \"AgentThread: cb_suspend_list\\(\\): thread already suspended N\"; " CODE,
     "the VM's code; it stays stopped"},
    {"JNI.GetJavaVM|JavaVM.GetEnv", ".*/agent_.*", "gives -\\d(; later agent_\\w+ gives (13|41))?",
     "without JVMDI's table: the code of who has it not"},
    {"JVM.I\\..*", ".*/agent_.*", CODE "(; later agent_\\w+ gives (13|41))?", "the VM's code"},

    /* ---- The log ---- */
    {"JVM.I\\..*|JNI.GetJavaVM|JavaVM.GetEnv", "log/.*",
     "(" TRACE_ERROR
     "|; |prints less|prints \"\tsignature = [^\"]*\"|prints \"\tstatus = 0x0\"|prints \"\tsourceName = [^\"]*\""
     "|prints \"LogJVMDI(method)? *Method: name = [^\"]*\")+",
     "the failure is a record of the log, and the dump goes on"},
};

/* The expression for this text, compiled once: that takes longer than the run that it judges. */
static inline const std::regex& compiled(const std::string& text) {
    static std::map<std::string, std::regex> all;
    const auto found = all.find(text);
    return found != all.end() ? found->second : all.emplace(text, text).first->second;
}

/* Why an outcome is as it should be; null if no rule tells. */
static inline const char* explanation(const std::string& call, const std::string& place, const std::string& outcome) {
    const std::string function = call.substr(call.find('.') + 1, call.find('(') - call.find('.') - 1);
    for (const SweepRule& rule : sweep_rules) {
        if (!std::regex_match(call, compiled(rule.call)) || !std::regex_match(place, compiled(rule.place))) continue;
        const std::string wanted = std::regex_replace(rule.outcome, compiled("\\{f\\}"), function);
        if (std::regex_match(outcome, compiled(wanted))) return rule.why;
    }
    return nullptr;
}

#endif
