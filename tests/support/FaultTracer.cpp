// Runs a program, counts its calls of the operating system that touch the files below some folders or a
// server of this machine, and kills it at one of them, or has calls fail. A program by itself, so that the
// waits for the traced threads meet nobody else's children.
//
// A filter in the kernel (seccomp) stops the traced threads at the calls of the table below and at no others,
// so a run takes little longer than one without it. All threads share one count, in the order in which they
// stop: the same run gives the same numbers as far as the program itself is the same each time. At a stop the
// call has not been made yet. A call that is to fail is not made at all: its number is replaced by none, and
// what it returns is put where the kernel would have put it.
//
//     zav_fault_tracer --below DIR [--below DIR...] [--socket-port PORT...] --log FILE
//                      [--at N --kind KIND (--kill | --fail ERRNO [--onwards])] -- PROGRAM [ARGUMENT...]
//
// Without --at every counted call is written to the log, a line each: number, kind, name, "new" for an open
// that may make a file and "-" for others, and what it touches. With --at the first call of that kind from
// number N on is struck, --onwards all later ones too, and the log has what was struck. The exit code is the
// program's own, 128 and the number of the signal that ended it, or cannotTrace.

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/openat2.h>
#include <linux/seccomp.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int cannotTrace = 77;

#if defined(__x86_64__)

/// How a call names what it touches.
enum class Names {
    Path,          ///< the first argument is a path
    FolderAndPath, ///< a descriptor of a folder and a path
    TwoPaths,
    TwoFoldersAndPaths,
    Descriptor,
    Address ///< a descriptor, and the address of a server
};

struct Call
{
    long number;
    const char* name;
    const char* kind;
    Names names;
    int flagsArgument = -1; ///< of an open: which argument has O_CREAT
};

constexpr Call calls[] = {
    {SYS_open, "open", "open", Names::Path, 1},
    {SYS_creat, "creat", "open", Names::Path},
    {SYS_openat, "openat", "open", Names::FolderAndPath, 2},
    {SYS_openat2, "openat2", "open", Names::FolderAndPath, 2},
    {SYS_read, "read", "read", Names::Descriptor},
    {SYS_readv, "readv", "read", Names::Descriptor},
    {SYS_pread64, "pread64", "read", Names::Descriptor},
    {SYS_preadv, "preadv", "read", Names::Descriptor},
    {SYS_recvfrom, "recvfrom", "read", Names::Descriptor},
    {SYS_recvmsg, "recvmsg", "read", Names::Descriptor},
    {SYS_getdents64, "getdents64", "list", Names::Descriptor},
    {SYS_write, "write", "write", Names::Descriptor},
    {SYS_writev, "writev", "write", Names::Descriptor},
    {SYS_pwrite64, "pwrite64", "write", Names::Descriptor},
    {SYS_pwritev, "pwritev", "write", Names::Descriptor},
    {SYS_sendfile, "sendfile", "write", Names::Descriptor},
    {SYS_copy_file_range, "copy_file_range", "write", Names::Descriptor},
    {SYS_sendto, "sendto", "write", Names::Descriptor},
    {SYS_sendmsg, "sendmsg", "write", Names::Descriptor},
    {SYS_ftruncate, "ftruncate", "write", Names::Descriptor},
    {SYS_fallocate, "fallocate", "write", Names::Descriptor},
    {SYS_fsync, "fsync", "sync", Names::Descriptor},
    {SYS_fdatasync, "fdatasync", "sync", Names::Descriptor},
    {SYS_rename, "rename", "rename", Names::TwoPaths},
    {SYS_renameat, "renameat", "rename", Names::TwoFoldersAndPaths},
    {SYS_renameat2, "renameat2", "rename", Names::TwoFoldersAndPaths},
    {SYS_link, "link", "link", Names::TwoPaths},
    {SYS_linkat, "linkat", "link", Names::TwoFoldersAndPaths},
    {SYS_symlink, "symlink", "link", Names::TwoPaths},
    {SYS_unlink, "unlink", "remove", Names::Path},
    {SYS_unlinkat, "unlinkat", "remove", Names::FolderAndPath},
    {SYS_rmdir, "rmdir", "remove", Names::Path},
    {SYS_mkdir, "mkdir", "mkdir", Names::Path},
    {SYS_mkdirat, "mkdirat", "mkdir", Names::FolderAndPath},
    {SYS_connect, "connect", "connect", Names::Address},
};

/// The first argument as the kernel passes it.
unsigned long long argument(const user_regs_struct& registers, int index)
{
    const unsigned long long all[] = {registers.rdi, registers.rsi, registers.rdx,
                                      registers.r10, registers.r8,  registers.r9};
    return all[index];
}

struct Orders
{
    std::vector<std::string> below;
    std::set<int> ports;
    std::string log;
    int at = 0;
    std::string kind;
    int error = 0; ///< 0: kill
    bool onwards = false;
    std::vector<char*> command;
};

