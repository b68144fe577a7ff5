"""What an assistive program sees of the main window, through the desktop's accessibility bus.

accessibility_smoke.py PROGRAM: starts it on the desktop of the environment and ends it again."""

import os
import subprocess
import sys
import time

LIMIT_S = 30
WANTED = {"Record", "Hold Call", "Find & Play", "Preferences", "Activity log", "Idle", "0:00:00"}


def launcher():
    for folder in ("/usr/libexec", "/usr/lib/at-spi2-core"):
        path = os.path.join(folder, "at-spi-bus-launcher")
        if os.path.exists(path):
            return path
    sys.exit("no at-spi-bus-launcher")


def names(item, found, depth=0):
    if item is None or depth > 20:
        return
    found.add(item.name.strip())
    for i in range(item.childCount):
        names(item.getChildAtIndex(i), found, depth + 1)


def main():
    environment = dict(os.environ, QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")
    bus = subprocess.Popen([launcher(), "--launch-immediately"], env=environment)
    program = subprocess.Popen([sys.argv[1]], env=environment)
    found = set()
    try:
        import pyatspi

        end = time.monotonic() + LIMIT_S
        while time.monotonic() < end and not WANTED <= found:
            found = set()
            try:
                desktop = pyatspi.Registry.getDesktop(0)
                for i in range(desktop.childCount):
                    names(desktop.getChildAtIndex(i), found)
            except Exception as error:  # The bus is not there yet, or the tree is changing.
                print("not yet:", error)
            time.sleep(0.2)
        if program.poll() is not None:
            sys.exit("the program has ended by itself")
    finally:
        program.terminate()
        status = program.wait(timeout=LIMIT_S)
        bus.terminate()
        bus.wait(timeout=LIMIT_S)
    missing = WANTED - found
    if missing:
        sys.exit(f"not seen: {sorted(missing)}; seen: {sorted(found)}")
    if status != 0:
        sys.exit(f"the program ended with {status} after SIGTERM")
    print("seen:", sorted(WANTED))


main()
