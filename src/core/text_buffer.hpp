// Per-thread answer strings of the text functions.
#pragma once

#include <string>
#include <string_view>

namespace vexa {

// Each exported text function owns one thread-local buffer, selected by a tag
// type, so that two functions never overwrite each other's answer and two
// threads never share one. The text stays valid until the same function runs
// again on the same thread.
template <class Tag>
std::string &text_buffer() {
    thread_local std::string buffer;
    return buffer;
}

// Copies the text into the function's buffer, reusing its storage, so that
// an earlier answer of the same function on this thread shows the new text.
template <class Tag>
const char *keep_text(std::string_view text) {
    std::string &buffer = text_buffer<Tag>();
    buffer.assign(text);
    return buffer.c_str();
}

}  // namespace vexa
