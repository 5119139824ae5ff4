/* registers.h: what a debugger does with a stopped thread's registers, in the width that this program is built for. */
#ifndef QUOR_STRESS_REGISTERS_H
#define QUOR_STRESS_REGISTERS_H

#include <stddef.h>
#include <stdint.h>
#include <sys/user.h>

typedef uintptr_t word;

struct registers : user_regs_struct {
#ifdef __x86_64__
    word pc() const { return (word)rip; }
    word sp() const { return (word)rsp; }
    word result() const { return (word)rax; }
    void set_pc(word to) { rip = to; }
    void set_sp(word to) { rsp = to; }
    /* The thread is in no system call that the kernel may restart; no vector registers hold arguments. */
    void forget_system_call() {
        orig_rax = (unsigned long long)-1;
        rax = 0;
    }
    void set_argument(size_t i, word value) {
        unsigned long long* const places[] = {&rdi, &rsi, &rdx, &rcx, &r8, &r9};
        *places[i] = value;
    }
    word argument(size_t i) const { return i == 0 ? (word)rdi : (word)rsi; }
    enum {IN_REGISTERS = 6, RED_ZONE = 128};
#else
    word pc() const { return (word)eip; }
    word sp() const { return (word)esp; }
    word result() const { return (word)eax; }
    void set_pc(word to) { eip = (long)to; }
    void set_sp(word to) { esp = (long)to; }
    void forget_system_call() { orig_eax = -1; }
    void set_argument(size_t, word) {}
    enum { IN_REGISTERS = 0, RED_ZONE = 0 };
#endif
};

#endif
