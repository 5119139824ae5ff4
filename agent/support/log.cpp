#include "support/log.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

static const int32_t max_maps = 10;

static log_category* log_map[max_maps + 1]; /* linked maps, then null */
static int32_t log_map_size;
static uint32_t log_flags;
static int32_t serial;
static int32_t log_file_max = 10;
static FILE* log_fp;  /* the log file; ours to close */
static FILE* log_afp; /* the echo stream             */
static uint32_t log_echoing;

/* A log file that is finished. A thread that read log_fp before may be writing to it still. */
struct finished_file {
    FILE* file;
    finished_file* next;
};

static finished_file* finished_files; /* not closed yet                            */
static int32_t log_writers;           /* threads that may be writing to a log file */

int32_t log_serial_bpt;

void log_bpt() { AGENT_HOOK_BODY; }

[[noreturn]] __attribute__((format(printf, 1, 2))) static void log_panic(const char* format, ...) {
    va_list args;
    va_start(args, format);
    vfprintf(stderr, format, args);
    va_end(args);
    fputc('\n', stderr);
    exit(1);
}

/* ---- Categories ---- */

/* The first category for which `accepts` is true: maps in link order, categories in table order. */
template <class Accepts> static log_category* find_category(Accepts accepts) {
    for (int32_t i = 0; i < log_map_size; i++) {
        for (log_category* category = log_map[i] + 1; category->name; category++) {
            if (accepts(category)) return category;
        }
    }
    return NULL;
}

template <class Visit> static void for_each_category(Visit visit) {
    find_category([=](log_category* category) {
        visit(category);
        return false;
    });
}

static void turn_off(log_category* category) { shared_store(*category->flag, (log_category*)NULL); }

void _log_link(log_category* map) {
    if (!map->name || strcmp(map->name, LOG_COOKIE) != 0) log_panic("_log_link(): bad map. no magic cookie");
    for (int32_t i = 0; i < log_map_size; i++) {
        if (log_map[i] == map) return;
    }
    if (log_map_size == max_maps) log_panic("_log_link(): too many maps. limit is %d", max_maps);
    log_map[log_map_size++] = map;
    log_map[log_map_size] = NULL;
    for (log_category* category = map + 1; category->name; category++) turn_off(category);
}

log_category* log_find_category(const char* name) {
    return find_category([=](log_category* category) { return strcmp(category->name, name) == 0; });
}

void log_enable(const char* name, uint32_t set, uint32_t clear) {
    log_category* category = log_find_category(name);
    if (!category) {
        fprintf(stderr, "log_enable('%s') unrecognized category\n", name);
        return;
    }
    shared_store(category->flags, (shared_load(category->flags) | set) & ~clear);
    shared_store(*category->flag, category);
}

void log_disable(const char* name) {
    if (log_category* category = log_find_category(name)) turn_off(category);
}

static void dump_flag(uint32_t bit) {
    switch (bit) {
    case LOG_SERIAL: printf(" SERIAL"); break;
    case LOG_TIMESTAMP: printf(" TIMESTAMP"); break;
    case LOG_SRCLOC: printf(" SRCLOC"); break;
    default: printf(" %x", bit); break;
    }
}

static void dump_category(log_category* category) {
    const uint32_t flags = shared_load(category->flags);
    printf("category '%s' %s", category->name, shared_load(*category->flag) ? "on" : "off");
    for (uint32_t bit = 1; bit <= 1u << 15; bit <<= 1) {
        if (flags & bit) dump_flag(bit);
    }
    printf("\n");
}

void log_dump() { for_each_category(dump_category); }

/* ---- Records ---- */

char* log_timestamp() {
    const time_t now = time(NULL);
    char* text = ctime(&now);
    text[sizeof("Thu Nov 24 18:22:48") - 1] = '\0';
    return text;
}

/* The end of a source name that headers show. The limit applies to the name, one character more of it is shown: log readers
 * know the names so. */
static const char* shown_file(const char* file) {
    const int32_t length = (int32_t)strlen(file);
    const int32_t max = shared_load(log_file_max);
    if (length <= max) return file;
    return max < 0 ? file + length : file + (length - max - 1);
}

static uint32_t header_flags(log_category* category) { return shared_load(category->flags) | shared_load(log_flags); }

