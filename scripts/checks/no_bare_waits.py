#!/usr/bin/env python3
"""Fails on a wait for mere time to pass: a test waits for a condition, a product program for an event.

Left out are the backend's database, where an engine that refuses to wait for a lock by itself is asked again after a
pause, and the one place where an import waits for a server that is away, or for a company that others hold.
"""

import house
from house import Finding

SLEEPS = (
    r"\bQThread\s*::\s*[mu]?sleep\b"
    r"|\bthis_thread\s*::\s*sleep_(?:for|until)\b"
    r"|(?<![\w.>:])(?:::\s*)?(?:u|nano|clock_nano)?sleep\s*\("
    r"|(?<![\w.>:])(?:::\s*)?Sleep\s*\("
)
LEFT_OUT = ("backend/database/", "backend/operations/ToldWait.cpp")
TEST_SLEEPS = SLEEPS + r"|\bQTest\s*::\s*q(?:Sleep|Wait)\b|(?<![\w.>:])q(?:Sleep|Wait)\s*\("


def check(root):
    for folders, pattern, instead in (
        (("tests",), TEST_SLEEPS, "wait for a condition: QTRY_VERIFY, a QSignalSpy, QTest::qWaitFor"),
        (house.PRODUCT_FOLDERS, SLEEPS, "wait for an event, or use a time-out of what is waited for"),
    ):
        for source in house.sources(root, folders):
            if str(source.path).startswith(LEFT_OUT):
                continue
            for line, text in source.matches(pattern):
                yield Finding(source.path, line, f"bare wait '{text.strip()}': {instead}")


if __name__ == "__main__":
    house.main(__doc__, check)
