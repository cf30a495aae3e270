// SPDX-License-Identifier: MIT
#include "files/interruption.h"

#include <atomic>
#include <unistd.h>

namespace tool {

namespace {

constexpr int ending_signals[] = {SIGHUP, SIGINT, SIGTERM};
std::atomic<const interruption *> current{nullptr};

/// A signal that is ignored when the program starts, as under nohup, stays ignored.
void set_action(int signal, void (*action)(int)) {
    struct sigaction now {};
    if (::sigaction(signal, nullptr, &now) != 0 || now.sa_handler == SIG_IGN) return;
    struct sigaction next {};
    next.sa_handler = action;
    next.sa_flags = action == SIG_DFL ? 0 : static_cast<int>(SA_RESETHAND);
    ::sigaction(signal, &next, nullptr);
}

} // namespace

interruption::interruption(std::vector<std::string> files, std::vector<std::string> folders)
    : files_(std::move(files)), folders_(std::move(folders)) {
    current = this;
    for (const int signal : ending_signals)
        set_action(signal, clear_and_end);
}

interruption::~interruption() {
    for (const int signal : ending_signals)
        set_action(signal, SIG_DFL);
    current = nullptr;
}

/// Calls only functions that are safe in a signal handler.
void interruption::clear_and_end(int signal) {
    if (const interruption *const left = current) {
        for (const std::string &file : left->files_)
            ::unlink(file.c_str());
        for (const std::string &folder : left->folders_)
            ::rmdir(folder.c_str());
    }
    ::raise(signal); // SA_RESETHAND has restored the default action, which ends the program after this returns
}

blocked_signals::blocked_signals() {
    sigset_t held;
    sigemptyset(&held);
    for (const int signal : ending_signals)
        sigaddset(&held, signal);
    ::pthread_sigmask(SIG_BLOCK, &held, &before_);
}

blocked_signals::~blocked_signals() {
    ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

} // namespace tool
