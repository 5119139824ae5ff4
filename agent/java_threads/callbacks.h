/* callbacks.h: the JVMTI callbacks: each fills a record and hands it on. */
#ifndef QUOR_CALLBACKS_H
#define QUOR_CALLBACKS_H

#include "support/agent_types.h"

/* The JVMTI callbacks of the attached phase, with JVMTI's own arguments. */
AGENT_API void JNICALL cb_jvmtiEventSingleStep(jvmtiEnv*, JNIEnv*, jthread, jmethodID, jlocation);
AGENT_API void JNICALL cb_jvmtiEventBreakpoint(jvmtiEnv*, JNIEnv*, jthread, jmethodID, jlocation);
AGENT_API void JNICALL cb_jvmtiEventFramePop(jvmtiEnv*, JNIEnv*, jthread, jmethodID, jboolean);
AGENT_API void JNICALL cb_jvmtiEventException(jvmtiEnv*, JNIEnv*, jthread, jmethodID, jlocation, jobject, jmethodID,
                                              jlocation);
AGENT_API void JNICALL cb_jvmtiEventExceptionCatch(jvmtiEnv*, JNIEnv*, jthread, jmethodID, jlocation, jobject);
AGENT_API void JNICALL cb_jvmtiEventThreadStart(jvmtiEnv*, JNIEnv*, jthread);
AGENT_API void JNICALL cb_jvmtiEventThreadEnd(jvmtiEnv*, JNIEnv*, jthread);
AGENT_API void JNICALL cb_jvmtiEventClassPrepare(jvmtiEnv*, JNIEnv*, jthread, jclass);
AGENT_API void JNICALL cb_jvmtiEventClassLoad(jvmtiEnv*, JNIEnv*, jthread, jclass);
AGENT_API void JNICALL cb_jvmtiEventFieldAccess(jvmtiEnv*, JNIEnv*, jthread, jmethodID, jlocation, jclass, jobject,
                                                jfieldID);
AGENT_API void JNICALL cb_jvmtiEventFieldModification(jvmtiEnv*, JNIEnv*, jthread, jmethodID, jlocation, jclass,
                                                      jobject, jfieldID, char, jvalue);
AGENT_API void JNICALL cb_jvmtiEventMethodEntry(jvmtiEnv*, JNIEnv*, jthread, jmethodID);
AGENT_API void JNICALL cb_jvmtiEventMethodExit(jvmtiEnv*, JNIEnv*, jthread, jmethodID, jboolean, jvalue);
AGENT_API void JNICALL cb_jvmtiEventVMInit(jvmtiEnv*, JNIEnv*, jthread);
AGENT_API void JNICALL cb_jvmtiEventVMDeath(jvmtiEnv*, JNIEnv*);
/* These fifteen do nothing. */
AGENT_API void JNICALL cb_jvmtiEventClassFileLoadHook(jvmtiEnv*, JNIEnv*, jclass, jobject, const char*, jobject, jint,
                                                      const unsigned char*, jint*, unsigned char**);
AGENT_API void JNICALL cb_jvmtiEventVMStart(jvmtiEnv*, JNIEnv*);
AGENT_API void JNICALL cb_jvmtiEventNativeMethodBind(jvmtiEnv*, JNIEnv*, jthread, jmethodID, void*, void**);
AGENT_API void JNICALL cb_jvmtiEventCompiledMethodLoad(jvmtiEnv*, jmethodID, jint, const void*, jint,
                                                       const jvmtiAddrLocationMap*, const void*);
AGENT_API void JNICALL cb_jvmtiEventCompiledMethodUnload(jvmtiEnv*, jmethodID, const void*);
AGENT_API void JNICALL cb_jvmtiEventDynamicCodeGenerated(jvmtiEnv*, const char*, const void*, jint);
AGENT_API void JNICALL cb_jvmtiEventDataDumpRequest(jvmtiEnv*);
AGENT_API void JNICALL cb_jvmtiEventMonitorWait(jvmtiEnv*, JNIEnv*, jthread, jobject, jlong);
AGENT_API void JNICALL cb_jvmtiEventMonitorWaited(jvmtiEnv*, JNIEnv*, jthread, jobject, jboolean);
AGENT_API void JNICALL cb_jvmtiEventMonitorContendedEnter(jvmtiEnv*, JNIEnv*, jthread, jobject);
AGENT_API void JNICALL cb_jvmtiEventMonitorContendedEntered(jvmtiEnv*, JNIEnv*, jthread, jobject);
AGENT_API void JNICALL cb_jvmtiEventGarbageCollectionStart(jvmtiEnv*);
AGENT_API void JNICALL cb_jvmtiEventGarbageCollectionFinish(jvmtiEnv*);
AGENT_API void JNICALL cb_jvmtiEventObjectFree(jvmtiEnv*, jlong);
AGENT_API void JNICALL cb_jvmtiEventVMObjectAlloc(jvmtiEnv*, JNIEnv*, jthread, jobject, jclass, jlong);

/* The JVMTI callbacks of the boot phase. */
AGENT_API void JNICALL cbb_jvmtiEventVMInit(jvmtiEnv*, JNIEnv*, jthread);
AGENT_API void JNICALL cbb_jvmtiEventThreadStart(jvmtiEnv*, JNIEnv*, jthread);
AGENT_API void JNICALL cbb_jvmtiEventThreadEnd(jvmtiEnv*, JNIEnv*, jthread);
AGENT_API void JNICALL cbb_jvmtiEventClassPrepare(jvmtiEnv*, JNIEnv*, jthread, jclass);

/* One more of the boot phase, for a newer VM; not exported. */
void JNICALL boot_vm_death(jvmtiEnv*, JNIEnv*);

/* Install the callbacks of the attached phase; the VM's code. */
jint install_full_callbacks();

#endif
