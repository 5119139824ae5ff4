/* The option string of the library: whatever stands in it, what is read is what a plain reading of the rules gives, and the
 * FIFO's path is a piece of the string itself.
 */
#include "fuzz.h"

#include "load/handshake.h"

#include <stdlib.h>
#include <string>

/* The rules again, told in another way: items between commas, cut at their first '='; an empty rest is no item. */
static load_options expected(const std::string& text, std::string* fifo, bool* has_fifo) {
    load_options result;
    *has_fifo = false;
    for (size_t at = 0; at < text.size();) {
        size_t end = text.find(',', at);
        if (end == text.npos) end = text.size();
        const std::string item = text.substr(at, end - at);
        const size_t equals = item.find('=');
        const std::string name = item.substr(0, equals), value = equals == item.npos ? "" : item.substr(equals + 1);
        if (name == "sync") result.sync = atoi(value.c_str());
        if (name == "fifo") {
            *has_fifo = equals != item.npos;
            *fifo = value;
        }
        at = end + 1;
    }
    return result;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text((const char*)data, size);
    text = text.c_str(); /* an option string ends at its first NUL */
    std::string fifo;
    bool has_fifo;
    const load_options wanted = expected(text, &fifo, &has_fifo);
    std::string changed = text;
    const load_options read = parse_options(changed.data());
    require(read.sync == wanted.sync);
    require((read.fifo != NULL) == has_fifo);
    if (read.fifo) {
        require(read.fifo >= changed.data() && read.fifo <= changed.data() + changed.size());
        require(fifo == read.fifo);
    }
    require(parse_options(NULL).sync == 0 && parse_options(NULL).fifo == NULL);
    return 0;
}