void log_print_hdrx(FILE* stream, log_category* category, const char* file, int32_t line) {
    const uint32_t flags = header_flags(category);
    if (flags & LOG_SERIAL) fprintf(stream, "%.5d ", shared_load(serial));
    if (flags & LOG_SRCLOC)
        fprintf(stream, "%-11s\"%s\":%d ", category->name, shown_file(file), line);
    else
        fprintf(stream, "%-11s", category->name);
    if (flags & LOG_TIMESTAMP) fprintf(stream, "%s: ", log_timestamp());
}

static void finish_file(finished_file* finished) {
    finished->next = shared_load(finished_files);
    while (!__atomic_compare_exchange_n(&finished_files, &finished->next, finished, false, __ATOMIC_SEQ_CST,
                                        __ATOMIC_SEQ_CST)) {}
}

static bool has_writers() { return __atomic_load_n(&log_writers, __ATOMIC_SEQ_CST) != 0; }

/* Closes what is finished when nobody writes: whoever begins then finds another log_fp. A thread may begin, and another log
 * be finished, between the look at the writers and the taking of the files, hence the second look. */
static void close_finished_files() {
    while (!has_writers()) {
        finished_file* taken = __atomic_exchange_n(&finished_files, (finished_file*)NULL, __ATOMIC_SEQ_CST);
        if (!taken) return;
        const bool can_close = !has_writers();
        while (finished_file* finished = taken) {
            taken = finished->next;
            if (!can_close) {
                finish_file(finished);
                continue;
            }
            fclose(finished->file);
            free(finished);
        }
    }
}

/* The last one out closes the files that were finished meanwhile: nobody waits for anybody, not even for a thread that the
 * debugger stopped in the middle of a record. */
static void leave_log_file() {
    if (__atomic_sub_fetch(&log_writers, 1, __ATOMIC_SEQ_CST) == 0) close_finished_files();
}

/* Calls `write` for each stream that records go to. */
template <class Write> static void for_each_stream(Write write) {
    __atomic_add_fetch(&log_writers, 1, __ATOMIC_SEQ_CST);
    if (FILE* stream = __atomic_load_n(&log_fp, __ATOMIC_SEQ_CST)) write(stream);
    leave_log_file();
    FILE* echo = shared_load(log_afp);
    if (echo && shared_load(log_echoing)) write(echo);
}

void _log_print(log_category* category, const char* file, int32_t line) {
    const int32_t stop_at = shared_load(log_serial_bpt);
    if (stop_at != 0 && stop_at == shared_load(serial)) log_bpt();
    for_each_stream([=](FILE* stream) { log_print_hdrx(stream, category, file, line); });
    if (header_flags(category) & LOG_SERIAL) shared_store(serial, (int32_t)((uint32_t)shared_load(serial) + 1));
}

void log_vprintf(const char* format, va_list args) {
    for_each_stream([&](FILE* stream) {
        va_list copy;
        va_copy(copy, args);
        vfprintf(stream, format, copy);
        va_end(copy);
        fputc('\n', stream);
        fflush(stream);
    });
}

void _log_format(const char* format, ...) {
    va_list args;
    va_start(args, format);
    log_vprintf(format, args);
    va_end(args);
}

void log_printf(const char* format, ...) {
    va_list args;
    va_start(args, format);
    log_vprintf(format, args);
    va_end(args);
}

/* ---- Where and how ---- */

/* Opens the log file. A log that is open already is replaced without being closed: a record may be on its way into it. */
static void log_start_help(const char* path) {
    if (!path) return;
    unlink(path);
    FILE* opened = fopen(path, "wxe"); /* made here: a link that somebody plants after the removal is not followed */
    if (!opened) log_panic("log_start(): couldn't open \"%s\" -- %s", path, strerror(errno));
    shared_store(log_fp, opened);
}

void log_start(const char* path, FILE* stream) {
    if (shared_load(log_fp) || shared_load(log_afp)) return;
    log_start_help(path);
    if (stream) shared_store(log_afp, stream);
}

void log_echo(uint32_t on) { shared_store(log_echoing, on); }

void log_set_flags(uint32_t flags) { shared_store(log_flags, flags); }

uint32_t log_get_flags() { return shared_load(log_flags); }

void log_set_file_max(int32_t max) { shared_store(log_file_max, max); }

