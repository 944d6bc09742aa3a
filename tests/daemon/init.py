"""Process 1 of a sandbox: runs a command, reaps what is re-parented to it, and writes down what an
init would act upon.

Each event is one line in EVENTS:
    signal NUMBER SENDER     a signal that was sent to process 1
    exited PID STATUS        a process that was reaped: its exit status, or minus the signal that
                             ended it
"""

import os
import signal
import sys

EVENTS = "/run/init.events"
WATCHED = {signal.SIGCHLD, signal.SIGTERM, signal.SIGINT, signal.SIGHUP, signal.SIGUSR1}


def note(*words):
    with open(EVENTS, "a") as events:
        print(*words, file=events)


def start(command):
    pid = os.fork()
    if pid == 0:
        signal.pthread_sigmask(signal.SIG_UNBLOCK, WATCHED)
        os.execvp(command[0], command)
    return pid


def reap():
    """The statuses of the children that have ended, by pid."""
    ended = {}
    while True:
        try:
            pid, status = os.waitpid(-1, os.WNOHANG)
        except ChildProcessError:
            return ended
        if pid == 0:
            return ended
        ended[pid] = os.waitstatus_to_exitcode(status)


def main(command):
    signal.pthread_sigmask(signal.SIG_BLOCK, WATCHED)
    child = start(command)
    while True:
        info = signal.sigwaitinfo(WATCHED)
        if info.si_signo != signal.SIGCHLD:
            note("signal", info.si_signo, info.si_pid)
            continue
        for pid, status in reap().items():
            if pid == child:
                return status if status >= 0 else 128 - status
            note("exited", pid, status)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
