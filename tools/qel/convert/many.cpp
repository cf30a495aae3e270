// SPDX-License-Identifier: MIT
#include "convert/many.h"

#include "files/descriptor.h"
#include "files/failure.h"
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
    pid_t id;
    int pipe;           ///< from which its output is read, -1 after its end
    std::string output; ///< what has been read
    int status;         ///< after its end
};

/// The child is terminated when the parent ends, also if a signal was sent to the parent only.
void end_with(pid_t parent) {
#if defined(__linux__)
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (::getppid() != parent) ::raise(SIGTERM);
#else
    (void)parent;
#endif
}

/// Runs an item and writes its result or failure to the pipe.
[[noreturn]] void run_child(int pipe, const work &item, const std::function<std::string(const work &)> &run) {
    std::string output;
    int status = 1;
    try {
        output = run(item);
        status = 0;
    } catch (const std::bad_alloc &) {
        output = failure(item.name, no_memory).what();
    } catch (const std::exception &failed) {
        output = failed.what();
    }
    write_all(pipe, output.data(), output.size());
    ::_exit(status);
}

child start_child(const work &item, const std::function<std::string(const work &)> &run) {
    int ends[2];
    if (::pipe(ends) != 0) throw system_failure(item.name);
    std::fflush(stdout); // else the child would print the buffered output again
    const pid_t parent = ::getpid(), id = ::fork();
    if (id < 0) throw system_failure(item.name);
    if (id == 0) {
        end_with(parent);
        ::close(ends[0]);
        run_child(ends[1], item, run);
    }
    ::close(ends[1]);
    return {&item, id, ends[0], {}, 0};
}

/// Reads a child's output; at its end, waits for the child.
void read_output(child &from) {
    char part[4096];
    const ssize_t count = ::read(from.pipe, part, sizeof part);
    if (count > 0) from.output.append(part, static_cast<std::size_t>(count));
    if (count > 0 || (count < 0 && errno == EINTR)) return;
    ::close(from.pipe);
    from.pipe = -1;
    while (::waitpid(from.id, &from.status, 0) < 0 && errno == EINTR) {
    }
}

/// Waits for output or the end of a child, and reads it.
void read_ready(std::vector<child> &running) {
    std::vector<pollfd> pipes;
    for (const child &one : running)
        pipes.push_back({one.pipe, POLLIN, 0});
    if (::poll(pipes.data(), pipes.size(), -1) <= 0) return; // a signal
    for (std::size_t i = 0; i < pipes.size(); ++i)
        if (pipes[i].revents != 0) read_output(running[i]);
}

/// Prints the output of an ended child; false if it failed.
bool print_result(const child &ended, bool print_results) {
    const bool done = WIFEXITED(ended.status) && WEXITSTATUS(ended.status) == 0;
    if (done && print_results) print_line(ended.output);
    if (!done && WIFSIGNALED(ended.status))
        print_error(ended.item->name + ": the process ended by signal " + std::to_string(WTERMSIG(ended.status)));
    else if (!done)
        print_error(ended.output);
    return done;
}

} // namespace

int run_each(const std::vector<work> &all, unsigned processes, bool print_results,
             const std::function<std::string(const work &)> &run) {
    std::vector<child> running;
    std::map<const work *, child> ended; // their output waits for that of an earlier item
    int status = 0;
    const work *next = all.data(), *to_print = next, *const end = next + all.size();
    while (to_print != end) {
        while (next != end && running.size() < processes)
            running.push_back(start_child(*next++, run));
        read_ready(running);
        const auto gone =
            std::stable_partition(running.begin(), running.end(), [](const child &one) { return one.pipe >= 0; });
        for (auto one = gone; one != running.end(); ++one)
            ended.emplace(one->item, std::move(*one));
        running.erase(gone, running.end());
        for (auto first = ended.find(to_print); first != ended.end(); first = ended.find(++to_print)) {
            if (!print_result(first->second, print_results)) status = 1;
            ended.erase(first);
        }
        std::fflush(stdout);
    }
    return status;
}

} // namespace tool
