#include "inside.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

void* exported(const char* name) {
    static void* agent = dlopen("libquor_agent.so", RTLD_NOW | RTLD_NOLOAD);
    void* found = agent ? dlsym(agent, name) : nullptr;
    if (found) return found;
    fprintf(stderr, "bench: the agent is not loaded, or exports no %s\n", name);
    abort();
}

void must(jint code, const char* what) {
    if (!code) return;
    fprintf(stderr, "bench: %s gives %d\n", what, (int)code);
    abort();
}

/* A jump to an absolute address, over a register that holds no argument: mov $to, %rax (or %eax); jmp *%rax. */
static size_t write_jump(unsigned char* place, void* to) {
    const unsigned char load_64[] = {0x48, 0xb8}, load_32[] = {0xb8}, jump[] = {0xff, 0xe0};
    const size_t load = sizeof to == 8 ? sizeof load_64 : sizeof load_32;
    memcpy(place, sizeof to == 8 ? load_64 : load_32, load);
    memcpy(place + load, &to, sizeof to);
    memcpy(place + load + sizeof to, jump, sizeof jump);
    return load + sizeof to + sizeof jump;
}

static void make_writable(unsigned char* place, size_t size) {
    const uintptr_t page = (uintptr_t)sysconf(_SC_PAGESIZE), begin = (uintptr_t)place & ~(page - 1);
    if (mprotect((void*)begin, (uintptr_t)place + size - begin, PROT_READ | PROT_WRITE | PROT_EXEC) == 0) return;
    perror("bench: the agent's code cannot be written");
    abort();
}

hook_replacement::hook_replacement(const char* hook, void* instead) : place((unsigned char*)exported(hook)) {
    if ((uintptr_t)place % ROOM != 0) {
        fprintf(stderr, "bench: %s has no room for a jump\n", hook);
        abort();
    }
    make_writable(place, ROOM);
    memcpy(original, place, ROOM);
    write_jump(place, instead);
}

hook_replacement::~hook_replacement() { memcpy(place, original, ROOM); }
