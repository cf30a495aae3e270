// SPDX-License-Identifier: MIT
#include "convert/many.h"

#include "files/input.h"
#include "terminal/messages.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <map>
#include <new>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>
#if defined(__linux__)
#include <sys/prctl.h>
#endif

namespace tool {

namespace {

struct child {
    const work *item;
    pid_t number;
    int pipe;          ///< from which its words are read, -1 once it has ended
    std::string words; ///< as far as they have come
    int status;        ///< of one that has ended
};

/// The child goes when the parent does, also where only the parent was told to.
void end_with(pid_t parent) {
#if defined(__linux__)
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (::getppid() != parent) ::raise(SIGTERM);
#else
    (void)parent;
#endif
}

[[noreturn]] void answer_and_end(int pipe, int status, const std::string &words) {
    for (std::size_t done = 0; done < words.size();) {
        const ssize_t now = ::write(pipe, words.data() + done, words.size() - done);
        if (now < 0 && errno != EINTR) break;
        if (now > 0) done += static_cast<std::size_t>(now);
    }
    ::_exit(status);
}

[[noreturn]] void do_one(int pipe, const work &item, const std::function<std::string(const work &)> &answer) {
    std::string words;
    int status = 1;
    try {
        words = answer(item);
        status = 0;
    } catch (const std::bad_alloc &) {
        words = item.name + ": not enough memory";
    } catch (const std::exception &failed) {
        words = failed.what();
    }
    answer_and_end(pipe, status, words);
}

child begin(const work &item, const std::function<std::string(const work &)> &answer) {
    int ends[2];
    if (::pipe(ends) != 0) throw system_failure(item.name);
    std::fflush(stdout); // or the child would have the same words to say
    const pid_t parent = ::getpid(), number = ::fork();
    if (number < 0) throw system_failure(item.name);
    if (number == 0) {
        end_with(parent);
        ::close(ends[0]);
        do_one(ends[1], item, answer);
    }
    ::close(ends[1]);
    return {&item, number, ends[0], {}, 0};
}

/// Reads what a child has said; when that was all, waits for it.
void hear(child &from) {
    char part[4096];
    const ssize_t got = ::read(from.pipe, part, sizeof part);
    if (got > 0) from.words.append(part, static_cast<std::size_t>(got));
    if (got > 0 || (got < 0 && errno == EINTR)) return;
    ::close(from.pipe);
    from.pipe = -1;
    while (::waitpid(from.number, &from.status, 0) < 0 && errno == EINTR) {
    }
}

/// Waits until a running child says something or ends, and hears those that do.
void hear_any(std::vector<child> &running) {
    std::vector<pollfd> pipes;
    for (const child &one : running)
        pipes.push_back({one.pipe, POLLIN, 0});
    if (::poll(pipes.data(), pipes.size(), -1) <= 0) return; // a signal
    for (std::size_t i = 0; i < pipes.size(); ++i)
        if (pipes[i].revents != 0) hear(running[i]);
}

/// Says the words of a child that has ended; false where it failed.
bool tell(const child &ended, bool said) {
    const bool done = WIFEXITED(ended.status) && WEXITSTATUS(ended.status) == 0;
    if (done && said) say(ended.words);
    if (!done && WIFSIGNALED(ended.status))
        complain(ended.item->name + ": the process ended by signal " +
                 std::to_string(WTERMSIG(ended.status)));
    else if (!done)
        complain(ended.words);
    return done;
}

} // namespace

int do_each(const std::vector<work> &all, unsigned processes, bool said,
            const std::function<std::string(const work &)> &answer) {
    std::vector<child> running;
    std::map<const work *, child> ended; // those that wait for the words of an earlier one
    int status = 0;
    const work *next = all.data(), *to_tell = next, *const end = next + all.size();
    while (to_tell != end) {
        while (next != end && running.size() < processes)
            running.push_back(begin(*next++, answer));
        hear_any(running);
        const auto gone = std::stable_partition(running.begin(), running.end(),
                                                [](const child &one) { return one.pipe >= 0; });
        for (auto one = gone; one != running.end(); ++one)
            ended.emplace(one->item, std::move(*one));
        running.erase(gone, running.end());
        for (auto first = ended.find(to_tell); first != ended.end(); first = ended.find(++to_tell)) {
            if (!tell(first->second, said)) status = 1;
            ended.erase(first);
        }
        std::fflush(stdout);
    }
    return status;
}

} // namespace tool
