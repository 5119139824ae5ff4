/* log_agent.h: the agent's log categories and its trace statement. */
#ifndef QUOR_LOG_AGENT_H
#define QUOR_LOG_AGENT_H

#include "support/agent_types.h"
#include "support/format.h"
#include "support/log.h"
#include "support/words.h"

/* The flag globals of the categories: null while off (see log.h). Written by _log_link, log_enable_from_file, log_enable and
 * log_disable, possibly by the debugger; read by every trace statement. */
AGENT_API log_category* LogJVMDI;           /* general activity, events, entry points, trace dumps      */
AGENT_API log_category* LogJVMDIthread;     /* thread and thread-group dumps                            */
AGENT_API log_category* LogJVMDI_VM_thread; /* thread start and end, lists of suspensions and resumptions */
AGENT_API log_category* LogJVMDIclass;      /* class dumps                                              */
AGENT_API log_category* LogJVMDImethod;     /* method dumps and method-related requests                 */
AGENT_API log_category* LogJVMDIlocation;   /* location detail in method dumps                          */
AGENT_API log_category* LogJVMDIframe;      /* no statement tests it                                    */
AGENT_API log_category* LogJVMPI;           /* JVMPI events                                             */
AGENT_API log_category* LogJVMPIgc;         /* no statement tests it                                    */
AGENT_API log_category* LogJVMPImonitor;    /* no statement tests it                                    */

/* The agent's map: header, the ten categories above in this order, terminating record. */
AGENT_API log_category __log_map_agent[];
/* Its address, which the load entry points pass to _log_link. */
AGENT_API log_category* _log_map_agent;

/* The trace statement: when `category` is on, one record with the header's source file LOG_SOURCE and the text.
 *
 * Every source that logs defines LOG_SOURCE, a constant: the name that readers of the log know its records under, which is that
 * of the module the functions belonged to before the sources were ordered by thread. With SRCLOC a header shows its last
 * eleven characters (log_set_file_max).
 *
 * The format is held against the arguments when the statement is compiled. Its integer conversions are as wide as a pointer
 * (words.h). The flag is read once. */
#define AGENT_LOG(category, format, ...)                                \
    do {                                                                \
        if (log_category* agent_log_category = shared_load(category)) { \
            _log_print(agent_log_category, LOG_SOURCE, __LINE__);       \
            log_words<format>(__VA_ARGS__);                             \
        }                                                               \
    } while (0)

/* True when a category is on. */
static inline bool log_is_on(log_category* const& category) { return shared_load(category) != NULL; }

template <format_literal Format, class... Args> static inline void log_words(Args... args) {
    static_assert(format_fits<Args...>(Format.text), "the format does not fit its arguments");
    _log_format(widened<Format>.text, as_word(args)...);
}

/* printf of a message that shows thread ids. */
template <format_literal Format, class... Args> static inline void print_words(Args... args) {
    static_assert(format_fits<Args...>(Format.text), "the format does not fit its arguments");
    printf(widened<Format>.text, as_word(args)...);
}

#endif
