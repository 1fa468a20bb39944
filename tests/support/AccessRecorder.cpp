// SPDX-License-Identifier: MIT
#include "AccessRecorder.h"

#include <array>
#include <csignal>

#include <sys/mman.h>
#include <ucontext.h>

namespace RynvelTest {

namespace {

constexpr std::size_t watchedSize = 2 * AccessRecorder::pageSize;
constexpr greg_t trapFlag = 0x100;
constexpr greg_t writeFault = 0x2;

struct Access {
    std::size_t offset;
    bool store;
};

// A signal handler has no argument for its state, so the state is global.
char* watched = nullptr;
std::array<Access, 10000> recorded;
std::size_t recordedCount = 0;
struct sigaction previousFault;
struct sigaction previousTrap;

void protect(int protection) { mprotect(watched, watchedSize, protection); }

void onFault(int /*signal*/, siginfo_t* info, void* context) {
    const auto offset = static_cast<std::size_t>(static_cast<char*>(info->si_addr) - watched);
    if (offset >= watchedSize || recordedCount == recorded.size()) {
        sigaction(SIGSEGV, &previousFault, nullptr);
        return;
    }
    auto& registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
    recorded[recordedCount++] = {offset, (registers[REG_ERR] & writeFault) != 0};
    // The other page stays protected. An access that crosses the boundary then causes a second fault.
    mprotect(watched + offset / AccessRecorder::pageSize * AccessRecorder::pageSize, AccessRecorder::pageSize,
             PROT_READ | PROT_WRITE);
    registers[REG_EFL] |= trapFlag;
}

void onTrap(int /*signal*/, siginfo_t* /*info*/, void* context) {
    static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_EFL] &= ~trapFlag;
    protect(PROT_NONE);
}

void handle(int signal, void (*handler)(int, siginfo_t*, void*), struct sigaction* previous) {
    struct sigaction action = {};
    action.sa_sigaction = handler;
    action.sa_flags = SA_SIGINFO;
    sigaction(signal, &action, previous);
}

} // namespace

AccessRecorder::AccessRecorder()
    : m_pages(mmap(nullptr, watchedSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) {
    watched = static_cast<char*>(m_pages);
    handle(SIGSEGV, onFault, &previousFault);
    handle(SIGTRAP, onTrap, &previousTrap);
}

AccessRecorder::~AccessRecorder() {
    sigaction(SIGSEGV, &previousFault, nullptr);
    sigaction(SIGTRAP, &previousTrap, nullptr);
    munmap(m_pages, watchedSize);
}

void AccessRecorder::watch() {
    recordedCount = 0;
    protect(PROT_NONE);
}

std::vector<std::string> AccessRecorder::accesses() {
    protect(PROT_READ | PROT_WRITE);
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < recordedCount; ++i) {
        texts.push_back((recorded[i].store ? "store " : "load ") + std::to_string(recorded[i].offset));
    }
    return texts;
}

} // namespace RynvelTest