void log_finish() {
    FILE* open = __atomic_exchange_n(&log_fp, (FILE*)NULL, __ATOMIC_SEQ_CST);
    shared_store(log_afp, (FILE*)NULL);
    if (!open) return;
    finished_file* finished = (finished_file*)malloc(sizeof *finished);
    if (!finished) return; /* rather open to the end than closed under somebody: each text was flushed */
    finished->file = open;
    finish_file(finished);
    close_finished_files();
}

/* ---- The option file and the environment ---- */

/* The next token of the line that strtok_r has begun. */
static char* next_token(char** rest) { return strtok_r(NULL, " \t\n", rest); }

/* The rest of a line that begins with "options". */
static void read_output_options(const char* path, char** rest) {
    while (char* option = next_token(rest)) {
        if (strcmp(option, "-stdout") == 0) {
            shared_store(log_afp, stdout);
            log_echo(1);
        } else if (strcmp(option, "-file") == 0) {
            const char* log_path = next_token(rest);
            if (!log_path) fprintf(stderr, "log_enable_from_file(\"%s\") option -file expects filename\n", path);
            log_start_help(log_path);
        } else {
            fprintf(stderr, "log_enable_from_file(\"%s\") bad option '%s'\n", path, option);
        }
    }
}

/* The bit of a header option's name; 0 if it has none. */
static uint32_t header_option(const char* name) {
    if (strcmp(name, "SERIAL") == 0) return LOG_SERIAL;
    if (strcmp(name, "TIMESTAMP") == 0) return LOG_TIMESTAMP;
    if (strcmp(name, "SRCLOC") == 0) return LOG_SRCLOC;
    return 0;
}

/* The rest of a line that begins with a category's name. */
static void read_category(const char* name, char** rest) {
    uint32_t set = 0;
    uint32_t clear = 0;
    while (const char* option = next_token(rest)) {
        if (option[0] == '-')
            clear |= header_option(option + 1);
        else
            set |= header_option(option);
    }
    log_enable(name, set, clear);
}

static void read_option_line(const char* path, char* line) {
    if (char* comment = strchr(line, '#')) *comment = '\0';
    char* rest = NULL;
    const char* first = strtok_r(line, " \t\n", &rest);
    if (!first) return;
    if (strcmp(first, "options") == 0)
        read_output_options(path, &rest);
    else
        read_category(first, &rest);
}

/* Does what the lines of an open option file say, and closes it; 1, or 0 for a null file. */
static uint32_t read_options(const char* path, FILE* options) {
    if (!options) return 0;
    char line[256];
    while (fgets(line, sizeof line, options)) read_option_line(path, line);
    fclose(options);
    return 1;
}

uint32_t log_enable_from_file(const char* path) {
    if (!path) return 0;
    for_each_category(turn_off);
    return read_options(path, fopen(path, "r"));
}

/* Why the user would not have written such a file; null if there is no reason. */
static const char* reason_for_distrust(const struct stat& file) {
    if (!S_ISREG(file.st_mode)) return "not a regular file";
    if (file.st_uid != geteuid() && file.st_uid != 0) return "owned by another user";
    return file.st_mode & S_IWOTH ? "writable by everybody" : NULL;
}

uint32_t log_enable_from_own_file(const char* path) {
    for_each_category(turn_off);
    const int fd = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC); /* not to wait for the writer of a FIFO */
    if (fd == -1) return 0;
    struct stat file;
    if (fstat(fd, &file) == 0) {
        const char* reason = reason_for_distrust(file);
        if (!reason) return read_options(path, fdopen(fd, "r"));
        fprintf(stderr, "log_enable_from_file(\"%s\") ignored: %s\n", path, reason);
    }
    close(fd);
    return 0;
}

/* The variable that `format` (its "%s" the prefix) names, or null. */
static const char* prefixed_variable(const char* format, const char* prefix) {
    char name[32];
    snprintf(name, sizeof name, format, prefix);
    return getenv(name);
}

void log_init(const char* prefix, const char* input, const char* output) {
    FILE* echo = NULL;
    if (prefix) {
        if (const char* path = prefixed_variable("%-.16s_LOG_INPUT", prefix)) input = path;
        if (const char* path = prefixed_variable("%-.16s_LOG_OUTPUT", prefix)) output = path;
        if (prefixed_variable("%-.16s_LOG_STDOUT", prefix)) echo = stdout;
    }
    log_enable_from_file(input);
    log_start(output, echo);
    if (echo) log_echo(1);
}
