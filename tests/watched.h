/* Memory that writes down what is touched of it while it is closed: the instruction faults, runs
 * alone with the memory open, and the memory is closed again. For 64-bit x86. */
#ifndef ZOEAVL_TESTS_WATCHED_H
#define ZOEAVL_TESTS_WATCHED_H

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <ucontext.h>

#include "guarded.h"

class Watched : public Guarded {
  public:
    explicit Watched(std::size_t bytes) : Guarded(bytes) {
        watched = this;
        install(SIGSEGV, on_fault, &former_fault);
        install(SIGTRAP, on_trap, &former_trap);
    }
    ~Watched() {
        sigaction(SIGSEGV, &former_fault, nullptr);
        sigaction(SIGTRAP, &former_trap, nullptr);
    }
    Watched(const Watched &) = delete;
    Watched &operator=(const Watched &) = delete;

    void open() { allow(PROT_READ | PROT_WRITE); }
    void close() { allow(PROT_NONE); }

    /* Bytes from the beginning to each place that was touched, since the last time. */
    std::set<std::ptrdiff_t> touched() {
        std::set<std::ptrdiff_t> places(log, log + count);
        count = 0;
        return places;
    }

  private:
    static constexpr greg_t single_step = 0x100; /* of the flags */

    static void install(int signal, void (*handler)(int, siginfo_t *, void *),
                        struct sigaction *former) {
        struct sigaction action {};
        action.sa_sigaction = handler;
        action.sa_flags = SA_SIGINFO;
        sigaction(signal, &action, former);
    }
    static greg_t &flags(void *context) {
        return static_cast<ucontext_t *>(context)->uc_mcontext.gregs[REG_EFL];
    }
    static void on_fault(int, siginfo_t *info, void *context) {
        const std::ptrdiff_t place = static_cast<char *>(info->si_addr) - watched->begin();
        if (info->si_addr < watched->begin() || info->si_addr >= watched->end() ||
            watched->count == std::size(watched->log))
            std::abort();
        watched->log[watched->count++] = place;
        watched->open();
        flags(context) |= single_step;
    }
    static void on_trap(int, siginfo_t *, void *context) {
        watched->close();
        flags(context) &= ~single_step;
    }

    static inline Watched *watched;
    struct sigaction former_fault, former_trap;
    std::ptrdiff_t log[64];
    std::size_t count = 0;
};

#endif
