"""The line for the inittab of a small device under the init of busybox as process 1, from the start
to a reboot that the daemon asks for.
"""

import os
import signal
import sys
import time
import traceback

from device import (PID_FILE, address, another_daemon, configure, daemon, inform,
                    plug_in_hardware, serves, wait_until)


def main():
    # Init has started the daemon meanwhile, with what is there by now or with nothing.
    plug_in_hardware()
    configure()
    wait_until(serves, "the daemon")
    first = daemon()
    assert os.getpgid(first) == first and os.getsid(first) == first
    os.kill(first, signal.SIGKILL)
    second = another_daemon(first)
    os.kill(second, signal.SIGTERM)
    third = another_daemon(second)
    assert PID_FILE.read_text() == f"{third}\n" and address() == "192.0.2.10/24"
    print("asks for a reboot", flush=True)
    inform("object=reboot")
    time.sleep(20)


sys.stdout = sys.stderr = open("/root/said", "w")
try:
    main()
    print("not rebooted", flush=True)
except Exception:
    traceback.print_exc()
finally:
    sys.stdout.flush()
    os.kill(1, signal.SIGUSR2)  # power off
