// Runs a piece of a test in a forked child that is root of its own user and
// mount namespaces, so it may mount a small tmpfs or chroot into a temporary
// folder without touching the host. Whatever the child must report it leaves
// in files outside its own mounts; the parent asserts on those.
#pragma once

#include <fcntl.h>
#include <sched.h>
#include <stdio.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>

namespace testsupport {

// Exit code of the child when the namespaces or a mount can't be had here.
constexpr int kSandboxUnavailable = 77;

namespace sandbox_detail {

inline bool writeProcFile(const char* path, const std::string& text) {
    const int fd = ::open(path, O_WRONLY);
    if (fd < 0) return false;
    const bool ok = ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    ::close(fd);
    return ok;
}

// Maps the caller's ids to root of a new user namespace, with mounts of its own.
inline bool enterNamespaces() {
    const uid_t uid = getuid();
    const gid_t gid = getgid();
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
    return writeProcFile("/proc/self/setgroups", "deny") &&
           writeProcFile("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1") &&
           writeProcFile("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1") &&
           mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

}  // namespace sandbox_detail

// Runs `body` in the sandboxed child and returns its result as the child's
// exit code: kSandboxUnavailable when the namespaces can't be made, -1 when
// the child could not be started or died of a signal.
inline int runInSandbox(const std::function<int()>& body) {
    fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) return -1;
    if (child == 0) {
        int result = kSandboxUnavailable;
        if (sandbox_detail::enterNamespaces()) {
            try {
                result = body();
            } catch (...) {
                result = 99;
            }
        }
        fflush(nullptr);
        _exit(result);
    }
    int status = 0;
    if (waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
    return WEXITSTATUS(status);
}

// Inside the sandbox: a tmpfs of `bytes` at `path`.
inline bool mountTmpfs(const std::string& path, unsigned long long bytes) {
    const std::string options = "size=" + std::to_string(bytes);
    return mount("tmpfs", path.c_str(), "tmpfs", 0, options.c_str()) == 0;
}

}  // namespace testsupport
