#include "system_calls.h"

#include <asm/ioctls.h>
#include <asm/termbits.h>
#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/sched.h>
#include <linux/seccomp.h>
#include <linux/sockios.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <vector>

namespace kivplug {

namespace {

using program = std::vector<sock_filter>;

#if defined(__x86_64__)
constexpr std::uint32_t k_machine = AUDIT_ARCH_X86_64;
#elif defined(__i386__)
constexpr std::uint32_t k_machine = AUDIT_ARCH_I386;
#elif defined(__aarch64__)
constexpr std::uint32_t k_machine = AUDIT_ARCH_AARCH64;
#else
constexpr std::uint32_t k_machine = 0;  // has one table of calls only
#endif

// Which calls of a number are refused, by an argument.
enum class when { always, unless_own, unless_thread, among };

struct refusal {
    long number;
    // cppcheck-suppress unusedStructMember; read through a structured binding or a range
    intrusion would_be;
    when condition = when::always;
    unsigned int argument = 0;
    std::vector<std::uint32_t> values = {};
};

std::vector<refusal> const& refusals() {
    using refused = intrusion;
    static std::vector<refusal> const all = {
#ifdef SYS_fork
        {SYS_fork, refused::new_process},
        {SYS_vfork, refused::new_process},
#endif
        {SYS_clone, refused::new_process, when::unless_thread},
        {SYS_execve, refused::new_program},
        {SYS_execveat, refused::new_program},
        {SYS_kill, refused::other_process, when::unless_own},
        {SYS_tkill, refused::other_process, when::unless_own},
        {SYS_tgkill, refused::other_process, when::unless_own},
        {SYS_rt_sigqueueinfo, refused::other_process, when::unless_own},
        {SYS_rt_tgsigqueueinfo, refused::other_process, when::unless_own},
        {SYS_pidfd_send_signal, refused::other_process},
        {SYS_ptrace, refused::other_process},
        {SYS_process_vm_writev, refused::other_process},
        // With no time left, a process is ended.
        {SYS_prlimit64, refused::other_process, when::unless_own},
    // These let another process be sent a signal once a file is ready.
#ifdef SYS_fcntl64
        {SYS_fcntl64, refused::other_process, when::among, 1, {F_SETOWN, F_SETOWN_EX}},
#endif
        {SYS_fcntl, refused::other_process, when::among, 1, {F_SETOWN, F_SETOWN_EX}},
        {SYS_ioctl,
         refused::terminal,
         when::among,
         1,
         {FIOSETOWN, SIOCSPGRP, TCSETS, TCSETSW, TCSETSF, TCSETS2, TCSETSW2, TCSETSF2, TCSETA,
          TCSETAW, TCSETAF, TIOCSTI, TIOCSPGRP, TIOCSCTTY, TIOCSWINSZ}},
    };
    return all;
}

constexpr sock_filter k_allow = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
constexpr sock_filter k_pretend = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO);  // without one
constexpr sock_filter k_refuse = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRAP);

sock_filter load(std::size_t offset) {
    return BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(offset));
}

// Skips the next instruction unless the comparison holds.
sock_filter only_if(unsigned int comparison, std::uint32_t value) {
    return BPF_JUMP(BPF_JMP | comparison | BPF_K, value, 0, 1);
}

std::size_t argument_at(unsigned int index) {
    // The lower half: none of these arguments has more.
    constexpr bool k_is_big_endian = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;
    return offsetof(seccomp_data, args) + index * sizeof(std::uint64_t) +
           (k_is_big_endian ? sizeof(std::uint32_t) : 0);
}

// Judges the call whose number has been compared. Every way ends in a verdict.
program verdict(refusal const& refused) {
    auto const own = static_cast<std::uint32_t>(getpid());
    program code = {load(argument_at(refused.argument))};
    switch (refused.condition) {
        case when::always:
            return {k_refuse};
        case when::unless_own:
            code.insert(code.end(), {only_if(BPF_JEQ, own), k_allow});
            break;
        case when::unless_thread:
            code.insert(code.end(), {only_if(BPF_JSET, CLONE_THREAD), k_allow});
            break;
        case when::among:
            for (auto const value : refused.values) {
                code.insert(code.end(), {only_if(BPF_JEQ, value), k_refuse});
            }
            code.push_back(k_allow);
            return code;
    }
    if (refused.number == SYS_prlimit64) {  // which takes 0 for the caller
        code.insert(code.end(), {only_if(BPF_JEQ, 0), k_allow});
    }
    code.push_back(k_refuse);
    return code;
}

program filter() {
    program code;
    // cppcheck-suppress knownConditionTrueFalse; it is not 0 on the machines listed above
    if (k_machine != 0) {
        // Another table of calls has other numbers.
        code = {load(offsetof(seccomp_data, arch)),
                BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, k_machine, 1, 0), k_refuse};
    }
    code.push_back(load(offsetof(seccomp_data, nr)));
#ifdef __x86_64__
    constexpr std::uint32_t k_other_table = 0x40000000;
    code.insert(code.end(), {only_if(BPF_JGE, k_other_table), k_refuse});
#endif
    // Its flags are in memory, where the filter cannot look. The C library then does with clone.
    code.insert(code.end(), {only_if(BPF_JEQ, SYS_clone3),
                             BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS)});
    // The runtime of clang's profiles does it, too, and for nothing.
    code.insert(code.end(), {BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_prctl, 0, 4),
                             load(argument_at(0)), only_if(BPF_JEQ, PR_SET_PDEATHSIG), k_pretend,
                             BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)});
    for (auto const& refused : refusals()) {
        auto const judged = verdict(refused);
        code.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K,
                                static_cast<std::uint32_t>(refused.number), 0,
                                static_cast<std::uint8_t>(judged.size())));
        std::copy(judged.begin(), judged.end(), std::back_inserter(code));
    }
    code.push_back(k_allow);
    return code;
}

}  // namespace

void refuse_system_calls() {
    auto code = filter();
    sock_fprog const loaded{static_cast<unsigned short>(code.size()), code.data()};
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &loaded);
}

bool can_refuse_system_calls() {
    return prctl(PR_GET_SECCOMP) >= 0;
}

intrusion intrusion_of(long number) {
    auto const& all = refusals();
    auto const found = std::find_if(all.begin(), all.end(),
                                    [=](refusal const& each) { return each.number == number; });
    return found != all.end() ? found->would_be : intrusion::none;
}

}  // namespace kivplug
