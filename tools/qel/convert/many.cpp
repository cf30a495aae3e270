// SPDX-License-Identifier: MIT
#include "convert/many.h"

#include "files/input.h"
#include "terminal/messages.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <deque>
#include <new>
#include <sys/wait.h>
#include <unistd.h>
#if defined(__linux__)
#include <sys/prctl.h>
#endif

namespace tool {

namespace {

struct child {
    pid_t number;
    int pipe; ///< from which its words are read
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
    return {number, ends[0]};
}

std::string read_all(int pipe) {
    std::string words;
    char part[4096];
    for (;;) {
        const ssize_t got = ::read(pipe, part, sizeof part);
        if (got == 0 || (got < 0 && errno != EINTR)) break;
        if (got > 0) words.append(part, static_cast<std::size_t>(got));
    }
    ::close(pipe);
    return words;
}

/// Waits for a child and says its words; false where it failed.
bool end(const child &process, const work &item, bool said) {
    const std::string words = read_all(process.pipe);
    int status = 0;
    while (::waitpid(process.number, &status, 0) < 0 && errno == EINTR) {
    }
    const bool done = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    if (done && said) say(words);
    if (!done && WIFSIGNALED(status))
        complain(item.name + ": the process ended by signal " + std::to_string(WTERMSIG(status)));
    else if (!done)
        complain(words);
    return done;
}

} // namespace

int do_each(const std::vector<work> &all, unsigned processes, bool said,
            const std::function<std::string(const work &)> &answer) {
    std::deque<child> running; // the oldest first: answers come in the order of the work
    int status = 0;
    std::size_t next = 0;
    for (const work &item : all) {
        while (next < all.size() && running.size() < processes)
            running.push_back(begin(all[next++], answer));
        if (!end(running.front(), item, said)) status = 1;
        std::fflush(stdout);
        running.pop_front();
    }
    return status;
}

} // namespace tool
