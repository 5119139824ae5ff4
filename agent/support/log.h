/* log.h: the log, by category. A mechanism that any library of the process may link its categories into.
 *
 * A category's flag global is null while the category is off and holds the address of its record while it is on; a trace
 * statement tests the flag, writes a record header with _log_print and the text with _log_format. There is no lock: records
 * of different threads may interleave, and a log that is current matters more (each text is flushed at once).
 *
 * A record goes to the log file, if one is open, and to the echo stream (in practice standard output) while echoing is on.
 */
#ifndef QUOR_LOG_H
#define QUOR_LOG_H

#include "support/agent_types.h"

#include <stdarg.h>
#include <stdio.h>

/* Header options of a category, or of all records (log_set_flags). */
enum { LOG_SERIAL = 1, LOG_TIMESTAMP = 2, LOG_SRCLOC = 4 };

/* One category. A map is an array of these: first a header whose name is "log_cookie", then the categories, then a record
 * whose name is null. */
typedef struct log_category {
    const char* name;           /* also printed in every record header            */
    struct log_category** flag; /* the global that trace statements test          */
    uint32_t flags;             /* LOG_SERIAL and so on; other bits only shown     */
} log_category;

/* The name of a map's header. */
#define LOG_COOKIE "log_cookie"

/* The record serial number just before whose record log_bpt is called; 0 never. Written by the debugger. */
AGENT_API int32_t log_serial_bpt;

/* An empty function for the debugger's breakpoint: see log_serial_bpt. */
AGENT_API AGENT_HOOK void log_bpt();

/* ---- Categories ---- */

/* Links a map and turns its categories off; a map that is linked already stays as it is. A map without its header, or an
 * eleventh map, ends the process with status 1 and a message on standard error. */
AGENT_API void _log_link(log_category* map);

/* The category of that name, or null. Maps are searched in the order of their linking. */
AGENT_API log_category* log_find_category(const char* name);

/* Turns a category on, with `set` added to its header options and then `clear` taken from them. An unknown name gives
 * "log_enable('%s') unrecognized category\n" on standard error. */
AGENT_API void log_enable(const char* name, uint32_t set, uint32_t clear);

/* Turns a category off; it keeps its header options. An unknown name does nothing. */
AGENT_API void log_disable(const char* name);

/* Lists all categories on standard output: name, on or off, header options. */
AGENT_API void log_dump();

/* Turns every category off, then does what the lines of an option file say; 1, or 0 if `path` is null (then nothing is
 * turned off either) or cannot be opened. "#" starts a comment. A line is either
 *     options [-stdout] [-file PATH]                      where records go; "-file" ends the process if it cannot open PATH
 *     CATEGORY [[-]SERIAL] [[-]TIMESTAMP] [[-]SRCLOC]     turns a category on, with header options set (or, with "-", cleared)
 * Mistakes are told on standard error and skipped. Lines are read 255 characters at a time, and a piece counts as a line. */
AGENT_API uint32_t log_enable_from_file(const char* path);

/* The same for a file that is found, not named, and so may be anybody's: it is read only if it is a regular file, owned by the
 * effective user or root, and not writable by everybody. Otherwise one line on standard error tells why it is ignored. */
uint32_t log_enable_from_own_file(const char* path);

/* ---- Records ---- */

/* Writes the header of one record: serial number if SERIAL, category name, file and line if SRCLOC, time if TIMESTAMP, each
 * asked for by the category or by log_set_flags. Only records with SERIAL are counted. */
AGENT_API void _log_print(log_category* category, const char* file, int32_t line);

/* Writes the text of one record and a newline, and flushes. */
AGENT_API void _log_format(const char* format, ...) __attribute__((format(printf, 1, 2)));

/* The same, for a text that has no header. */
AGENT_API void log_printf(const char* format, ...) __attribute__((format(printf, 1, 2)));
AGENT_API void log_vprintf(const char* format, va_list args) __attribute__((format(printf, 1, 0)));

/* Writes one record header to `stream`, wherever records go; counts nothing. */
AGENT_API void log_print_hdrx(FILE* stream, log_category* category, const char* file, int32_t line);

/* The current time to the second, without the year ("Thu Nov 24 18:22:48"), in the buffer of ctime. */
AGENT_API char* log_timestamp();

/* ---- Where and how ---- */

/* Sets up the log from the environment variables <prefix>_LOG_INPUT (option file, else `input`), <prefix>_LOG_OUTPUT (log
 * file, else `output`) and <prefix>_LOG_STDOUT (if set at all: echo on standard output). Of the prefix the first 16
 * characters count; a null prefix means the arguments alone. */
AGENT_API void log_init(const char* prefix, const char* input, const char* output);

/* Makes the log file `path` anew (if not null) and makes `stream` the echo stream (if not null). An old file is removed first;
 * what cannot be removed, or is put there in between, is not written to: that, like every failure to make the file, ends the
 * process with status 1. Does nothing once there is a log file or an echo stream. */
AGENT_API void log_start(const char* path, FILE* stream);

/* Turns echoing on or off. */
AGENT_API void log_echo(uint32_t on);

/* The header options that every record has besides those of its category. */
AGENT_API void log_set_flags(uint32_t flags);
AGENT_API uint32_t log_get_flags();

/* Sets the limit (10 at first) on source names in headers: of a longer name its last `max` + 1 characters are shown. */
AGENT_API void log_set_file_max(int32_t max);

/* Forgets the log file and the echo stream, and closes the file as soon as no thread is writing to it. Categories stay as they
 * are. */
AGENT_API void log_finish();

#endif
