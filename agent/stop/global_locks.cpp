#include "stop/global_locks.h"

#include "invoke/requests.h"
#include "registry/agent_tmap.h"
#include "registry/agent_uref.h"
#include "registry/prep_list.h"
#include "support/agent_monitor.h"

/* The monitors of the global lock step, in the order of taking them. */
static monitor_t* const acquire_order[] = {&tmap_lock, &URef_monitor, &prep_list.monitor, &invoke_method_list_monitor};
/* They are given back in an order of its own, which is not the reverse. */
static monitor_t* const release_order[] = {&tmap_lock, &prep_list.monitor, &URef_monitor, &invoke_method_list_monitor};

jint acquire_globalocks() {
    for (monitor_t* monitor : acquire_order) monitor_lock(monitor, "acquire_globalocks");
    return 0;
}

jint release_globalocks() {
    for (monitor_t* monitor : release_order) monitor_unlock(monitor, "release_globalocks");
    return 0;
}