/// Calls to a server are of kinds of their own: a full disk is no broken connection.
const char* kindOf(const Call& call, const std::string& what)
{
    if (what.rfind("socket:", 0) != 0)
        return call.kind;
    return std::strcmp(call.kind, "read") == 0 ? "receive" : "send";
}

std::string readLink(const std::string& path)
{
    char target[PATH_MAX];
    const ssize_t length = ::readlink(path.c_str(), target, sizeof target);
    return length > 0 ? std::string(target, static_cast<std::size_t>(length)) : std::string();
}

/// What a traced thread has at an address. @return how much of it could be read
std::size_t fetch(pid_t thread, unsigned long long address, void* into, std::size_t length)
{
    iovec here = {into, length};
    iovec there = {reinterpret_cast<void*>(address), length};
    const ssize_t read = ::process_vm_readv(thread, &here, 1, &there, 1, 0);
    return read > 0 ? static_cast<std::size_t>(read) : 0;
}

std::string textAt(pid_t thread, unsigned long long address)
{
    constexpr unsigned long long page = 4096;
    std::string text;
    while (text.size() < PATH_MAX) {
        char piece[page];
        const std::size_t length = fetch(thread, address, piece, page - address % page);
        const std::size_t end = ::strnlen(piece, length);
        text.append(piece, end);
        if (end < length || length == 0)
            break;
        address += length;
    }
    return text;
}

class Tracer final
{
public:
    explicit Tracer(Orders orders)
        : m_orders(std::move(orders))
        , m_log(std::fopen(m_orders.log.c_str(), "we"))
    {
    }

    int run();

private:
    void follow(pid_t thread, int status);
    void look(pid_t thread);
    [[nodiscard]] std::string touched(pid_t thread, const Call& call, const user_regs_struct& registers);
    [[nodiscard]] bool counts(const std::string& path) const;
    void strike(pid_t thread, user_regs_struct registers) const;

    static constexpr int notEnded = -1;

    Orders m_orders;
    std::FILE* m_log;
    pid_t m_program = 0;
    int m_exitCode = notEnded;
    int m_count = 0;
    bool m_struck = false;
    std::set<pid_t> m_known; ///< threads that have stopped once
    std::set<std::string> m_sockets;
};

/// In the new process: has the kernel stop it at the calls of the table, and becomes the program.
[[noreturn]] void becomeProgram(const std::vector<char*>& command)
{
    std::vector<sock_filter> filter = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(offsetof(seccomp_data, nr)))};
    for (const Call& call : calls) {
        filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(call.number), 0, 1));
        filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRACE));
    }
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog program = {static_cast<unsigned short>(filter.size()), filter.data()};
    if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
        ::_exit(cannotTrace);
    ::raise(SIGSTOP); // until the options of the tracing are set
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0)
        ::_exit(cannotTrace);
    ::execv(command.front(), command.data());
    ::_exit(cannotTrace);
}

int Tracer::run()
{
    if (m_log == nullptr)
        return cannotTrace;
    m_program = ::fork();
    if (m_program == 0)
        becomeProgram(m_orders.command);
    int status = 0;
    if (::waitpid(m_program, &status, 0) != m_program || !WIFSTOPPED(status))
        return cannotTrace;
    const long options = PTRACE_O_TRACESECCOMP | PTRACE_O_TRACECLONE | PTRACE_O_TRACEFORK |
                         PTRACE_O_TRACEVFORK | PTRACE_O_TRACEEXEC | PTRACE_O_EXITKILL;
    if (::ptrace(PTRACE_SETOPTIONS, m_program, nullptr, options) != 0)
        return cannotTrace;
    m_known.insert(m_program);
    ::ptrace(PTRACE_CONT, m_program, nullptr, nullptr);
    while (m_exitCode == notEnded) {
        const pid_t thread = ::waitpid(-1, &status, __WALL);
        if (thread < 0 && errno != EINTR)
            return cannotTrace;
        if (thread > 0)
            follow(thread, status);
    }
    std::fclose(m_log);
    return m_exitCode;
}

/// A thread has stopped or ended.
void Tracer::follow(pid_t thread, int status)
{
    if (!WIFSTOPPED(status)) {
        if (thread == m_program)
            m_exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        return;
    }
    long signal = 0;
    if (status >> 8 == (SIGTRAP | PTRACE_EVENT_SECCOMP << 8))
        look(thread);
    else if (m_known.insert(thread).second)
        signal = 0; // the stop that a new thread begins with
    else if (status >> 16 == 0)
        signal = WSTOPSIG(status);
    ::ptrace(PTRACE_CONT, thread, nullptr, signal);
}

