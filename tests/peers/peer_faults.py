"""Faults on order, and what is counted, of the GridFS peer."""

from collections import Counter

ACTIONS = ("error", "full", "wcerror", "notprimary", "drop", "stall", "refuse")
PLACES = "chunk, file, read (replies that bring chunks), handshake, any, or the name of a command"
_FULL, _FAILED, _CONCERN, _NOT_PRIMARY = 14031, 96, 64, 10107


class Plan:
    """One fault: an action at the n-th to (n + times - 1)-th event of a place; times 0 is for ever."""

    def __init__(self, action, at, n=1, times=1, after=False):
        if action not in ACTIONS:
            raise ValueError("unknown action %r; accepted: %s" % (action, ", ".join(ACTIONS)))
        self.action = action
        self.at = at
        self.n = n
        self.times = times
        self.after = after
        self.seen = 0
        self.hits = 0

    def first_hit(self, count):
        """Counts events. @return the number, from 0, of the first of them that the fault is for, or None"""
        begin, self.seen = self.seen + 1, self.seen + count
        end = self.seen if self.times == 0 else min(self.seen, self.n + self.times - 1)
        start = max(begin, self.n)
        if start > end:
            return None
        self.hits += 1
        return start - begin

    def write_error(self, index):
        if self.action == "full":
            return {"index": index, "code": _FULL, "errmsg": "No space left on device"}
        return {"index": index, "code": _FAILED, "errmsg": "write refused on order"}

    def command_error(self):
        if self.action == "notprimary":
            name = {"codeName": "NotWritablePrimary", "errorLabels": ["RetryableWriteError"]}
            return {"ok": 0.0, "code": _NOT_PRIMARY, "errmsg": "not master", **name}
        code = _FULL if self.action == "full" else _FAILED
        return {"ok": 0.0, "code": code, "errmsg": "command refused on order"}

    @staticmethod
    def concern_error():
        return {"code": _CONCERN, "codeName": "WriteConcernFailed", "errmsg": "waiting for replication timed out"}


class Faults:
    """The plans in force."""

    def __init__(self):
        self.plans = []

    def order(self, plans):
        self.plans = [Plan(**plan) for plan in plans]

    def hit(self, at, count=1):
        """@return (plan, number of the event from 0) of the first plan that is for these events, or (None, 0)"""
        found = (None, 0)
        for plan in self.plans:
            if plan.at == at:
                number = plan.first_hit(count)
                if number is not None and found[0] is None:
                    found = (plan, number)
        return found

    @property
    def hits(self):
        return sum(plan.hits for plan in self.plans)


class Counters:
    """What has been asked for since the start or the last reset."""

    def __init__(self):
        self.commands = Counter()
        self.most_chunks = 0
        self.inserted_chunks = 0
        self.connections = 0

    def batch(self, chunks):
        self.inserted_chunks += chunks
        self.most_chunks = max(self.most_chunks, chunks)
