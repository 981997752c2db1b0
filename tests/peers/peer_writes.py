"""Writing commands of the GridFS peer: insert, delete, update, and what a repeated one is answered."""

from peer_documents import Refused, Stored, updated
from peer_data import sorted_documents


class Hangup(Exception):
    """The connection is to be closed without an answer."""


class Silence(Exception):
    """The request is never to be answered."""


def act(server, plan):
    """Carries out an action that leaves the client without an answer; the others are left to the caller."""
    if plan.action == "refuse":
        server.stop_listening()
        raise Hangup
    if plan.action == "drop":
        raise Hangup
    if plan.action == "stall":
        raise Silence


class Statements:
    """The statements of a write command, without those that an earlier try of it has carried out."""

    def __init__(self, server, command):
        self._done = None
        number = command.get("txnNumber")
        if number is None:
            return
        if not server.replica_set:
            text = "Transaction numbers are only allowed on a replica set member or mongos"
            raise Refused(20, text, "IllegalOperation")
        session = str(command["lsid"]["id"])
        known_number, known = server.retries.get(session, (None, None))
        self._done = known if known_number == number else {}
        server.retries[session] = (number, self._done)

    def result(self, statement, write):
        """@return what write() gives, or gave when the statement was carried out first"""
        if self._done is None:
            return write()
        if statement not in self._done:
            self._done[statement] = write()
        return self._done[statement]


def _place(collection):
    if collection.holds_chunks:
        return "chunk"
    return "file" if collection.holds_files else "other"


def insert(server, message):
    command = message.command
    documents = message.documents("documents")
    collection = server.data.made(server.namespace(command))
    if collection.holds_chunks:
        server.counters.batch(len(documents))
    plan, number = server.faults.hit(_place(collection), len(documents))
    if plan is not None and plan.action == "notprimary":
        return plan.command_error()
    statements = Statements(server, command)
    if plan is not None and not plan.after and plan.action in ("drop", "stall", "refuse"):
        _insert_all(collection, documents[:number], statements, command, None, 0)
        act(server, plan)
    reply = _insert_all(collection, documents, statements, command, plan, number)
    if plan is not None:
        act(server, plan)
    return reply


def _insert_all(collection, documents, statements, command, plan, number):
    done, errors = 0, []
    refusing = plan is not None and plan.action in ("error", "full")
    for index, raw in enumerate(documents):
        try:
            if refusing and index == number:
                errors.append(plan.write_error(index))
            else:
                statements.result(index, lambda: collection.insert(Stored(raw)))
                done += 1
        except Refused as refused:
            errors.append({"index": index, "code": refused.code, "errmsg": str(refused), **refused.details})
        if errors and command.get("ordered", True):
            break
    return _write_reply({"n": done}, errors, plan)


def _write_reply(reply, errors, plan):
    reply["ok"] = 1.0
    if errors:
        reply["writeErrors"] = errors
    if plan is not None and plan.action == "wcerror":
        reply["writeConcernError"] = plan.concern_error()
    return reply


def _ordered_write(server, message, name, write_one):
    """@return what write_one() gave for each statement up to the first that was refused, and that refusal"""
    command = message.command
    collection = server.data.made(server.namespace(command))
    statements = Statements(server, command)
    results = []
    for index, raw in enumerate(message.documents(name)):
        try:
            results.append(statements.result(index, lambda: write_one(collection, Stored(raw).whole())))
        except Refused as refused:
            return results, [{"index": index, "code": refused.code, "errmsg": str(refused)}]
    return results, []


def delete(server, message):
    results, errors = _ordered_write(server, message, "deletes", _delete_one)
    return _write_reply({"n": sum(results)}, errors, None)


def _delete_one(collection, statement):
    found = collection.find(statement["q"])
    if statement.get("limit", 0) == 1:
        found = found[:1]
    for stored in found:
        collection.remove(stored)
    return len(found)


def update(server, message):
    results, errors = _ordered_write(server, message, "updates", _update_one)
    upserted = [{"index": index, "_id": made} for index, (_, _, made) in enumerate(results) if made is not None]
    reply = {"n": sum(found for found, _, _ in results) + len(upserted), "nModified": sum(r[1] for r in results)}
    if upserted:
        reply["upserted"] = upserted
    return _write_reply(reply, errors, None)


def _update_one(collection, statement):
    """@return (documents found, documents changed, identifier of one that was made)"""
    found = collection.find(statement["q"])
    if not found and statement.get("upsert"):
        return 0, 0, _upsert(collection, statement)
    if not statement.get("multi"):
        found = found[:1]
    changed = 0
    for stored in found:
        before = stored.whole()
        after = updated(before, statement["u"])
        if after != before:
            collection.replace(stored, after)
            changed += 1
    return len(found), changed, None


def _upsert(collection, statement):
    base = {name: value for name, value in statement["q"].items() if not isinstance(value, dict)}
    document = updated(base, statement["u"])
    document.update(statement["u"].get("$setOnInsert", {}))
    stored = Stored.of(document).with_id()
    collection.insert(stored)
    return stored.head["_id"]


def find_and_modify(server, message):
    command = message.command
    collection = server.data.made(server.namespace(command))
    found = sorted_documents(collection.find(command.get("query", {})), command.get("sort"))[:1]
    value = found[0].whole() if found else None
    if found and command.get("remove"):
        collection.remove(found[0])
    elif found:
        after = updated(value, command["update"])
        collection.replace(found[0], after)
        value = after if command.get("new") else value
    return {"value": value, "lastErrorObject": {"n": len(found)}, "ok": 1.0}
