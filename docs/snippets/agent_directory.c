/* SPDX-License-Identifier: MIT */
/* Two agents: one gives the other a task. The directory is saved, forgotten, and read again. */
#include <qel_unit.h>

#include <stdio.h>

static const char *const path = "agents.qeag";

static int make_agents(void) {
    char boss[9], worker[9];
    int code = qel_agent_dir_init(path);
    if (code == 0) code = qel_agent_spawn(NULL, 0, 0, 0, boss);    /* type 0, tier 0 */
    if (code == 0) code = qel_agent_spawn(boss, 1, 1, 42, worker); /* type 1, tier 1, tag 42 */
    if (code == 0) code = qel_agent_delegate(boss, worker, 1152);
    if (code == 0) code = qel_agent_control(worker, QEL_AGENT_COMMAND_PAUSE);
    if (code == 0) code = qel_agent_dir_sync();
    qel_agent_dir_free(); /* there is no directory any more */
    return code;
}

static void print_agents(void) {
    char ids[16][9];
    uint32_t total, active, found, i;
    qel_agent_dir_stats(&total, &active, NULL);
    printf("%u agents, %u active\n", (unsigned)total, (unsigned)active);
    found = qel_agent_monitor("2A9E*", ids[0], 16);
    for (i = 0; i < found; ++i) {
        qel_agent agent;
        if (qel_agent_query(ids[i], &agent) == 0)
            printf("%s: parent %.8s, state %u, task %llu\n", ids[i], agent.parent, agent.state,
                   (unsigned long long)agent.task);
    }
}

int main(void) {
    int code = make_agents();
    if (code == 0) code = qel_agent_dir_load(path);
    if (code != 0) {
        fprintf(stderr, "code %d\n", code);
        return 1;
    }
    print_agents();
    qel_agent_dir_free(); /* saves first, if something has changed */
    return 0;
}
