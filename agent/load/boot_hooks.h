/* boot_hooks.h: the event hooks in force until a debugger attaches, and again when the VM dies. */
#ifndef QUOR_BOOT_HOOKS_H
#define QUOR_BOOT_HOOKS_H

/* Installs them, and switches on the events that they need. At load. */
void install_boot_hooks();

/* Installs them again: the last act of VM_DEATH (agent_thread/processing.h). */
void reinstall_boot_hooks();

#endif
