// SPDX-License-Identifier: MIT
#include "files/interruption.h"

#include <atomic>
#include <unistd.h>

namespace tool {

namespace {

constexpr int ending_signals[] = {SIGHUP, SIGINT, SIGTERM};
std::atomic<const interruption *> current{nullptr};

/// A signal that the caller has told the program to ignore, as nohup does, stays ignored.
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

/// Calls nothing but what a signal handler may call.
void interruption::clear_and_end(int signal) {
    if (const interruption *const left = current) {
        for (const std::string &file : left->files_)
            ::unlink(file.c_str());
        for (const std::string &folder : left->folders_)
            ::rmdir(folder.c_str());
    }
    ::raise(signal); // its own action is in place again and ends the program when this returns
}

signals_held_back::signals_held_back() {
    sigset_t held;
    sigemptyset(&held);
    for (const int signal : ending_signals)
        sigaddset(&held, signal);
    ::pthread_sigmask(SIG_BLOCK, &held, &before_);
}

signals_held_back::~signals_held_back() {
    ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

} // namespace tool
