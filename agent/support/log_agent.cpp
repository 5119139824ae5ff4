#include "support/log_agent.h"

#include "support/log.h"

log_category* LogJVMDI;
log_category* LogJVMDIthread;
log_category* LogJVMDI_VM_thread;
log_category* LogJVMDIclass;
log_category* LogJVMDImethod;
log_category* LogJVMDIlocation;
log_category* LogJVMDIframe;
log_category* LogJVMPI;
log_category* LogJVMPIgc;
log_category* LogJVMPImonitor;

log_category __log_map_agent[] = {
    {LOG_COOKIE, NULL, 0},
    {"LogJVMDI", &LogJVMDI, 0},
    {"LogJVMDIthread", &LogJVMDIthread, 0},
    {"LogJVMDI_VM_thread", &LogJVMDI_VM_thread, 0},
    {"LogJVMDIclass", &LogJVMDIclass, 0},
    {"LogJVMDImethod", &LogJVMDImethod, 0},
    {"LogJVMDIlocation", &LogJVMDIlocation, 0},
    {"LogJVMDIframe", &LogJVMDIframe, 0},
    {"LogJVMPI", &LogJVMPI, 0},
    {"LogJVMPIgc", &LogJVMPIgc, 0},
    {"LogJVMPImonitor", &LogJVMPImonitor, 0},
    {NULL, NULL, 0},
};

log_category* _log_map_agent = __log_map_agent;
