// SPDX-License-Identifier: Apache-2.0

// Faults planted into a service that has none, by LD_PRELOAD; LEAK says which: "memory" keeps 64
// bytes for each message read, "descriptors" one descriptor for 50 that are closed, "reports" reads
// one message of 1,000 and throws it away.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

static int is_planted(const char* name) {
    const char* leak = getenv("LEAK");
    return leak != NULL && strcmp(leak, name) == 0;
}

static void* next_of(const char* name) {
    return dlsym(RTLD_NEXT, name);
}

int close(int fd) {
    static int count;
    if (is_planted("descriptors") && ++count % 50 == 0) dup(STDIN_FILENO);
    return ((int (*)(int))next_of("close"))(fd);
}

ssize_t recvmsg(int fd, struct msghdr* message, int flags) {
    static int count;
    ssize_t (*next)(int, struct msghdr*, int) =
        (ssize_t(*)(int, struct msghdr*, int))next_of("recvmsg");
    const struct msghdr as_it_was = *message;
    const ssize_t size = next(fd, message, flags);
    if (size <= 0) return size;
    if (is_planted("memory")) {
        static void* volatile kept;
        void** block = malloc(64);
        if (block != NULL) {
            *block = kept;
            kept = block;
        }
    }
    if (is_planted("reports") && (flags & MSG_DONTWAIT) != 0 && ++count % 1000 == 0) {
        *message = as_it_was;
        return next(fd, message, flags);
    }
    return size;
}