/// A thread is about to make one of the calls.
void Tracer::look(pid_t thread)
{
    user_regs_struct registers = {};
    if (::ptrace(PTRACE_GETREGS, thread, nullptr, &registers) != 0)
        return;
    for (const Call& call : calls) {
        if (call.number != static_cast<long>(registers.orig_rax))
            continue;
        const std::string what = touched(thread, call, registers);
        if (what.empty())
            return;
        ++m_count;
        const char* const kind = kindOf(call, what);
        unsigned long long flags = call.flagsArgument >= 0 ? argument(registers, call.flagsArgument) : 0;
        if (call.number == SYS_openat2) {
            open_how how = {};
            (void)fetch(thread, flags, &how, sizeof how);
            flags = how.flags;
        }
        const bool isDue = m_orders.at > 0 && m_count >= m_orders.at && m_orders.kind == kind &&
                           (!m_struck || m_orders.onwards);
        if (m_orders.at == 0 || isDue) {
            // A file without a name is asked for by the flag of directories too.
            constexpr std::uint64_t making = (O_CREAT | O_TMPFILE) & ~O_DIRECTORY;
            std::fprintf(m_log, "%d %s %s %s %s\n", m_count, kind, call.name,
                         (flags & making) != 0 ? "new" : "-", what.c_str());
            std::fflush(m_log);
        }
        if (isDue) {
            m_struck = true;
            strike(thread, registers);
        }
        return;
    }
}

/// What a call touches of what is counted; empty where it is none of it.
std::string Tracer::touched(pid_t thread, const Call& call, const user_regs_struct& registers)
{
    const std::string process = "/proc/" + std::to_string(thread);
    const auto descriptor = [&](int index) {
        const int number = static_cast<int>(argument(registers, index));
        return readLink(number == AT_FDCWD ? process + "/cwd" : process + "/fd/" + std::to_string(number));
    };
    const auto path = [&](int index, int folder) {
        const std::string given = textAt(thread, argument(registers, index));
        if (given.rfind('/', 0) == 0)
            return given;
        return (folder < 0 ? readLink(process + "/cwd") : descriptor(folder)) + '/' + given;
    };
    std::string first;
    std::string second;
    switch (call.names) {
    case Names::Path:
        first = path(0, -1);
        break;
    case Names::FolderAndPath:
        first = path(1, 0);
        break;
    case Names::TwoPaths:
        first = path(1, -1);
        second = path(0, -1);
        break;
    case Names::TwoFoldersAndPaths:
        first = path(3, 2);
        second = path(1, 0);
        break;
    case Names::Descriptor:
        first = descriptor(0);
        return counts(first) || m_sockets.count(first) > 0 ? first : std::string();
    case Names::Address: {
        sockaddr_in address = {};
        (void)fetch(thread, argument(registers, 1), &address, sizeof address);
        const int port = ntohs(address.sin_port);
        if (address.sin_family != AF_INET || m_orders.ports.count(port) == 0)
            return {};
        m_sockets.insert(descriptor(0));
        return "port " + std::to_string(port);
    }
    }
    return counts(first) || counts(second) ? first : std::string();
}

bool Tracer::counts(const std::string& path) const
{
    for (const std::string& folder : m_orders.below) {
        if (path.compare(0, folder.size(), folder) == 0 &&
            (path.size() == folder.size() || path[folder.size()] == '/'))
            return true;
    }
    return false;
}

void Tracer::strike(pid_t thread, user_regs_struct registers) const
{
    if (m_orders.error == 0) {
        ::kill(m_program, SIGKILL);
        return;
    }
    registers.orig_rax = ~0ULL;
    registers.rax = static_cast<unsigned long long>(-static_cast<long long>(m_orders.error));
    ::ptrace(PTRACE_SETREGS, thread, nullptr, &registers);
}

/// @return whether the command line can be followed
bool readOrders(int argc, char** argv, Orders& orders)
{
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--") {
            orders.command.assign(argv + i + 1, argv + argc);
            orders.command.push_back(nullptr);
            return orders.command.size() > 1 && !orders.log.empty();
        }
        if (option == "--kill" || option == "--onwards") {
            orders.onwards = orders.onwards || option == "--onwards";
            continue;
        }
        if (++i == argc)
            return false;
        if (option == "--below")
            orders.below.emplace_back(argv[i]);
        else if (option == "--socket-port")
            orders.ports.insert(std::atoi(argv[i]));
        else if (option == "--log")
            orders.log = argv[i];
        else if (option == "--at")
            orders.at = std::atoi(argv[i]);
        else if (option == "--kind")
            orders.kind = argv[i];
        else if (option == "--fail")
            orders.error = std::atoi(argv[i]);
        else
            return false;
    }
    return false;
}

#endif

} // namespace

int main(int argc, char** argv)
{
#if defined(__x86_64__)
    Orders orders;
    if (readOrders(argc, argv, orders))
        return Tracer(std::move(orders)).run();
    std::fprintf(stderr, "zav_fault_tracer: the command line cannot be followed\n");
#else
    (void)argc;
    (void)argv;
#endif
    return cannotTrace;
}
