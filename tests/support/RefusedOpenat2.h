#pragma once

#include <QtGlobal>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace KOZAV::Test {

/// The error that openat2() is to be refused with in this run, as the environment variable ZAV_TEST_OPENAT2
/// ("ENOSYS" or "EPERM") says: what an old kernel and a strict sandbox answer. 0 where the call is left
/// alone.
inline int openat2Refusal()
{
    const char* const name = std::getenv("ZAV_TEST_OPENAT2");
    if (!name || *name == 0)
        return 0;
    return std::strcmp(name, "EPERM") == 0 ? EPERM : ENOSYS;
}

/// What openat2() answers in this process to a call that asks for nothing.
inline int openat2Answer()
{
    return ::syscall(SYS_openat2, -1, nullptr, nullptr, 0) < 0 ? errno : 0;
}

/// Has the kernel refuse openat2() in this thread, and in those that it starts, to the end of the process.
/// @return whether the call is now refused as it is meant to be, or not at all
inline bool refuseOpenat2()
{
    const int error = openat2Refusal();
    if (error == 0) {
        if (openat2Answer() == ENOSYS)
            qWarning("this system has no openat2(): only what stands in for it is tested");
        return true;
    }
    const unsigned answer = SECCOMP_RET_ERRNO | (static_cast<unsigned>(error) & SECCOMP_RET_DATA);
    std::array<sock_filter, 4> filter = {{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat2, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, answer),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    }};
    sock_fprog program = {filter.size(), filter.data()};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0 && openat2Answer() == error;
}

} // namespace KOZAV::Test
