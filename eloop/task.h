#ifndef VESK_ELOOP_TASK_H
#define VESK_ELOOP_TASK_H

namespace vesk {

/** Something that is to be done in the loop's next pass. It belongs to who queues it. */
struct task {
    void (*run)(void *user_data);
    void *user_data;

    // The loop's own.
    bool queued = false;
    unsigned pass = 0;
    task *next = nullptr;
    task *previous = nullptr;
};

/**
 * Queues a task, unless it is queued already: it runs once, between the timeouts and the sockets of
 * the next pass, which does not wait. Takes no memory, so it cannot fail.
 */
void run_in_next_pass(task &what);

/** Takes a task back, if it is queued. */
void cancel(task &what);

} // namespace vesk

#endif
