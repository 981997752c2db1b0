#!/usr/bin/env python3
"""Fails on a header of one platform in the panels and services, and in the backend outside backend/io."""

import re

import house
from house import Finding

FOLDERS = ("services", "ui", "import", "robot", "backend")
HOME = "backend/io/"

_PLATFORM_HEADER = re.compile(
    r"(?:sys|net|netinet|arpa|linux|bits|asm|mach|machine)/.*"
    r"|(?:aio|dirent|dlfcn|execinfo|fcntl|fnmatch|ftw|getopt|glob|grp|ifaddrs|langinfo|libgen|mqueue|netdb|poll"
    r"|pthread|pwd|sched|semaphore|spawn|strings|sysexits|syslog|termios|ulimit|unistd|utime|wordexp)\.h"
    r"|(?:direct|io|process|windows|winsock2?|ws2tcpip|shlobj|shellapi)\.h",
    re.I,
)


def check(root):
    for source in house.sources(root, FOLDERS):
        if source.path.as_posix().startswith(HOME):
            continue
        for line, name, quoted in source.includes:
            if not quoted and _PLATFORM_HEADER.fullmatch(name):
                yield Finding(source.path, line, f"<{name}> is of one platform: its calls belong in {HOME}")


if __name__ == "__main__":
    house.main(__doc__, check)
