// Runs part of a test in a child that is root of its own user and mount
// namespaces, free to mount a tmpfs or chroot without touching the host; it
// reports through files outside its mounts, on which the parent asserts.
#pragma once

#include <errno.h>
#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <stdio.h>
#include <sys/mount.h>
#include <sys/syscall.h>
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

// Inside the new user namespace: maps the parent's ids to root and gives
// the child mounts of its own.
inline bool setUpNamespaces(uid_t uid, gid_t gid) {
    return writeProcFile("/proc/self/setgroups", "deny") &&
           writeProcFile("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1") &&
           writeProcFile("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1") &&
           // The kernel ignores source and type of a propagation change;
           // memory checkers insist that they point somewhere.
           mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) == 0;
}

// A fork into new user and mount namespaces. Not unshare() after fork(): a
// forked child under ThreadSanitizer has two threads, which can't enter a new
// user namespace. The raw clone runs no fork handlers; the parent is single-
// threaded but for sanitizer helpers, so the child needs no lock held elsewhere.
inline pid_t forkIntoNamespaces() {
    return static_cast<pid_t>(syscall(SYS_clone, CLONE_NEWUSER | CLONE_NEWNS | SIGCHLD, nullptr,
                                      nullptr, nullptr, nullptr));
}

}  // namespace sandbox_detail

// `body`'s result as the sandboxed child's exit code: kSandboxUnavailable
// without namespaces, -1 when the child could not start or died of a signal.
inline int runInSandbox(const std::function<int()>& body) {
    const uid_t uid = getuid();
    const gid_t gid = getgid();
    fflush(nullptr);
    const pid_t child = sandbox_detail::forkIntoNamespaces();
    if (child < 0) return errno == EAGAIN || errno == ENOMEM ? -1 : kSandboxUnavailable;
    if (child == 0) {
        int result = kSandboxUnavailable;
        if (sandbox_detail::setUpNamespaces(uid, gid)) {
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

// Skips the test when runInSandbox's `status` says the machine permits no
// sandbox, and fails it for any other status but 0.
#define SKIP_WITHOUT_SANDBOX(status)                                                \
    if ((status) == ::testsupport::kSandboxUnavailable)                             \
        GTEST_SKIP() << "user namespaces, mounts or chroot are not permitted here"; \
    ASSERT_EQ((status), 0)

// Inside the sandbox: a tmpfs of `bytes` at `path`.
inline bool mountTmpfs(const std::string& path, unsigned long long bytes) {
    const std::string options = "size=" + std::to_string(bytes);
    return mount("tmpfs", path.c_str(), "tmpfs", 0, options.c_str()) == 0;
}

}  // namespace testsupport
