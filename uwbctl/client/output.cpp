// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/client/output.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "uwbctl/client/text.h"

namespace uwbctl {

void Output::Note(const std::string& text) {
    TellUser(text);
}

void TellUser(const std::string& text) {
    fprintf(stderr, "uwbctl: %s\n", PrintableText(text).c_str());
}

void BufferStandardOutput() {
    // The manual fits. A terminal's lines are to be seen as they come.
    static std::array<char, size_t{256} * 1024> buffer;
    if (isatty(STDOUT_FILENO) == 0) setvbuf(stdout, buffer.data(), _IOFBF, buffer.size());
}

std::string FlushStandardOutput() {
    static std::string failure;
    if (!failure.empty()) return failure;
    errno = 0;
    // Of a failure that came earlier only the mark is left.
    if (fflush(stdout) == 0 && ferror(stdout) == 0) return "";
    const int error = errno;
    pollfd reader = {.fd = STDOUT_FILENO, .events = 0, .revents = 0};
    if (poll(&reader, 1, 0) > 0 && (reader.revents & (POLLERR | POLLHUP)) != 0) return "";
    failure = error != 0 ? strerror(error) : "a write has failed";
    return failure;
}

}  // namespace uwbctl
