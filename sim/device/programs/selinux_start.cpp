// SPDX-License-Identifier: Apache-2.0

// selinux-start POLICY FILE_CONTEXTS: gives the kernel its policy and the files their labels. Whether
// it is enforced is the caller's to say. A line of FILE_CONTEXTS is a path or a shell's pattern, and a
// type; a later one counts. What is not there needs no label.
#include <fcntl.h>
#include <glob.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

namespace {

bool Failed(const std::string& what) {
    fprintf(stderr, "selinux-start: %s: %s\n", what.c_str(), strerror(errno));
    return false;
}

// The kernel takes a policy in a single write.
bool LoadPolicy(const char* path) {
    std::ifstream file(path, std::ios::binary);
    const std::string policy{std::istreambuf_iterator<char>(file), {}};
    const int load = open("/sys/fs/selinux/load", O_WRONLY | O_CLOEXEC);
    const bool loaded =
        load >= 0 && write(load, policy.data(), policy.size()) == static_cast<ssize_t>(policy.size());
    const int error = errno;
    if (load >= 0) close(load);
    errno = error;
    return loaded || Failed(path);
}

bool Label(const std::string& pattern, const std::string& type) {
    const std::string label = "u:object_r:" + type + ":s0";
    glob_t paths = {};
    bool labelled = true;
    if (glob(pattern.c_str(), 0, nullptr, &paths) == 0) {
        for (size_t i = 0; i < paths.gl_pathc; i++) {
            // Of a link what it leads to: a device has names of its own here.
            if (setxattr(paths.gl_pathv[i], "security.selinux", label.data(), label.size(), 0) != 0) {
                labelled = Failed(std::string(paths.gl_pathv[i]) + ": " + label);
            }
        }
    }
    globfree(&paths);
    return labelled;
}

bool LabelAll(const char* path) {
    std::ifstream file(path);
    if (!file.is_open()) return Failed(path);
    bool labelled = true;
    for (std::string line; std::getline(file, line);) {
        std::string pattern;
        std::string type;
        std::istringstream words(line);
        if (!(words >> pattern >> type) || pattern.front() == '#') continue;
        labelled = Label(pattern, type) && labelled;
    }
    return labelled;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: selinux-start POLICY FILE_CONTEXTS\n");
        return 2;
    }
    return LoadPolicy(argv[1]) && LabelAll(argv[2]) ? 0 : 1;
}
