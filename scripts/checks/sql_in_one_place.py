#!/usr/bin/env python3
"""Fails on SQL outside the rooms of rows (database, records, operations) of the backend, and on values spliced into a SQL text.

A string literal is taken for SQL by how it starts. Tests are free: they look at rows behind the product's back.
"""

import re

import house
from house import Finding

HOMES = ("backend/database/", "backend/records/", "backend/operations/")

_IS_SQL = re.compile(
    r"""\s*(?:
        SELECT\s | (?i:select)\s+(?:\*|(?i:count)\s*\()
      | (?i: insert\s+(?:or\s+\w+\s+)?into\s | replace\s+into\s | delete\s+from\s+\w+(?:\s+where\b|;|$)
           | update\s+\w+\s+set\s
           | (?:create|drop|alter)\s+(?:temp\s+|temporary\s+|unique\s+)*(?:table|index|view|trigger)\s
           | pragma\s+\w )
      | (?:BEGIN(?:\s+(?:IMMEDIATE|EXCLUSIVE|DEFERRED|TRANSACTION))* | COMMIT | ROLLBACK(?:\s+TO\s+\w+)?
           | (?:SAVEPOINT|RELEASE)\s+\w+ | VACUUM) \s*;?\s*$
      | VACUUM\s+INTO\s | ATTACH\s+DATABASE\s | WITH\s+(?:RECURSIVE\s+)?\w+\s*(?:\([\w,\s]*\)\s*)?AS\s*\(
    )""",
    re.X,
)
_HOLDS_VALUES = re.compile(r"\s*(?i:select|insert|update|delete|replace)\s")
# What follows the literal: the end of QStringLiteral( ) or of QString( ), then a splice.
_SPLICE = re.compile(r"[\s)]*(?:\+|\.\s*(?:arg|append|prepend|replace)\s*\(|<<|%)|\s*,?\s*QString\s*::\s*number")


def check(root):
    for source in house.sources(root, house.PRODUCT_FOLDERS):
        for literal in source.literals:
            if not _IS_SQL.match(literal.text):
                continue
            line = source.line_of(literal.start)
            if not source.path.as_posix().startswith(HOMES):
                yield Finding(source.path, line, f"SQL outside {', '.join(HOMES)}: {literal.text[:40]!r}")
            if _HOLDS_VALUES.match(literal.text) and _SPLICE.match(source.code, literal.end):
                yield Finding(source.path, line, f"a value spliced into SQL, bind it: {literal.text[:40]!r}")


if __name__ == "__main__":
    house.main(__doc__, check)
