"""Reading commands of the GridFS peer: find, getMore, killCursors, count, aggregate."""

import bson

import peer_wire
from peer_data import MAX_DOCUMENT, sorted_documents
from peer_documents import Refused, Stored, field, hashable, projected
from peer_writes import act

_FIRST_BATCH = 101


def find(server, message):
    command = message.command
    namespace = server.namespace(command)
    collection = server.data.existing(namespace)
    found = sorted_documents(collection.find(command.get("filter", {})), command.get("sort"))
    found = _window(found, command.get("skip", 0), abs(command.get("limit", 0)))
    single = command.get("singleBatch", False) or command.get("limit", 0) < 0
    rest = [projected(stored, command.get("projection")) for stored in found]
    most = command.get("batchSize", _FIRST_BATCH)
    return _batch(server, namespace, rest, most, "firstBatch", single, collection.holds_chunks)


def get_more(server, message):
    command = message.command
    identifier = command["getMore"]
    if identifier not in server.data.cursors:
        raise Refused(43, "cursor id %d not found" % identifier, "CursorNotFound")
    namespace, rest = server.data.cursors.pop(identifier)
    most = command.get("batchSize", 0) or len(rest)
    return _batch(server, namespace, rest, most, "nextBatch", False, namespace.endswith(".chunks"), identifier)


def _window(found, skip, limit):
    return found[skip : skip + limit] if limit else found[skip:]


def _batch(server, namespace, rest, most, name, single, of_chunks, identifier=None):
    plan, _ = server.faults.hit("read") if of_chunks else (None, 0)
    if plan is not None:
        act(server, plan)
        return plan.command_error()
    count = _fitting(rest, most)
    batch, rest = rest[:count], rest[count:]
    cursor = 0
    if rest and not single:
        cursor = identifier or server.data.new_cursor()
        server.data.cursors[cursor] = (namespace, rest)
    return peer_wire.batch_reply(namespace, cursor, name, batch)


def _fitting(documents, most):
    """How many of the documents one reply may bring: at least one, at most 16 MB."""
    size = count = 0
    for raw in documents[:most]:
        size += len(raw)
        if count and size > MAX_DOCUMENT:
            break
        count += 1
    return count


def kill_cursors(server, message):
    wanted = message.command["cursors"]
    killed = [cursor for cursor in wanted if server.data.cursors.pop(cursor, None) is not None]
    missing = [cursor for cursor in wanted if cursor not in killed]
    return {"cursorsKilled": killed, "cursorsNotFound": missing, "cursorsAlive": [], "cursorsUnknown": [], "ok": 1.0}


def count(server, message):
    command = message.command
    found = server.data.existing(server.namespace(command)).find(command.get("query", {}))
    return {"n": len(_window(found, command.get("skip", 0), abs(command.get("limit", 0)))), "ok": 1.0}


def distinct(server, message):
    command = message.command
    found = server.data.existing(server.namespace(command)).find(command.get("query", {}))
    values = {hashable(field(stored.head, command["key"])): field(stored.head, command["key"]) for stored in found}
    return {"values": list(values.values()), "ok": 1.0}


def aggregate(server, message):
    command = message.command
    namespace = server.namespace(command)
    collection = server.data.existing(namespace)
    pipeline = list(command["pipeline"])
    condition = pipeline.pop(0)["$match"] if pipeline and "$match" in pipeline[0] else {}
    found = collection.find(condition)
    for stage in pipeline:
        found = _stage(found, *next(iter(stage.items())))
    rest = [stored.raw for stored in found]
    most = command.get("cursor", {}).get("batchSize", _FIRST_BATCH)
    return _batch(server, namespace, rest, most, "firstBatch", False, collection.holds_chunks)


def _stage(found, name, value):
    if name == "$sort":
        return sorted_documents(found, value)
    if name in ("$limit", "$skip"):
        return found[:value] if name == "$limit" else found[value:]
    if name == "$project":
        return [Stored(projected(stored, value)) for stored in found]
    if name == "$count":
        return [Stored.of({value: len(found)})] if found else []
    if name == "$group":
        return _group(found, value)
    raise Refused(40324, "Unrecognized pipeline stage name: '%s'" % name)


def _evaluated(stored, expression):
    if isinstance(expression, str) and expression.startswith("$"):
        return field(stored.head, expression[1:])
    if isinstance(expression, dict) and "$binarySize" in expression:
        return len(field(stored.whole(), expression["$binarySize"][1:]))
    if isinstance(expression, dict):
        return {name: _evaluated(stored, part) for name, part in expression.items()}
    return expression


_ACCUMULATORS = {
    "$sum": sum,
    "$min": min,
    "$max": max,
    "$first": lambda values: values[0],
    "$last": lambda values: values[-1],
    "$push": list,
}


def _group(found, value):
    groups = {}
    for stored in found:
        identifier = _evaluated(stored, value["_id"])
        groups.setdefault(hashable(identifier), (identifier, []))[1].append(stored)
    results = []
    for identifier, members in groups.values():
        document = {"_id": identifier}
        for name, wanted in value.items():
            if name != "_id":
                ((operator, expression),) = wanted.items()
                document[name] = _ACCUMULATORS[operator]([_evaluated(stored, expression) for stored in members])
        results.append(Stored(bson.encode(document)))
    return results
