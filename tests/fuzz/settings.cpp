/* The settings file: whatever stands in it, each category is off or on with its own record, with header options that exist, and
 * the log goes where the file says: nothing is made or removed here, both calls stand before the C library's.
 */
#include "fuzz.h"

#include "support/log_agent.h"

#include <fcntl.h>
#include <string.h>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

static bool trying; /* the fuzzer itself makes and removes files too */
static std::string removed, made;

extern "C" int unlink(const char* path) noexcept {
    if (!trying) return unlinkat(AT_FDCWD, path, 0);
    removed = path;
    return 0;
}

static std::vector<FILE*> logs;

static FILE* open_log(const char* path) {
    made = path;
    logs.push_back(fdopen(memfd_create("log", MFD_CLOEXEC), "w"));
    return logs.back();
}

extern "C" FILE* __real_fopen(const char* path, const char* mode);
extern "C" FILE* __wrap_fopen(const char* path, const char* mode) {
    return trying && mode[0] == 'w' ? open_log(path) : __real_fopen(path, mode);
}

/* A file of these bytes; its path. */
static std::string file_of(int fd, const uint8_t* data, size_t size) {
    require(write(fd, data, size) == (ssize_t)size);
    return "/proc/self/fd/" + std::to_string(fd);
}

static void require_sound(const log_category* category) {
    const log_category* flag = *category->flag;
    require(flag == NULL || flag == category);
    require((category->flags & ~(uint32_t)(LOG_SERIAL | LOG_TIMESTAMP | LOG_SRCLOC)) == 0);
}

static void forget_settings() {
    log_finish(); /* closes the last log; those that it replaced are left open, which the agent's process bears */
    if (!logs.empty()) logs.pop_back();
    for (FILE* replaced : logs) fclose(replaced);
    logs.clear();
    removed.clear();
    made.clear();
    log_echo(0);
    for (log_category* category = _log_map_agent + 1; category->name; category++) category->flags = 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    _log_link(_log_map_agent);
    const int fd = memfd_create("settings", MFD_CLOEXEC);
    const std::string path = file_of(fd, data, size);
    trying = true;
    require(log_enable_from_file(path.c_str()) == 1);
    trying = false;
    for (log_category* category = _log_map_agent + 1; category->name; category++) require_sound(category);
    require(removed == made); /* a log is made where an old one was removed, and only there */
    if (!made.empty()) require(memmem(data, size, made.data(), made.size()) != NULL);
    _log_print(_log_map_agent + 1, "source.c", 1); /* with what was set */
    log_printf("%s", "text");
    forget_settings();
    close(fd);
    return 0;
}
