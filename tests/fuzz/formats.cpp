/* The log's formats: the widening of conversions to a pointer's width gives what C's own rules give for long arguments; and a
 * record's header is what its parts say, for every name, limit and combination of options.
 */
#include "fuzz.h"

#include "support/log_agent.h"
#include "support/words.h"

#include <algorithm>
#include <string.h>
#include <string>

/* Takes small numbers from the input. */
struct Input {
    const uint8_t* data;
    size_t size;
    uint8_t byte() { return size ? (size--, *data++) : 0; }
    uint32_t word() {
        uint32_t value = 0;
        for (int i = 0; i < 4; i++) value = value << 8 | byte();
        return value;
    }
    std::string text(size_t most) {
        const size_t length = std::min<size_t>(most, size);
        std::string taken((const char*)data, length);
        data += length;
        size -= length;
        return std::string(taken.c_str());
    }
};

/* ---- Widening ---- */

enum { CONVERSIONS = 4, FORMAT = 200 };

/* One conversion of a thread id or a reference, as the agent's messages have them, and as C wants it for a long. */
static void add_conversion(Input& in, std::string& narrow, std::string& wide) {
    static const char* const flags[] = {"", "-", "#", "0", ".5", "-11", "-11.3", "20"};
    const std::string start = std::string("%") + flags[in.byte() % 8];
    const char type = "dux"[in.byte() % 3];
    narrow += start + type;
    wide += start + "l" + type;
}

static void add_text(Input& in, std::string& narrow, std::string& wide) {
    std::string text = in.text(in.byte() % 16);
    text.erase(std::remove(text.begin(), text.end(), '%'), text.end());
    if (in.byte() % 4 == 0) text += "%%";
    narrow += text;
    wide += text;
}

static void check_widening(Input& in) {
    std::string narrow, wide;
    for (int i = 0; i < CONVERSIONS; i++) {
        add_text(in, narrow, wide);
        add_conversion(in, narrow, wide);
    }
    char literal[FORMAT] = {};
    require(narrow.size() < sizeof literal);
    memcpy(literal, narrow.data(), narrow.size());
    const wide_format<FORMAT> widened_now{format_literal<FORMAT>(literal)};
    require(wide == widened_now.text);
}

/* Any text at all: only 'l's are added, each before the end of a conversion. */
static void check_any_text(Input in) {
    const std::string text = in.text(FORMAT - 1);
    char literal[FORMAT] = {};
    memcpy(literal, text.data(), text.size());
    const wide_format<FORMAT> widened_now{format_literal<FORMAT>(literal)};
    size_t at = 0;
    for (const char* c = widened_now.text; *c; c++) {
        if (at < text.size() && *c == text[at])
            at++;
        else
            require(*c == 'l' && (c[1] == 'd' || c[1] == 'u' || c[1] == 'x'));
    }
    require(at == text.size());
}

/* ---- Headers ---- */

static std::string expected_header(const std::string& name, const std::string& file, int32_t line, int32_t max,
                                   uint32_t flags) {
    std::string header;
    if (flags & LOG_SERIAL) header += "00000 ";
    header += name + std::string(name.size() < 11 ? 11 - name.size() : 0, ' ');
    if (flags & LOG_SRCLOC) {
        const int64_t shown = std::max<int64_t>((int64_t)max + 1, 0);
        const std::string end =
            (int64_t)file.size() <= max ? file : file.substr(file.size() - std::min<size_t>(shown, file.size()));
        header += '"' + end + "\":" + std::to_string(line) + " ";
    }
    return header;
}

static void check_header(Input& in) {
    const uint32_t flags = in.byte() & (LOG_SERIAL | LOG_SRCLOC), all = in.byte() & (LOG_SERIAL | LOG_SRCLOC);
    const int32_t line = (int32_t)in.word();
    const int32_t max = in.byte() % 2 ? (int32_t)in.word() : in.byte() % 40;
    const std::string name = in.text(in.byte() % 40), file = in.text(in.byte());
    log_category* flag = NULL;
    log_category category = {name.c_str(), &flag, flags};
    log_set_flags(all);
    log_set_file_max(max);
    char* text = NULL;
    size_t size = 0;
    FILE* stream = open_memstream(&text, &size);
    log_print_hdrx(stream, &category, file.c_str(), line);
    fclose(stream);
    require(expected_header(name, file, line, max, flags | all) == std::string(text, size));
    free(text);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input in{data, size};
    check_any_text(in);
    check_widening(in);
    check_header(in);
    return 0;
}
